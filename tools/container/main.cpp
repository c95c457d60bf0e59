// SPDX-License-Identifier: MIT
// brennvox10-container: a container as a form designer's runtime is one. It loads the library with
// dlopen, registers it, creates every control by class identifier and by programmatic identifier,
// drives a record list through dispatch identifiers alone, and unregisters. It knows the controls
// by their identifiers only: it includes none of their headers and does not link the library.
//
//   brennvox10-container --library PATH --db DATABASE --conf DEFINITION
//
// Each check prints one line; the exit code is the number of failed checks.

#include <Brennvox10/Component.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QWidget>

#include <dlfcn.h>

#include <cstdio>
#include <functional>

using namespace Brennvox10::component;

namespace {

int failures = 0;

void check(bool ok, const QString &what)
{
    std::printf("%s %s\n", ok ? "ok  " : "FAIL", qPrintable(what));
    if (!ok)
        ++failures;
}

// What a host compiled against the type library knows: identifiers, never headers.
struct Known {
    const char *name;
    QUuid clsid, defaultIid, earlierIid, eventIid, earlierEventIid;
};
const Known known[] = {
    { "ctlListRecord", QUuid::fromString(QLatin1String("{AC85DD0F-139B-426D-943C-DE9EC4D79309}")),
        QUuid::fromString(QLatin1String("{D252BFE4-2B99-4958-A59D-C75D6E50B2A6}")),
        QUuid::fromString(QLatin1String("{9D38FE8C-6E9D-4AB7-AD23-1F25FF586B47}")),
        QUuid::fromString(QLatin1String("{62A2EE28-3D8B-4C7E-9F4C-A50FF1D73862}")),
        QUuid::fromString(QLatin1String("{E1E0EB49-6342-40E6-BB4C-88A29B1E1141}")) },
    { "ctlMenu", QUuid::fromString(QLatin1String("{D08DEAD7-7FB6-4D03-B433-2F0CE95663D1}")),
        QUuid::fromString(QLatin1String("{A6B1647F-A3EE-432A-A4FD-95311B5AAAC2}")),
        QUuid::fromString(QLatin1String("{7C477696-C386-45FC-9C44-07802BF4524E}")),
        QUuid::fromString(QLatin1String("{7BBC8636-D3F8-4AB9-9EFE-B1092476F933}")),
        QUuid::fromString(QLatin1String("{37CD1DD3-ACCE-467C-A9BB-15350170EEEC}")) },
    { "ctlFilter", QUuid::fromString(QLatin1String("{579E0645-81C0-427C-853E-FFBFD4632F49}")),
        QUuid::fromString(QLatin1String("{AEB05532-68CB-4D19-AF58-FFAA9F01C6A1}")), {},
        QUuid::fromString(QLatin1String("{D8B0697E-A964-4561-BE94-44F8449B73CF}")), {} },
    { "ctlListSingle", QUuid::fromString(QLatin1String("{741474BE-FA0F-4137-8B08-D09015185B9C}")),
        QUuid::fromString(QLatin1String("{AF8E77D3-04FE-493D-A2C5-DA5C7924CE7C}")), {},
        QUuid::fromString(QLatin1String("{AC254327-3967-4799-AC58-BA77F6471F6C}")), {} },
};
const QUuid clsButtonId = QUuid::fromString(QLatin1String("{92EB28B6-21C2-4640-ABA0-8B0E1DB5AA15}"));

// The registry file as key -> its lines.
QMap<QString, QStringList> readRegistry()
{
    QMap<QString, QStringList> keys;
    QFile f(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/componentregistry/classes.reg"));
    if (!f.open(QIODevice::ReadOnly))
        return keys;
    QString key;
    for (const QString &line : QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1Char('[')))
            key = line.mid(1, line.size() - 2);
        else if (!line.isEmpty() && !key.isEmpty())
            keys[key] << line;
    }
    return keys;
}

QString defaultValue(const QMap<QString, QStringList> &keys, const QString &key)
{
    for (const QString &line : keys.value(key))
        if (line.startsWith(QLatin1String("@=")))
            return line.mid(3, line.size() - 4);
    return {};
}

QStringList dataFolder()
{
    QStringList entries;
    QDirIterator it(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation),
        QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        entries << it.next();
    entries.sort();
    return entries;
}

class Sink final : public EventSink {
public:
    std::function<void(qint32, QVariantList &)> onEvent;
    void Invoke(qint32 dispid, QVariantList &args) override { onEvent(dispid, args); }
};

Dispatch *create(DllGetClassObjectFn getClassObject, const QUuid &clsid, const QUuid &iid)
{
    void *f = nullptr;
    if (getClassObject(&clsid, &IID_IClassFactory, &f) != Ok)
        return nullptr;
    auto *factory = static_cast<ClassFactory *>(f);
    void *object = nullptr;
    const Result r = factory->CreateInstance(nullptr, iid, &object);
    factory->Release();
    return r == Ok ? static_cast<Dispatch *>(object) : nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption libraryOption(QStringLiteral("library"), QStringLiteral("The library file."),
        QStringLiteral("PATH"), QStringLiteral(BRENNVOX10_LIBRARY));
    const QCommandLineOption dbOption(QStringLiteral("db"), QStringLiteral("SQLite database."), QStringLiteral("PATH"));
    const QCommandLineOption confOption(QStringLiteral("conf"), QStringLiteral("List definition."), QStringLiteral("PATH"));
    parser.addOptions({ libraryOption, dbOption, confOption });
    parser.process(app);

    void *library = dlopen(QFile::encodeName(parser.value(libraryOption)).constData(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        std::fprintf(stderr, "brennvox10-container: %s\n", dlerror());
        return 100;
    }
    const auto canUnload = reinterpret_cast<DllCanUnloadNowFn>(dlsym(library, "DllCanUnloadNow"));
    const auto getClassObject = reinterpret_cast<DllGetClassObjectFn>(dlsym(library, "DllGetClassObject"));
    const auto registerServer = reinterpret_cast<DllRegisterServerFn>(dlsym(library, "DllRegisterServer"));
    const auto unregisterServer = reinterpret_cast<DllUnregisterServerFn>(dlsym(library, "DllUnregisterServer"));
    if (!canUnload || !getClassObject || !registerServer || !unregisterServer) {
        std::fprintf(stderr, "brennvox10-container: an entry point is missing\n");
        return 100;
    }

    const QStringList before = dataFolder();
    check(registerServer() == Ok && registerServer() == Ok, QStringLiteral("registered (twice)"));
    const QMap<QString, QStringList> registry = readRegistry();

    QList<Dispatch *> objects;
    for (const Known &k : known) {
        const QString progId = QStringLiteral("Brennvox10.") + QLatin1String(k.name);
        const QUuid fromProgId
            = QUuid::fromString(defaultValue(registry, QStringLiteral("HKEY_CLASSES_ROOT\\") + progId + QStringLiteral("\\CLSID")));
        const QString clsKey = QStringLiteral("HKEY_CLASSES_ROOT\\CLSID\\") + k.clsid.toString(QUuid::WithBraces).toUpper();
        check(fromProgId == k.clsid, progId + QStringLiteral(" names class ") + fromProgId.toString());
        check(defaultValue(registry, clsKey + QStringLiteral("\\MiscStatus\\1")) == QLatin1String("131473"),
            QStringLiteral("%1 status flags 0x20191").arg(QLatin1String(k.name)));
        const QString picture = defaultValue(registry, clsKey + QStringLiteral("\\ToolboxBitmap32"));
        check(picture.contains(QRegularExpression(QStringLiteral(", 3000[0-3]$"))),
            QStringLiteral("%1 toolbox picture %2").arg(QLatin1String(k.name), picture.section(QLatin1Char(','), -1).trimmed()));
        Dispatch *byClsid = create(getClassObject, k.clsid, k.defaultIid);
        Dispatch *byProgId = create(getClassObject, fromProgId, IID_IDispatch);
        check(byClsid && byProgId && byClsid->Widget() && byProgId->Widget(),
            QStringLiteral("%1 created by class and by programmatic identifier").arg(QLatin1String(k.name)));
        if (!k.earlierIid.isNull() && byClsid) {
            void *earlier = nullptr;
            Sink quiet;
            quiet.onEvent = [](qint32, QVariantList &) {};
            quint32 cookie = 0;
            check(byClsid->QueryInterface(k.earlierIid, &earlier) == Ok && earlier
                    && byClsid->Advise(k.earlierEventIid, &quiet, &cookie) == Ok && byClsid->Unadvise(cookie) == Ok,
                QStringLiteral("%1 bound through its earlier interfaces").arg(QLatin1String(k.name)));
            if (earlier)
                static_cast<Dispatch *>(earlier)->Release();
        }
        for (Dispatch *d : { byClsid, byProgId })
            if (d)
                objects << d;
    }
    void *none = nullptr;
    check(getClassObject(&clsButtonId, &IID_IClassFactory, &none) == ClassNotAvailable && !none,
        QStringLiteral("clsButton refused: not creatable"));

    // A record list driven by identifiers alone.
    Dispatch *list = create(getClassObject, known[0].clsid, known[0].defaultIid);
    if (list) {
        QWidget *form = list->Widget();
        form->resize(900, 500);
        form->show();
        const auto put = [&](qint32 id, const QVariant &value) {
            QVariantList args { value };
            return list->Invoke(id, 4, args, nullptr);
        };
        check(put(0x68030006, QStringLiteral("Provider=SQLite;Data Source=")) == Ok
                && put(0x68030005, parser.value(dbOption)) == Ok && put(0x68030002, parser.value(confOption)) == Ok,
            QStringLiteral("connection and definition set by 0x68030006, 0x68030005, 0x68030002"));
        Sink sink;
        QStringList heard;
        sink.onEvent = [&](qint32 dispid, QVariantList &args) {
            heard << QStringLiteral("%1(%2)").arg(dispid).arg(args.value(0).toString());
            if (dispid == 1)
                args[0] = QStringLiteral("4711"); // an event argument is the control's own key
        };
        quint32 cookie = 0;
        check(list->Advise(known[0].eventIid, &sink, &cookie) == Ok, QStringLiteral("events advised"));
        QVariantList none;
        QVariant result;
        check(list->Invoke(0x60030007, 1, none, &result) == Ok, QStringLiteral("Showme by 0x60030007"));
        QCoreApplication::processEvents();
        QVariant view;
        check(list->Invoke(0x6803001a, 2, none, &view) == Ok, QStringLiteral("ActiveListView by 0x6803001a"));
        auto *items = view.value<QObject *>() ? view.value<QObject *>()->findChild<QAbstractItemView *>() : nullptr;
        const int rows = items && items->model() ? items->model()->rowCount() : 0;
        check(rows > 0, QStringLiteral("rows shown: %1").arg(rows));
        auto *add = form->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(0)"));
        if (add)
            add->click();
        QVariant key;
        list->Invoke(0x68030000, 2, none, &key);
        check(heard == QStringList { QStringLiteral("1()") } && key.toString() == QLatin1String("4711"),
            QStringLiteral("command press heard as event %1; selected key now %2").arg(heard.join(QLatin1Char(',')), key.toString()));
        QVariantList badIndex { 7 };
        ExceptionInfo error;
        const Result refused = list->Invoke(0x68030001, 2, badIndex, &result, &error);
        check(refused == ExceptionOccurred && error.number == 9,
            QStringLiteral("lrTabFilter(7) reports %1 %2").arg(error.number).arg(error.description));
        check(list->Unadvise(cookie) == Ok, QStringLiteral("events unadvised"));
        objects << list;
    }
    check(canUnload() == False, QStringLiteral("the library stays loaded while objects live"));
    for (Dispatch *d : objects)
        d->Release();
    check(canUnload() == Ok, QStringLiteral("the library may unload once every object is released"));

    check(unregisterServer() == Ok, QStringLiteral("unregistered"));
    check(dataFolder() == before, QStringLiteral("the data folder is as it was"));
    check(registerServer() == Ok && readRegistry() == registry && unregisterServer() == Ok,
        QStringLiteral("registered again with the same identifiers, then unregistered"));
    // The library stays mapped: Qt keeps its meta-objects and resources until the process ends.
    return failures;
}
