#include "MGAccessEvaluator.h"

#include "CBIdentityAuthority.h"
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

int MGAccessEvaluator::grantedBits(const MGPosixItemState &item, const MGAccessSubject &subject)
{
    const MGPosixAcl &acl = item.access;
    if (subject.uid == 0u) {
        // Root passes every read and write check; execute needs one execute bit somewhere,
        // except on folders, which root may always search.
        const bool anyExecute = item.isDirectory() || (acl.permissionBits() & 0111);
        return 6 | (anyExecute ? 1 : 0);
    }
    const int mask = acl.perm(MGPosixAcl::Mask).value_or(7);
    if (subject.uid && *subject.uid == item.owner)
        return acl.perm(MGPosixAcl::UserObj).value_or(0);
    if ((acl.permissionBits() & 070) == 0) {
        // Linux does not consult the ACL when the group class (the mask) grants nothing:
        // named entries then fall through to the owning group's and other's mode bits.
        return subject.groups.contains(item.group) ? 0 : acl.perm(MGPosixAcl::Other).value_or(0);
    }
    if (subject.uid) {
        if (const auto named = acl.perm(MGPosixAcl::User, *subject.uid))
            return *named & mask;
    }
    // Every matching group entry counts; one that grants a permission is enough for it.
    bool matched = false;
    int bits = 0;
    for (const MGPosixAcl::Entry &e : acl.entries()) {
        const bool owning = e.tag == MGPosixAcl::GroupObj && subject.groups.contains(item.group);
        const bool named = e.tag == MGPosixAcl::Group && subject.groups.contains(gid_t(e.id));
        if (owning || named) {
            matched = true;
            bits |= e.perm & mask;
        }
    }
    if (matched)
        return bits;
    return acl.perm(MGPosixAcl::Other).value_or(0);
}

QList<MGTreeNode::Pointer> MGAccessEvaluator::accessTree(const MGPosixItemState &item, const MGAccessSubject &subject)
{
    const bool dir = item.isDirectory();
    const int bits = grantedBits(item, subject);
    const bool r = bits & 4, w = bits & 2, x = bits & 1;
    const bool root = subject.uid == 0u;
    const bool owner = root || (subject.uid && *subject.uid == item.owner);
    auto t = [](const QString &key) { return NTLocalizedString::localize(key, QStringLiteral("ACL")); };
    using namespace MGAclPermission;
    auto section = [&](const char *key, std::initializer_list<std::pair<quint32, bool>> rows) {
        MGTreeNode::Pointer node = MGTreeNode::treeNodeWithRepresentedObject(t(QString::fromLatin1(key)), -1);
        for (const auto &[bit, granted] : rows)
            node->addChild(MGTreeNode::treeNodeWithRepresentedObject(t(MGAclPermissionSet::permissionKey(bit, dir)),
                                                                     granted ? 1 : 0));
        return node;
    };
    QList<MGTreeNode::Pointer> tree;
    tree << section("Read", {{ReadData, r}, {ReadNamedAttributes, r}, {ReadAttributes, true}, {ReadAcl, true}});
    if (dir) // adding to or removing from a folder needs traversing it as well
        tree << section("Write", {{WriteData, w && x}, {AppendData, w && x}, {DeleteChild, w && x},
                                  {WriteNamedAttributes, w}});
    else
        tree << section("Write", {{WriteData, w}, {AppendData, w}, {WriteNamedAttributes, w}});
    tree << section("Execute", {{Execute, x}});
    tree << section("Administration", {{WriteAcl, owner}, {WriteOwner, root}});
    return tree;
}

MGResult<QList<MGTreeNode::Pointer>> MGAccessEvaluator::accessTree(const MGFileItem &file, const QUuid &uuid)
{
    const MGResult<MGAccessSubject> subject = MGAccessSubject::forIdentity(uuid);
    if (!subject)
        return subject.error();
    const MGResult<MGPosixItemState> item = MGPosixAclStore::readState(file);
    if (!item)
        return item.error();
    return accessTree(*item, *subject);
}
