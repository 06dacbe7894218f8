#include "CBIdentityAuthority.h"

#include <QMutex>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>
#include <vector>
#include <algorithm>

namespace {
// getpwent/getgrent keep one cursor per process.
QMutex enumerationLock;

QString gecosName(const char *gecos)
{
    // The first comma-separated field of GECOS is the full name.
    return QString::fromUtf8(gecos ? gecos : "").section(QLatin1Char(','), 0, 0).trimmed();
}

CBIdentity fromPasswd(const passwd &pw)
{
    return CBIdentity::user(pw.pw_uid, QString::fromUtf8(pw.pw_name), gecosName(pw.pw_gecos));
}

CBIdentity fromGroup(const group &gr)
{
    return CBIdentity::group(gr.gr_gid, QString::fromUtf8(gr.gr_name));
}

// Runs a reentrant NSS lookup with a buffer that grows while the call asks for more room.
// The call fills its own entry and answers the lookup's return code and result pointer.
template <typename Entry, typename Call>
std::optional<Entry> reentrantLookup(Call call)
{
    std::vector<char> buffer(16384);
    for (;;) {
        Entry entry{};
        Entry *result = nullptr;
        const int rc = call(&entry, buffer.data(), buffer.size(), &result);
        if (rc == ERANGE && buffer.size() < (1u << 22)) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (rc != 0 || !result)
            return std::nullopt;
        return entry;
    }
}

// The entry's strings point into the lookup's buffer, so they are converted inside it.
std::optional<CBIdentity> userBy(auto call)
{
    std::optional<CBIdentity> identity;
    reentrantLookup<passwd>([&](passwd *pw, char *buf, size_t size, passwd **result) {
        const int rc = call(pw, buf, size, result);
        if (rc == 0 && *result)
            identity = fromPasswd(**result);
        return rc;
    });
    return identity;
}

std::optional<CBIdentity> groupBy(auto call)
{
    std::optional<CBIdentity> identity;
    reentrantLookup<group>([&](group *gr, char *buf, size_t size, group **result) {
        const int rc = call(gr, buf, size, result);
        if (rc == 0 && *result)
            identity = fromGroup(**result);
        return rc;
    });
    return identity;
}
}

CBIdentityAuthority &CBIdentityAuthority::defaultIdentityAuthority()
{
    static CBIdentityAuthority authority;
    return authority;
}

std::optional<CBIdentity> CBIdentityAuthority::userWithUid(uid_t uid) const
{
    return userBy([uid](passwd *pw, char *buf, size_t size, passwd **result) {
        return getpwuid_r(uid, pw, buf, size, result);
    });
}

std::optional<CBIdentity> CBIdentityAuthority::groupWithGid(gid_t gid) const
{
    return groupBy([gid](group *gr, char *buf, size_t size, group **result) {
        return getgrgid_r(gid, gr, buf, size, result);
    });
}

std::optional<CBIdentity> CBIdentityAuthority::userWithName(const QString &name) const
{
    const QByteArray n = name.toUtf8();
    return userBy([&n](passwd *pw, char *buf, size_t size, passwd **result) {
        return getpwnam_r(n.constData(), pw, buf, size, result);
    });
}

std::optional<CBIdentity> CBIdentityAuthority::groupWithName(const QString &name) const
{
    const QByteArray n = name.toUtf8();
    return groupBy([&n](group *gr, char *buf, size_t size, group **result) {
        return getgrnam_r(n.constData(), gr, buf, size, result);
    });
}

std::optional<CBIdentity> CBIdentityAuthority::identityWithName(const QString &name) const
{
    if (auto user = userWithName(name))
        return user;
    return groupWithName(name);
}

std::optional<CBIdentity> CBIdentityAuthority::identityForText(const QString &text) const
{
    const QString kind = text.section(QLatin1Char(':'), 0, 0);
    const QString rest = text.section(QLatin1Char(':'), 1);
    if (!text.contains(QLatin1Char(':')))
        return identityWithName(text);
    if (kind == QLatin1String("user"))
        return userWithName(rest);
    if (kind == QLatin1String("group"))
        return groupWithName(rest);
    bool ok = false;
    const quint32 id = rest.toUInt(&ok);
    if (!ok)
        return std::nullopt;
    if (kind == QLatin1String("uid"))
        return identityForId(CBIdentity::Class::User, id);
    if (kind == QLatin1String("gid"))
        return identityForId(CBIdentity::Class::Group, id);
    return std::nullopt;
}

std::optional<CBIdentity> CBIdentityAuthority::identityWithUniqueIdentifier(const QUuid &uuid) const
{
    const auto [identityClass, id] = CBIdentity::decodeUuid(uuid);
    if (identityClass == CBIdentity::Class::User)
        return userWithUid(id);
    if (identityClass == CBIdentity::Class::Group)
        return groupWithGid(id);
    return std::nullopt;
}

CBIdentity CBIdentityAuthority::identityForId(CBIdentity::Class identityClass, quint32 id) const
{
    if (identityClass == CBIdentity::Class::User)
        return userWithUid(id).value_or(CBIdentity::user(id));
    if (identityClass == CBIdentity::Class::Group)
        return groupWithGid(id).value_or(CBIdentity::group(id));
    return CBIdentity();
}

CBIdentity CBIdentityAuthority::currentUser() const
{
    return identityForId(CBIdentity::Class::User, getuid());
}

QList<CBIdentity> CBIdentityAuthority::allUsers() const
{
    QMutexLocker locker(&enumerationLock);
    QList<CBIdentity> users;
    setpwent();
    while (passwd *pw = getpwent())
        users << fromPasswd(*pw);
    endpwent();
    std::sort(users.begin(), users.end(), [](const CBIdentity &a, const CBIdentity &b) {
        return a.posixName().compare(b.posixName(), Qt::CaseInsensitive) < 0;
    });
    users.erase(std::unique(users.begin(), users.end()), users.end());
    return users;
}

QList<CBIdentity> CBIdentityAuthority::allGroups() const
{
    QMutexLocker locker(&enumerationLock);
    QList<CBIdentity> groups;
    setgrent();
    while (group *gr = getgrent())
        groups << fromGroup(*gr);
    endgrent();
    std::sort(groups.begin(), groups.end(), [](const CBIdentity &a, const CBIdentity &b) {
        return a.posixName().compare(b.posixName(), Qt::CaseInsensitive) < 0;
    });
    groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
    return groups;
}

QList<gid_t> CBIdentityAuthority::groupIdsOfUser(const CBIdentity &user) const
{
    QByteArray name;
    gid_t primary = 0;
    const bool found = reentrantLookup<passwd>([&](passwd *pw, char *buf, size_t size, passwd **result) {
        const int rc = getpwuid_r(user.posixID(), pw, buf, size, result);
        if (rc == 0 && *result) {
            name = QByteArray((*result)->pw_name);
            primary = (*result)->pw_gid;
        }
        return rc;
    }).has_value();
    if (!found)
        return {};
    int count = 64;
    std::vector<gid_t> groups(count);
    while (getgrouplist(name.constData(), primary, groups.data(), &count) < 0) {
        count = std::max<int>(count, int(groups.size()) * 2);
        groups.resize(count);
    }
    return QList<gid_t>(groups.begin(), groups.begin() + count);
}
