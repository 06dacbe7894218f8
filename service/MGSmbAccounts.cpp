#include "MGSmbAccounts.h"

#include "MGLoadedLibrary.h"
#include "MGSmbClient.h"

#include <QMutexLocker>
#include <algorithm>
#include <cerrno>
#include <netapi.h>

namespace {
constexpr quint32 IncludeIndirect = 0x1; // aliases reached through groups as well

// The ways servers say that they know no such account.
bool isUnknownAccount(int status)
{
    return status == 2220 /* no such group */ || status == 2221 /* no such user */ || status == 1317 /* no such user */
        || status == 1319 /* no such group */ || status == 1332 /* no name maps to a SID */;
}

// The calls used, resolved once from the library.
struct Library
{
    decltype(&libnetapi_init) init = nullptr;
    decltype(&libnetapi_set_username) setUser = nullptr;
    decltype(&libnetapi_set_password) setPassword = nullptr;
    decltype(&libnetapi_set_workgroup) setWorkgroup = nullptr;
    decltype(&libnetapi_set_use_kerberos) useKerberos = nullptr;
    decltype(&libnetapi_set_debuglevel) setDebugLevel = nullptr;
    decltype(&libnetapi_get_error_string) errorString = nullptr;
    decltype(&NetApiBufferFree) free = nullptr;
    decltype(&NetUserGetInfo) userInfo = nullptr;
    decltype(&NetUserGetGroups) userGroups = nullptr;
    decltype(&NetUserGetLocalGroups) userAliases = nullptr;
    decltype(&NetLocalGroupEnum) aliases = nullptr;
    decltype(&NetGroupGetInfo) groupInfo = nullptr;
    QString error;
};

const Library &library()
{
    static const Library loaded = [] {
        Library l;
        MGLoadedLibrary lib(QStringLiteral("netapi"), 1, QStringLiteral("the network management library"));
        lib.resolve(l.init, "libnetapi_init");
        lib.resolve(l.setUser, "libnetapi_set_username");
        lib.resolve(l.setPassword, "libnetapi_set_password");
        lib.resolve(l.setWorkgroup, "libnetapi_set_workgroup");
        lib.resolve(l.useKerberos, "libnetapi_set_use_kerberos");
        lib.resolve(l.setDebugLevel, "libnetapi_set_debuglevel");
        lib.resolve(l.errorString, "libnetapi_get_error_string");
        lib.resolve(l.free, "NetApiBufferFree");
        lib.resolve(l.userInfo, "NetUserGetInfo");
        lib.resolve(l.userGroups, "NetUserGetGroups");
        lib.resolve(l.userAliases, "NetUserGetLocalGroups");
        lib.resolve(l.aliases, "NetLocalGroupEnum");
        lib.resolve(l.groupInfo, "NetGroupGetInfo");
        l.error = lib.error();
        return l;
    }();
    return loaded;
}

QString sidText(const domsid *sid)
{
    if (!sid)
        return QString();
    quint64 authority = 0;
    for (const uint8_t byte : sid->id_auth)
        authority = authority << 8 | byte;
    QString text = QStringLiteral("S-%1-%2").arg(sid->sid_rev_num).arg(authority);
    for (int i = 0; i < sid->num_auths && i < MAXSUBAUTHS; ++i)
        text += QStringLiteral("-%1").arg(sid->sub_auths[i]);
    return text;
}

// The aliases every server has, by the names servers give them: their SIDs are fixed.
QString builtinAliasSid(const QString &name)
{
    static const QHash<QString, int> rids = {
        {QStringLiteral("administrators"), 544}, {QStringLiteral("users"), 545}, {QStringLiteral("guests"), 546},
        {QStringLiteral("power users"), 547}, {QStringLiteral("account operators"), 548},
        {QStringLiteral("server operators"), 549}, {QStringLiteral("print operators"), 550},
        {QStringLiteral("backup operators"), 551}, {QStringLiteral("replicator"), 552},
        {QStringLiteral("remote desktop users"), 555}, {QStringLiteral("network configuration operators"), 556}};
    const auto found = rids.constFind(name.toLower());
    return found == rids.constEnd() ? QString() : QStringLiteral("S-1-5-32-%1").arg(*found);
}

// One session with the library: its context set up for the login, and the calls' buffers
// freed when done.
class Session
{
public:
    Session(const Library &l, const MGServerCredentials &login, const QString &server) : l(l), m_server(server.toUtf8())
    {
        if (l.init(&m_context) != NET_API_STATUS_SUCCESS || !m_context)
            return;
        l.setDebugLevel(m_context, "0");
        if (login.isEmpty()) {
            l.useKerberos(m_context);
        } else {
            l.setUser(m_context, login.user().toUtf8().constData());
            l.setPassword(m_context, login.password().constData());
            if (!login.domain().isEmpty())
                l.setWorkgroup(m_context, login.domain().toUtf8().constData());
        }
    }
    bool ready() const { return m_context; }
    const char *server() const { return m_server.constData(); }
    QString why(NET_API_STATUS status) const
    {
        char *text = l.errorString(m_context, status);
        const QString said = text ? QString::fromUtf8(text) : QStringLiteral("error %1").arg(int(status));
        if (text)
            l.free(text);
        return said;
    }
    // A call's buffer, freed when it goes.
    struct Buffer
    {
        const Library &l;
        uint8_t *data = nullptr;
        ~Buffer()
        {
            if (data)
                l.free(data);
        }
    };

private:
    const Library &l;
    libnetapi_ctx *m_context = nullptr;
    QByteArray m_server;
};

MGError failure(const QString &server, const QString &account, int status, const QString &why)
{
    const int error = isUnknownAccount(status) ? ENOENT : status == 5 ? EACCES : EIO;
    QString said = isUnknownAccount(status) ? QStringLiteral("the server knows no user or group of that name") : why;
    while (said.endsWith(QLatin1Char('.')))
        said.chop(1);
    return MGError::posixError(error, QStringLiteral("What \u201c%1\u201d may do cannot be learned from \u201c%2\u201d: %3.")
                                          .arg(account, server, said));
}
}

MGResult<MGNtToken> MGSmbAccounts::tokenFor(const QString &server, const QString &account) const
{
    const Library &l = library();
    if (!l.error.isEmpty())
        return MGError::posixError(ENOSYS, QStringLiteral("A file server's accounts cannot be asked about: %1.").arg(l.error));
    const QString name = account.section(QLatin1Char('\\'), -1);
    const QByteArray nameBytes = name.toUtf8();
    const QMutexLocker locker(&MGSmbClient::libraryTurns());
    Session session(l, m_login, server);
    if (!session.ready())
        return MGError::posixError(EIO, QStringLiteral("A file server's accounts cannot be asked about: the network "
                                                       "management library could not be set up."));
    MGNtToken token;
    token.sids = MGNtToken::networkLoginSids();
    token.names = MGNtToken::networkLoginNames();
    Session::Buffer user{l};
    const NET_API_STATUS found = l.userInfo(session.server(), nameBytes.constData(), 4, &user.data);
    if (found != NET_API_STATUS_SUCCESS) {
        if (!isUnknownAccount(int(found)))
            return failure(server, account, int(found), session.why(found));
        // A group: what any member holds through it.
        Session::Buffer group{l};
        const NET_API_STATUS isGroup = l.groupInfo(session.server(), nameBytes.constData(), 3, &group.data);
        if (isGroup != NET_API_STATUS_SUCCESS)
            return failure(server, account, int(isGroup), session.why(isGroup));
        const QString sid = sidText(reinterpret_cast<GROUP_INFO_3 *>(group.data)->grpi3_group_sid);
        token.sids.insert(sid);
        token.names.insert(sid, account);
        return token;
    }
    const auto *info = reinterpret_cast<USER_INFO_4 *>(user.data);
    token.userSid = sidText(info->usri4_user_sid);
    token.sids.insert(token.userSid);
    token.names.insert(token.userSid, account);
    const QString domain = token.userSid.section(QLatin1Char('-'), 0, -2);
    token.sids.insert(QStringLiteral("%1-%2").arg(domain).arg(info->usri4_primary_group_id));

    uint32_t read = 0, total = 0;
    Session::Buffer groups{l};
    NET_API_STATUS status = l.userGroups(session.server(), nameBytes.constData(), 0, &groups.data, uint32_t(-1), &read, &total);
    if (status != NET_API_STATUS_SUCCESS)
        return failure(server, account, int(status), session.why(status));
    for (uint32_t i = 0; i < read; ++i) {
        Session::Buffer group{l};
        const char *groupName = reinterpret_cast<GROUP_USERS_INFO_0 *>(groups.data)[i].grui0_name;
        status = l.groupInfo(session.server(), groupName, 3, &group.data);
        if (status != NET_API_STATUS_SUCCESS)
            return failure(server, account, int(status), session.why(status));
        const QString sid = sidText(reinterpret_cast<GROUP_INFO_3 *>(group.data)->grpi3_group_sid);
        token.sids.insert(sid);
        token.names.insert(sid, QString::fromUtf8(groupName));
    }
    // The aliases the account is in, directly or through its groups.
    Session::Buffer aliases{l};
    status = l.userAliases(session.server(), nameBytes.constData(), 0, IncludeIndirect, &aliases.data, uint32_t(-1), &read, &total);
    if (status == NET_API_STATUS_SUCCESS) {
        for (uint32_t i = 0; i < read; ++i) {
            const QString alias = QString::fromUtf8(reinterpret_cast<LOCALGROUP_USERS_INFO_0 *>(aliases.data)[i].lgrui0_name);
            if (const QString sid = builtinAliasSid(alias); !sid.isEmpty()) {
                token.sids.insert(sid);
                token.names.insert(sid, QStringLiteral("BUILTIN\\") + alias);
            }
            else
                token.aliasNames.insert(alias.toLower());
        }
        return token;
    }
    if (!isUnknownAccount(int(status)))
        return failure(server, account, int(status), session.why(status));
    // Samba's library cannot name an alias of the server's own domain that the account is
    // in (it says "none mapped"): the account is in some alias, which one is not told. Entries
    // for the server's aliases then depend on what the server does not tell.
    token.unknownPrefixes << QStringLiteral("S-1-5-32-");
    Session::Buffer all{l};
    uint32_t resume = 0;
    status = l.aliases(session.server(), 0, &all.data, uint32_t(-1), &read, &total, &resume);
    if (status != NET_API_STATUS_SUCCESS)
        return failure(server, account, int(status), session.why(status));
    for (uint32_t i = 0; i < read; ++i)
        token.unknownNames.insert(QString::fromUtf8(reinterpret_cast<LOCALGROUP_INFO_0 *>(all.data)[i].lgrpi0_name).toLower());
    return token;
}
