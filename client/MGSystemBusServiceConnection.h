#pragma once

#include "MGServiceConnection.h"

#include <QDBusConnection>

// The privileged connection: the ACL service running as root as a system-bus service
// (started by bus activation), which checks the caller's authorisation on every call.
class MGSystemBusServiceConnection : public MGServiceConnection
{
public:
    MGSystemBusServiceConnection();

    // Whether the service is running or can be started on the system bus; an error says why not.
    static MGResultError checkAvailable(const QDBusConnection &bus);

    void send(MGAclRemoteMethod method, const QCborMap &arguments, ReplyHandler onReply, ErrorHandler onError,
              ProgressHandler onProgress = {}) override;

private:
    QAtomicInteger<quint64> m_nextId = 1;
};
