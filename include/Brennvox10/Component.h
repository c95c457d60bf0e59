// SPDX-License-Identifier: MIT
#pragma once
// The library as an in-process component server: what a container uses that loads libBrennvox10.so
// with dlopen and knows the controls only by their identifiers. The interfaces are C++ abstract
// classes (one ABI on this platform for GCC and Clang), reached through the four exported entry
// points; results are the usual component status codes. Objects are counted by reference and live on
// the thread that created them, which must run a QApplication.

#include <Brennvox10/brennvox10_export.h>

#include <QString>
#include <QUuid>
#include <QVariant>

class QWidget;

namespace Brennvox10::component {

using Result = qint32;
constexpr Result Ok = 0;
constexpr Result False = 1;
constexpr Result NoInterface = qint32(0x80004002);
constexpr Result NullPointer = qint32(0x80004003);
constexpr Result Failed = qint32(0x80004005);
constexpr Result NoAggregation = qint32(0x80040110);
constexpr Result ClassNotAvailable = qint32(0x80040111);
constexpr Result RegistrationFailed = qint32(0x80040201);
constexpr Result MemberNotFound = qint32(0x80020003);
constexpr Result ExceptionOccurred = qint32(0x80020009);
constexpr Result WrongArgumentCount = qint32(0x8002000E);
constexpr Result TypeMismatch = qint32(0x80020005);
constexpr Result NoConnection = qint32(0x80040200);

// The platform's own interface identifiers.
inline const QUuid IID_IUnknown { 0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46 };
inline const QUuid IID_IClassFactory { 0x00000001, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46 };
inline const QUuid IID_IDispatch { 0x00020400, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46 };

class Unknown {
public:
    virtual Result QueryInterface(const QUuid &iid, void **object) = 0;
    virtual quint32 AddRef() = 0;
    virtual quint32 Release() = 0;

protected:
    ~Unknown() = default;
};

class ClassFactory : public Unknown {
public:
    // No aggregation: a non-null outer is NoAggregation.
    virtual Result CreateInstance(Unknown *outer, const QUuid &iid, void **object) = 0;
    // A lock keeps the library loaded (DllCanUnloadNow answers False) while no object lives.
    virtual Result LockServer(bool lock) = 0;

protected:
    ~ClassFactory() = default;
};

// What a failing member reported.
struct ExceptionInfo {
    qint32 number = 0;
    QString description;
    QString source;
};

// Implemented by the container: receives the events it advised for.
class EventSink {
public:
    // args are the event's arguments by reference: what the sink leaves in them goes back.
    virtual void Invoke(qint32 dispid, QVariantList &args) = 0;

protected:
    ~EventSink() = default;
};

// A control or class as a container drives it: members by dispatch identifier, events by sink.
class Dispatch : public Unknown {
public:
    // flags: 1 method, 2 property read, 4 property write. Arguments by reference. A member's failure
    // gives ExceptionOccurred and fills `exception` when given.
    virtual Result Invoke(qint32 dispid, quint16 flags, QVariantList &args, QVariant *result,
        ExceptionInfo *exception = nullptr)
        = 0;
    // Events of the event interface `eventIid` (the current one or an earlier one) go to `sink` until
    // Unadvise; the sink must outlive the advice.
    virtual Result Advise(const QUuid &eventIid, EventSink *sink, quint32 *cookie) = 0;
    virtual Result Unadvise(quint32 cookie) = 0;
    // The control to place on a form (null for a class that is no control). The object owns it until
    // the container gives it a parent; the last Release deletes it if it still has none.
    virtual QWidget *Widget() = 0;

protected:
    ~Dispatch() = default;
};

// The entry points, as dlsym finds them.
using DllCanUnloadNowFn = Result (*)();
using DllGetClassObjectFn = Result (*)(const QUuid *clsid, const QUuid *iid, void **object);
using DllRegisterServerFn = Result (*)();
using DllUnregisterServerFn = Result (*)();

} // namespace Brennvox10::component

extern "C" {
// Ok when no object of the library lives and no lock is held, else False.
BRENNVOX10_EXPORT Brennvox10::component::Result DllCanUnloadNow();
// The class factory of a creatable class: ClassNotAvailable for any other class identifier.
BRENNVOX10_EXPORT Brennvox10::component::Result DllGetClassObject(
    const QUuid *clsid, const QUuid *iid, void **object);
// Writes (or removes) the library's entries in the user's component registry,
// $XDG_DATA_HOME/componentregistry/classes.reg, leaving every other entry as it was.
BRENNVOX10_EXPORT Brennvox10::component::Result DllRegisterServer();
BRENNVOX10_EXPORT Brennvox10::component::Result DllUnregisterServer();
}
