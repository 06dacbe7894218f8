#pragma once

#include "MGServiceConnection.h"

#include <QStringList>
#include <thread>
#include <vector>

// The ordinary connection: the ACL service started as a child process (running as the
// user, or under a launcher prefix) and spoken to over a socket pair. When the child exits
// or misbehaves, every outstanding call fails once; the next call starts a new child.
class MGChildServiceConnection : public MGServiceConnection
{
public:
    // `command`: the program and its arguments; empty means the default service.
    explicit MGChildServiceConnection(QStringList command = {});
    ~MGChildServiceConnection() override;

    // The command a connection made without one starts: the service installed beside this
    // library, unless a host (or a test) has set another.
    static QStringList defaultCommand();
    static void setDefaultCommand(const QStringList &command);

    quint64 send(MGAclRemoteMethod method, const QCborMap &arguments, ReplyHandler onReply, ErrorHandler onError,
                 ProgressHandler onProgress = {}) override;

    // The running child's process id, or 0.
    pid_t processId() const;

private:
    struct Session;
    std::shared_ptr<Session> startSession(MGError *error);
    void readReplies(std::shared_ptr<Session> session);

    QStringList m_command;
    mutable QMutex m_lock;
    std::shared_ptr<Session> m_session;
    std::vector<std::thread> m_readers; // the current session's, and ended ones' not yet joined
    quint64 m_nextId = 1;
};
