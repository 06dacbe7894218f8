#include "MGAclTextFormat.h"

#include "CBIdentityAuthority.h"

#include <QRegularExpression>
#include <algorithm>

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
    // getfacl doubles a backslash in a path and writes only line breaks as octal.
    QByteArray doubled = path;
    doubled.replace('\\', "\\\\");
    return octalEscaped(doubled, [](unsigned char byte) { return byte == '\n' || byte == '\r'; });
}

QByteArray escapeName(const QByteArray &name)
{
    // As getfacl writes a name: a backslash doubled, white space as octal.
    QByteArray doubled = name;
    doubled.replace('\\', "\\\\");
    return octalEscaped(doubled, [](unsigned char byte) { return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r'; });
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
    // setfacl's forms: "u:NAME:PERMS", "u::PERMS", "g:...", "m::PERMS" or "m:PERMS", "o::PERMS"
    // or "o:PERMS", each perhaps after "d:" or "default:"; to name an entry, the same without
    // the permissions ("u:NAME", "u:NAME:", "m", "o::").
    const QString trimmed = text.trimmed();
    QStringList parts = trimmed.split(QLatin1Char(':'));
    Entry entry;
    if (parts.size() > 1 && (parts.first() == QLatin1String("d") || parts.first() == QLatin1String("default"))) {
        entry.isDefault = true;
        parts.removeFirst();
    }
    const auto fail = [&](const QString &problem) -> std::optional<Entry> {
        if (why)
            *why = QStringLiteral("\u201c%1\u201d: %2").arg(trimmed, problem);
        return std::nullopt;
    };
    const QString expected = withPerms ? QStringLiteral("expected [d:]u|g:[NAME]:PERMISSIONS or [d:]m|o:[:]PERMISSIONS")
                                       : QStringLiteral("expected [d:]u|g:[NAME] or [d:]m|o");
    const QString tag = parts.takeFirst();
    bool named = false;
    if (tag == QLatin1String("u") || tag == QLatin1String("user")) {
        entry.tag = MGPosixAcl::UserObj;
        named = true;
    } else if (tag == QLatin1String("g") || tag == QLatin1String("group")) {
        entry.tag = MGPosixAcl::GroupObj;
        named = true;
    } else if (tag == QLatin1String("m") || tag == QLatin1String("mask")) {
        entry.tag = MGPosixAcl::Mask;
    } else if (tag == QLatin1String("o") || tag == QLatin1String("other")) {
        entry.tag = MGPosixAcl::Other;
    } else {
        return fail(QStringLiteral("\u201c%1\u201d is not u, g, m or o").arg(tag));
    }
    QString qualifier, letters;
    if (named) {
        if (parts.isEmpty() || parts.size() > 2 || (withPerms && parts.size() != 2) || (!withPerms && parts.size() == 2 && !parts[1].isEmpty()))
            return fail(expected);
        qualifier = parts[0];
        letters = withPerms ? parts[1] : QString();
    } else {
        // The mask and other entries name nobody: "m:r" and "m::r" say the same.
        if (parts.size() == 2 && !parts[0].isEmpty())
            return fail(QStringLiteral("a mask or other entry names nobody"));
        if (parts.size() > 2 || (withPerms && parts.isEmpty()) || (!withPerms && !parts.isEmpty() && !parts.last().isEmpty()))
            return fail(expected);
        letters = withPerms ? parts.last() : QString();
    }
    if (!qualifier.isEmpty()) {
        entry.tag = entry.tag == MGPosixAcl::UserObj ? MGPosixAcl::User : MGPosixAcl::Group;
        const auto id = idFor(QString::fromUtf8(unescapePath(qualifier.toUtf8())), entry.tag == MGPosixAcl::User);
        if (!id)
            return fail(QStringLiteral("there is no %1 \u201c%2\u201d")
                            .arg(entry.tag == MGPosixAcl::User ? QStringLiteral("user") : QStringLiteral("group"),
                                 qualifier));
        entry.id = *id;
    }
    if (withPerms) {
        const std::optional<Permissions> perms = permissionsOf(letters.trimmed());
        if (!perms)
            return fail(QStringLiteral("permissions are r, w, x, X or -, or one octal digit"));
        entry.perm = perms->bits;
        entry.executeIfSearchable = perms->executeIfSearchable;
    }
    return entry;
}

std::optional<Permissions> permissionsOf(const QString &letters)
{
    if (letters.size() == 1 && letters[0] >= QLatin1Char('0') && letters[0] <= QLatin1Char('7'))
        return Permissions{quint16(letters[0].unicode() - '0'), false};
    if (letters.isEmpty())
        return std::nullopt;
    Permissions perms;
    bool conditional = false;
    for (QChar c : letters) {
        quint16 bit = 0;
        if (c == QLatin1Char('r'))
            bit = 4;
        else if (c == QLatin1Char('w'))
            bit = 2;
        else if (c == QLatin1Char('x'))
            bit = 1;
        else if (c == QLatin1Char('X')) {
            if (conditional)
                return std::nullopt;
            conditional = true;
            continue;
        } else if (c == QLatin1Char('-'))
            continue;
        else
            return std::nullopt;
        // Each letter once, as setfacl takes them.
        if (perms.bits & bit)
            return std::nullopt;
        perms.bits |= bit;
    }
    perms.executeIfSearchable = conditional && !(perms.bits & 1);
    return perms;
}

QByteArray entryOfLine(const QByteArray &line)
{
    // setfacl reads "user:: rwx", "user::rwx#c" and "user::rwx\t#effective:r--" alike: blanks
    // around the fields go, and a comment begins at the first "#" of the permissions' field.
    // A user's or group's name may hold a "#" (no blank, no colon: those are escaped).
    const auto field = [](QByteArrayView text) { return text.trimmed().toByteArray(); };
    qsizetype colon = line.indexOf(':');
    if (colon < 0)
        return line;
    QByteArray out;
    QByteArray tag = field(QByteArrayView(line).first(colon));
    qsizetype at = colon + 1;
    if (tag == "d" || tag == "default") {
        out = tag + ':';
        colon = line.indexOf(':', at);
        if (colon < 0)
            return line;
        tag = field(QByteArrayView(line).sliced(at, colon - at));
        at = colon + 1;
    }
    out += tag + ':';
    const bool named = tag == "u" || tag == "user" || tag == "g" || tag == "group";
    const qsizetype hash = line.indexOf('#', at);
    const qsizetype next = line.indexOf(':', at);
    // The qualifier runs to the next colon: for a user or group (whose name may hold "#"), or
    // for a mask or others written with two colons ("m::r").
    if (next >= 0 && (named || hash < 0 || next < hash)) {
        out += field(QByteArrayView(line).sliced(at, next - at)) + ':';
        at = next + 1;
    } else {
        out += ':';
    }
    QByteArrayView perms = QByteArrayView(line).sliced(at);
    if (const qsizetype comment = perms.indexOf('#'); comment >= 0)
        perms = perms.first(comment);
    return out + field(perms);
}

void resolveExecute(Block &block, bool folder)
{
    const bool searchable = folder || block.access.grantsExecute();
    for (const Entry &entry : std::as_const(block.executeIfSearchable)) {
        MGPosixAcl &acl = entry.isDefault ? block.defaultAcl : block.access;
        if (searchable)
            acl.set(entry.tag, acl.perm(entry.tag, entry.id).value_or(0) | 1, entry.id);
    }
    block.executeIfSearchable.clear();
    for (const bool isDefault : {false, true}) {
        MGPosixAcl &acl = isDefault ? block.defaultAcl : block.access;
        if (!block.maskGiven[isDefault] && acl.hasNamedEntries())
            acl.set(MGPosixAcl::Mask, acl.groupClassUnion());
    }
}

std::optional<QList<Block>> parse(const QByteArray &text, QString *why)
{
    QList<Block> blocks;
    Block current;
    enum { Between, Header, Entries } state = Between;
    int number = 0;
    const auto fail = [&](int line, const QString &problem) -> std::optional<QList<Block>> {
        if (why)
            *why = QStringLiteral("line %1: %2").arg(line).arg(problem);
        return std::nullopt;
    };
    // What setfacl --restore makes of a block: an ACL without its owner's, owning group's or
    // others' entry is refused; a default ACL takes those it lacks from the access ACL; an
    // ACL with named entries and no mask gets the one that limits none of them.
    const auto finish = [&]() -> std::optional<QString> {
        if (state == Between)
            return std::nullopt;
        if (current.access.isEmpty())
            return QStringLiteral("the item has no entries");
        for (const auto &[tag, text] : {std::pair{MGPosixAcl::UserObj, "user::"}, std::pair{MGPosixAcl::GroupObj, "group::"},
                                        std::pair{MGPosixAcl::Other, "other::"}}) {
            if (!current.access.contains(tag))
                return QStringLiteral("the ACL has no \u201c%1\u201d entry").arg(QLatin1String(text));
            if (!current.defaultAcl.isEmpty() && !current.defaultAcl.contains(tag)) {
                current.defaultAcl.set(tag, *current.access.perm(tag));
                // A base entry given "X" brings it along.
                for (const Entry &pending : QList<Entry>(current.executeIfSearchable)) {
                    if (!pending.isDefault && pending.tag == tag)
                        current.executeIfSearchable << Entry{true, tag, pending.id, pending.perm, true};
                }
            }
        }
        for (MGPosixAcl *acl : {&current.access, &current.defaultAcl}) {
            if (acl->hasNamedEntries() && !acl->contains(MGPosixAcl::Mask))
                acl->set(MGPosixAcl::Mask, acl->groupClassUnion());
        }
        blocks << current;
        current = Block();
        state = Between;
        return std::nullopt;
    };
    for (const QByteArray &raw : text.split('\n')) {
        ++number;
        QByteArray line = raw;
        if (line.endsWith('\r'))
            line.chop(1);
        const QByteArray trimmed = line.trimmed();
        if (trimmed.isEmpty()) {
            // Blank lines among the header's comments are passed over; after entries, one ends the item.
            if (state == Header)
                continue;
            if (const auto problem = finish())
                return fail(current.line, *problem);
            continue;
        }
        if (trimmed.startsWith('#')) {
            const QByteArray comment = trimmed.mid(1).trimmed();
            const auto field = [&](const char *name) { return comment.startsWith(name); };
            // Among entries every comment is passed over, a file line too (the next item begins
            // after a blank line).
            if (state == Entries)
                continue;
            if (state == Between) {
                current = Block();
                current.line = number;
                state = Header;
            }
            if (field("file:")) {
                if (current.hasPath)
                    return fail(number, QStringLiteral("a second file line for one item"));
                // The path is what follows the field's blank, to the end of the line.
                QByteArray value = line.mid(line.indexOf("file:") + 5);
                while (value.startsWith(' ') || value.startsWith('\t'))
                    value.remove(0, 1);
                current.path = unescapePath(value);
                current.hasPath = true;
                if (current.path.isEmpty())
                    return fail(number, QStringLiteral("the file line names no path"));
                if (current.path.contains('\0'))
                    return fail(number, QStringLiteral("the file line names a path with a NUL byte (\\000), which no path holds"));
            } else if (field("owner:") || field("group:")) {
                const bool user = field("owner:");
                const QString name = QString::fromUtf8(unescapePath(comment.mid(6).trimmed()));
                // A second line after one that named an account is refused; after a name no
                // account has, it is taken (as setfacl takes them).
                if (user ? current.owner.has_value() : current.group.has_value())
                    return fail(number, user ? QStringLiteral("a second owner line for one item")
                                             : QStringLiteral("a second group line for one item"));
                (user ? current.ownerGiven : current.groupGiven) = true;
                if (const auto id = idFor(name, user)) {
                    (user ? current.owner : current.group) = *id;
                    (user ? current.unknownOwner : current.unknownGroup).clear();
                } else {
                    (user ? current.unknownOwner : current.unknownGroup) = name;
                }
            } else if (field("flags:")) {
                // A second flags line replaces the first, as setfacl takes it.
                const QByteArray flags = comment.mid(6).trimmed();
                if (flags.size() != 3 || (flags[0] != 's' && flags[0] != '-') || (flags[1] != 's' && flags[1] != '-')
                    || (flags[2] != 't' && flags[2] != '-'))
                    return fail(number, QStringLiteral("flags are s or -, s or -, t or - (such as -s-)"));
                current.flags = (flags[0] == 's' ? S_ISUID : 0) | (flags[1] == 's' ? S_ISGID : 0)
                    | (flags[2] == 't' ? S_ISVTX : 0);
            }
            continue;
        }
        if (state == Between || !current.hasPath)
            return fail(number, QStringLiteral("expected \u201c# file: PATH\u201d"));
        state = Entries;
        QString problem;
        const auto entry = parseEntry(QString::fromUtf8(entryOfLine(trimmed)), true, &problem);
        if (!entry)
            return fail(number, problem);
        // A later entry for the same user or group replaces an earlier one, as setfacl takes it.
        MGPosixAcl &acl = entry->isDefault ? current.defaultAcl : current.access;
        acl.set(entry->tag, *entry->perm, entry->id);
        // "X" depends on the item, known only when it is restored.
        current.executeIfSearchable.removeIf([&](const Entry &e) {
            return e.isDefault == entry->isDefault && e.tag == entry->tag && e.id == entry->id;
        });
        if (entry->executeIfSearchable)
            current.executeIfSearchable << *entry;
        if (entry->tag == MGPosixAcl::Mask)
            current.maskGiven[entry->isDefault] = true;
    }
    if (state == Header)
        return fail(number, QStringLiteral("the item has no entries"));
    if (const auto problem = finish())
        return fail(current.line, *problem);
    return blocks;
}
}
