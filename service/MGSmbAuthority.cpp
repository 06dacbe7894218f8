#include "MGSmbAuthority.h"

#include "MGNdr.h"
#include "MGSmbRpcPipe.h"

#include <cerrno>

namespace {
// The local security authority's interface, version 0.0, and the calls used.
const MGSmbRpcPipe::Interface Authority{QUuid(0x12345778, 0x1234, 0xabcd, 0xef, 0x00, 0x01, 0x23, 0x45, 0x67, 0x89, 0xab), 0, 0};
constexpr quint16 Close = 0, LookupSids = 15, EnumAccountRights = 36, OpenPolicy2 = 44, LookupNames3 = 68;
constexpr quint32 ViewLocalInformation = 0x00000001, LookupNames = 0x00000800; // rights on the policy
constexpr quint16 AllNames = 1;
constexpr quint16 UnknownKind = 8; // of an account the authority does not know
constexpr quint32 SomeNotMapped = 0x00000107, NoneMapped = 0xC0000073, NoRights = 0xC0000034;
constexpr qsizetype HandleSize = 20;
// SIDs per request: a request must fit one fragment, and a SID takes at most 76 bytes.
constexpr qsizetype PerRequest = 50;

MGError nonsense(const QString &why)
{
    return MGError::posixError(EPROTO, QStringLiteral("The server named accounts in a form that cannot be read: %1.").arg(why));
}

MGError refused(quint32 status)
{
    return MGError::posixError(status == 0xC0000022 ? EACCES : EIO,
                               QStringLiteral("The server does not name accounts (status 0x%1).").arg(status, 8, 16, QLatin1Char('0')));
}

// The end of a lookup's reply: how many were found, and the status (some or none found is
// no error).
MGResultError lookupStatus(MGNdrReader &r)
{
    r.u32(); // the count found
    const auto status = r.u32();
    if (!status)
        return nonsense(QStringLiteral("the reply is cut short"));
    if (*status && *status != SomeNotMapped && *status != NoneMapped)
        return refused(*status);
    return std::nullopt;
}

// The domains a lookup's reply names (a reference, then the list: count, entries, names and
// SIDs), by name; none when it does not fit.
std::optional<QStringList> readDomains(MGNdrReader &r, quint32 limit)
{
    QStringList domains;
    const auto domainList = r.u32();
    if (!domainList)
        return std::nullopt;
    if (!*domainList)
        return domains;
    const auto count = r.u32(), array = r.u32(), maxSize = r.u32();
    if (!count || !array || !maxSize || *count > limit)
        return std::nullopt;
    if (!*array)
        return domains;
    const auto conformance = r.u32();
    QList<std::pair<quint32, quint32>> references; // name, SID
    for (quint32 i = 0; i < *count; ++i) {
        r.u16(); // the name's lengths
        r.u16();
        const auto name = r.u32(), sid = r.u32();
        if (!name || !sid)
            return std::nullopt;
        references << std::pair(*name, *sid);
    }
    for (const auto &[name, sid] : references) {
        const std::optional<QString> text = name ? r.string() : QString();
        if (sid)
            r.sid();
        domains << text.value_or(QString());
    }
    if (!conformance || r.failed())
        return std::nullopt;
    return domains;
}

// One request's worth of names looked up into `sids`: LookupNames3, which answers whole SIDs.
MGResultError lookUpNames(MGSmbRpcPipe &pipe, const QByteArray &handle, const QStringList &names, QHash<QString, QString> &sids)
{
    MGNdrWriter lookup;
    lookup.bytes(handle);
    lookup.u32(quint32(names.size()));
    lookup.u32(quint32(names.size())); // the array's conformance
    for (qsizetype i = 0; i < names.size(); ++i) {
        const quint16 bytes = quint16(2 * names[i].size());
        lookup.u16(bytes);
        lookup.u16(bytes);
        lookup.u32(quint32(0x00020000 + 4 * i));
    }
    for (const QString &name : names) {
        lookup.u32(quint32(name.size()));
        lookup.u32(0);
        lookup.u32(quint32(name.size()));
        for (const QChar c : name)
            lookup.u16(c.unicode());
    }
    lookup.u32(0); // no SIDs yet
    lookup.u32(0);
    lookup.u16(AllNames);
    lookup.u32(0); // the count, in and out
    lookup.u32(0); // options
    lookup.u32(2); // the client's revision
    const MGResult<QByteArray> looked = pipe.call(LookupNames3, lookup.data());
    if (!looked)
        return looked.error();
    MGNdrReader r(*looked);
    if (!readDomains(r, quint32(names.size())))
        return nonsense(QStringLiteral("the list of domains"));
    const auto count = r.u32(), array = r.u32();
    if (!count || !array || *count > quint32(names.size()))
        return nonsense(QStringLiteral("the list of SIDs"));
    QList<std::pair<quint16, quint32>> translated; // kind, reference to the SID
    if (*array) {
        r.u32(); // its conformance
        for (quint32 i = 0; i < *count; ++i) {
            const auto type = r.u16();
            const auto sid = r.u32();
            r.u32(); // the domain's index
            r.u32(); // flags
            if (!type || !sid)
                return nonsense(QStringLiteral("a SID"));
            translated << std::pair(*type, *sid);
        }
    }
    for (qsizetype i = 0; i < translated.size(); ++i) {
        if (!translated[i].second)
            continue;
        const std::optional<QString> sid = r.sid();
        if (!sid)
            return nonsense(QStringLiteral("a SID is cut short"));
        if (i < names.size() && translated[i].first != UnknownKind)
            sids.insert(names[i], *sid);
    }
    return lookupStatus(r);
}

// One request's worth of SIDs named into `names`.
MGResultError lookUp(MGSmbRpcPipe &pipe, const QByteArray &handle, const QStringList &sids, QHash<QString, QString> &names)
{
    MGNdrWriter lookup;
    lookup.bytes(handle);
    lookup.u32(quint32(sids.size()));
    lookup.u32(0x00020000); // the array of SIDs
    lookup.u32(quint32(sids.size()));
    for (qsizetype i = 0; i < sids.size(); ++i)
        lookup.u32(quint32(0x00020004 + 4 * i));
    for (const QString &sid : sids) {
        if (!lookup.sid(sid))
            return MGError::posixError(EINVAL, QStringLiteral("\u201c%1\u201d is no SID.").arg(sid));
    }
    lookup.u32(0); // no names yet
    lookup.u32(0);
    lookup.u16(AllNames);
    lookup.u32(0); // the count, in and out
    const MGResult<QByteArray> looked = pipe.call(LookupSids, lookup.data());
    if (!looked)
        return looked.error();

    // The reply: the domains the names are in, then the names, each pointing at its domain.
    MGNdrReader r(*looked);
    const std::optional<QStringList> domains = readDomains(r, quint32(sids.size()));
    if (!domains)
        return nonsense(QStringLiteral("the list of domains"));
    const auto count = r.u32(), array = r.u32();
    if (!count || !array || *count > quint32(sids.size()))
        return nonsense(QStringLiteral("the list of names"));
    struct Translated
    {
        quint16 type = 0;
        quint32 name = 0;
        quint32 domain = 0;
    };
    QList<Translated> translated;
    if (*array) {
        r.u32(); // its conformance
        for (quint32 i = 0; i < *count; ++i) {
            // Its kind, then the name's lengths (after padding) and reference, then its domain.
            const auto type = r.u16();
            r.u16();
            r.u16();
            r.u16();
            const auto name = r.u32(), domain = r.u32();
            if (!type || !name || !domain)
                return nonsense(QStringLiteral("a name"));
            translated << Translated{*type, *name, *domain};
        }
    }
    for (qsizetype i = 0; i < translated.size(); ++i) {
        if (!translated[i].name)
            continue;
        const std::optional<QString> name = r.string();
        if (!name)
            return nonsense(QStringLiteral("a name is cut short"));
        // Unknown SIDs come back as themselves, or with no name at all.
        if (i >= sids.size() || translated[i].type == UnknownKind || name->isEmpty() || *name == sids[i])
            continue;
        const QString domain = translated[i].domain < quint32(domains->size()) ? domains->at(translated[i].domain) : QString();
        names.insert(sids[i], domain.isEmpty() ? *name : domain + QLatin1Char('\\') + *name);
    }
    return lookupStatus(r);
}

// The pipe with the authority's policy open for looking up names and rights; closed with it.
class Policy
{
public:
    static MGResult<std::shared_ptr<Policy>> open(const MGSmbClient &client, const QString &server)
    {
        MGResult<MGSmbRpcPipe> pipe = MGSmbRpcPipe::open(client, server, QStringLiteral("lsarpc"), Authority);
        if (!pipe)
            return pipe.error();
        MGNdrWriter open;
        open.u32(0);  // no system name
        open.u32(24); // the object attributes, all empty
        for (int i = 0; i < 5; ++i)
            open.u32(0);
        open.u32(ViewLocalInformation | LookupNames);
        const MGResult<QByteArray> opened = pipe->call(OpenPolicy2, open.data());
        if (!opened)
            return opened.error();
        MGNdrReader reply(*opened);
        const std::optional<QByteArray> handle = reply.bytes(HandleSize);
        const auto status = reply.u32();
        if (!handle || !status)
            return nonsense(QStringLiteral("the policy handle is cut short"));
        if (*status)
            return refused(*status);
        return std::make_shared<Policy>(std::move(*pipe), *handle);
    }
    Policy(MGSmbRpcPipe pipe, QByteArray handle) : pipe(std::move(pipe)), handle(std::move(handle)) {}
    ~Policy()
    {
        MGNdrWriter close;
        close.bytes(handle);
        (void)pipe.call(Close, close.data()); // the server drops it with the pipe anyway
    }
    MGSmbRpcPipe pipe;
    const QByteArray handle;
};
}

namespace {
// Asks the authority about `keys`, a request per PerRequest of them, over one policy.
template <typename LookUp>
MGResult<QHash<QString, QString>> inRequests(const MGSmbClient &client, const QString &server, const QStringList &keys,
                                             LookUp lookUp)
{
    QHash<QString, QString> found;
    if (keys.isEmpty())
        return found;
    const MGResult<std::shared_ptr<Policy>> policy = Policy::open(client, server);
    if (!policy)
        return policy.error();
    for (qsizetype at = 0; at < keys.size(); at += PerRequest) {
        if (MGResultError failed = lookUp((*policy)->pipe, (*policy)->handle, keys.mid(at, PerRequest), found))
            return *failed;
    }
    return found;
}
}

MGResult<QHash<QString, QString>> MGSmbAuthority::namesOf(const QString &server, const QStringList &sids) const
{
    if (sids.size() > MaximumSids)
        return MGError::posixError(E2BIG, QStringLiteral("Too many accounts to name at once (%1).").arg(sids.size()));
    return inRequests(m_client, server, sids, lookUp);
}

MGResult<QHash<QString, QString>> MGSmbAuthority::sidsOf(const QString &server, const QStringList &names) const
{
    if (names.size() > MaximumSids)
        return MGError::posixError(E2BIG, QStringLiteral("Too many accounts to look up at once (%1).").arg(names.size()));
    for (const QString &name : names) {
        if (name.isEmpty() || name.size() > 256)
            return MGError::posixError(EINVAL, QStringLiteral("\u201c%1\u201d is no account name.").arg(name.left(256)));
    }
    return inRequests(m_client, server, names, lookUpNames);
}

MGResult<QSet<QString>> MGSmbAuthority::rightsOf(const QString &server, const QStringList &sids) const
{
    if (sids.size() > MaximumSids)
        return MGError::posixError(E2BIG, QStringLiteral("Too many accounts to ask about at once (%1).").arg(sids.size()));
    QSet<QString> rights;
    if (sids.isEmpty())
        return rights;
    const MGResult<std::shared_ptr<Policy>> policy = Policy::open(m_client, server);
    if (!policy)
        return policy.error();
    for (const QString &sid : sids) {
        MGNdrWriter ask;
        ask.bytes((*policy)->handle);
        if (!ask.sid(sid))
            return MGError::posixError(EINVAL, QStringLiteral("\u201c%1\u201d is no SID.").arg(sid));
        const MGResult<QByteArray> reply = (*policy)->pipe.call(EnumAccountRights, ask.data());
        if (!reply)
            return reply.error();
        // The set: a count and a reference, then the names' lengths and references, then
        // the names; the status last. An account with no rights is "not found".
        MGNdrReader r(*reply);
        const auto count = r.u32(), array = r.u32();
        if (!count || !array || *count > 1000)
            return nonsense(QStringLiteral("the list of rights"));
        QList<quint32> references;
        if (*array) {
            r.u32(); // its conformance
            for (quint32 i = 0; i < *count; ++i) {
                r.u16(); // lengths
                r.u16();
                references << r.u32().value_or(0);
            }
        }
        for (const quint32 reference : references) {
            if (!reference)
                continue;
            if (const std::optional<QString> right = r.string())
                rights.insert(*right);
        }
        const auto status = r.u32();
        if (r.failed() || !status)
            return nonsense(QStringLiteral("a right is cut short"));
        if (*status && *status != NoRights)
            return refused(*status);
    }
    return rights;
}
