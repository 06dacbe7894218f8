#include "MGConnector.h"

#include "MGChildServiceConnection.h"

MGConnector::MGConnector(const QString &queueLabel, QObject *parent)
    : QObject(parent), m_queue(std::make_unique<MGWorkQueue>(queueLabel))
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
    const MGError error = MGServiceConnection::connectionError(
        MGServiceConnection::Invalid,
        QStringLiteral("The privileged ACL service is not installed, so \u201c%1\u201d cannot be granted.")
            .arg(QString::fromLatin1(right)));
    connection()->replyQueue().async([reply, error] { reply(error); });
}
