#include "MGPosixRules.h"

namespace MGPosixRules {

namespace {
int rwx(const MGAclEntry &entry)
{
    return MGAclPermissionSet::toPosixBits(entry.permissions(), entry.isDirectory()).value_or(0);
}

GroupClass sortedClass(GroupClass members)
{
    std::sort(members.begin(), members.end(), [](const MGPosixAcl::Entry &a, const MGPosixAcl::Entry &b) {
        return a.tag != b.tag ? a.tag < b.tag : a.id < b.id;
    });
    return members;
}

// The tag an entry has in the ACL a group class is taken from; 0 when it is not a member.
quint16 memberTag(const MGAclEntry &entry, bool inheritable)
{
    if (entry.tag() != MGAclEntry::Allow || !entry.isPosix())
        return 0;
    if (!entry.isAcl())
        return !inheritable && entry.kind() == MGAclEntry::Kind::OwningGroup ? MGPosixAcl::GroupObj : 0;
    if (!(inheritable ? entry.passesOn() : entry.appliesHere()))
        return 0;
    const CBIdentity &who = entry.identity();
    if (who.isUser())
        return MGPosixAcl::User;
    if (who.isGroup())
        return MGPosixAcl::Group;
    // What a folder passes on for its owning group is the owning group of new items.
    return inheritable && who.identityClass() == CBIdentity::Class::GroupSpecial ? MGPosixAcl::GroupObj : 0;
}

// One entry's key in a list: who it is for, and where it stands.
QString entryKey(const MGAclEntry &entry)
{
    return QStringLiteral("%1:%2:%3:%4")
        .arg(int(entry.kind()))
        .arg(int(entry.identity().identityClass()))
        .arg(entry.identity().isUserOrGroup() ? entry.identity().posixID() : 0)
        .arg(int(entry.appliesTo()));
}
}

GroupClass groupClass(const MGPosixAcl &acl)
{
    GroupClass members;
    for (const MGPosixAcl::Entry &e : acl.entries()) {
        if (MGPosixAcl::isGroupClass(e.tag))
            members << e;
    }
    return sortedClass(members);
}

GroupClass groupClass(const MGAclList &list, bool inheritable)
{
    GroupClass members;
    for (const MGAclItem &item : list) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        if (!entry)
            continue;
        if (const quint16 tag = memberTag(*entry, inheritable))
            members << MGPosixAcl::Entry{tag, quint16(rwx(*entry)),
                                         tag == MGPosixAcl::GroupObj ? MGPosixAcl::UndefinedId : entry->identity().posixID()};
    }
    return sortedClass(members);
}

int unionOf(const GroupClass &members)
{
    int bits = 0;
    for (const MGPosixAcl::Entry &e : members)
        bits |= e.perm;
    return bits;
}

int followingMask(const GroupClass &before, const GroupClass &now, std::optional<int> maskBefore, bool keepMask)
{
    if (maskBefore && (keepMask || before == now))
        return *maskBefore;
    return unionOf(now);
}

MGAclEntry *maskEntry(const MGAclList &list, bool inheritable)
{
    for (const MGAclItem &item : list) {
        MGAclEntry *entry = MGAclLists::entryOf(item);
        if (entry && entry->isPosix() && entry->isMask() && entry->isAcl() == inheritable)
            return entry;
    }
    return nullptr;
}

std::optional<bool> limitingMaskScope(const MGAclEntry &entry)
{
    // Entries for the item answer to the POSIX section's mask; entries only for new items,
    // to the mask the folder passes on.
    const bool forNewItems = entry.isAcl() && !entry.appliesHere();
    return memberTag(entry, forNewItems) ? std::optional<bool>(forNewItems) : std::nullopt;
}

bool answersToMask(const MGAclEntry &entry, bool forNewItems)
{
    return memberTag(entry, forNewItems) != 0;
}

QHash<const MGAclEntry *, int> maskGains(const MGAclList &list, const MGAclList &reverted)
{
    QHash<const MGAclEntry *, int> gains;
    std::optional<int> before[2], now[2];
    for (bool inheritable : {false, true}) {
        if (const MGAclEntry *mask = maskEntry(reverted, inheritable))
            before[inheritable] = rwx(*mask);
        if (const MGAclEntry *mask = maskEntry(list, inheritable))
            now[inheritable] = rwx(*mask);
    }
    if (before[0] == now[0] && before[1] == now[1])
        return gains;
    QHash<QString, int> asRead;
    for (const MGAclItem &item : reverted) {
        if (const MGAclEntry *entry = MGAclLists::entryOf(item))
            asRead.insert(entryKey(*entry), rwx(*entry));
    }
    for (const MGAclItem &item : list) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        if (!entry)
            continue;
        const bool forNewItems = entry->isAcl() && !entry->appliesHere();
        const int bits = rwx(*entry);
        if (!memberTag(*entry, forNewItems) || !before[forNewItems] || !now[forNewItems]
            || asRead.value(entryKey(*entry), -1) != bits)
            continue;
        if (const int gained = bits & *now[forNewItems] & ~*before[forNewItems])
            gains.insert(entry, gained);
    }
    return gains;
}

IdentityUse::IdentityUse(const MGAclList &list)
{
    for (const MGAclItem &item : list) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        if (!entry || !entry->isAcl() || !entry->identity().isUserOrGroup())
            continue;
        const Key key{int(entry->identity().identityClass()), entry->identity().posixID()};
        if (entry->appliesHere())
            ++m_here[key];
        if (entry->passesOn())
            ++m_passedOn[key];
    }
}

bool IdentityUse::allows(const MGAclEntry &entry, const CBIdentity &who, bool appliesHere, bool passesOn) const
{
    // Only POSIX ACLs hold one entry per user or group.
    if (!entry.isPosix() || !who.isUserOrGroup())
        return true;
    const Key key{int(who.identityClass()), who.posixID()};
    // The entry's own place in the counts, when it already is for `who`.
    const bool self = entry.isAcl() && entry.identity().isUserOrGroup() && entry.identity() == who;
    const int here = m_here.value(key) - (self && entry.appliesHere() ? 1 : 0);
    const int passed = m_passedOn.value(key) - (self && entry.passesOn() ? 1 : 0);
    return !(appliesHere && here > 0) && !(passesOn && passed > 0);
}
}
