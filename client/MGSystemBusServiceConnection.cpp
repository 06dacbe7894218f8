#include "MGSystemBusServiceConnection.h"

#include <QCborValue>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>

namespace {
// Propagation and backups of a large tree take as long as they take.
constexpr int WalkTimeout = 24 * 60 * 60 * 1000;
}

// Receives the service's progress signals on the reply thread.
class MGBusProgressReceiver : public QObject
{
    Q_OBJECT
public:
    explicit MGBusProgressReceiver(MGSystemBusServiceConnection *connection) : m_connection(connection) {}

public slots:
    void Progress(const QByteArray &report) { m_connection->progressArrived(report); }

private:
    MGSystemBusServiceConnection *m_connection;
};

MGSystemBusServiceConnection::MGSystemBusServiceConnection()
    : MGServiceConnection(QStringLiteral("com.quillwork.Marrowgate.PrivilegedService.Replies"))
{
    // Only the service's signals match: the bus names their sender, and Qt checks it
    // against the owner of the service's name.
    replyQueue().sync([this] {
        m_receiver = new MGBusProgressReceiver(this);
        QDBusConnection::systemBus().connect(QString::fromLatin1(MGAclProtocol::ServiceName),
                                             QString::fromLatin1(MGAclProtocol::ObjectPath),
                                             QString::fromLatin1(MGAclProtocol::Interface), QStringLiteral("Progress"),
                                             m_receiver, SLOT(Progress(QByteArray)));
    });
}

MGSystemBusServiceConnection::~MGSystemBusServiceConnection()
{
    replyQueue().sync([this] {
        QDBusConnection::systemBus().disconnect(QString::fromLatin1(MGAclProtocol::ServiceName),
                                                QString::fromLatin1(MGAclProtocol::ObjectPath),
                                                QString::fromLatin1(MGAclProtocol::Interface),
                                                QStringLiteral("Progress"), m_receiver, SLOT(Progress(QByteArray)));
        delete m_receiver;
    });
}

void MGSystemBusServiceConnection::progressArrived(const QByteArray &report)
{
    const QCborMap map = QCborValue::fromCbor(report).toMap();
    const std::optional<qint64> id = MGAclProtocol::requestNumber(map.value(MGAclProtocol::Field::Id));
    if (!id)
        return;
    ProgressHandler handler;
    {
        QMutexLocker locker(&m_lock);
        handler = m_progress.value(quint64(*id));
    }
    if (handler)
        handler(map);
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

quint64 MGSystemBusServiceConnection::send(MGAclRemoteMethod method, const QCborMap &arguments, ReplyHandler onReply,
                                           ErrorHandler onError, ProgressHandler onProgress)
{
    const quint64 id = m_nextId++;
    const QByteArray payload = request(id, method, arguments).toCborValue().toCbor();
    const bool walks = method == MGAclRemoteMethod::PropagateEntries || method == MGAclRemoteMethod::BackupEntries
        || method == MGAclRemoteMethod::AuditAccess;
    const int timeout = walks ? WalkTimeout : int(timeLimit(method).count());
    if (onProgress) {
        QMutexLocker locker(&m_lock);
        m_progress.insert(id, onProgress);
    }
    auto ended = [this, id] {
        QMutexLocker locker(&m_lock);
        m_progress.remove(id);
    };
    onReply = [onReply, ended](const QCborMap &reply) {
        ended();
        onReply(reply);
    };
    onError = [onError, ended](const MGError &error) {
        ended();
        onError(error);
    };
    // The call is made from the reply thread so that its answer arrives there, after the
    // signals the service sent before it.
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
    return id;
}

#include "MGSystemBusServiceConnection.moc"
