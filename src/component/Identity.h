// SPDX-License-Identifier: MIT
#pragma once
// The published identity of the library, its classes and their interfaces: one table, assigned once
// and never changed, read by the class factory and by registration alike.

#include <QString>
#include <QUuid>

#include <array>

class QObject;
struct QMetaObject;

namespace Brennvox10::identity {

struct Library {
    const char *name;
    QUuid id;
    const char *help;
    int major, minor;
    int registeredLocale; // the locale the entries are written under
    int typeLibraryLocale; // the locale the type library itself is marked with
    int flags; // 2: contains controls
    const char *file;
};

struct Interface {
    const char *name;
    QUuid id;
};

struct Class {
    const char *name;
    QUuid id;
    bool control; // a control a container may create; otherwise published but not creatable
    int picture; // toolbox picture id, 0 for none
    Interface defaultInterface;
    Interface earlierDefault; // null id when the class has no earlier version
    Interface events; // null id for a class without events
    Interface earlierEvents;
    const QMetaObject *meta;
    QObject *(*create)();

    QString progId() const { return QStringLiteral("Brennvox10.") + QLatin1String(name); }
};

constexpr int ControlStatus = 0x20191;

const Library &library();
// In the type library's order.
const std::array<Class, 5> &classes();
const Class *byId(const QUuid &id);
const Class *byProgId(const QString &progId);

} // namespace Brennvox10::identity
