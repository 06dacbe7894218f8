#pragma once

#include "MGAclProtocol.h"
#include "MGAclServiceProxy.h"
#include "MGRemoteClasses.h"
#include "MGWorkQueue.h"

#include <QCborMap>
#include <QHash>
#include <QMutex>
#include <memory>

// A connection to the ACL service. Subclasses carry requests to one kind of service (a
// child process, the system bus); this class turns them into typed calls, checks what
// replies may contain, and runs every reply and error handler on its own reply thread.
class MGServiceConnection
{
public:
    using ReplyHandler = std::function<void(const QCborMap &reply)>;
    using ErrorHandler = std::function<void(const MGError &error)>;
    using ProgressHandler = std::function<void(const QCborMap &progress)>;

    enum ErrorCode { Interrupted = 4097, TimedOut = 4098, Invalid = 4099, MalformedReply = 4864 };
    static MGError connectionError(ErrorCode code, const QString &description);

    explicit MGServiceConnection(const QString &name);
    virtual ~MGServiceConnection();

    // A proxy whose calls report a failed connection to `handler`, once per call.
    std::shared_ptr<MGAclServiceProxy> remoteObjectProxyWithErrorHandler(ErrorHandler handler);

    // Per remote method (its selector), what the method's reply may contain.
    void setRemoteEncodableClasses(const QHash<QString, MGRemoteClasses::Classes> &classes);
    MGRemoteClasses::Classes allowedClasses(const QString &method) const;

    MGWorkQueue &replyQueue() { return m_replies; }

    // Sends one request. Exactly one handler runs later on the reply thread: `onReply`
    // with the service's reply, or `onError` when the connection fails first or the call
    // runs out of time (timeLimit()). `onProgress` gets the service's progress reports for
    // the call, on the reply thread, before the reply. Answers the request's number.
    virtual quint64 send(MGAclRemoteMethod method, const QCborMap &arguments, ReplyHandler onReply, ErrorHandler onError,
                         ProgressHandler onProgress = {}) = 0;

    // How long a call of `method` may wait for a word from the service: the protocol's
    // limit, unless set for this connection (for hosts with slow file systems, and tests).
    std::chrono::milliseconds timeLimit(MGAclRemoteMethod method) const;
    void setTimeLimit(std::optional<std::chrono::milliseconds> limit);

protected:
    // The request as it crosses the connection: number, method, language and arguments.
    static QCborMap request(quint64 id, MGAclRemoteMethod method, const QCborMap &arguments);

private:
    MGWorkQueue m_replies;
    std::atomic<qint64> m_timeLimit = 0; // milliseconds; 0: the protocol's
    mutable QMutex m_classesLock;
    QHash<QString, MGRemoteClasses::Classes> m_classes;
};
