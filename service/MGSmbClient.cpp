#include "MGSmbClient.h"

#include "MGLoadedLibrary.h"

#include <QHash>
#include <QMutex>
#include <QUrl>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <libsmbclient.h>

namespace {
struct cli_state;
struct security_descriptor;
using NtStatus = quint32;

// The calls used, resolved once from the library.
struct Library
{
    decltype(&smbc_new_context) newContext = nullptr;
    decltype(&smbc_free_context) freeContext = nullptr;
    decltype(&smbc_init_context) initContext = nullptr;
    decltype(&smbc_setFunctionAuthDataWithContext) setAuth = nullptr;
    decltype(&smbc_setOptionUserData) setUserData = nullptr;
    decltype(&smbc_getOptionUserData) getUserData = nullptr;
    decltype(&smbc_setOptionNoAutoAnonymousLogin) noAnonymous = nullptr;
    decltype(&smbc_setOptionUseKerberos) useKerberos = nullptr;
    decltype(&smbc_setOptionFallbackAfterKerberos) fallbackAfterKerberos = nullptr;
    decltype(&smbc_setOptionUseCCache) useCCache = nullptr;
    decltype(&smbc_setTimeout) setTimeout = nullptr;
    decltype(&smbc_setDebug) setDebug = nullptr;
    decltype(&smbc_setLogCallback) setLogCallback = nullptr;
    decltype(&smbc_getFunctionGetxattr) getxattr = nullptr;
    decltype(&smbc_getFunctionStat) stat = nullptr;
    decltype(&smbc_getFunctionOpendir) opendir = nullptr;
    decltype(&smbc_getFunctionReaddir) readdir = nullptr;
    decltype(&smbc_getFunctionClosedir) closedir = nullptr;
    decltype(&smbc_getFunctionOpen) open = nullptr;
    decltype(&smbc_getFunctionRead) read = nullptr;
    decltype(&smbc_getFunctionWrite) write = nullptr;
    decltype(&smbc_getFunctionClose) close = nullptr;
    decltype(&smbc_getFunctionGetCachedServer) getCachedServer = nullptr;
    decltype(&smbc_getFunctionAddCachedServer) getAddCachedServer = nullptr;
    decltype(&smbc_setFunctionAddCachedServer) setAddCachedServer = nullptr;
    // The calls below the text attributes, which the library makes itself on its connections
    // (it cannot run without them; declared here as it defines them): they read and write a
    // descriptor whole, in the order given, with its control flags, asking only for the rights
    // the parts sent need. The text attributes sort entries, drop the protection from
    // inheritance and always ask for the right to take ownership.
    NtStatus (*create)(cli_state *, const char *path, quint32 flags, quint32 access, quint32 attributes, quint32 sharing,
                       quint32 disposition, quint32 options, quint8 securityFlags, quint16 *file, void *returns) = nullptr;
    NtStatus (*closeFile)(cli_state *, quint16 file) = nullptr;
    NtStatus (*query)(cli_state *, quint16 file, quint32 information, void *memory, security_descriptor **) = nullptr;
    NtStatus (*set)(cli_state *, quint16 file, quint32 information, const security_descriptor *) = nullptr;
    NtStatus (*marshall)(void *memory, const security_descriptor *, quint8 **bytes, size_t *size) = nullptr;
    NtStatus (*unmarshall)(void *memory, quint8 *bytes, size_t size, security_descriptor **) = nullptr;
    void *(*newMemory)(const void *parent, size_t size, const char *name) = nullptr;
    int (*freeMemory)(void *memory, const char *location) = nullptr;
    QString error;
};

const Library &library()
{
    static const Library loaded = [] {
        Library l;
        MGLoadedLibrary lib(QStringLiteral("smbclient"), 0, QStringLiteral("the SMB client library"));
        lib.resolve(l.newContext, "smbc_new_context");
        lib.resolve(l.freeContext, "smbc_free_context");
        lib.resolve(l.initContext, "smbc_init_context");
        lib.resolve(l.setAuth, "smbc_setFunctionAuthDataWithContext");
        lib.resolve(l.setUserData, "smbc_setOptionUserData");
        lib.resolve(l.getUserData, "smbc_getOptionUserData");
        lib.resolve(l.noAnonymous, "smbc_setOptionNoAutoAnonymousLogin");
        lib.resolve(l.useKerberos, "smbc_setOptionUseKerberos");
        lib.resolve(l.fallbackAfterKerberos, "smbc_setOptionFallbackAfterKerberos");
        lib.resolve(l.useCCache, "smbc_setOptionUseCCache");
        lib.resolve(l.setTimeout, "smbc_setTimeout");
        lib.resolve(l.setDebug, "smbc_setDebug");
        lib.resolve(l.setLogCallback, "smbc_setLogCallback");
        lib.resolve(l.getxattr, "smbc_getFunctionGetxattr");
        lib.resolve(l.stat, "smbc_getFunctionStat");
        lib.resolve(l.opendir, "smbc_getFunctionOpendir");
        lib.resolve(l.readdir, "smbc_getFunctionReaddir");
        lib.resolve(l.closedir, "smbc_getFunctionClosedir");
        lib.resolve(l.open, "smbc_getFunctionOpen");
        lib.resolve(l.read, "smbc_getFunctionRead");
        lib.resolve(l.write, "smbc_getFunctionWrite");
        lib.resolve(l.close, "smbc_getFunctionClose");
        lib.resolve(l.getCachedServer, "smbc_getFunctionGetCachedServer");
        lib.resolve(l.getAddCachedServer, "smbc_getFunctionAddCachedServer");
        lib.resolve(l.setAddCachedServer, "smbc_setFunctionAddCachedServer");
        lib.resolve(l.create, "cli_ntcreate");
        lib.resolve(l.closeFile, "cli_close");
        lib.resolve(l.query, "cli_query_security_descriptor");
        lib.resolve(l.set, "cli_set_security_descriptor");
        lib.resolve(l.marshall, "marshall_sec_desc");
        lib.resolve(l.unmarshall, "unmarshall_sec_desc");
        lib.resolve(l.newMemory, "talloc_named_const");
        lib.resolve(l.freeMemory, "_talloc_free");
        l.error = lib.error();
        return l;
    }();
    return loaded;
}

// What the lower-level calls allocate lives here and goes with it.
class CallMemory
{
public:
    CallMemory() : m_memory(library().newMemory(nullptr, 0, "marrowgate")) {}
    ~CallMemory()
    {
        if (m_memory)
            library().freeMemory(m_memory, "marrowgate");
    }
    CallMemory(const CallMemory &) = delete;
    CallMemory &operator=(const CallMemory &) = delete;
    void *get() const { return m_memory; }

private:
    void *m_memory;
};

// The library keeps each share's connection under the server, share, workgroup and user it
// logged in with; the connection's own is its first field.
struct CachedServer
{
    cli_state *connection;
};

constexpr quint32 ReadControl = 0x00020000, WriteDac = 0x00040000, WriteOwner = 0x00080000;
constexpr quint32 ShareAll = 0x7, OpenExisting = 1;
constexpr NtStatus ConnectionDisconnected = 0xC000020C, ConnectionReset = 0xC000020D;

// Where the library's connection to a share is filed here: server and share, as they come.
QString filedKey(const QString &server, const QString &share)
{
    return (server + QLatin1Char('/') + share).toLower();
}

QRecursiveMutex &turns()
{
    return MGSmbClient::libraryTurns();
}

void copyInto(char *buffer, int size, const QByteArray &text)
{
    if (size <= 0)
        return;
    const int n = std::min<int>(size - 1, int(text.size()));
    std::memcpy(buffer, text.constData(), size_t(n));
    buffer[n] = '\0';
}
}

QRecursiveMutex &MGSmbClient::libraryTurns()
{
    // The library keeps state of its own between calls, so one connection works at a time.
    static QRecursiveMutex mutex;
    return mutex;
}

struct MGSmbClient::Context
{
    SMBCCTX *context = nullptr;
    const MGServerCredentials *credentials = nullptr;
    // What the library filed each share's connection under (by filedKey), to ask it for the
    // connection again: server and share as given, and the workgroup and user it settled on.
    struct Filed
    {
        QByteArray server, share, workgroup, user;
    };
    smbc_add_cached_srv_fn fileServer = nullptr;
    QHash<QString, Filed> filed;
};

MGSmbClient::MGSmbClient(const MGServerCredentials &credentials) : m_credentials(credentials)
{
    const Library &l = library();
    if (!l.error.isEmpty()) {
        m_setupError = MGError::posixError(ENOSYS, QStringLiteral("Items on file servers cannot be reached: %1.").arg(l.error));
        return;
    }
    const QMutexLocker locker(&turns());
    m_context = std::make_unique<Context>();
    m_context->credentials = &m_credentials;
    m_context->context = l.newContext();
    if (!m_context->context) {
        m_setupError = MGError::posixError(errno ? errno : ENOMEM, QStringLiteral("Items on file servers cannot be reached: "
                                                                                  "the SMB client could not be set up."));
        return;
    }
    SMBCCTX *context = m_context->context;
    // The library's own messages (its attempts, in its words) say nothing the error that a
    // call returns does not; they would only reach the caller's terminal.
    l.setDebug(context, 0);
    l.setLogCallback(context, nullptr, [](void *, int, const char *) {});
    l.setUserData(context, m_context.get());
    l.setAuth(context, [](SMBCCTX *c, const char *, const char *, char *workgroup, int workgroupSize, char *user,
                          int userSize, char *password, int passwordSize) {
        const auto *self = static_cast<Context *>(library().getUserData(c));
        if (!self || self->credentials->isEmpty())
            return; // the user's own ticket, or nothing
        copyInto(user, userSize, self->credentials->user().toUtf8());
        copyInto(password, passwordSize, self->credentials->password());
        if (!self->credentials->domain().isEmpty())
            copyInto(workgroup, workgroupSize, self->credentials->domain().toUtf8());
    });
    m_context->fileServer = l.getAddCachedServer(context);
    l.setAddCachedServer(context, [](SMBCCTX *c, SMBCSRV *server, const char *name, const char *share,
                                     const char *workgroup, const char *user) {
        auto *self = static_cast<Context *>(library().getUserData(c));
        self->filed.insert(filedKey(QString::fromUtf8(name), QString::fromUtf8(share)),
                           {name, share, workgroup ? workgroup : "", user ? user : ""});
        return self->fileServer(c, server, name, share, workgroup, user);
    });
    l.noAnonymous(context, 1);
    // With no account given, the user's Kerberos ticket; with one, its password.
    l.useKerberos(context, m_credentials.isEmpty() ? 1 : 0);
    l.fallbackAfterKerberos(context, m_credentials.isEmpty() ? 0 : 1);
    l.useCCache(context, 0);
    l.setTimeout(context, TimeLimitMilliseconds);
    if (!l.initContext(context)) {
        const int error = errno;
        l.freeContext(context, 1);
        m_context->context = nullptr;
        m_setupError = MGError::posixError(error ? error : EIO, QStringLiteral("Items on file servers cannot be reached: "
                                                                               "the SMB client could not be set up."));
    }
}

MGSmbClient::~MGSmbClient()
{
    if (m_context && m_context->context) {
        const QMutexLocker locker(&turns());
        library().freeContext(m_context->context, 1);
    }
}

QString MGSmbClient::shown(const QByteArray &url)
{
    return QUrl::fromEncoded(url).toDisplayString(QUrl::RemovePassword);
}

MGError MGSmbClient::failure(const QByteArray &url, int error) const
{
    const QString item = shown(url);
    // The library says 0 where the server refused a change without saying why, and "invalid
    // argument" where the user's own login found no Kerberos ticket the server takes: both
    // are refusals, which another account may overcome.
    if (error == 0 || (error == EINVAL && m_credentials.isEmpty()))
        error = EACCES;
    QString why;
    switch (error) {
    case EACCES:
    case EPERM:
        why = m_credentials.isEmpty() ? QStringLiteral("the server refused access to your account")
                                      : QStringLiteral("the server refused access to the account \u201c%1\u201d (or its "
                                                       "password is wrong)")
                                            .arg(m_credentials.user());
        break;
    case ETIMEDOUT:
    case EHOSTUNREACH:
    case ECONNREFUSED:
    case ENETUNREACH:
        why = QStringLiteral("the server does not answer (%1)").arg(QString::fromLocal8Bit(strerror(error)));
        break;
    case ENOENT:
        why = QStringLiteral("there is no such item on the server");
        break;
    case ECONNRESET:
        why = QStringLiteral("the server closed the connection");
        break;
    default:
        why = QString::fromLocal8Bit(strerror(error));
    }
    return MGError::posixError(error, QStringLiteral("\u201c%1\u201d: %2.").arg(item, why));
}

bool MGSmbClient::serverIsGone(const MGError &error)
{
    switch (error.code()) {
    case ETIMEDOUT:
    case ECONNRESET:
    case ECONNREFUSED:
    case EHOSTUNREACH:
    case ENETUNREACH:
    case ENOTCONN:
    case EPIPE:
        return true;
    default:
        return false;
    }
}

MGError MGSmbClient::statusFailure(const QByteArray &url, quint32 status) const
{
    switch (status) {
    case 0xC0000022: // access denied
    case 0xC0000061: // privilege not held
        return failure(url, EACCES);
    case 0xC0000034: // object name not found
    case 0xC000003A: // object path not found
        return failure(url, ENOENT);
    case 0xC00000B5: // I/O timeout
        return failure(url, ETIMEDOUT);
    case 0xC0000043: // sharing violation
        return failure(url, EBUSY);
    case ConnectionDisconnected:
    case ConnectionReset:
        return failure(url, ECONNRESET);
    case 0xC0000257: // path not covered: a link of a distributed file system
        return MGError::posixError(EREMOTE, QStringLiteral("\u201c%1\u201d: the path leads through a link to another "
                                                           "server (DFS), which is not followed.")
                                                .arg(shown(url)));
    default:
        return MGError::posixError(EIO, QStringLiteral("\u201c%1\u201d: the server answered with status 0x%2.")
                                            .arg(shown(url))
                                            .arg(status, 8, 16, QLatin1Char('0')));
    }
}

MGResult<void *> MGSmbClient::shareConnection(const QByteArray &url, QByteArray *path, bool make) const
{
    const QUrl item = QUrl::fromEncoded(url);
    const QString key = filedKey(item.host(), item.path().section(QLatin1Char('/'), 1, 1));
    const auto cached = [&]() -> SMBCSRV * {
        const auto filed = m_context->filed.constFind(key);
        if (filed == m_context->filed.constEnd())
            return nullptr;
        return library().getCachedServer(m_context->context)(m_context->context, filed->server.constData(),
                                                             filed->share.constData(), filed->workgroup.constData(),
                                                             filed->user.constData());
    };
    SMBCSRV *server = make ? nullptr : cached();
    if (!server) {
        // A call on the item makes the connection (again, where the one before went).
        if (const MGResult<struct stat> st = status(url); !st)
            return st.error();
        server = cached();
    }
    if (!server)
        return failure(url, ENOTCONN);
    *path = item.path().section(QLatin1Char('/'), 2).replace(QLatin1Char('/'), QLatin1Char('\\')).toUtf8();
    return static_cast<void *>(reinterpret_cast<CachedServer *>(server)->connection);
}

MGResult<MGSmbClient::OpenItem> MGSmbClient::openItem(const QByteArray &url, quint32 access) const
{
    for (const bool make : {false, true}) {
        QByteArray path;
        const MGResult<void *> connection = shareConnection(url, &path, make);
        if (!connection)
            return connection.error();
        OpenItem open{*connection, 0};
        const NtStatus status = library().create(static_cast<cli_state *>(open.connection), path.constData(), 0, access, 0,
                                                    ShareAll, OpenExisting, 0, 0, &open.file, nullptr);
        if (!status)
            return open;
        // A connection kept from before may have gone (an idle one the server dropped).
        if (make || (status != ConnectionDisconnected && status != ConnectionReset))
            return statusFailure(url, status);
    }
    return failure(url, ENOTCONN);
}

MGResult<QByteArray> MGSmbClient::securityDescriptor(const QByteArray &url) const
{
    if (m_setupError)
        return *m_setupError;
    const QMutexLocker locker(&turns());
    const MGResult<OpenItem> open = openItem(url, ReadControl);
    if (!open)
        return open.error();
    auto *cli = static_cast<cli_state *>(open->connection);
    const Library &l = library();
    const CallMemory memory;
    security_descriptor *descriptor = nullptr;
    const NtStatus status = l.query(cli, open->file, OwnerPart | GroupPart | AclPart, memory.get(), &descriptor);
    l.closeFile(cli, open->file);
    if (status)
        return statusFailure(url, status);
    quint8 *bytes = nullptr;
    size_t size = 0;
    if (const NtStatus failed = l.marshall(memory.get(), descriptor, &bytes, &size))
        return statusFailure(url, failed);
    return QByteArray(reinterpret_cast<const char *>(bytes), qsizetype(size));
}

MGResultError MGSmbClient::setSecurityDescriptor(const QByteArray &url, const QByteArray &descriptor, quint32 information) const
{
    if (m_setupError)
        return m_setupError;
    const QMutexLocker locker(&turns());
    const Library &l = library();
    const CallMemory memory;
    QByteArray bytes = descriptor;
    security_descriptor *parsed = nullptr;
    if (const NtStatus status = l.unmarshall(memory.get(), reinterpret_cast<quint8 *>(bytes.data()), size_t(bytes.size()), &parsed))
        return statusFailure(url, status);
    const quint32 access = ((information & AclPart) ? WriteDac : 0) | ((information & (OwnerPart | GroupPart)) ? WriteOwner : 0);
    const MGResult<OpenItem> open = openItem(url, access);
    if (!open)
        return open.error();
    auto *cli = static_cast<cli_state *>(open->connection);
    const NtStatus status = l.set(cli, open->file, information, parsed);
    l.closeFile(cli, open->file);
    if (status)
        return statusFailure(url, status);
    return std::nullopt;
}

MGResult<QByteArray> MGSmbClient::getAttribute(const QByteArray &url, const char *name) const
{
    if (m_setupError)
        return *m_setupError;
    const QMutexLocker locker(&turns());
    // A descriptor of an ACL at the largest size the protocol allows fits; the library says
    // ERANGE for more.
    QByteArray buffer(256 * 1024, '\0');
    errno = 0;
    const int result = library().getxattr(m_context->context)(m_context->context, url.constData(), name, buffer.data(),
                                                              size_t(buffer.size()));
    if (result < 0)
        return failure(url, errno);
    buffer.truncate(qsizetype(strnlen(buffer.constData(), size_t(buffer.size()))));
    return buffer;
}

MGResult<struct stat> MGSmbClient::status(const QByteArray &url) const
{
    if (m_setupError)
        return *m_setupError;
    const QMutexLocker locker(&turns());
    struct stat st = {};
    errno = 0;
    if (library().stat(m_context->context)(m_context->context, url.constData(), &st) < 0)
        return failure(url, errno);
    return st;
}

MGResult<QList<MGSmbClient::Child>> MGSmbClient::children(const QByteArray &url) const
{
    if (m_setupError)
        return *m_setupError;
    const QMutexLocker locker(&turns());
    const Library &l = library();
    errno = 0;
    SMBCFILE *folder = l.opendir(m_context->context)(m_context->context, url.constData());
    if (!folder)
        return failure(url, errno);
    QList<Child> children;
    while (const struct smbc_dirent *entry = l.readdir(m_context->context)(m_context->context, folder)) {
        const QByteArray name(entry->name);
        if (name == "." || name == ".." || (entry->smbc_type != SMBC_DIR && entry->smbc_type != SMBC_FILE))
            continue;
        children << Child{name, entry->smbc_type == SMBC_DIR};
    }
    l.closedir(m_context->context)(m_context->context, folder);
    return children;
}

MGSmbClient::Pipe::Pipe(const MGSmbClient &client, QByteArray url) : m_client(client), m_url(std::move(url)), m_turn(&turns())
{
}

MGSmbClient::Pipe::~Pipe()
{
    if (m_file)
        library().close(m_client.m_context->context)(m_client.m_context->context, static_cast<SMBCFILE *>(m_file));
}

MGResultError MGSmbClient::Pipe::write(const QByteArray &bytes)
{
    SMBCCTX *context = m_client.m_context->context;
    errno = 0;
    const ssize_t written = library().write(context)(context, static_cast<SMBCFILE *>(m_file), bytes.constData(), size_t(bytes.size()));
    if (written != ssize_t(bytes.size()))
        return m_client.failure(m_url, written < 0 ? errno : EIO);
    return std::nullopt;
}

MGResult<QByteArray> MGSmbClient::Pipe::read(qsizetype size)
{
    SMBCCTX *context = m_client.m_context->context;
    QByteArray bytes(size, '\0');
    qsizetype done = 0;
    while (done < size) {
        errno = 0;
        const ssize_t n = library().read(context)(context, static_cast<SMBCFILE *>(m_file), bytes.data() + done, size_t(size - done));
        if (n <= 0)
            return m_client.failure(m_url, n < 0 ? errno : EPROTO);
        done += n;
    }
    return bytes;
}

MGResult<std::unique_ptr<MGSmbClient::Pipe>> MGSmbClient::openPipe(const QString &server, const QString &name) const
{
    if (m_setupError)
        return *m_setupError;
    QUrl url;
    url.setScheme(QStringLiteral("smb"));
    url.setHost(server);
    url.setPath(QStringLiteral("/IPC$/") + name);
    std::unique_ptr<Pipe> pipe(new Pipe(*this, url.toEncoded()));
    errno = 0;
    pipe->m_file = library().open(m_context->context)(m_context->context, pipe->m_url.constData(), O_RDWR, 0);
    if (!pipe->m_file)
        return failure(pipe->m_url, errno);
    return pipe;
}
