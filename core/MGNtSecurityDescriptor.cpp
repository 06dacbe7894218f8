#include "MGNtSecurityDescriptor.h"

#include "MGPosixLists.h"
#include "NTLocalizedString.h"

#include <algorithm>
#include <cerrno>

namespace {
MGError unreadable(const QString &why)
{
    return MGError::posixError(EPROTO, QStringLiteral("The server described the item's permissions in a form that "
                                                      "cannot be read: %1.")
                                           .arg(why));
}

// The server's name for a SID in the form it gives: "\Everyone" for a name without a
// domain, the SID itself for one it cannot name.
QString shownName(const QString &name, const QString &sid)
{
    if (name.compare(sid, Qt::CaseInsensitive) == 0)
        return QString();
    return name.startsWith(QLatin1Char('\\')) ? name.mid(1) : name;
}

std::optional<quint32> number(const QString &text)
{
    bool ok = false;
    const quint32 value = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? text.mid(2).toUInt(&ok, 16)
                                                                                     : text.toUInt(&ok, 10);
    return ok ? std::optional<quint32>(value) : std::nullopt;
}

struct Parsed
{
    QString owner, group;
    QList<MGNtAce> aces; // with the SID or the name in `sid`
};

std::optional<Parsed> parseText(const QByteArray &text, QString *why)
{
    Parsed parsed;
    // The library ends the text with its terminating zero; names hold no comma.
    for (const QString &token : QString::fromUtf8(text).remove(QChar(0)).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        if (token.startsWith(QLatin1String("REVISION:")))
            continue;
        if (token.startsWith(QLatin1String("OWNER:"))) {
            parsed.owner = token.mid(6);
            continue;
        }
        if (token.startsWith(QLatin1String("GROUP:"))) {
            parsed.group = token.mid(6);
            continue;
        }
        if (!token.startsWith(QLatin1String("ACL:"))) {
            *why = QStringLiteral("unknown part \u201c%1\u201d").arg(token.left(40));
            return std::nullopt;
        }
        const qsizetype colon = token.lastIndexOf(QLatin1Char(':'));
        const QStringList fields = token.mid(colon + 1).split(QLatin1Char('/'));
        const auto type = fields.size() == 3 ? number(fields[0]) : std::nullopt;
        const auto flags = fields.size() == 3 ? number(fields[1]) : std::nullopt;
        const auto mask = fields.size() == 3 ? number(fields[2]) : std::nullopt;
        if (colon <= 4 || !type || !flags || !mask) {
            *why = QStringLiteral("the entry \u201c%1\u201d").arg(token.left(80));
            return std::nullopt;
        }
        const MGNtAce ace{int(*type), *flags, *mask, token.mid(4, colon - 4), QString()};
        // Entries of other kinds are kept as the binary reading has them.
        const bool shownKind = ace.type == MGNtAce::Allowed || ace.type == MGNtAce::Denied;
        if (shownKind && (ace.flags & ~(MGNtSecurityDescriptor::InheritanceFlags | MGNtSecurityDescriptor::InheritedFlag))) {
            *why = QStringLiteral("an entry has flags 0x%1, which this editor cannot show or keep").arg(ace.flags, 0, 16);
            return std::nullopt;
        }
        parsed.aces << ace;
    }
    return parsed;
}

QString sidText(const QString &text)
{
    return text.startsWith(QLatin1String("S-"), Qt::CaseInsensitive) ? text.toUpper() : QString();
}
}

MGResult<MGNtSecurityDescriptor> MGNtSecurityDescriptor::parse(const QByteArray &bySid, const QByteArray &byName)
{
    QString why;
    const std::optional<Parsed> sids = parseText(bySid, &why);
    if (!sids)
        return unreadable(why);
    MGNtSecurityDescriptor descriptor;
    descriptor.ownerSid = sidText(sids->owner);
    descriptor.groupSid = sidText(sids->group);
    for (MGNtAce ace : sids->aces) {
        // The text form cannot carry an entry of another kind whole.
        if (ace.type != MGNtAce::Allowed && ace.type != MGNtAce::Denied)
            return unreadable(QStringLiteral("an entry is of kind %1, which the text form cannot carry").arg(ace.type));
        ace.sid = sidText(ace.sid);
        if (ace.sid.isEmpty())
            return unreadable(QStringLiteral("an entry names no SID"));
        descriptor.aces << ace;
    }
    if (const MGResultError error = descriptor.takeNames(byName))
        return *error;
    return descriptor;
}

MGResultError MGNtSecurityDescriptor::takeNames(const QByteArray &byName)
{
    QString why;
    const std::optional<Parsed> names = parseText(byName, &why);
    if (!names)
        return unreadable(why);
    if (names->aces.size() != aces.size())
        return unreadable(QStringLiteral("it changed while it was read"));
    for (qsizetype i = 0; i < aces.size(); ++i) {
        const MGNtAce &named = names->aces[i];
        if (aces[i].type != named.type || aces[i].flags != named.flags || aces[i].mask != named.mask)
            return unreadable(QStringLiteral("it changed while it was read"));
    }
    ownerName = shownName(names->owner, ownerSid);
    groupName = shownName(names->group, groupSid);
    for (qsizetype i = 0; i < aces.size(); ++i)
        aces[i].name = shownName(names->aces[i].sid, aces[i].sid);
    return std::nullopt;
}

QString MGNtSecurityDescriptor::ownerTitle(bool protectedItem, qsizetype otherKinds)
{
    // The list has no place of its own for the protection or for entries it cannot show,
    // which a save keeps: its section below the entries says them.
    const auto t = [](const QString &text) { return NTLocalizedString::localize(text, QStringLiteral("ACL")); };
    QStringList remarks;
    if (protectedItem)
        remarks << t(QStringLiteral("inheritance is turned off: nothing comes from the folder above"));
    if (otherKinds > 0)
        remarks << t(otherKinds == 1 ? QStringLiteral("%1 entry of a kind not shown here (object or conditional) is kept")
                                     : QStringLiteral("%1 entries of kinds not shown here (object or conditional) are kept"))
                       .arg(NTLocalizedString::count(otherKinds));
    const QString title = t(QStringLiteral("Owner and Group"));
    return remarks.isEmpty() ? title : QStringLiteral("%1 (%2)").arg(title, remarks.join(QStringLiteral("; ")));
}

MGNtSecurityDescriptor MGNtSecurityDescriptor::shown() const
{
    MGNtSecurityDescriptor result = *this;
    result.aces.removeIf([](const MGNtAce &ace) { return ace.isOtherKind(); });
    return result;
}

qsizetype MGNtSecurityDescriptor::otherKinds() const
{
    return std::count_if(aces.begin(), aces.end(), [](const MGNtAce &ace) { return ace.isOtherKind(); });
}

MGNtSecurityDescriptor MGNtSecurityDescriptor::keepingOtherKinds(const MGNtSecurityDescriptor &held) const
{
    if (otherKinds() > 0)
        return *this;
    MGNtSecurityDescriptor result = *this;
    // Each goes after the entry it followed, where that is still there (after where the one
    // before it went); otherwise after as many entries as came before it.
    qsizetype earliest = 0, before = 0;
    const MGNtAce *follows = nullptr;
    for (const MGNtAce &ace : held.aces) {
        if (!ace.isOtherKind()) {
            follows = &ace;
            ++before;
            continue;
        }
        qsizetype place = follows ? result.aces.indexOf(*follows, earliest) : earliest;
        if (follows && place >= 0) {
            ++place;
        } else {
            place = 0;
            for (qsizetype shown = 0; place < result.aces.size() && shown < before; ++place)
                shown += !result.aces[place].isOtherKind();
        }
        place = std::max(place, earliest);
        result.aces.insert(place, ace);
        earliest = place + 1;
    }
    return result;
}

MGAclList MGNtSecurityDescriptor::list(bool directory) const
{
    MGAclList list{MGPosixLists::aclTitle()};
    for (const MGNtAce &ace : aces) {
        if (ace.isOtherKind())
            continue;
        const quint32 flags = (ace.flags & InheritanceFlags) | ((ace.flags & InheritedFlag) ? quint32(MGAclFlag::Inherited) : 0u);
        list << MGAclEntry::aclEntry(ace.type == MGNtAce::Denied ? MGAclEntry::Deny : MGAclEntry::Allow,
                                     CBIdentity::principal(ace.sid, ace.name), ace.mask, flags, directory, false);
    }
    list << ownerTitle(isProtected(), otherKinds());
    list << MGAclEntry::ownerEntry(MGAclEntry::Kind::Owner, CBIdentity::principal(ownerSid, ownerName), directory);
    list << MGAclEntry::ownerEntry(MGAclEntry::Kind::OwningGroup, CBIdentity::principal(groupSid, groupName), directory);
    return list;
}

MGResult<MGNtSecurityDescriptor> MGNtSecurityDescriptor::fromList(const MGAclList &list)
{
    MGNtSecurityDescriptor descriptor;
    for (const MGAclItem &item : list) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        if (!entry)
            continue;
        const CBIdentity &who = entry->identity();
        if (!who.isPrincipal() || (who.sid().isEmpty() && who.posixName().isEmpty()))
            return MGError::posixError(EINVAL, QStringLiteral("The entry for \u201c%1\u201d names no account of the "
                                                              "server, and nothing was changed.")
                                                   .arg(entry->identityText()));
        switch (entry->kind()) {
        case MGAclEntry::Kind::Acl: {
            if (entry->tag() != MGAclEntry::Allow && entry->tag() != MGAclEntry::Deny)
                return MGError::posixError(EINVAL, QStringLiteral("The entry for \u201c%1\u201d is neither Allow nor "
                                                                  "Deny, and nothing was changed.")
                                                       .arg(entry->identityText()));
            const quint32 flags = (entry->flags() & InheritanceFlags) | (entry->inherited() ? InheritedFlag : 0);
            descriptor.aces << MGNtAce{entry->tag() == MGAclEntry::Deny ? MGNtAce::Denied : MGNtAce::Allowed, flags,
                                       entry->permissions(), who.sid(), who.posixName()};
            break;
        }
        case MGAclEntry::Kind::Owner:
            descriptor.ownerSid = who.sid();
            descriptor.ownerName = who.posixName();
            break;
        case MGAclEntry::Kind::OwningGroup:
            descriptor.groupSid = who.sid();
            descriptor.groupName = who.posixName();
            if (who.sid().isEmpty())
                return MGError::posixError(EINVAL, QStringLiteral("The group \u201c%1\u201d is known by name only; "
                                                                  "give its SID, and nothing was changed.")
                                                       .arg(who.posixName()));
            break;
        default:
            return MGError::posixError(EINVAL, QStringLiteral("\u201c%1\u201d is a POSIX setting, which a file "
                                                              "server does not keep, and nothing was changed.")
                                                   .arg(entry->identityText()));
        }
    }
    return descriptor;
}

namespace {
// A SID of N sub-authorities takes 8 + 4N bytes; "S-1-5-21-a-b-c-d" has 5.
qsizetype sidSize(const QString &sid)
{
    if (sid.isEmpty())
        return 8 + 4 * 15;
    return 8 + 4 * std::max<qsizetype>(0, sid.count(QLatin1Char('-')) - 2);
}
}

qsizetype MGNtSecurityDescriptor::binarySize() const
{
    qsizetype size = 20 + sidSize(ownerSid) + sidSize(groupSid) + 8;
    for (const MGNtAce &ace : aces)
        size += 8 + sidSize(ace.sid);
    return size;
}

bool MGNtSecurityDescriptor::isCanonical() const
{
    // Inherited entries keep the order of the folders they come from, which is theirs.
    bool inherited = false, explicitAllow = false;
    for (const MGNtAce &ace : aces) {
        if (ace.flags & InheritedFlag) {
            inherited = true;
        } else if (inherited || (ace.type == MGNtAce::Denied && explicitAllow)) {
            return false;
        } else {
            explicitAllow = explicitAllow || ace.type == MGNtAce::Allowed;
        }
    }
    return true;
}

quint32 MGNtSecurityDescriptor::mapGenericRights(quint32 mask)
{
    constexpr struct
    {
        quint32 generic, rights;
    } mapping[] = {{0x80000000, 0x00120089}, {0x40000000, 0x00120116}, {0x20000000, 0x001200a0}, {0x10000000, 0x001f01ff}};
    for (const auto &map : mapping) {
        if (mask & map.generic)
            mask = (mask & ~map.generic) | map.rights;
    }
    return mask;
}

bool MGNtSecurityDescriptor::holdsSameAs(const MGNtSecurityDescriptor &other) const
{
    const auto mapped = [](QList<MGNtAce> aces) {
        for (MGNtAce &ace : aces)
            ace.mask = mapGenericRights(ace.mask);
        return aces;
    };
    return ownerSid == other.ownerSid && groupSid == other.groupSid && mapped(aces) == mapped(other.aces);
}
