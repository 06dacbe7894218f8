#pragma once

#include "MGError.h"
#include "MGPosixAclStore.h"
#include "MGTreeNode.h"

#include <QUuid>

// Who asks for access: a user with all their groups, or any member of one group.
struct MGAccessSubject
{
    std::optional<uid_t> uid; // none for "a member of the group"
    QList<gid_t> groups;

    static MGResult<MGAccessSubject> forIdentity(const QUuid &uuid);
};

// What the kernel would grant a subject on an item, by the POSIX access check: the owner
// entry for the owner; a named user entry limited by the mask; the owning group and named
// group entries (limited by the mask) that match any of the subject's groups; other.
// Root reads and writes everything and executes what anyone may execute.
class MGAccessEvaluator
{
public:
    // The r/w/x bits (4, 2, 1) granted.
    static int grantedBits(const MGPosixItemState &item, const MGAccessSubject &subject);

    // The effective-permission tree of `path` for the identity with this UUID: section rows
    // (state -1) holding permission rows (0 not granted, 1 granted).
    static MGResult<QList<MGTreeNode::Pointer>> accessTree(const MGFileItem &item, const QUuid &uuid);
    static QList<MGTreeNode::Pointer> accessTree(const MGPosixItemState &item, const MGAccessSubject &subject);
};
