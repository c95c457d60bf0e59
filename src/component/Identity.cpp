// SPDX-License-Identifier: MIT
#include "component/Identity.h"

#include <Brennvox10/clsButton.h>
#include <Brennvox10/ctlFilter.h>
#include <Brennvox10/ctlListRecord.h>
#include <Brennvox10/ctlListSingle.h>
#include <Brennvox10/ctlMenu.h>

namespace Brennvox10::identity {

namespace {

QUuid id(const char *text)
{
    return QUuid::fromString(QLatin1String(text));
}

template <class Control> QObject *make()
{
    return new Control;
}

} // namespace

const Library &library()
{
    static const Library lib { "Brennvox10", id("{20D3D3C0-EC99-4CB6-8C79-0BED07425447}"),
        "Moltrave Common Controls 1.0", 4, 1, 0, 0x409, 2, "Brennvox10.ocx" };
    return lib;
}

const std::array<Class, 5> &classes()
{
    static const std::array<Class, 5> all { {
        { "ctlListRecord", id("{AC85DD0F-139B-426D-943C-DE9EC4D79309}"), true, 30003,
            { "_ctlListRecord", id("{D252BFE4-2B99-4958-A59D-C75D6E50B2A6}") },
            { "ctlListRecord___v0", id("{9D38FE8C-6E9D-4AB7-AD23-1F25FF586B47}") },
            { "__ctlListRecord", id("{62A2EE28-3D8B-4C7E-9F4C-A50FF1D73862}") },
            { "__ctlListRecord", id("{E1E0EB49-6342-40E6-BB4C-88A29B1E1141}") }, &ctlListRecord::staticMetaObject,
            &make<ctlListRecord> },
        { "ctlMenu", id("{D08DEAD7-7FB6-4D03-B433-2F0CE95663D1}"), true, 30002,
            { "_ctlMenu", id("{A6B1647F-A3EE-432A-A4FD-95311B5AAAC2}") },
            { "ctlMenu___v0", id("{7C477696-C386-45FC-9C44-07802BF4524E}") },
            { "__ctlMenu", id("{7BBC8636-D3F8-4AB9-9EFE-B1092476F933}") },
            { "__ctlMenu", id("{37CD1DD3-ACCE-467C-A9BB-15350170EEEC}") }, &ctlMenu::staticMetaObject, &make<ctlMenu> },
        { "ctlFilter", id("{579E0645-81C0-427C-853E-FFBFD4632F49}"), true, 30001,
            { "_ctlFilter", id("{AEB05532-68CB-4D19-AF58-FFAA9F01C6A1}") }, {},
            { "__ctlFilter", id("{D8B0697E-A964-4561-BE94-44F8449B73CF}") }, {}, &ctlFilter::staticMetaObject,
            &make<ctlFilter> },
        { "clsButton", id("{92EB28B6-21C2-4640-ABA0-8B0E1DB5AA15}"), false, 0,
            { "_clsButton", id("{C4AAD39A-6A81-45BB-8A67-4896033B88FC}") }, {}, {}, {},
            &clsButton::staticMetaObject, nullptr },
        { "ctlListSingle", id("{741474BE-FA0F-4137-8B08-D09015185B9C}"), true, 30000,
            { "_ctlListSingle", id("{AF8E77D3-04FE-493D-A2C5-DA5C7924CE7C}") }, {},
            { "__ctlListSingle", id("{AC254327-3967-4799-AC58-BA77F6471F6C}") }, {},
            &ctlListSingle::staticMetaObject, &make<ctlListSingle> },
    } };
    return all;
}

const Class *byId(const QUuid &id)
{
    for (const Class &c : classes())
        if (c.id == id)
            return &c;
    return nullptr;
}

const Class *byProgId(const QString &progId)
{
    for (const Class &c : classes())
        if (c.progId() == progId)
            return &c;
    return nullptr;
}

} // namespace Brennvox10::identity
