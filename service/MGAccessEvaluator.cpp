#include "MGAccessEvaluator.h"

#include "CBIdentityAuthority.h"
#include "MGAclTexts.h"
#include "NTLocalizedString.h"

#include <cerrno>

MGResult<MGAccessSubject> MGAccessSubject::forIdentity(const QUuid &uuid)
{
    const auto &authority = CBIdentityAuthority::defaultIdentityAuthority();
    const auto [identityClass, id] = CBIdentity::decodeUuid(uuid);
    if (identityClass == CBIdentity::Class::Group)
        return MGAccessSubject{std::nullopt, {gid_t(id)}};
    if (identityClass == CBIdentity::Class::User)
        return MGAccessSubject{uid_t(id), authority.groupIdsOfUser(CBIdentity::user(id))};
    return MGError::posixError(EINVAL, QStringLiteral("No user or group has the identifier %1")
                                           .arg(uuid.toString(QUuid::WithoutBraces)));
}

namespace {
using Grant = MGAccessEvaluator::Grant;

bool holds(int granted, int want)
{
    return (granted & want) == want;
}

// The POSIX ACL check, entry by entry in the order the kernel keeps them.
Grant aclDecides(const MGPosixItemState &item, const MGAccessSubject &subject, int want)
{
    const MGPosixAcl &acl = item.access;
    const int mask = acl.perm(MGPosixAcl::Mask).value_or(7);
    if (subject.uid) {
        if (const auto named = acl.perm(MGPosixAcl::User, *subject.uid))
            return {holds(*named & mask, want), Grant::NamedUser, *subject.uid,
                    holds(*named, want) && !holds(*named & mask, want)};
    }
    // The first group-class entry that matches and holds all of the request decides (then
    // the mask limits it); one that matches without holding it all does not; if some
    // matched and none held it, other is not asked.
    std::optional<Grant> matched;
    QList<MGPosixAcl::Entry> groupClass;
    for (const MGPosixAcl::Entry &entry : acl.entries()) {
        if (entry.tag == MGPosixAcl::GroupObj || entry.tag == MGPosixAcl::Group)
            groupClass << entry;
    }
    std::sort(groupClass.begin(), groupClass.end(), [](const MGPosixAcl::Entry &a, const MGPosixAcl::Entry &b) {
        return a.tag != b.tag ? a.tag < b.tag : a.id < b.id;
    });
    for (const MGPosixAcl::Entry &entry : std::as_const(groupClass)) {
        const bool owning = entry.tag == MGPosixAcl::GroupObj;
        const gid_t gid = owning ? item.group : gid_t(entry.id);
        if (!subject.groups.contains(gid))
            continue;
        const Grant grant{false, owning ? Grant::OwningGroup : Grant::NamedGroup, gid};
        if (holds(entry.perm, want))
            return {holds(entry.perm & mask, want), grant.source, grant.id, !holds(entry.perm & mask, want)};
        if (!matched)
            matched = grant;
    }
    if (matched)
        return *matched;
    return {holds(acl.perm(MGPosixAcl::Other).value_or(0), want), Grant::Other, 0};
}
}

MGAccessEvaluator::Grant MGAccessEvaluator::decide(const MGPosixItemState &item, const MGAccessSubject &subject, int want)
{
    // The mode's group bits are the mask when there is an ACL.
    const mode_t mode = item.mode & 0777;
    if (subject.isRoot()) {
        // Reading, writing and searching folders are always allowed; executing a file needs
        // an execute bit somewhere.
        return {!(want & 1) || item.isDirectory() || (mode & 0111), Grant::Root, 0};
    }
    if (subject.uid && *subject.uid == item.owner)
        return {holds(int(mode >> 6) & 7, want), Grant::Owner, *subject.uid};
    // With no group-class permission at all the ACL is not asked: named entries fall
    // through to the mode's group and other bits.
    if (!item.access.isMinimal() && (mode & 070))
        return aclDecides(item, subject, want);
    if ((want & int((mode ^ (mode >> 3)) & 7)) && subject.groups.contains(item.group))
        return {holds(int(mode >> 3) & 7, want), Grant::OwningGroup, item.group};
    return {holds(int(mode) & 7, want), Grant::Other, 0};
}

bool MGAccessEvaluator::permits(const MGPosixItemState &item, const MGAccessSubject &subject, int want)
{
    return decide(item, subject, want).granted;
}

QList<MGTreeNode::Pointer> MGAccessEvaluator::accessTree(const MGPosixItemState &item, const MGAccessSubject &subject)
{
    const bool dir = item.isDirectory();
    const bool r = permits(item, subject, 4), w = permits(item, subject, 2), x = permits(item, subject, 1);
    // Adding to or removing from a folder needs write and search, granted together.
    const bool wx = permits(item, subject, 3);
    const bool root = subject.isRoot();
    const bool owner = root || (subject.uid && *subject.uid == item.owner);
    // In a sticky folder only the folder's owner (and root) may delete what others own, or
    // change the folder's extended attributes.
    const bool sticky = dir && (item.mode & S_ISVTX);
    auto t = [](const QString &key) { return NTLocalizedString::localize(key, QStringLiteral("ACL")); };
    using namespace MGAclPermission;
    // Who decides a request: the entry, named as the item lists it, and the mask's part.
    const auto &authority = CBIdentityAuthority::defaultIdentityAuthority();
    auto decidedBy = [&](int want) {
        const Grant grant = decide(item, subject, want);
        QString who;
        switch (grant.source) {
        case Grant::Root: who = t(QStringLiteral("the administrator\u2019s own rule")); break;
        case Grant::Owner: who = t(QStringLiteral("the owner\u2019s entry")); break;
        case Grant::NamedUser:
            who = t(QStringLiteral("the entry for the user %1"))
                      .arg(authority.identityForId(CBIdentity::Class::User, grant.id).displayName());
            break;
        case Grant::OwningGroup:
            who = t(QStringLiteral("the owning group\u2019s entry (%1)"))
                      .arg(authority.identityForId(CBIdentity::Class::Group, grant.id).displayName());
            break;
        case Grant::NamedGroup:
            who = t(QStringLiteral("the entry for the group %1"))
                      .arg(authority.identityForId(CBIdentity::Class::Group, grant.id).displayName());
            break;
        case Grant::Other: who = t(QStringLiteral("the entry for everyone else")); break;
        }
        return grant.maskLimited ? t(QStringLiteral("%1, limited by the mask")).arg(who) : who;
    };
    auto row = [&](quint32 bit, int state, const char *condition = nullptr, int want = 0) {
        const QString key = MGAclPermissionSet::permissionKey(bit, dir);
        QString title = t(key);
        if (condition)
            title += QStringLiteral(" (%1)").arg(t(QString::fromLatin1(condition)));
        MGTreeNode::Pointer node = MGTreeNode::treeNodeWithRepresentedObject(title, state);
        node->setKey(MGAclTexts::scriptWord(key));
        if (want)
            node->setDetail(decidedBy(want));
        return node;
    };
    auto yes = [](bool granted) { return granted ? 1 : 0; };
    auto section = [&](const char *key, QList<MGTreeNode::Pointer> rows) {
        MGTreeNode::Pointer node = MGTreeNode::treeNodeWithRepresentedObject(t(QString::fromLatin1(key)), -1);
        node->setKey(MGAclTexts::scriptWord(QString::fromLatin1(key)));
        for (const MGTreeNode::Pointer &child : rows)
            node->addChild(child);
        return node;
    };
    QList<MGTreeNode::Pointer> tree;
    tree << section("Read", {row(ReadData, yes(r), nullptr, 4), row(ReadNamedAttributes, yes(r), nullptr, 4),
                             row(ReadAttributes, 1), row(ReadAcl, 1)});
    if (dir) {
        const MGTreeNode::Pointer deleting = sticky && !owner && wx
            ? row(DeleteChild, -1, "only what they own: the folder is sticky", 3)
            : row(DeleteChild, yes(wx), nullptr, 3);
        tree << section("Write", {row(WriteData, yes(wx), nullptr, 3), row(AppendData, yes(wx), nullptr, 3), deleting,
                                  row(WriteNamedAttributes, yes(w && (!sticky || owner)), nullptr, 2)});
    } else {
        tree << section("Write", {row(WriteData, yes(w), nullptr, 2), row(AppendData, yes(w), nullptr, 2),
                                  row(WriteNamedAttributes, yes(w), nullptr, 2)});
    }
    tree << section("Execute", {row(Execute, yes(x), nullptr, 1)});
    tree << section("Administration", {row(WriteAcl, yes(owner)), row(WriteOwner, yes(root))});
    return tree;
}

MGResult<QList<MGTreeNode::Pointer>> MGAccessEvaluator::accessTree(const MGFileItem &file, const QUuid &uuid,
                                                                    const std::optional<MGAclList> &edited)
{
    const MGResult<MGAccessSubject> subject = MGAccessSubject::forIdentity(uuid);
    if (!subject)
        return subject.error();
    const MGResult<MGPosixItemState> item = MGPosixAclStore::readState(file);
    if (!item)
        return item.error();
    if (edited) {
        const MGResult<MGPosixItemState> proposed = MGPosixLists::stateFromList(*edited, *item, file.shownPath());
        if (!proposed)
            return proposed.error();
        return accessTree(*proposed, *subject);
    }
    return accessTree(*item, *subject);
}

QByteArray MGAccessEvaluator::blockingFolder(const MGFileItem &file, const QUuid &uuid)
{
    const MGResult<MGAccessSubject> subject = MGAccessSubject::forIdentity(uuid);
    if (!subject)
        return {};
    // "/", "/a", "/a/b", ... up to the item's own folder.
    const QByteArray &path = file.path();
    for (qsizetype end = 0; end >= 0 && end < path.size() - 1;) {
        const QByteArray folder = end == 0 ? QByteArray("/") : path.left(end);
        const MGResult<MGFileItem> item = MGFileItem::open(folder, MGPosixAclStore::ReadFailure);
        if (!item)
            return {};
        const MGResult<MGPosixItemState> state = MGPosixAclStore::readState(*item);
        if (state && state->isDirectory() && !permits(*state, *subject, 1))
            return folder;
        end = path.indexOf('/', end + 1);
    }
    return {};
}
