#include "MGSystemBusServiceConnection.h"

#include <QCborValue>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>

namespace {
// Propagation over a large tree takes as long as it takes.
constexpr int PropagationTimeout = 24 * 60 * 60 * 1000;
}

MGSystemBusServiceConnection::MGSystemBusServiceConnection()
    : MGServiceConnection(QStringLiteral("com.quillwork.Marrowgate.PrivilegedService.Replies"))
{
}

MGResultError MGSystemBusServiceConnection::checkAvailable(const QDBusConnection &bus)
{
    if (!bus.isConnected())
        return connectionError(Invalid, QStringLiteral("The privileged ACL service cannot be reached: the system bus is not "
                                                       "available (%1). An administrator has to start the system bus "
                                                       "(dbus) for this to be done with an administrator's authorisation.")
                                            .arg(bus.lastError().message()));
    const QString name = QString::fromLatin1(MGAclProtocol::ServiceName);
    const QDBusReply<bool> running = bus.interface()->isServiceRegistered(name);
    if (running.isValid() && running.value())
        return std::nullopt;
    const QDBusMessage activatable = QDBusConnection(bus).call(QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ListActivatableNames")));
    if (activatable.type() == QDBusMessage::ReplyMessage && activatable.arguments().value(0).toStringList().contains(name))
        return std::nullopt;
    return connectionError(Invalid, QStringLiteral("The privileged ACL service is not installed, so this cannot be done "
                                                   "with an administrator's authorisation. An administrator can install "
                                                   "it with Marrowgate's Debian package (marrowgate), which brings the "
                                                   "service, its bus policy and its polkit actions."));
}

void MGSystemBusServiceConnection::send(MGAclRemoteMethod method, const QCborMap &arguments, ReplyHandler onReply,
                                        ErrorHandler onError, ProgressHandler)
{
    const QByteArray payload = request(m_nextId++, method, arguments).toCborValue().toCbor();
    const int timeout = method == MGAclRemoteMethod::PropagateEntries ? PropagationTimeout : int(timeLimit(method).count());
    // The call is made from the reply thread so that its answer arrives there.
    replyQueue().async([this, payload, timeout, onReply, onError] {
        QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(MGAclProtocol::ServiceName), QString::fromLatin1(MGAclProtocol::ObjectPath),
                                                           QString::fromLatin1(MGAclProtocol::Interface), QStringLiteral("Call"));
        call << payload;
        auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(call, timeout),
                                                    replyQueue().context());
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, onReply, onError] {
            watcher->deleteLater();
            const QDBusMessage reply = watcher->reply();
            if (reply.type() != QDBusMessage::ReplyMessage) {
                return onError(connectionError(
                    Interrupted, QStringLiteral("The connection to the privileged ACL service failed: %1").arg(reply.errorMessage())));
            }
            QCborParserError error;
            const QCborValue value = QCborValue::fromCbor(reply.arguments().value(0).toByteArray(), &error);
            if (error.error != QCborError::NoError || !value.isMap())
                return onError(connectionError(MalformedReply, QStringLiteral("The privileged ACL service sent a malformed reply.")));
            onReply(value.toMap());
        });
    });
}
