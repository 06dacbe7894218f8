#include "MGAclBusService.h"

#include "MGAclProtocol.h"
#include "MGAclServiceDispatcher.h"
#include "MGPolkit.h"
#include "MGRequestOutline.h"

#include <QCborValue>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <cerrno>
#include <malloc.h>

MGAclBusService::MGAclBusService(int idleSeconds, QObject *parent) : QObject(parent)
{
    m_pool.setMaxThreadCount(MaximumWorkers);
    m_idle.setSingleShot(true);
    m_idle.setInterval(idleSeconds * 1000);
    connect(&m_idle, &QTimer::timeout, this, [this] {
        if (m_inFlight == 0)
            QCoreApplication::quit();
    });
    m_idle.start();
}

MGAclBusService::~MGAclBusService()
{
    m_pool.waitForDone();
}

MGResultError MGAclBusService::registerOnBus()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return MGError::posixError(ENOTCONN, QStringLiteral("No system bus: %1").arg(bus.lastError().message()));
    if (!bus.registerObject(QString::fromLatin1(MGAclProtocol::ObjectPath), this, QDBusConnection::ExportAllSlots))
        return MGError::posixError(EEXIST, QStringLiteral("Cannot publish the service object"));
    if (!bus.registerService(QString::fromLatin1(MGAclProtocol::ServiceName)))
        return MGError::posixError(EEXIST, QStringLiteral("Cannot claim the bus name: %1").arg(bus.lastError().message()));
    return std::nullopt;
}

QByteArray MGAclBusService::Call(const QByteArray &request)
{
    setDelayedReply(true);
    const QDBusMessage message = this->message();
    const QString caller = message.service();
    bool start = false;
    bool refused = false;
    // Only the request's number and method are read here, not its arguments.
    const MGAclProtocol::Header header = MGAclProtocol::peek(request);
    if (header.method == MGAclRemoteMethod::StopPropagation) {
        refused = !serveStop(caller, message, request);
    } else {
        QMutexLocker locker(&m_lock);
        Caller &queue = m_callers[caller];
        const qsizetype size = request.size();
        if (int(queue.waiting.size()) >= MaximumWaitingPerCaller || queue.bytes + size > MaximumBytesPerCaller
            || m_bytes + size > MaximumBytes) {
            refused = true;
            if (queue.waiting.empty() && !queue.running)
                m_callers.remove(caller);
        } else {
            queue.waiting.push_back({caller, message.createReply(), request, header.id});
            // A propagation can be stopped from the moment it is taken in.
            if (header.method == MGAclRemoteMethod::PropagateEntries)
                m_registry.expect(caller, header.id);
            queue.bytes += size;
            m_bytes += size;
            start = !queue.running;
            queue.running = queue.running || start;
        }
    }
    if (refused) {
        // Answered at once and not kept: a caller cannot make the service hold more.
        const QCborMap reply = MGAclServiceDispatcher::errorReply(
            header.id >= 0 ? QCborValue(header.id) : QCborValue(),
            MGError::posixError(EBUSY, QStringLiteral("The privileged ACL service is busy with earlier requests of this "
                                                      "program; try again when they are done.")));
        QDBusConnection::systemBus().send(message.createReply(QVariant(reply.toCborValue().toCbor())));
        return QByteArray();
    }
    ++m_inFlight;
    m_idle.stop();
    if (start)
        m_pool.start([this, caller] { serve(caller); });
    return QByteArray();
}

void MGAclBusService::serve(const QString &caller)
{
    for (;;) {
        Request next;
        {
            QMutexLocker locker(&m_lock);
            Caller &queue = m_callers[caller];
            if (queue.waiting.empty()) {
                m_callers.remove(caller);
                return;
            }
            next = std::move(queue.waiting.front());
            queue.waiting.pop_front();
        }
        next.reply.setArguments({QVariant(answer(next.caller, next.payload, false))});
        // Released before the reply leaves: a caller that sends its next request the
        // moment it has this answer must find the room this one held.
        m_registry.forget(next.caller, next.id);
        {
            QMutexLocker locker(&m_lock);
            m_callers[caller].bytes -= next.payload.size();
            m_bytes -= next.payload.size();
        }
        QDBusConnection::systemBus().send(next.reply);
        next = Request();
        // What the request was decoded into goes back to the system, not to this thread's
        // heap, where it would stay after a flood of large requests.
        malloc_trim(0);
        QMetaObject::invokeMethod(this, &MGAclBusService::finished, Qt::QueuedConnection);
    }
}

void MGAclBusService::finished()
{
    if (--m_inFlight == 0)
        m_idle.start();
}

bool MGAclBusService::serveStop(const QString &caller, const QDBusMessage &message, const QByteArray &request)
{
    {
        QMutexLocker locker(&m_lock);
        Caller &queue = m_callers[caller];
        if (queue.stopping)
            return false;
        queue.stopping = true;
    }
    // Counted in flight by the caller, like any call.
    m_pool.start([this, caller, reply = message.createReply(), request]() mutable {
        reply.setArguments({QVariant(answer(caller, request, true))});
        {
            QMutexLocker locker(&m_lock);
            Caller &queue = m_callers[caller];
            queue.stopping = false;
            if (queue.waiting.empty() && !queue.running)
                m_callers.remove(caller);
        }
        QDBusConnection::systemBus().send(reply);
        QMetaObject::invokeMethod(this, &MGAclBusService::finished, Qt::QueuedConnection);
    });
    return true;
}

QByteArray MGAclBusService::answer(const QString &caller, const QByteArray &request, bool asStop)
{
    // The request is checked in full before polkit is asked, reading one entry at a time:
    // what a caller sends who is then refused is never held decoded. What it asks for is
    // taken from it as checked, never from a guess at its fields.
    QString why;
    const std::optional<QCborMap> outline = MGRequestOutline::of(request, &why);
    std::optional<QCborMap> refused;
    if (!outline) {
        const MGAclProtocol::Header header = MGAclProtocol::peek(request);
        refused = MGAclServiceDispatcher::malformedReply(why, header.id >= 0 ? QCborValue(header.id) : QCborValue());
    } else {
        refused = MGAclServiceDispatcher::refusal(*outline);
    }
    std::optional<MGAclRemoteMethod> method;
    if (outline)
        method = MGAclProtocol::methodForSelector(outline->value(MGAclProtocol::Field::Method).toString());
    // Taken in beside the caller's queue as a stop, answered as one or not at all.
    if (!refused && (!method || asStop != (method == MGAclRemoteMethod::StopPropagation)))
        refused = MGAclServiceDispatcher::malformedReply(QStringLiteral("its method could not be told"),
                                                         outline->value(MGAclProtocol::Field::Id));
    // Who asked, as the bus knows them, heads each record of what was done for them.
    const QDBusConnectionInterface *bus = QDBusConnection::systemBus().interface();
    const QString action = method ? MGPolkit::actionForRight(QString::fromLatin1(MGAclProtocol::right(*method))) : QStringLiteral("none");
    const QString who = QStringLiteral("caller uid %1 pid %2, action %3")
                            .arg(bus->serviceUid(caller).value())
                            .arg(bus->servicePid(caller).value())
                            .arg(action);
    const auto record = [this, who](const MGAuditRecord &what) { m_log.record(who, what); };
    const QByteArray path =
        outline ? outline->value(MGAclProtocol::Field::Arguments).toMap().value(QString(MGAclProtocol::Key::Path)).toByteArray() : QByteArray();
    if (refused || !method) {
        QString problem;
        const std::optional<MGError> error = MGError::fromCbor(refused->value(MGAclProtocol::Field::Error), &problem);
        record({QStringLiteral("malformed request"), path, QString(), QByteArray(), QByteArray(),
                error ? error->localizedDescription() : problem});
        return refused->toCborValue().toCbor();
    }
    // The caller is who sent the message on the bus; a polkit failure of any kind denies.
    const MGResult<MGPolkit::Answer> answer = MGPolkit::checkAuthorization(QDBusConnection::systemBus(), caller, action, false);
    if (!answer || !answer->authorized) {
        record({QStringLiteral("refused %1%2").arg(QString::fromLatin1(MGAclProtocol::selector(*method)),
                                                   path.isNull() ? QString() : QStringLiteral(" for")),
                path, QString(), QByteArray(), QByteArray(), QString()});
        return MGAclServiceDispatcher::errorReply(
                   outline->value(MGAclProtocol::Field::Id),
                   MGError::posixError(EACCES, QStringLiteral("The privileged ACL service refused the request: "
                                                              "the caller is not authorised for %1.")
                                                   .arg(action)))
            .toCborValue()
            .toCbor();
    }
    // Progress goes to the caller alone.
    const auto progress = [caller](const QCborMap &report) {
        QDBusMessage signal = QDBusMessage::createTargetedSignal(caller, QString::fromLatin1(MGAclProtocol::ObjectPath),
                                                                 QString::fromLatin1(MGAclProtocol::Interface),
                                                                 QStringLiteral("Progress"));
        signal << report.toCborValue().toCbor();
        QDBusConnection::systemBus().send(signal);
    };
    return MGAclServiceDispatcher::handle(QCborValue::fromCbor(request).toMap(), {caller, &m_registry, progress, record})
        .toCborValue()
        .toCbor();
}
