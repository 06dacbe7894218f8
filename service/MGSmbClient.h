#pragma once

#include "MGError.h"
#include "MGServerCredentials.h"

#include <QByteArray>
#include <QMutex>
#include <QRecursiveMutex>
#include <QString>
#include <memory>
#include <sys/stat.h>

// One connection to SMB file servers with one account, through the system's SMB client
// library. The library is loaded when the first connection is made, so a process that never
// asks for a server item (the privileged service refuses them) never maps it.
//
// Without credentials the connection uses the user's own: a Kerberos ticket where there is
// one. It never logs in anonymously. Every call gives up after the time limit, well within
// what the service's caller waits. The library is not safe for use from several threads at
// once, so connections take turns.
class MGSmbClient
{
public:
    explicit MGSmbClient(const MGServerCredentials &credentials);
    ~MGSmbClient();
    MGSmbClient(const MGSmbClient &) = delete;
    MGSmbClient &operator=(const MGSmbClient &) = delete;

    // The library could not be loaded or the connection not be made.
    MGResultError setupError() const { return m_setupError; }

    MGResult<QByteArray> getAttribute(const QByteArray &url, const char *name) const;
    // An item's security descriptor whole, in the binary self-relative form: its owner, group
    // and access control list (in the server's order) and their control flags. Read with the
    // right to read permissions alone.
    MGResult<QByteArray> securityDescriptor(const QByteArray &url) const;
    // Sets the parts of a binary descriptor that `information` names (owner 0x1, group 0x2,
    // access control list 0x4), as they are: the entries in the order given, the control
    // flags (protection from inheritance) kept. Asks for the right to change permissions, and
    // for the right to take ownership only when owner or group are sent.
    MGResultError setSecurityDescriptor(const QByteArray &url, const QByteArray &descriptor, quint32 information) const;
    static constexpr quint32 OwnerPart = 0x1, GroupPart = 0x2, AclPart = 0x4;
    // An item's URL as messages show it (never with a password).
    static QString shown(const QByteArray &url);
    MGResult<struct stat> status(const QByteArray &url) const;
    // The names in a folder, without "." and ".." (and without what the server lists but is
    // no file or folder: printers, pipes).
    struct Child
    {
        QByteArray name;
        bool directory = false;
    };
    MGResult<QList<Child>> children(const QByteArray &url) const;

    // A named pipe of a server (on its IPC$ share), open for an exchange of messages. The
    // library's turn is held while it is open, so it is closed as soon as the exchange ends.
    class Pipe
    {
    public:
        ~Pipe();
        MGResultError write(const QByteArray &bytes);
        // Exactly `size` bytes. A read asks for no more than the message holds: a longer one
        // waits for bytes the server never sends.
        MGResult<QByteArray> read(qsizetype size);

    private:
        friend class MGSmbClient;
        Pipe(const MGSmbClient &client, QByteArray url);
        const MGSmbClient &m_client;
        QByteArray m_url;
        QMutexLocker<QRecursiveMutex> m_turn;
        void *m_file = nullptr;
    };
    MGResult<std::unique_ptr<Pipe>> openPipe(const QString &server, const QString &name) const;

    static constexpr int TimeLimitMilliseconds = 20000;
    // Whether a failure says the server is gone (it does not answer, or closed the
    // connection) rather than that one item failed: a walk ends there, since every item after
    // would wait out the time limit in turn.
    static bool serverIsGone(const MGError &error);
    // Samba's client libraries share state within a process: every call into one of them
    // takes this turn. A thread that holds it (an open pipe) may take it again.
    static QRecursiveMutex &libraryTurns();

private:
    MGError failure(const QByteArray &url, int error) const;
    MGError statusFailure(const QByteArray &url, quint32 status) const;
    // The lower-level connection the library keeps to the item's share (made by a call on the
    // item when there is none, or with `make`), and the item's path on it.
    MGResult<void *> shareConnection(const QByteArray &url, QByteArray *path, bool make) const;
    struct OpenItem
    {
        void *connection;
        quint16 file;
    };
    // The item opened on that connection with `access`; a kept connection that has gone is
    // made again, once.
    MGResult<OpenItem> openItem(const QByteArray &url, quint32 access) const;
    struct Context;
    std::unique_ptr<Context> m_context;
    MGResultError m_setupError;
    MGServerCredentials m_credentials;
};
