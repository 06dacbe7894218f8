#pragma once

#include "MGError.h"
#include "MGFileItem.h"
#include "MGPosixAclStore.h"
#include "MGTreeNode.h"

#include <QUuid>

// Who asks for access: a user with all their groups, or any member of one group.
struct MGAccessSubject
{
    std::optional<uid_t> uid; // none for "a member of the group"
    QList<gid_t> groups;

    static MGResult<MGAccessSubject> forIdentity(const QUuid &uuid);
    bool isRoot() const { return uid == 0u; }
};

// What the kernel grants a subject on an item, by its own rules (generic_permission and the
// POSIX ACL check): the owner gets the owner bits; a named user entry, limited by the mask;
// else the first group-class entry (owning group, then named groups) that matches one of the
// subject's groups and holds everything asked for, limited by the mask, and if a group
// matched but none holds it all, nothing; else other. When the mask grants nothing the ACL
// is not consulted at all. Root reads and writes everything, searches every folder and
// executes what has any execute bit.
class MGAccessEvaluator
{
public:
    // Whether a request for the r/w/x bits `want` (4, 2, 1, together as one request) is
    // granted. Asking for w and x at once is not asking twice: one entry must grant both.
    static bool permits(const MGPosixItemState &item, const MGAccessSubject &subject, int want);

    // The entry that decides a request, and whether it grants it: root's own rule, the owner,
    // the subject's named user entry, a group-class entry (the owning group's or a named
    // group's; when groups matched and none held everything, the first that matched), or
    // other. `id` is the uid or gid of owner, user and group entries.
    struct Grant
    {
        bool granted = false;
        enum Source { Root, Owner, NamedUser, OwningGroup, NamedGroup, Other } source = Other;
        quint32 id = 0;
        bool maskLimited = false; // the entry holds the request, the mask takes it away
    };
    static Grant decide(const MGPosixItemState &item, const MGAccessSubject &subject, int want);

    // The effective-permission tree of the item for the identity with this UUID: section rows
    // (state -1) holding permission rows (0 not granted, 1 granted, -1 with the title saying
    // on what it depends).
    // With `edited`, the tree of the state that list describes for the item (as a save would
    // write it), refused as a save would be where POSIX ACLs cannot hold it.
    static MGResult<QList<MGTreeNode::Pointer>> accessTree(const MGFileItem &item, const QUuid &uuid,
                                                           const std::optional<MGAclList> &edited = std::nullopt);
    static QList<MGTreeNode::Pointer> accessTree(const MGPosixItemState &item, const MGAccessSubject &subject);

    // The first folder on the item's path that does not let the identity in (no search
    // permission), whatever the item itself allows; empty when every folder does. Each
    // folder is resolved as the item was, without following links.
    static QByteArray blockingFolder(const MGFileItem &item, const QUuid &uuid);
};
