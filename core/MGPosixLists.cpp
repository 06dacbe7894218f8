#include "MGPosixLists.h"

#include "CBIdentityAuthority.h"
#include "NTLocalizedString.h"

#include <algorithm>
#include <cerrno>

using Set = MGAclPermissionSet;

namespace {
QList<quint32> namedIds(quint32 first, quint16 tag, const MGPosixItemState &state)
{
    QList<quint32> ids{first};
    for (const MGPosixAcl *acl : {&state.access, &state.defaultAcl}) {
        for (const MGPosixAcl::Entry &e : acl->entries()) {
            if (e.tag == tag)
                ids << e.id;
        }
    }
    return ids;
}

// The accounts of an item's owner, owning group and named entries, found together: an ACL
// may name thousands of ids.
class Accounts
{
public:
    explicit Accounts(const MGPosixItemState &state)
        : m_users(CBIdentityAuthority::defaultIdentityAuthority().usersWithUids(state.userIds()))
        , m_groups(CBIdentityAuthority::defaultIdentityAuthority().groupsWithGids(state.groupIds()))
    {
    }

    // As CBIdentityAuthority::identityForId names them: by number without an account.
    CBIdentity user(quint32 uid) const { return m_users.value(uid, CBIdentity::user(uid)); }
    CBIdentity group(quint32 gid) const { return m_groups.value(gid, CBIdentity::group(gid)); }

    CBIdentity of(const MGPosixAcl::Entry &e) const
    {
        switch (e.tag) {
        case MGPosixAcl::User:
            return user(e.id);
        case MGPosixAcl::Group:
            return group(e.id);
        case MGPosixAcl::UserObj:
            return CBIdentity::special(CBIdentity::Class::OwnerSpecial);
        case MGPosixAcl::GroupObj:
            return CBIdentity::special(CBIdentity::Class::GroupSpecial);
        case MGPosixAcl::Mask:
            return CBIdentity::special(CBIdentity::Class::MaskSpecial);
        default:
            return CBIdentity::special(CBIdentity::Class::EveryoneSpecial);
        }
    }

private:
    QHash<uid_t, CBIdentity> m_users;
    QHash<gid_t, CBIdentity> m_groups;
};

// The POSIX tag of an ACL entry's principal.
quint16 tagOf(const CBIdentity &identity)
{
    switch (identity.identityClass()) {
    case CBIdentity::Class::User:
        return MGPosixAcl::User;
    case CBIdentity::Class::Group:
        return MGPosixAcl::Group;
    case CBIdentity::Class::OwnerSpecial:
        return MGPosixAcl::UserObj;
    case CBIdentity::Class::GroupSpecial:
        return MGPosixAcl::GroupObj;
    case CBIdentity::Class::MaskSpecial:
        return MGPosixAcl::Mask;
    default:
        return MGPosixAcl::Other;
    }
}

QString describe(const MGAclEntry &entry)
{
    const QString tag = entry.tag() == MGAclEntry::Allow ? QStringLiteral("Allow")
        : entry.tag() == MGAclEntry::Deny                ? QStringLiteral("Deny")
                                                          : QStringLiteral("Undefined");
    return QStringLiteral("%1, %2").arg(tag, entry.identity().displayName());
}

MGError refusal(const QString &path, qsizetype index, const MGAclEntry *entry, const QString &problem)
{
    const QString what = entry ? QStringLiteral("entry %1 (%2) is %3").arg(index).arg(describe(*entry), problem)
                               : problem;
    return MGError::posixError(
        EINVAL, QStringLiteral("Cannot store the permissions of \u201c%1\u201d: %2, which POSIX ACLs cannot hold.")
                    .arg(path, what));
}

// What the POSIX section of a list says, collected while checking it.
struct PosixSection
{
    std::optional<uid_t> owner;
    std::optional<gid_t> group;
    std::optional<int> ownerBits, groupBits, otherBits, maskBits;
};
}

QList<uid_t> MGPosixItemState::userIds() const
{
    return namedIds(owner, MGPosixAcl::User, *this);
}

QList<gid_t> MGPosixItemState::groupIds() const
{
    return namedIds(group, MGPosixAcl::Group, *this);
}

QString MGPosixLists::aclTitle()
{
    return NTLocalizedString::localize(QStringLiteral("Access Control List"), QStringLiteral("ACL"));
}

QString MGPosixLists::posixTitle()
{
    return NTLocalizedString::localize(QStringLiteral("POSIX Permissions"), QStringLiteral("ACL"));
}

MGAclList MGPosixLists::listFromState(const MGPosixItemState &state)
{
    using namespace MGAclFlag;
    const bool dir = state.isDirectory();
    const Accounts accounts(state);
    auto aclEntry = [dir, &accounts](const MGPosixAcl::Entry &e, quint32 flags) {
        return MGAclEntry::aclEntry(MGAclEntry::Allow, accounts.of(e), Set::fromPosixBits(e.perm, dir), flags, dir,
                                    true);
    };
    MGAclList list{aclTitle()};
    QList<MGPosixAcl::Entry> inheritable = state.defaultAcl.entries();
    for (const MGPosixAcl::Entry &e : state.access.entries()) {
        if (e.tag != MGPosixAcl::User && e.tag != MGPosixAcl::Group)
            continue;
        // The same entry in the default ACL is one entry that also passes down.
        const qsizetype twin = inheritable.indexOf(e);
        quint32 flags = 0;
        if (twin >= 0) {
            inheritable.removeAt(twin);
            flags = FileInherit | DirectoryInherit;
        }
        list << aclEntry(e, flags);
    }
    // Named entries first, then what the folder passes on for owner, group, mask and others.
    std::stable_partition(inheritable.begin(), inheritable.end(), [](const MGPosixAcl::Entry &e) {
        return e.tag == MGPosixAcl::User || e.tag == MGPosixAcl::Group;
    });
    for (const MGPosixAcl::Entry &e : std::as_const(inheritable))
        list << aclEntry(e, FileInherit | DirectoryInherit | OnlyInherit);

    list << posixTitle();
    const MGPosixAcl &a = state.access;
    list << MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, accounts.user(state.owner),
                                   a.perm(MGPosixAcl::UserObj).value_or(0), dir);
    list << MGAclEntry::posixEntry(MGAclEntry::Kind::OwningGroup, accounts.group(state.group),
                                   a.perm(MGPosixAcl::GroupObj).value_or(0), dir);
    list << MGAclEntry::posixEntry(MGAclEntry::Kind::Other, CBIdentity::special(CBIdentity::Class::EveryoneSpecial),
                                   a.perm(MGPosixAcl::Other).value_or(0), dir);
    if (const auto mask = a.perm(MGPosixAcl::Mask))
        list << MGAclEntry::posixEntry(MGAclEntry::Kind::Mask, CBIdentity::special(CBIdentity::Class::MaskSpecial),
                                       *mask, dir);
    return list;
}

MGResult<MGPosixItemState> MGPosixLists::stateFromList(const MGAclList &list, const MGPosixItemState &current,
                                                          const QString &path)
{
    using namespace MGAclFlag;
    const bool dir = current.isDirectory();
    PosixSection posix;
    MGPosixAcl access, defaults;
    for (qsizetype index = 0; index < list.size(); ++index) {
        const MGAclEntry *entry = MGAclLists::entryOf(list.at(index));
        if (!entry)
            continue;
        const auto bits = Set::toPosixBits(entry->permissions(), entry->isDirectory());
        if (!bits)
            return refusal(path, index, entry, QStringLiteral("holding permissions other than read, write and execute"));
        if (!entry->isAcl()) {
            std::optional<int> *slot = nullptr;
            switch (entry->kind()) {
            case MGAclEntry::Kind::Owner:
                if (!entry->identity().isUser())
                    return refusal(path, index, entry, QStringLiteral("an owner that is not a user"));
                posix.owner = entry->identity().posixID();
                slot = &posix.ownerBits;
                break;
            case MGAclEntry::Kind::OwningGroup:
                if (!entry->identity().isGroup())
                    return refusal(path, index, entry, QStringLiteral("an owning group that is not a group"));
                posix.group = entry->identity().posixID();
                slot = &posix.groupBits;
                break;
            case MGAclEntry::Kind::Other:
                slot = &posix.otherBits;
                break;
            default:
                slot = &posix.maskBits;
                break;
            }
            if (slot->has_value())
                return refusal(path, index, entry, QStringLiteral("a second entry of its kind"));
            *slot = *bits;
            continue;
        }
        QString problem = entry->posixProblem();
        if (problem.isEmpty() && !dir && (entry->flags() & Inheritance))
            problem = QStringLiteral("inheritance flags on a file");
        if (!problem.isEmpty())
            return refusal(path, index, entry, problem);
        const quint16 tag = tagOf(entry->identity());
        const quint32 id = entry->identity().posixID();
        const bool appliesHere = entry->appliesHere();
        const bool passesDown = entry->passesOn();
        if ((appliesHere && access.contains(tag, id)) || (passesDown && defaults.contains(tag, id)))
            return refusal(path, index, entry, QStringLiteral("a second entry for the same user or group"));
        if (appliesHere)
            access.set(tag, quint16(*bits), id);
        if (passesDown)
            defaults.set(tag, quint16(*bits), id);
    }
    if (!posix.owner || !posix.group || !posix.otherBits || !posix.ownerBits || !posix.groupBits)
        return refusal(path, -1, nullptr, QStringLiteral("a list without owner, owning group and other entries"));

    MGPosixItemState state = current;
    state.owner = *posix.owner;
    state.group = *posix.group;
    access.set(MGPosixAcl::UserObj, quint16(*posix.ownerBits));
    access.set(MGPosixAcl::GroupObj, quint16(*posix.groupBits));
    access.set(MGPosixAcl::Other, quint16(*posix.otherBits));
    if (!access.hasNamedEntries() && current.access.hasNamedEntries()) {
        // The last named entries went: a mask now limits only the owning group, which the
        // mode bits alone say (as setfacl -b does), and the item no longer shows an ACL.
        if (posix.maskBits)
            access.set(MGPosixAcl::GroupObj, quint16(*posix.groupBits & *posix.maskBits));
    } else if (posix.maskBits) {
        access.set(MGPosixAcl::Mask, quint16(*posix.maskBits));
    } else if (access.hasNamedEntries()) {
        access.set(MGPosixAcl::Mask, access.groupClassUnion());
    }
    if (!defaults.isEmpty()) {
        // A default ACL needs the three base entries; missing ones come from the access
        // ACL, as setfacl does.
        for (quint16 tag : {MGPosixAcl::UserObj, MGPosixAcl::GroupObj, MGPosixAcl::Other}) {
            if (!defaults.contains(tag))
                defaults.set(tag, *access.perm(tag));
        }
        if (defaults.hasNamedEntries() && !defaults.contains(MGPosixAcl::Mask))
            defaults.set(MGPosixAcl::Mask, defaults.groupClassUnion());
    }
    state.access = access;
    state.defaultAcl = defaults;
    state.mode = (current.mode & ~mode_t(0777)) | access.permissionBits();
    return state;
}

QString MGPosixLists::kindOf(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFDIR:
        return NTLocalizedString::localize(QStringLiteral("a folder"), QStringLiteral("ACL"));
    case S_IFREG:
        return NTLocalizedString::localize(QStringLiteral("a regular file"), QStringLiteral("ACL"));
    case S_IFLNK:
        return NTLocalizedString::localize(QStringLiteral("a symbolic link"), QStringLiteral("ACL"));
    case S_IFIFO:
        return NTLocalizedString::localize(QStringLiteral("a FIFO"), QStringLiteral("ACL"));
    case S_IFSOCK:
        return NTLocalizedString::localize(QStringLiteral("a socket"), QStringLiteral("ACL"));
    case S_IFCHR:
        return NTLocalizedString::localize(QStringLiteral("a character device"), QStringLiteral("ACL"));
    case S_IFBLK:
        return NTLocalizedString::localize(QStringLiteral("a block device"), QStringLiteral("ACL"));
    default:
        return NTLocalizedString::localize(QStringLiteral("of an unknown kind"), QStringLiteral("ACL"));
    }
}

std::optional<MGError> MGPosixLists::changedSince(const MGPosixItemState &current, const MGAclList &expected,
                                                     const QString &what, const QString &path)
{
    if (MGAclLists::sameEntries(listFromState(current), expected))
        return std::nullopt;
    return MGAclLists::changedElsewhere(what, path);
}

