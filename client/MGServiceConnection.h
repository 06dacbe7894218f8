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

    enum ErrorCode { Interrupted = 4097, Invalid = 4099, MalformedReply = 4864 };
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
    // with the service's reply, or `onError` when the connection fails first.
    virtual void send(MGAclRemoteMethod method, const QCborMap &arguments, ReplyHandler onReply, ErrorHandler onError) = 0;

protected:
    // The request as it crosses the connection: number, method, language and arguments.
    static QCborMap request(quint64 id, MGAclRemoteMethod method, const QCborMap &arguments);

private:
    MGWorkQueue m_replies;
    mutable QMutex m_classesLock;
    QHash<QString, MGRemoteClasses::Classes> m_classes;
};
