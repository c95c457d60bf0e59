// SPDX-License-Identifier: MIT
#include <Brennvox10/Dispatch.h>
#include <Brennvox10/Failure.h>

#include <QMetaMethod>
#include <QObject>

#include <vector>

namespace Brennvox10::dispatch {

namespace {

const char *kindName(Kind kind)
{
    switch (kind) {
    case Kind::Get:
        return "get";
    case Kind::Put:
        return "put";
    case Kind::Method:
        break;
    }
    return "method";
}

// The member's name from the most derived class that names it: a subclass may publish an
// inherited member under an identifier of its own.
QByteArray memberName(const QMetaObject *meta, const QByteArray &info)
{
    for (int i = meta->classInfoCount() - 1; i >= 0; --i)
        if (info == meta->classInfo(i).name())
            return meta->classInfo(i).value();
    return {};
}

QByteArray infoName(qint32 id, Kind kind)
{
    return "dispid 0x" + QByteArray::number(quint32(id), 16) + ' ' + kindName(kind);
}

// A parameter's type without its reference: what the argument must convert to.
QMetaType parameterType(const QMetaMethod &m, int i)
{
    QMetaType t = m.parameterMetaType(i);
    if (!t.isValid()) {
        QByteArray name = m.parameterTypeName(i);
        if (name.endsWith('&'))
            name.chop(1);
        t = QMetaType::fromName(name);
    }
    return t;
}

QVariant call(QObject *object, void *gadget, const QMetaObject *meta, qint32 id, Kind kind, QVariantList &args)
{
    const QByteArray name = memberName(meta, infoName(id, kind));
    if (name.isEmpty())
        throw failureFor(FailureNumber::MemberNotSupported);
    QMetaMethod method;
    for (int i = meta->methodCount() - 1; i >= 0 && !method.isValid(); --i) {
        const QMetaMethod m = meta->method(i);
        if (m.name() == name && m.parameterCount() == args.size())
            method = m;
    }
    if (!method.isValid())
        throw failureFor(FailureNumber::WrongArguments);

    // Each argument in its parameter's type; the member works on these, and they go back to the
    // caller afterwards, so that a by-reference parameter reaches the caller.
    std::vector<QVariant> converted(size_t(args.size()));
    std::vector<void *> argv(size_t(args.size()) + 1, nullptr);
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QMetaType type = parameterType(method, int(i));
        QVariant v = args[i];
        if (!type.isValid() || (v.metaType() != type && !v.convert(type)))
            throw failureFor(FailureNumber::TypeMismatch);
        converted[size_t(i)] = std::move(v);
        argv[size_t(i) + 1] = converted[size_t(i)].data();
    }
    QVariant result;
    if (method.returnMetaType().isValid() && method.returnMetaType().id() != QMetaType::Void) {
        result = QVariant(method.returnMetaType());
        argv[0] = result.data();
    }
    if (object)
        QMetaObject::metacall(object, QMetaObject::InvokeMetaMethod, method.methodIndex(), argv.data());
    else
        meta->d.static_metacall(reinterpret_cast<QObject *>(gadget), QMetaObject::InvokeMetaMethod,
            method.methodIndex() - meta->methodOffset(), argv.data());
    for (qsizetype i = 0; i < args.size(); ++i)
        args[i] = converted[size_t(i)];
    return result;
}

// Receives one signal through a slot of its own that no class declares: the meta-object system hands
// it the signal's argument pointers, which it shows the handler as variants and writes back.
class EventKeeper : public QObject {
public:
    EventKeeper(QObject *source, QMetaMethod signal, std::function<void(QVariantList &)> handler)
        : QObject(source)
        , m_signal(signal)
        , m_handler(std::move(handler))
    {
    }

    int qt_metacall(QMetaObject::Call call, int id, void **argv) override
    {
        id = QObject::qt_metacall(call, id, argv);
        if (id < 0 || call != QMetaObject::InvokeMetaMethod)
            return id;
        if (id == 0) {
            QVariantList args;
            for (int i = 0; i < m_signal.parameterCount(); ++i)
                args << QVariant(parameterType(m_signal, i), argv[i + 1]);
            m_handler(args);
            for (int i = 0; i < m_signal.parameterCount(); ++i) {
                const QMetaType type = parameterType(m_signal, i);
                if (!m_signal.parameterTypeName(i).endsWith('&') || !args[i].convert(type))
                    continue;
                type.destruct(argv[i + 1]);
                type.construct(argv[i + 1], args[i].constData());
            }
        }
        return id - 1;
    }

private:
    QMetaMethod m_signal;
    std::function<void(QVariantList &)> m_handler;
};

} // namespace

QVariant invoke(QObject *object, qint32 id, Kind kind, QVariantList &args)
{
    if (!object)
        throw failureFor(FailureNumber::ObjectNotSet);
    return call(object, nullptr, object->metaObject(), id, kind, args);
}

QVariant invoke(void *gadget, const QMetaObject *meta, qint32 id, Kind kind, QVariantList &args)
{
    if (!gadget || !meta)
        throw failureFor(FailureNumber::ObjectNotSet);
    return call(nullptr, gadget, meta, id, kind, args);
}

bool publishes(const QMetaObject *meta, qint32 id, Kind kind)
{
    return !memberName(meta, infoName(id, kind)).isEmpty();
}

QList<qint32> events(const QMetaObject *meta)
{
    QList<qint32> ids;
    for (int i = 0; i < meta->classInfoCount(); ++i) {
        const QByteArray name = meta->classInfo(i).name();
        if (name.startsWith("event ")) {
            const qint32 id = name.mid(6).toInt();
            if (!ids.contains(id))
                ids << id;
        }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

QObject *connectEvent(QObject *source, qint32 id, std::function<void(QVariantList &)> handler)
{
    if (!source)
        throw failureFor(FailureNumber::ObjectNotSet);
    const QMetaObject *meta = source->metaObject();
    const QByteArray name = memberName(meta, "event " + QByteArray::number(id));
    QMetaMethod signal;
    for (int i = meta->methodCount() - 1; i >= 0 && !signal.isValid(); --i)
        if (meta->method(i).methodType() == QMetaMethod::Signal && meta->method(i).name() == name)
            signal = meta->method(i);
    if (name.isEmpty() || !signal.isValid())
        throw failureFor(FailureNumber::MemberNotSupported);
    auto *keeper = new EventKeeper(source, signal, std::move(handler));
    QMetaObject::connect(source, signal.methodIndex(), keeper, QObject::staticMetaObject.methodCount());
    return keeper;
}

} // namespace Brennvox10::dispatch
