// SPDX-License-Identifier: MIT
// The class factories, the objects a container holds, and the entry points that hand them out.

#include "component/Identity.h"

#include <Brennvox10/Component.h>
#include <Brennvox10/Dispatch.h>
#include <Brennvox10/Failure.h>

#include <QApplication>
#include <QPointer>
#include <QWidget>

#include <atomic>
#include <map>

using namespace Brennvox10;
using namespace Brennvox10::component;

namespace {

std::atomic<int> liveObjects { 0 };
std::atomic<int> serverLocks { 0 };

Result resultFor(const Failure &f)
{
    switch (f.number()) {
    case FailureNumber::MemberNotSupported:
        return MemberNotFound;
    case FailureNumber::WrongArguments:
        return WrongArgumentCount;
    case FailureNumber::TypeMismatch:
        return TypeMismatch;
    default:
        return ExceptionOccurred;
    }
}

class Object final : public Dispatch {
public:
    Object(const identity::Class &cls, QObject *made)
        : m_class(cls)
        , m_object(made)
    {
        ++liveObjects;
    }

    Result QueryInterface(const QUuid &iid, void **object) override
    {
        if (!object)
            return NullPointer;
        *object = nullptr;
        // An earlier default interface stands for the current one.
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == m_class.defaultInterface.id
            || (!m_class.earlierDefault.id.isNull() && iid == m_class.earlierDefault.id)) {
            *object = static_cast<Dispatch *>(this);
            AddRef();
            return Ok;
        }
        return NoInterface;
    }

    quint32 AddRef() override { return ++m_references; }

    quint32 Release() override
    {
        const quint32 left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

    Result Invoke(qint32 dispid, quint16 flags, QVariantList &args, QVariant *result, ExceptionInfo *exception) override
    {
        if (!m_object)
            return Failed;
        const dispatch::Kind kind = flags & 4 ? dispatch::Kind::Put
            : flags & 2 && dispatch::publishes(m_object->metaObject(), dispid, dispatch::Kind::Get)
            ? dispatch::Kind::Get
            : dispatch::Kind::Method;
        try {
            QVariant r = dispatch::invoke(m_object.data(), dispid, kind, args);
            if (result)
                *result = std::move(r);
            return Ok;
        } catch (const Failure &f) {
            if (exception)
                *exception = { f.number(), f.description(), f.source() };
            return resultFor(f);
        }
    }

    Result Advise(const QUuid &eventIid, EventSink *sink, quint32 *cookie) override
    {
        if (!sink || !cookie)
            return NullPointer;
        if (m_class.events.id.isNull()
            || (eventIid != m_class.events.id && (m_class.earlierEvents.id.isNull() || eventIid != m_class.earlierEvents.id)))
            return NoConnection;
        if (!m_object)
            return Failed;
        std::vector<QPointer<QObject>> keepers;
        for (const qint32 id : dispatch::events(m_object->metaObject()))
            keepers.emplace_back(dispatch::connectEvent(
                m_object.data(), id, [sink, id](QVariantList &args) { sink->Invoke(id, args); }));
        *cookie = ++m_lastCookie;
        m_advice[*cookie] = std::move(keepers);
        return Ok;
    }

    Result Unadvise(quint32 cookie) override
    {
        const auto it = m_advice.find(cookie);
        if (it == m_advice.end())
            return NoConnection;
        for (const QPointer<QObject> &k : it->second)
            delete k.data();
        m_advice.erase(it);
        return Ok;
    }

    QWidget *Widget() override { return qobject_cast<QWidget *>(m_object.data()); }

private:
    ~Object()
    {
        for (auto &[cookie, keepers] : m_advice)
            for (const QPointer<QObject> &k : keepers)
                delete k.data();
        // A control the container never placed is still ours.
        if (m_object && !m_object->parent())
            delete m_object.data();
        --liveObjects;
    }

    const identity::Class &m_class;
    QPointer<QObject> m_object;
    std::atomic<quint32> m_references { 0 };
    quint32 m_lastCookie = 0;
    std::map<quint32, std::vector<QPointer<QObject>>> m_advice;
};

class Factory final : public ClassFactory {
public:
    explicit Factory(const identity::Class &cls)
        : m_class(cls)
    {
    }

    Result QueryInterface(const QUuid &iid, void **object) override
    {
        if (!object)
            return NullPointer;
        *object = nullptr;
        if (iid != IID_IUnknown && iid != IID_IClassFactory)
            return NoInterface;
        *object = static_cast<ClassFactory *>(this);
        AddRef();
        return Ok;
    }

    // The factories live as long as the library: counting them would only keep it loaded.
    quint32 AddRef() override { return 2; }
    quint32 Release() override { return 1; }

    Result CreateInstance(Unknown *outer, const QUuid &iid, void **object) override
    {
        if (!object)
            return NullPointer;
        *object = nullptr;
        if (outer)
            return NoAggregation;
        if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
            return Failed; // controls are widgets
        auto *made = new Object(m_class, m_class.create());
        made->AddRef();
        const Result r = made->QueryInterface(iid, object);
        made->Release();
        return r;
    }

    Result LockServer(bool lock) override
    {
        lock ? ++serverLocks : --serverLocks;
        return Ok;
    }

private:
    const identity::Class &m_class;
};

Factory *factoryFor(const identity::Class &cls)
{
    // One per class, as long as the library is loaded.
    static std::map<const identity::Class *, Factory> factories;
    return &factories.try_emplace(&cls, cls).first->second;
}

} // namespace

extern "C" {

BRENNVOX10_EXPORT Result DllCanUnloadNow()
{
    return liveObjects.load() == 0 && serverLocks.load() == 0 ? Ok : False;
}

BRENNVOX10_EXPORT Result DllGetClassObject(const QUuid *clsid, const QUuid *iid, void **object)
{
    if (!clsid || !iid || !object)
        return NullPointer;
    *object = nullptr;
    const identity::Class *cls = identity::byId(*clsid);
    if (!cls || !cls->control || !cls->create)
        return ClassNotAvailable;
    return factoryFor(*cls)->QueryInterface(*iid, object);
}

} // extern "C"
