#pragma once

#include "MGServiceConnection.h"

#include <QDBusConnection>
#include <QHash>
#include <QMutex>

class MGBusProgressReceiver;

// The privileged connection: the ACL service running as root as a system-bus service
// (started by bus activation), which checks the caller's authorisation on every call.
// Progress reports arrive as "Progress" signals the service sends to this caller alone.
class MGSystemBusServiceConnection : public MGServiceConnection
{
public:
    MGSystemBusServiceConnection();
    ~MGSystemBusServiceConnection() override;

    // Whether the service is running or can be started on the system bus; an error says why not.
    static MGResultError checkAvailable(const QDBusConnection &bus);

    quint64 send(MGAclRemoteMethod method, const QCborMap &arguments, ReplyHandler onReply, ErrorHandler onError,
                 ProgressHandler onProgress = {}) override;

    // A report from the service (on the reply thread).
    void progressArrived(const QByteArray &report);

private:
    QAtomicInteger<quint64> m_nextId = 1;
    QMutex m_lock;
    QHash<quint64, ProgressHandler> m_progress; // by request, while the call runs
    MGBusProgressReceiver *m_receiver = nullptr; // lives on the reply thread
};
