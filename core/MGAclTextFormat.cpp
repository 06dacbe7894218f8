#include "MGAclTextFormat.h"

#include "CBIdentityAuthority.h"

#include <QRegularExpression>

namespace MGAclTextFormat {

namespace {
QByteArray escapeName(const QString &name)
{
    return MGAclTextFormat::escapeName(name.toUtf8());
}

// An account's name as the text writes it; its number when it has none.
QByteArray nameText(const std::optional<CBIdentity> &identity, quint32 id)
{
    return identity && !identity->posixName().isEmpty() ? escapeName(identity->posixName()) : QByteArray::number(id);
}

template <typename Id>
std::optional<CBIdentity> found(const QHash<Id, CBIdentity> &identities, Id id)
{
    const auto it = identities.constFind(id);
    return it == identities.constEnd() ? std::nullopt : std::optional<CBIdentity>(*it);
}

char permText(quint16 perm, quint16 bit, char letter)
{
    return (perm & bit) ? letter : '-';
}

QByteArray perms(quint16 perm)
{
    const char text[3] = {permText(perm, 4, 'r'), permText(perm, 2, 'w'), permText(perm, 1, 'x')};
    return QByteArray(text, 3);
}

// Qualifiers by name, or as numbers without `names`.
void writeAcl(QByteArray &out, const MGPosixAcl &acl, const char *prefix, Names *names)
{
    // The order getfacl writes: owner, named users, owning group, named groups, mask, other.
    for (quint16 tag : {MGPosixAcl::UserObj, MGPosixAcl::User, MGPosixAcl::GroupObj, MGPosixAcl::Group,
                        MGPosixAcl::Mask, MGPosixAcl::Other}) {
        QList<MGPosixAcl::Entry> matching;
        for (const MGPosixAcl::Entry &e : acl.entries()) {
            if (e.tag == tag)
                matching << e;
        }
        std::sort(matching.begin(), matching.end(), [](const auto &a, const auto &b) { return a.id < b.id; });
        for (const MGPosixAcl::Entry &e : std::as_const(matching)) {
            out += prefix;
            switch (e.tag) {
            case MGPosixAcl::UserObj:
                out += "user::";
                break;
            case MGPosixAcl::User:
                out += "user:" + (names ? names->user(e.id) : QByteArray::number(e.id)) + ':';
                break;
            case MGPosixAcl::GroupObj:
                out += "group::";
                break;
            case MGPosixAcl::Group:
                out += "group:" + (names ? names->group(e.id) : QByteArray::number(e.id)) + ':';
                break;
            case MGPosixAcl::Mask:
                out += "mask::";
                break;
            default:
                out += "other::";
                break;
            }
            out += perms(e.perm);
            // What the mask takes away, as a comment that restoring passes over.
            if (const std::optional<quint16> mask = acl.perm(MGPosixAcl::Mask);
                mask && MGPosixAcl::isGroupClass(e.tag) && (e.perm & *mask) != e.perm)
                out += "\t#effective:" + perms(e.perm & *mask);
            out += '\n';
        }
    }
}

std::optional<quint32> idFor(const QString &qualifier, bool user)
{
    bool numeric = false;
    const quint32 number = qualifier.toUInt(&numeric);
    const CBIdentityAuthority &authority = CBIdentityAuthority::defaultIdentityAuthority();
    const auto named = user ? authority.userWithName(qualifier) : authority.groupWithName(qualifier);
    if (named)
        return named->posixID();
    if (numeric)
        return number;
    return std::nullopt;
}
}

QByteArray Names::user(uid_t uid)
{
    QMutexLocker locker(&m_lock);
    auto it = m_users.find(uid);
    if (it == m_users.end())
        it = m_users.insert(uid, nameText(CBIdentityAuthority::defaultIdentityAuthority().userWithUid(uid), uid));
    return *it;
}

QByteArray Names::group(gid_t gid)
{
    QMutexLocker locker(&m_lock);
    auto it = m_groups.find(gid);
    if (it == m_groups.end())
        it = m_groups.insert(gid, nameText(CBIdentityAuthority::defaultIdentityAuthority().groupWithGid(gid), gid));
    return *it;
}

void Names::lookUp(const QList<uid_t> &uids, const QList<gid_t> &gids)
{
    QList<uid_t> newUids;
    QList<gid_t> newGids;
    {
        QMutexLocker locker(&m_lock);
        for (uid_t uid : uids) {
            if (!m_users.contains(uid))
                newUids << uid;
        }
        for (gid_t gid : gids) {
            if (!m_groups.contains(gid))
                newGids << gid;
        }
    }
    if (newUids.isEmpty() && newGids.isEmpty())
        return;
    // Looked up outside the lock, so that other threads go on with the names known already.
    const CBIdentityAuthority &authority = CBIdentityAuthority::defaultIdentityAuthority();
    const QHash<uid_t, CBIdentity> users = authority.usersWithUids(newUids);
    const QHash<gid_t, CBIdentity> groups = authority.groupsWithGids(newGids);
    QMutexLocker locker(&m_lock);
    for (uid_t uid : std::as_const(newUids))
        m_users.insert(uid, nameText(found(users, uid), uid));
    for (gid_t gid : std::as_const(newGids))
        m_groups.insert(gid, nameText(found(groups, gid), gid));
}

QByteArray unescapePath(const QByteArray &text)
{
    const auto octal = [](char c) { return c >= '0' && c <= '7'; };
    QByteArray out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && octal(text[i + 1]) && octal(text[i + 2]) && octal(text[i + 3])) {
            out += char(((text[i + 1] - '0') << 6) | ((text[i + 2] - '0') << 3) | (text[i + 3] - '0'));
            i += 3;
        } else if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '\\') {
            out += '\\';
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

QByteArray escapePath(const QByteArray &path)
{
    // getfacl doubles a backslash in a path (in a name it writes \134) and writes only line
    // breaks as octal.
    QByteArray doubled = path;
    doubled.replace('\\', "\\\\");
    return octalEscaped(doubled, [](unsigned char byte) { return byte == '\n' || byte == '\r'; });
}

QByteArray escapeName(const QByteArray &name)
{
    return octalEscaped(name, [](unsigned char byte) {
        return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r' || byte == '\\';
    });
}

QByteArray octalEscaped(const QByteArray &bytes, bool (*escapes)(unsigned char byte))
{
    QByteArray out;
    out.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (escapes(byte)) {
            out += '\\';
            out += char('0' + ((byte >> 6) & 7));
            out += char('0' + ((byte >> 3) & 7));
            out += char('0' + (byte & 7));
        } else {
            out += c;
        }
    }
    return out;
}

QByteArray block(const QByteArray &path, const MGPosixItemState &state, Names &names)
{
    names.lookUp(state.userIds(), state.groupIds());
    QByteArray out;
    out.reserve(160);
    out += "# file: " + escapePath(path) + '\n';
    out += "# owner: " + names.user(state.owner) + '\n';
    out += "# group: " + names.group(state.group) + '\n';
    if (state.mode & (S_ISUID | S_ISGID | S_ISVTX))
        out += QByteArray("# flags: ") + ((state.mode & S_ISUID) ? 's' : '-') + ((state.mode & S_ISGID) ? 's' : '-')
            + ((state.mode & S_ISVTX) ? 't' : '-') + '\n';
    writeAcl(out, state.access.isEmpty() ? MGPosixAcl::fromMode(state.mode) : state.access, "", &names);
    if (!state.defaultAcl.isEmpty())
        writeAcl(out, state.defaultAcl, "default:", &names);
    out += '\n';
    return out;
}

QByteArray oneLine(const MGPosixItemState &state)
{
    QByteArray acl;
    writeAcl(acl, state.access.isEmpty() ? MGPosixAcl::fromMode(state.mode) : state.access, "", nullptr);
    if (!state.defaultAcl.isEmpty())
        writeAcl(acl, state.defaultAcl, "default:", nullptr);
    // Comments on what the mask leaves say nothing the entries do not.
    QByteArrayList entries;
    for (const QByteArray &line : acl.split('\n')) {
        if (!line.isEmpty())
            entries << line.left(line.indexOf('\t') < 0 ? line.size() : line.indexOf('\t'));
    }
    return "owner " + QByteArray::number(state.owner) + " group " + QByteArray::number(state.group) + " mode "
        + QByteArray::number(state.mode & 07777, 8).rightJustified(4, '0') + " acl " + entries.join(',');
}

std::optional<Entry> parseEntry(const QString &text, bool withPerms, QString *why)
{
    QStringList parts = text.trimmed().split(QLatin1Char(':'));
    Entry entry;
    if (!parts.isEmpty() && (parts.first() == QLatin1String("d") || parts.first() == QLatin1String("default"))) {
        entry.isDefault = true;
        parts.removeFirst();
    }
    const auto fail = [&](const QString &problem) -> std::optional<Entry> {
        if (why)
            *why = QStringLiteral("\u201c%1\u201d: %2").arg(text.trimmed(), problem);
        return std::nullopt;
    };
    // "u::" names the owner's entry, as "u:" does.
    if (!withPerms && parts.size() == 3 && parts[2].isEmpty())
        parts.removeLast();
    if (parts.size() < 2 || parts.size() > 3 || (withPerms && parts.size() != 3))
        return fail(withPerms ? QStringLiteral("expected [d:]u|g|m|o:[NAME]:PERMISSIONS")
                              : QStringLiteral("expected [d:]u|g|m|o:[NAME]"));
    const QString tag = parts[0];
    const QString qualifier = parts[1];
    if (tag == QLatin1String("u") || tag == QLatin1String("user")) {
        entry.tag = qualifier.isEmpty() ? MGPosixAcl::UserObj : MGPosixAcl::User;
    } else if (tag == QLatin1String("g") || tag == QLatin1String("group")) {
        entry.tag = qualifier.isEmpty() ? MGPosixAcl::GroupObj : MGPosixAcl::Group;
    } else if (tag == QLatin1String("m") || tag == QLatin1String("mask")) {
        entry.tag = MGPosixAcl::Mask;
    } else if (tag == QLatin1String("o") || tag == QLatin1String("other")) {
        entry.tag = MGPosixAcl::Other;
    } else {
        return fail(QStringLiteral("\u201c%1\u201d is not u, g, m or o").arg(tag));
    }
    if (!qualifier.isEmpty()) {
        if (entry.tag != MGPosixAcl::User && entry.tag != MGPosixAcl::Group)
            return fail(QStringLiteral("a mask or other entry names nobody"));
        const auto id = idFor(QString::fromUtf8(unescapePath(qualifier.toUtf8())), entry.tag == MGPosixAcl::User);
        if (!id)
            return fail(QStringLiteral("there is no %1 \u201c%2\u201d")
                            .arg(entry.tag == MGPosixAcl::User ? QStringLiteral("user") : QStringLiteral("group"),
                                 qualifier));
        entry.id = *id;
    }
    if (parts.size() == 3) {
        quint16 perm = 0;
        const QString letters = parts[2].trimmed();
        for (QChar c : letters) {
            if (c == QLatin1Char('r'))
                perm |= 4;
            else if (c == QLatin1Char('w'))
                perm |= 2;
            else if (c == QLatin1Char('x') || c == QLatin1Char('X'))
                perm |= 1;
            else if (c != QLatin1Char('-'))
                return fail(QStringLiteral("permissions are r, w, x or -"));
        }
        if (letters.isEmpty() || letters.size() > 3)
            return fail(QStringLiteral("permissions are r, w, x or -"));
        entry.perm = perm;
    }
    return entry;
}

std::optional<QList<Block>> parse(const QByteArray &text, QString *why)
{
    QList<Block> blocks;
    Block current;
    bool inBlock = false;
    int number = 0;
    const auto fail = [&](const QString &problem) -> std::optional<QList<Block>> {
        if (why)
            *why = QStringLiteral("line %1: %2").arg(number).arg(problem);
        return std::nullopt;
    };
    auto finish = [&]() -> bool {
        if (!inBlock)
            return true;
        if (current.access.isEmpty())
            return false;
        blocks << current;
        inBlock = false;
        return true;
    };
    for (const QByteArray &raw : text.split('\n')) {
        ++number;
        QByteArray line = raw;
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.trimmed().isEmpty()) {
            if (!finish())
                return fail(QStringLiteral("the item before has no entries"));
            continue;
        }
        if (line.startsWith("# file: ")) {
            if (!finish())
                return fail(QStringLiteral("the item before has no entries"));
            current = Block();
            inBlock = true;
            current.path = unescapePath(line.mid(8));
            current.line = number;
            continue;
        }
        if (!inBlock)
            return fail(QStringLiteral("expected \u201c# file: PATH\u201d"));
        if (line.startsWith("# owner: ") || line.startsWith("# group: ")) {
            const bool user = line.startsWith("# owner: ");
            const auto id = idFor(QString::fromUtf8(unescapePath(line.mid(9).trimmed())), user);
            if (!id)
                return fail(QStringLiteral("there is no %1 \u201c%2\u201d")
                                .arg(user ? QStringLiteral("user") : QStringLiteral("group"),
                                     QString::fromUtf8(line.mid(9).trimmed())));
            (user ? current.owner : current.group) = *id;
            continue;
        }
        if (line.startsWith("# flags: ")) {
            const QByteArray flags = line.mid(9).trimmed();
            if (flags.size() != 3)
                return fail(QStringLiteral("flags are three letters, such as -s-"));
            current.flags = (flags[0] == 's' ? S_ISUID : 0) | (flags[1] == 's' ? S_ISGID : 0)
                | (flags[2] == 't' ? S_ISVTX : 0);
            continue;
        }
        if (line.startsWith('#'))
            continue;
        // An entry, perhaps with a comment after it ("\t#effective:r--").
        const qsizetype comment = line.indexOf('#');
        const QByteArray entryText = (comment >= 0 ? line.left(comment) : line).trimmed();
        QString problem;
        const auto entry = parseEntry(QString::fromUtf8(entryText), true, &problem);
        if (!entry)
            return fail(problem);
        MGPosixAcl &acl = entry->isDefault ? current.defaultAcl : current.access;
        if (acl.contains(entry->tag, entry->id))
            return fail(QStringLiteral("a second entry for the same user or group"));
        acl.set(entry->tag, *entry->perm, entry->id);
    }
    if (!finish())
        return fail(QStringLiteral("the last item has no entries"));
    return blocks;
}
}
