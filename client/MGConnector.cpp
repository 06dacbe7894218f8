#include "MGConnector.h"

#include "MGChildServiceConnection.h"
#include "MGPolkit.h"
#include "MGSystemBusServiceConnection.h"

MGConnector::MGConnector(const QString &queueLabel)
    : m_queue(std::make_unique<MGWorkQueue>(queueLabel)),
      m_authorizationQueue(std::make_unique<MGWorkQueue>(QStringLiteral("com.quillwork.Marrowgate.Authorization")))
{
}

MGConnector::~MGConnector() = default;

MGServiceConnection *MGConnector::connection()
{
    QMutexLocker locker(&m_lock);
    if (!m_connection) {
        m_connection = std::make_unique<MGChildServiceConnection>();
        m_connection->setRemoteEncodableClasses(remoteEncodableClasses());
    }
    return m_connection.get();
}

MGServiceConnection *MGConnector::authConnection()
{
    QMutexLocker locker(&m_lock);
    return m_authConnection.get();
}

void MGConnector::setAuthConnection(std::unique_ptr<MGServiceConnection> connection)
{
    if (connection)
        connection->setRemoteEncodableClasses(remoteEncodableClasses());
    QMutexLocker locker(&m_lock);
    m_authConnection = std::move(connection);
}

void MGConnector::getAuthConnectionForRight(const char *right, AuthorizationReply reply)
{
    const QString action = MGPolkit::actionForRight(QString::fromLatin1(right));
    m_authorizationQueue->async([this, action, reply] {
        const QDBusConnection bus = QDBusConnection::systemBus();
        // Asking for a password is pointless when nothing could use it.
        if (const MGResultError unavailable = MGSystemBusServiceConnection::checkAvailable(bus))
            return reply(unavailable);
        const MGResult<MGPolkit::Answer> answer = MGPolkit::checkAuthorization(bus, bus.baseService(), action, true);
        const QString osStatus = QString::fromLatin1(MGError::OSStatusDomain);
        if (!answer)
            return reply(answer.error());
        if (answer->dismissed)
            return reply(MGError(osStatus, MGError::AuthorizationCanceled, QStringLiteral("The authorisation was cancelled.")));
        if (!answer->authorized)
            return reply(MGError(osStatus, MGError::AuthorizationDenied,
                                 QStringLiteral("You are not authorised to do this (%1).").arg(action)));
        {
            // Made once and kept: other calls may be using it.
            QMutexLocker locker(&m_lock);
            if (!m_authConnection) {
                m_authConnection = std::make_unique<MGSystemBusServiceConnection>();
                m_authConnection->setRemoteEncodableClasses(remoteEncodableClasses());
            }
        }
        reply(std::nullopt);
    });
}
