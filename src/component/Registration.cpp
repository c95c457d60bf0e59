// SPDX-License-Identifier: MIT
// Self-registration: the library's entries in the user's component registry, a text file in the
// registry export layout ("[key]" lines, then "name"=value lines) that other components share. Ours
// are written and removed as a set; every other key stays as it was, byte for byte.

#include "component/Identity.h"

#include <Brennvox10/Component.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <dlfcn.h>

#include <map>
#include <utility>
#include <vector>

using namespace Brennvox10;
using namespace Brennvox10::component;

namespace {

using Values = std::vector<std::pair<QString, QString>>; // name ("@" the default) and value, in order
using Keys = std::vector<std::pair<QString, Values>>;

QString braced(const QUuid &id)
{
    return id.toString(QUuid::WithBraces).toUpper();
}

QString quoted(const QString &text)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

QString libraryPath()
{
    Dl_info info {};
    if (dladdr(reinterpret_cast<void *>(&DllRegisterServer), &info) == 0 || !info.dli_fname)
        return {};
    return QFileInfo(QFile::decodeName(info.dli_fname)).absoluteFilePath();
}

// A key's one value, its default.
Values byDefault(const QString &value)
{
    return { { QStringLiteral("@"), quoted(value) } };
}

const QString Root = QStringLiteral("HKEY_CLASSES_ROOT\\");

// What every class's keys repeat of the library.
struct LibraryRefs {
    QString path, version, libId;
};

void addClassKeys(Keys &keys, const identity::Class &c, const LibraryRefs &k)
{
    const QString clsKey = Root + QStringLiteral("CLSID\\") + braced(c.id);
    const QString name = QLatin1String(c.name);
    if (!c.control) {
        keys.push_back({ clsKey,
            { { QStringLiteral("@"), quoted(name) }, { QStringLiteral("NotCreatable"), quoted({}) } } });
        keys.push_back(
            { clsKey + QStringLiteral("\\DefaultInterface"), byDefault(braced(c.defaultInterface.id)) });
        keys.push_back({ clsKey + QStringLiteral("\\TypeLib"), byDefault(k.libId) });
        return;
    }
    keys.push_back({ clsKey, byDefault(name) });
    keys.push_back({ clsKey + QStringLiteral("\\InprocServer32"),
        { { QStringLiteral("@"), quoted(k.path) },
            { QStringLiteral("ThreadingModel"), quoted(QStringLiteral("Apartment")) } } });
    keys.push_back({ clsKey + QStringLiteral("\\ProgID"), byDefault(c.progId()) });
    keys.push_back({ clsKey + QStringLiteral("\\TypeLib"), byDefault(k.libId) });
    keys.push_back({ clsKey + QStringLiteral("\\Version"), byDefault(k.version) });
    keys.push_back({ clsKey + QStringLiteral("\\Control"), byDefault({}) });
    keys.push_back({ clsKey + QStringLiteral("\\MiscStatus"), byDefault(QStringLiteral("0")) });
    keys.push_back(
        { clsKey + QStringLiteral("\\MiscStatus\\1"), byDefault(QString::number(identity::ControlStatus)) });
    keys.push_back({ clsKey + QStringLiteral("\\ToolboxBitmap32"),
        byDefault(k.path + QStringLiteral(", ") + QString::number(c.picture)) });
    keys.push_back({ Root + c.progId(), byDefault(name) });
    keys.push_back({ Root + c.progId() + QStringLiteral("\\CLSID"), byDefault(braced(c.id)) });
}

// Interfaces marshal through the type library.
void addInterfaceKeys(Keys &keys, const identity::Interface &i, const LibraryRefs &k)
{
    if (i.id.isNull())
        return;
    const QString key = Root + QStringLiteral("Interface\\") + braced(i.id);
    keys.push_back({ key, byDefault(QLatin1String(i.name)) });
    keys.push_back({ key + QStringLiteral("\\ProxyStubClsid32"),
        byDefault(QStringLiteral("{00020424-0000-0000-C000-000000000046}")) });
    keys.push_back({ key + QStringLiteral("\\TypeLib"),
        { { QStringLiteral("@"), quoted(k.libId) }, { QStringLiteral("Version"), quoted(k.version) } } });
}

// Everything registration writes, in the order it is written.
Keys entries()
{
    const identity::Library &lib = identity::library();
    const LibraryRefs k { libraryPath(), QStringLiteral("%1.%2").arg(lib.major).arg(lib.minor),
        braced(lib.id) };
    const QString typeLib = Root + QStringLiteral("TypeLib\\") + k.libId + QLatin1Char('\\') + k.version;
    Keys keys {
        { typeLib, byDefault(QLatin1String(lib.help)) },
        { typeLib + QStringLiteral("\\%1\\linux64").arg(lib.registeredLocale), byDefault(k.path) },
        { typeLib + QStringLiteral("\\FLAGS"), byDefault(QString::number(lib.flags)) },
        { typeLib + QStringLiteral("\\HELPDIR"), byDefault(QFileInfo(k.path).absolutePath()) },
    };
    for (const identity::Class &c : identity::classes())
        addClassKeys(keys, c, k);
    // Per class the earlier identifiers come first.
    for (const identity::Class &c : identity::classes()) {
        addInterfaceKeys(keys, c.earlierDefault, k);
        addInterfaceKeys(keys, c.defaultInterface, k);
        addInterfaceKeys(keys, c.earlierEvents, k);
        addInterfaceKeys(keys, c.events, k);
    }
    return keys;
}

QString registryFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/componentregistry/classes.reg");
}

constexpr char Header[] = "REGEDIT4\n\n";

// The file as it stands: what comes before the first key, then each key with its text exactly as
// written (its lines and the blank lines after them), so that other components' keys go back
// unchanged.
struct RegistryText {
    QByteArray preamble = Header;
    std::vector<std::pair<QString, QByteArray>> keys;
};

bool readRegistry(const QString &file, RegistryText &registry)
{
    QFile f(file);
    if (!f.exists())
        return true;
    if (!f.open(QIODevice::ReadOnly))
        return false;
    const QByteArray text = f.readAll();
    if (!text.startsWith("REGEDIT4"))
        return false;
    registry.preamble.clear();
    qsizetype at = 0;
    while (at < text.size()) {
        qsizetype end = text.indexOf('\n', at);
        end = end < 0 ? text.size() : end + 1;
        const QByteArray line = text.mid(at, end - at);
        const QByteArray trimmed = line.trimmed();
        if (trimmed.startsWith('[') && trimmed.endsWith(']'))
            registry.keys.push_back({ QString::fromUtf8(trimmed.mid(1, trimmed.size() - 2)), line });
        else if (registry.keys.empty())
            registry.preamble += line;
        else
            registry.keys.back().second += line;
        at = end;
    }
    return true;
}

Result writeRegistry(const QString &file, const RegistryText &registry)
{
    if (registry.keys.empty()) {
        // Nothing left: the file and its folder go, so the data folder is as it was before.
        if (QFile::exists(file) && !QFile::remove(file))
            return RegistrationFailed;
        QDir().rmdir(QFileInfo(file).absolutePath());
        return Ok;
    }
    if (!QDir().mkpath(QFileInfo(file).absolutePath()))
        return RegistrationFailed;
    QByteArray text = registry.preamble;
    for (const auto &key : registry.keys)
        text += key.second;
    QSaveFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(text) != text.size() || !out.commit())
        return RegistrationFailed;
    return Ok;
}

Result update(bool add)
{
    const QString file = registryFile();
    RegistryText registry;
    if (!readRegistry(file, registry))
        return RegistrationFailed;
    const Keys ours = entries();
    std::map<QString, bool> mine;
    for (const auto &k : ours)
        mine[k.first.toCaseFolded()] = true;
    // Registry keys ignore case: ours replace any spelling of themselves.
    std::erase_if(registry.keys, [&](const auto &k) { return mine.count(k.first.toCaseFolded()) > 0; });
    if (add) {
        for (const auto &[key, values] : ours) {
            QByteArray text = "[" + key.toUtf8() + "]\n";
            for (const auto &[name, value] : values)
                text += ((name == QLatin1String("@") ? name : quoted(name)) + QLatin1Char('=') + value).toUtf8() + '\n';
            registry.keys.push_back({ key, text + '\n' });
        }
    }
    return writeRegistry(file, registry);
}

} // namespace

extern "C" {

BRENNVOX10_EXPORT Result DllRegisterServer()
{
    return update(true);
}

BRENNVOX10_EXPORT Result DllUnregisterServer()
{
    return update(false);
}

} // extern "C"
