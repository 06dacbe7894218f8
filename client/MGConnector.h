#pragma once

#include "MGError.h"
#include "MGRemoteClasses.h"
#include "MGServiceConnection.h"
#include "MGWorkQueue.h"

#include <memory>

// The base of objects that talk to the ACL service: a serial work queue, the ordinary
// connection (the service running as the user), and the privileged connection, which is
// usable once an authorisation right has been obtained.
class MGConnector
{
public:
    using AuthorizationReply = std::function<void(MGResultError error)>;

    explicit MGConnector(const QString &queueLabel);
    virtual ~MGConnector();
    MGConnector(const MGConnector &) = delete;
    MGConnector &operator=(const MGConnector &) = delete;

    MGWorkQueue *queue() const { return m_queue.get(); }
    MGServiceConnection *connection();
    MGServiceConnection *authConnection();

    // Obtains the named right from the user through polkit (the desktop's authentication
    // dialog may appear) and prepares authConnection() to the privileged service. The reply
    // runs on the connector's authorisation thread; its error is empty on success,
    // NSOSStatusErrorDomain -60006 when the user dismissed the dialog, -60005 when the right
    // was refused, and says so when the privileged service is not installed.
    virtual void getAuthConnectionForRight(const char *right, AuthorizationReply reply);

    // What each remote method's reply may contain, applied to both connections.
    virtual QHash<QString, MGRemoteClasses::Classes> remoteEncodableClasses() const { return {}; }
    // The classes of an object exported to the service; none by default.
    virtual std::optional<QHash<QString, MGRemoteClasses::Classes>> exportedEncodableClasses() const
    {
        return std::nullopt;
    }

protected:
    // For a connector whose privileged connection is made elsewhere (and for tests).
    void setAuthConnection(std::unique_ptr<MGServiceConnection> connection);

private:
    std::unique_ptr<MGWorkQueue> m_queue;
    QMutex m_lock;
    std::unique_ptr<MGServiceConnection> m_connection;
    std::unique_ptr<MGServiceConnection> m_authConnection;
    // Last, so that it is stopped first: its tasks use the connections.
    std::unique_ptr<MGWorkQueue> m_authorizationQueue;
};
