#pragma once

#include "MGAclList.h"
#include "MGError.h"
#include "MGPosixAcl.h"

#include <sys/stat.h>

// An item's permissions in POSIX terms.
struct MGPosixItemState
{
    uid_t owner = 0;
    gid_t group = 0;
    mode_t mode = 0; // the whole st_mode: type, special bits and permission bits
    MGPosixAcl access;
    MGPosixAcl defaultAcl; // folders only; empty when there is none
    bool isDirectory() const { return S_ISDIR(mode); }
    // Every user the item's permissions name (the owner first, then the named users of both
    // ACLs), and every group: the ids whose names show with them.
    QList<uid_t> userIds() const;
    QList<gid_t> groupIds() const;
};

// An item's entry list and its POSIX permissions, each made from the other.
//
// The list: the ACL section's title; named user and group entries (Allow, with file and
// folder inheritance when a folder's default ACL holds the same entry, inherit-only when
// only the default ACL does); a folder's inheritable owner, group, mask and everyone
// entries; then the POSIX section's title with owner, owning group, other and the mask.
namespace MGPosixLists {
MGAclList listFromState(const MGPosixItemState &state);
// The state a list describes for an item of the given kind; special mode bits are taken
// from `current`. A list that POSIX ACLs cannot hold is refused, saying why; `path` names
// the item in errors. When the list drops the item's last named entries, the mask goes too,
// and the group keeps what the mask let it have, as the mode bits alone can say.
MGResult<MGPosixItemState> stateFromList(const MGAclList &list, const MGPosixItemState &current, const QString &path);
// The error for an item whose permissions changed since `expected` was read from it.
std::optional<MGError> changedSince(const MGPosixItemState &current, const MGAclList &expected, const QString &what,
                                    const QString &path);
// "a folder", "a FIFO", "a character device" ...: what kind of item a mode says.
QString kindOf(mode_t mode);
// The entries a POSIX list shows in its first section and its second.
QString aclTitle();
QString posixTitle();
}
