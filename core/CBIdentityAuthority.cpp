#include "CBIdentityAuthority.h"

#include <QFile>
#include <QMutex>
#include <QSet>
#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <functional>
#include <grp.h>
#include <nss.h>
#include <pwd.h>
#include <thread>
#include <unistd.h>
#include <vector>

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

// Up to this many ids are asked for one by one, as a single id is: a directory answers
// each from its index, and a name-service cache can answer them. More ids are found
// together, reading the local database once for all of them.
constexpr qsizetype oneByOneLimit = 32;
// Ids left for the further sources are shared among threads in parts of at least this many,
// on at most this many threads: enough to keep two or four cores busy while waiting on a
// daemon, few enough that the service never becomes a crowd.
constexpr size_t lookupsPerThread = 128;
constexpr size_t maximumLookupThreads = 4;

bool isPlainSourceName(const QByteArray &source)
{
    return !source.isEmpty() && std::all_of(source.begin(), source.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
    });
}

// The sources that the name service asks, in order, for a database's entry by id, when
// that order can be followed here: the local files come first and no action item (such as
// [NOTFOUND=return], or merging groups) changes what follows an answer or a miss.
// Otherwise nothing, and the ids are asked for one by one.
std::optional<QByteArrayList> sourcesOf(const QByteArray &database)
{
    QFile file(QStringLiteral("/etc/nsswitch.conf"));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    std::optional<QByteArrayList> sources;
    for (QByteArray line : file.readAll().split('\n')) {
        if (const qsizetype comment = line.indexOf('#'); comment >= 0)
            line.truncate(comment);
        const qsizetype colon = line.indexOf(':');
        if (colon < 0)
            continue;
        const QByteArray name = line.left(colon);
        const QByteArray trimmed = name.trimmed();
        if (trimmed.toLower() != database)
            continue;
        // A second line for the database, or one spelt unusually ("Passwd", "passwd :"):
        // which line the name service follows is not for this code to guess.
        if (sources || trimmed != database || !name.endsWith(trimmed))
            return std::nullopt;
        sources = line.mid(colon + 1).simplified().split(' ');
    }
    if (!sources || sources->first() != "files" || !std::all_of(sources->begin(), sources->end(), isPlainSourceName))
        return std::nullopt;
    return sources;
}

// How each database is read: its file, and the by-id lookup of the name-service module of
// each further source.
struct Users
{
    using Entry = passwd;
    using Lookup = nss_status (*)(uid_t, passwd *, char *, size_t, int *);
    static constexpr const char *database = "passwd";
    static constexpr const char *path = "/etc/passwd";
    static constexpr const char *function = "getpwuid_r";
    static int next(FILE *file, passwd *entry, char *buffer, size_t size, passwd **result)
    {
        return fgetpwent_r(file, entry, buffer, size, result);
    }
    static quint32 idOf(const passwd &entry) { return entry.pw_uid; }
    static const char *nameOf(const passwd &entry) { return entry.pw_name; }
    static CBIdentity identityOf(const passwd &entry) { return fromPasswd(entry); }
};

struct Groups
{
    using Entry = group;
    using Lookup = nss_status (*)(gid_t, group *, char *, size_t, int *);
    static constexpr const char *database = "group";
    static constexpr const char *path = "/etc/group";
    static constexpr const char *function = "getgrgid_r";
    static int next(FILE *file, group *entry, char *buffer, size_t size, group **result)
    {
        return fgetgrent_r(file, entry, buffer, size, result);
    }
    static quint32 idOf(const group &entry) { return entry.gr_gid; }
    static const char *nameOf(const group &entry) { return entry.gr_name; }
    static CBIdentity identityOf(const group &entry) { return fromGroup(entry); }
};

// A source's own by-id lookup, from its module as the name service loads it; kept loaded,
// as the name service keeps it. Null when the module or the lookup is missing, which the
// name service passes over as an unavailable source.
template <typename Database>
typename Database::Lookup moduleLookup(const QByteArray &source)
{
    static QMutex lock;
    static QHash<QByteArray, typename Database::Lookup> lookups;
    QMutexLocker locker(&lock);
    auto it = lookups.find(source);
    if (it == lookups.end()) {
        void *module = dlopen(QByteArray("libnss_" + source + ".so.2").constData(), RTLD_LAZY | RTLD_LOCAL);
        const QByteArray symbol = "_nss_" + source + '_' + Database::function;
        void *lookup = module ? dlsym(module, symbol.constData()) : nullptr;
        it = lookups.insert(source, reinterpret_cast<typename Database::Lookup>(lookup));
    }
    return *it;
}

// The accounts of the wanted ids in the local file, read as the name service's "files"
// source reads it: the first entry with an id answers for it, and entries named +... or
// -... answer for none (only the "compat" source gives them a meaning). Nothing when the
// file cannot be read to its end: a lookup of an id past that point fails as well.
template <typename Database>
std::optional<QHash<quint32, CBIdentity>> readLocalFile(const QSet<quint32> &wanted)
{
    QHash<quint32, CBIdentity> found;
    FILE *file = std::fopen(Database::path, "rce");
    if (!file)
        return found; // the name service goes on to the next source
    std::vector<char> buffer(16384);
    bool complete = false;
    for (;;) {
        typename Database::Entry entry{};
        typename Database::Entry *result = nullptr;
        const int rc = Database::next(file, &entry, buffer.data(), buffer.size(), &result);
        if (rc == ERANGE && buffer.size() < (1u << 22)) {
            // The line is read again, into the larger buffer.
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (rc == ENOENT) {
            complete = true;
            break;
        }
        if (rc != 0 || !result)
            break;
        const quint32 id = Database::idOf(entry);
        const char initial = Database::nameOf(entry)[0];
        if (initial != '+' && initial != '-' && wanted.contains(id) && !found.contains(id)) {
            found.insert(id, Database::identityOf(entry));
            if (found.size() == wanted.size()) {
                complete = true;
                break;
            }
        }
    }
    std::fclose(file);
    if (!complete)
        return std::nullopt;
    return found;
}

// What a further source answers for an id: an account; none, so that the next source is
// asked; or an entry too large for any buffer, which ends the lookup without an account.
enum class Answer { Found, NotHere, Failed };

template <typename Database>
Answer askSource(typename Database::Lookup lookup, quint32 id, std::optional<CBIdentity> &identity)
{
    std::vector<char> buffer(16384);
    for (;;) {
        typename Database::Entry entry{};
        int error = 0;
        const nss_status status = lookup(id, &entry, buffer.data(), buffer.size(), &error);
        if (status == NSS_STATUS_SUCCESS) {
            identity = Database::identityOf(entry);
            return Answer::Found;
        }
        if (status != NSS_STATUS_TRYAGAIN || error != ERANGE)
            return Answer::NotHere;
        if (buffer.size() >= (1u << 22))
            return Answer::Failed;
        buffer.resize(buffer.size() * 2);
    }
}

// What asking for each id one by one answers, found together where the name service's
// order of sources allows: the local file read once, and only the ids it lacks asked of
// the further sources, each directly, as the name service would ask it after the file.
template <typename Database>
QHash<quint32, CBIdentity> findTogether(const QList<quint32> &ids,
                                        const std::function<std::optional<CBIdentity>(quint32)> &oneByOne)
{
    const QSet<quint32> wanted(ids.begin(), ids.end());
    const auto askEach = [&] {
        QHash<quint32, CBIdentity> found;
        for (quint32 id : wanted) {
            if (const auto identity = oneByOne(id))
                found.insert(id, *identity);
        }
        return found;
    };
    if (wanted.size() <= oneByOneLimit)
        return askEach();
    const std::optional<QByteArrayList> sources = sourcesOf(Database::database);
    if (!sources)
        return askEach();
    std::optional<QHash<quint32, CBIdentity>> found = readLocalFile<Database>(wanted);
    if (!found)
        return askEach();
    QList<typename Database::Lookup> further;
    for (const QByteArray &source : sources->mid(1)) {
        // The file again would answer as it did.
        if (source == "files")
            continue;
        if (const auto lookup = moduleLookup<Database>(source))
            further << lookup;
    }
    if (further.isEmpty())
        return *found;
    std::vector<quint32> missing;
    for (quint32 id : wanted) {
        if (!found->contains(id))
            missing.push_back(id);
    }
    // A further source answers one id at a time, and each answer can cost a file read or a
    // message to a daemon: the ids are shared among a few threads (the modules' lookups are
    // reentrant), each keeping its own answers until they are merged.
    const auto askRange = [&further](const quint32 *first, const quint32 *last) {
        QHash<quint32, CBIdentity> answers;
        for (const quint32 *id = first; id != last; ++id) {
            for (const auto lookup : std::as_const(further)) {
                std::optional<CBIdentity> identity;
                const Answer answer = askSource<Database>(lookup, *id, identity);
                if (answer == Answer::Found)
                    answers.insert(*id, *identity);
                if (answer != Answer::NotHere)
                    break;
            }
        }
        return answers;
    };
    const size_t threads = std::clamp<size_t>(missing.size() / lookupsPerThread, 1, maximumLookupThreads);
    std::vector<QHash<quint32, CBIdentity>> answers(threads);
    std::vector<std::thread> helpers;
    const size_t share = (missing.size() + threads - 1) / threads;
    for (size_t t = 1; t < threads; ++t) {
        const size_t first = std::min(missing.size(), t * share);
        const size_t last = std::min(missing.size(), first + share);
        helpers.emplace_back([&, t, first, last] { answers[t] = askRange(missing.data() + first, missing.data() + last); });
    }
    answers[0] = askRange(missing.data(), missing.data() + std::min(missing.size(), share));
    for (std::thread &helper : helpers)
        helper.join();
    for (const QHash<quint32, CBIdentity> &part : answers)
        found->insert(part);
    return *found;
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

QHash<uid_t, CBIdentity> CBIdentityAuthority::usersWithUids(const QList<uid_t> &uids) const
{
    return findTogether<Users>(uids, [this](quint32 uid) { return userWithUid(uid); });
}

QHash<gid_t, CBIdentity> CBIdentityAuthority::groupsWithGids(const QList<gid_t> &gids) const
{
    return findTogether<Groups>(gids, [this](quint32 gid) { return groupWithGid(gid); });
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
