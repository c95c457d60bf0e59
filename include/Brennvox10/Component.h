// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// The library as an in-process component server: what a container uses that loads libBrennvox10.so
/// with dlopen and knows the controls only by their identifiers. The interfaces are C++ abstract
/// classes (one ABI on this platform for GCC and Clang), reached through the four exported entry
/// points; results are the usual component status codes. Objects are counted by reference and live on
/// the thread that created them, which must run a QApplication.

#include <Brennvox10/brennvox10_export.h>

#include <QString>
#include <QUuid>
#include <QVariant>

class QWidget;

namespace Brennvox10::component {

/// A component status code: 0 or 1 success, negative a failure.
using Result = qint32;
/// Success.
constexpr Result Ok = 0;
/// Success, answering no.
constexpr Result False = 1;
/// The object has no interface of that identifier.
constexpr Result NoInterface = qint32(0x80004002);
/// A required pointer argument is null.
constexpr Result NullPointer = qint32(0x80004003);
/// An unspecified failure.
constexpr Result Failed = qint32(0x80004005);
/// The class cannot be aggregated (a non-null outer object).
constexpr Result NoAggregation = qint32(0x80040110);
/// The library has no creatable class of that identifier.
constexpr Result ClassNotAvailable = qint32(0x80040111);
/// The component registry could not be written.
constexpr Result RegistrationFailed = qint32(0x80040201);
/// The class publishes no member of that dispatch identifier and kind.
constexpr Result MemberNotFound = qint32(0x80020003);
/// The member failed; the ExceptionInfo says how.
constexpr Result ExceptionOccurred = qint32(0x80020009);
/// The member takes another number of arguments.
constexpr Result WrongArgumentCount = qint32(0x8002000E);
/// An argument does not convert to its parameter's type.
constexpr Result TypeMismatch = qint32(0x80020005);
/// No advice of that cookie (Dispatch::Unadvise).
constexpr Result NoConnection = qint32(0x80040200);

/// The platform's own interface identifiers: this one of Unknown.
inline const QUuid IID_IUnknown { 0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46 };
/// The identifier of ClassFactory.
inline const QUuid IID_IClassFactory { 0x00000001, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46 };
/// The identifier of Dispatch.
inline const QUuid IID_IDispatch { 0x00020400, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46 };

/// The base of every interface: asking for another interface, and counting references.
class Unknown {
public:
    /// The interface `iid` of this object in `*object` (counted), or NoInterface and null.
    virtual Result QueryInterface(const QUuid &iid, void **object) = 0;
    /// Counts one more reference; returns the new count.
    virtual quint32 AddRef() = 0;
    /// Drops one reference, deleting the object at zero; returns the new count.
    virtual quint32 Release() = 0;

protected:
    /// Not deleted through the interface: Release() ends the object.
    ~Unknown() = default;
};

/// Makes the objects of one class (DllGetClassObject()).
class ClassFactory : public Unknown {
public:
    /// Makes an object and gives its interface `iid` in `*object`. No aggregation: a non-null outer is
    /// NoAggregation.
    virtual Result CreateInstance(Unknown *outer, const QUuid &iid, void **object) = 0;
    /// A lock keeps the library loaded (DllCanUnloadNow answers False) while no object lives.
    virtual Result LockServer(bool lock) = 0;

protected:
    /// Not deleted through the interface: Release() ends the object.
    ~ClassFactory() = default;
};

/// What a failing member reported.
struct ExceptionInfo {
    /// The failure's number (Brennvox10::FailureNumber).
    qint32 number = 0;
    /// The failure's description.
    QString description;
    /// The component that raised it.
    QString source;
};

/// Implemented by the container: receives the events it advised for.
class EventSink {
public:
    /// args are the event's arguments by reference: what the sink leaves in them goes back.
    virtual void Invoke(qint32 dispid, QVariantList &args) = 0;

protected:
    /// Not deleted through the interface: the container owns its sink.
    ~EventSink() = default;
};

/// A control or class as a container drives it: members by dispatch identifier, events by sink.
class Dispatch : public Unknown {
public:
    /// flags: 1 method, 2 property read, 4 property write. Arguments by reference. A member's failure
    /// gives ExceptionOccurred and fills `exception` when given.
    virtual Result Invoke(qint32 dispid, quint16 flags, QVariantList &args, QVariant *result,
        ExceptionInfo *exception = nullptr)
        = 0;
    /// Events of the event interface `eventIid` (the current one or an earlier one) go to `sink` until
    /// Unadvise; the sink must outlive the advice.
    virtual Result Advise(const QUuid &eventIid, EventSink *sink, quint32 *cookie) = 0;
    /// Ends the advice of that cookie; NoConnection for an unknown cookie.
    virtual Result Unadvise(quint32 cookie) = 0;
    /// The control to place on a form (null for a class that is no control). The object owns it until
    /// the container gives it a parent; the last Release deletes it if it still has none.
    virtual QWidget *Widget() = 0;

protected:
    /// Not deleted through the interface: Release() ends the object.
    ~Dispatch() = default;
};

/// The entry points, as dlsym finds them: the type of DllCanUnloadNow().
using DllCanUnloadNowFn = Result (*)();
/// The type of DllGetClassObject().
using DllGetClassObjectFn = Result (*)(const QUuid *clsid, const QUuid *iid, void **object);
/// The type of DllRegisterServer().
using DllRegisterServerFn = Result (*)();
/// The type of DllUnregisterServer().
using DllUnregisterServerFn = Result (*)();

} // namespace Brennvox10::component

extern "C" {
/// Ok when no object of the library lives and no lock is held, else False.
BRENNVOX10_EXPORT Brennvox10::component::Result DllCanUnloadNow();
/// The class factory of a creatable class: ClassNotAvailable for any other class identifier.
BRENNVOX10_EXPORT Brennvox10::component::Result DllGetClassObject(
    const QUuid *clsid, const QUuid *iid, void **object);
/// Writes (or removes) the library's entries in the user's component registry,
/// $XDG_DATA_HOME/componentregistry/classes.reg, leaving every other entry as it was:
/// DllRegisterServer() writes them, DllUnregisterServer() removes them.
BRENNVOX10_EXPORT Brennvox10::component::Result DllRegisterServer();
/// Removes exactly the entries DllRegisterServer() writes.
BRENNVOX10_EXPORT Brennvox10::component::Result DllUnregisterServer();
}
