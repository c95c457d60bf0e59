// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// Dispatch by member identifier: how a container, or one part of the library, calls a control
/// without knowing its class. Each published class names its members in its meta-object: a
/// Q_CLASSINFO("dispid 0x68030006 put", "lrConnectionString") ties an identifier and a kind of access
/// to an invokable member, Q_CLASSINFO("event 1", "cmdAdd") an event number to a signal. Arguments
/// go by reference: a member that changes an argument changes the caller's QVariant.

#include <Brennvox10/brennvox10_export.h>

#include <QList>
#include <QMetaObject>
#include <QVariant>

#include <functional>

class QObject;

namespace Brennvox10::dispatch {

/// The kinds of access, with the values containers use for them.
enum class Kind : quint16 { Method = 1, Get = 2, Put = 4 };

/// Calls member `id` of an object, or of a gadget given with its meta-object. An identifier the
/// class does not publish for that kind is Failure 438 (FailureNumber::MemberNotSupported); a wrong
/// count of arguments Failure 450 (FailureNumber::WrongArguments); an argument that does not
/// convert to its parameter's type Failure 13 (FailureNumber::TypeMismatch). The member's own
/// failures pass through.
BRENNVOX10_EXPORT QVariant invoke(QObject *object, qint32 id, Kind kind, QVariantList &args);
/// The same for a gadget (such as clsButton) given with its meta-object.
BRENNVOX10_EXPORT QVariant invoke(void *gadget, const QMetaObject *meta, qint32 id, Kind kind, QVariantList &args);

/// Whether the class publishes a member of that identifier and kind.
BRENNVOX10_EXPORT bool publishes(const QMetaObject *meta, qint32 id, Kind kind);

/// The event numbers the class publishes, in ascending order.
BRENNVOX10_EXPORT QList<qint32> events(const QMetaObject *meta);

/// Calls `handler` with the event's arguments each time `source` raises event `id`; what the
/// handler leaves in them goes back to the event's by-reference arguments. Returns the connection's
/// keeper, a child of `source`: deleting it disconnects. Failure 438
/// (FailureNumber::MemberNotSupported) when the class has no such event.
BRENNVOX10_EXPORT QObject *connectEvent(QObject *source, qint32 id, std::function<void(QVariantList &args)> handler);

} // namespace Brennvox10::dispatch
