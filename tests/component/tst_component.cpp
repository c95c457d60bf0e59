// SPDX-License-Identifier: MIT
// The library as a component server, in process: dispatch failures as a container sees them, the
// registry shared with other components, and the unload count. (brennvox10-container drives the
// whole path from dlopen on; see tools/container.)

#include "support/Fixtures.h"
#include "support/Rows.h"

#include <Brennvox10/Brennvox10.h>
#include <Brennvox10/Component.h>

#include <QAbstractButton>
#include <QTemporaryDir>
#include <QtTest>

using namespace Brennvox10::component;

namespace {

const QUuid ListRecord = QUuid::fromString(QLatin1String("{AC85DD0F-139B-426D-943C-DE9EC4D79309}"));
const QUuid Menu = QUuid::fromString(QLatin1String("{D08DEAD7-7FB6-4D03-B433-2F0CE95663D1}"));
const QUuid ListSingle = QUuid::fromString(QLatin1String("{741474BE-FA0F-4137-8B08-D09015185B9C}"));

Dispatch *create(const QUuid &clsid, ClassFactory **factoryOut = nullptr)
{
    void *f = nullptr;
    if (DllGetClassObject(&clsid, &IID_IClassFactory, &f) != Ok)
        return nullptr;
    auto *factory = static_cast<ClassFactory *>(f);
    if (factoryOut)
        *factoryOut = factory;
    void *object = nullptr;
    factory->CreateInstance(nullptr, IID_IDispatch, &object);
    return static_cast<Dispatch *>(object);
}

} // namespace

class tst_Component : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void dispatchFailures_data()
    {
        columns<QUuid, int, int, QVariantList, int, int>(
            "clsid", "dispid", "flags", "args", "result", "number");
        QTest::newRow("the other list's HideButton id") << ListSingle << 0x6003002b << 1 << QVariantList { 2 }
                                                        << MemberNotFound << 438;
        QTest::newRow("a member without its argument") << ListRecord << 0x60030017 << 1 << QVariantList {}
                                                       << WrongArgumentCount << 450;
        QTest::newRow("an argument of no convertible type")
            << Menu << 0x68030000 << 4 << QVariantList { QStringList { "a" } } << TypeMismatch << 13;
        QTest::newRow("the member's own failure") << ListRecord << 0x68030001 << 2 << QVariantList { 5 }
                                                  << ExceptionOccurred << 9;
    }
    void dispatchFailures()
    {
        auto [clsid, dispid, flags, args]
            = fetch<QUuid, int, int, QVariantList>("clsid", "dispid", "flags", "args");
        Dispatch *object = create(clsid);
        QVERIFY(object);
        ExceptionInfo error;
        QVariant value;
        QTEST(object->Invoke(dispid, quint16(flags), args, &value, &error), "result");
        QTEST(error.number, "number");
        object->Release();
    }

    void listsReachTheirBarByIdentifier()
    {
        // HideButton goes through the bar's ConfigureButton identifier; the bar's own members too.
        Dispatch *list = create(ListRecord);
        Dispatch *menu = create(Menu);
        QVariantList index { 2 }, type { 1 }, none;
        QVariant result;
        QCOMPARE(list->Invoke(0x6003002b, 1, index, &result), Ok);
        QCOMPARE(result, QVariant(false));
        QVERIFY(list->Widget()->findChild<QAbstractButton *>("cmdButtom(2)")->isHidden());
        QCOMPARE(menu->Invoke(0x68030000, 4, type, nullptr), Ok);
        QCOMPARE(menu->Invoke(0x68030000, 2, none, &result), Ok);
        QCOMPARE(result.toInt(), 1);
        list->Release();
        menu->Release();
    }

    void registryKeepsOtherComponents()
    {
        QTemporaryDir home;
        qputenv("XDG_DATA_HOME", home.path().toUtf8());
        const QString file = home.filePath("componentregistry/classes.reg");
        QDir().mkpath(QFileInfo(file).absolutePath());
        const QByteArray other = "REGEDIT4\r\n\r\n; another component\r\n[HKEY_CLASSES_ROOT\\Other.Thing\\CLSID]\r\n"
                                 "@=\"{00000000-0000-0000-0000-000000000001}\"\r\n";
        writeBytes(file, other);
        QCOMPARE(DllRegisterServer(), Ok);
        QCOMPARE(DllRegisterServer(), Ok);
        const QByteArray registered = readBytes(file);
        QVERIFY(registered.startsWith(other));
        QCOMPARE(registered.count("[HKEY_CLASSES_ROOT\\Brennvox10.ctlMenu\\CLSID]"), 1);
        QCOMPARE(DllUnregisterServer(), Ok);
        QCOMPARE(readBytes(file), other);
        QCOMPARE(DllUnregisterServer(), Ok); // nothing of ours left: harmless
        QCOMPARE(readBytes(file), other);
    }

    void unloadWaitsForObjectsAndLocks()
    {
        QCOMPARE(DllCanUnloadNow(), Ok);
        ClassFactory *factory = nullptr;
        Dispatch *object = create(ListSingle, &factory);
        QCOMPARE(DllCanUnloadNow(), False);
        object->Release();
        QCOMPARE(DllCanUnloadNow(), Ok);
        factory->LockServer(true);
        QCOMPARE(DllCanUnloadNow(), False);
        factory->LockServer(false);
        QCOMPARE(DllCanUnloadNow(), Ok);
        void *button = nullptr;
        const QUuid clsButton = QUuid::fromString(QLatin1String("{92EB28B6-21C2-4640-ABA0-8B0E1DB5AA15}"));
        QCOMPARE(DllGetClassObject(&clsButton, &IID_IClassFactory, &button), ClassNotAvailable);
    }
};

QTEST_MAIN(tst_Component)
#include "tst_component.moc"
