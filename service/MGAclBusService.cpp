#include "MGAclBusService.h"

#include "MGPolkit.h"
#include "MGAclProtocol.h"

#include <QCborValue>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <cerrno>

MGAclBusService::MGAclBusService(int idleSeconds, QObject *parent)
    : QObject(parent), m_work(QStringLiteral("com.quillwork.Marrowgate.AclService.Work"))
{
    m_idle.setSingleShot(true);
    m_idle.setInterval(idleSeconds * 1000);
    connect(&m_idle, &QTimer::timeout, this, [this] {
        if (m_inFlight == 0)
            QCoreApplication::quit();
    });
    m_idle.start();
}

MGResultError MGAclBusService::registerOnBus()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return MGError::posixError(ENOTCONN, QStringLiteral("No system bus: %1").arg(bus.lastError().message()));
    if (!bus.registerObject(QString::fromLatin1(MGAclProtocol::ObjectPath), this,
                            QDBusConnection::ExportAllSlots))
        return MGError::posixError(EEXIST, QStringLiteral("Cannot publish the service object"));
    if (!bus.registerService(QString::fromLatin1(MGAclProtocol::ServiceName)))
        return MGError::posixError(EEXIST, QStringLiteral("Cannot claim the bus name: %1").arg(bus.lastError().message()));
    return std::nullopt;
}

QByteArray MGAclBusService::Call(const QByteArray &request)
{
    setDelayedReply(true);
    ++m_inFlight;
    m_idle.stop();
    const QDBusMessage message = this->message();
    m_work.async([this, message, request] {
        answer(message, request);
        QMetaObject::invokeMethod(this, &MGAclBusService::finished, Qt::QueuedConnection);
    });
    return QByteArray();
}

void MGAclBusService::finished()
{
    if (--m_inFlight == 0)
        m_idle.start();
}

void MGAclBusService::answer(const QDBusMessage &message, const QByteArray &request)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    QCborParserError parseError;
    const QCborValue value = QCborValue::fromCbor(request, &parseError);
    const QCborMap map = value.toMap();
    const QCborValue id = map.value(QStringLiteral("id"));
    QCborMap reply;
    const auto method = MGAclProtocol::methodForSelector(map.value(QStringLiteral("method")).toString());
    if (parseError.error != QCborError::NoError || !value.isMap()) {
        reply = MGAclServiceDispatcher::malformedReply(QStringLiteral("the request is not a CBOR map"));
    } else if (!method) {
        reply = MGAclServiceDispatcher::malformedReply(QStringLiteral("unknown method"), id);
    } else {
        // The caller is who sent the message on the bus; a polkit failure of any kind denies.
        const QString action = MGPolkit::actionForRight(QString::fromLatin1(MGAclProtocol::right(*method)));
        const MGResult<MGPolkit::Answer> answer = MGPolkit::checkAuthorization(bus, message.service(), action, false);
        if (answer && answer->authorized)
            reply = m_dispatcher.handle(map);
        else
            reply = MGAclServiceDispatcher::errorReply(
                id, MGError::posixError(EACCES, QStringLiteral("The privileged ACL service refused the request: "
                                                               "the caller is not authorised for %1.")
                                                    .arg(action)));
    }
    bus.send(message.createReply(QVariant(reply.toCborValue().toCbor())));
}
