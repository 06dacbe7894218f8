#pragma once

#include "MGAclList.h"
#include "MGError.h"
#include "MGFileItem.h"
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
};

// Reads and writes an item's entry list as POSIX ACLs, owner, group and mode.
//
// The list: the ACL section's title; named user and group entries (Allow, with file and
// folder inheritance when a folder's default ACL holds the same entry, inherit-only when
// only the default ACL does); a folder's inheritable owner, group, mask and everyone
// entries; then the POSIX section's title with owner, owning group, other and the mask.
//
// Everything goes through the item's descriptor (MGFileItem), so what is read and changed
// is the item that was resolved, whatever is renamed or swapped meanwhile. Only folders and
// regular files are changed.
class MGPosixAclStore
{
public:
    static MGResult<MGAclList> read(const MGFileItem &item);
    // Stores exactly what the list says, or nothing: a list that POSIX ACLs cannot hold is
    // refused before anything is written, and a write that fails half-way is undone.
    static MGResultError write(const MGFileItem &item, const MGAclList &list);
    // The same, only while the item still holds `expected`'s entries (what the caller read
    // before changing them); otherwise nothing is written and the error says it changed.
    static MGResultError write(const MGFileItem &item, const MGAclList &list, const std::optional<MGAclList> &expected);
    // The error for an item whose permissions changed since `expected` was read from it.
    static std::optional<MGError> changedSince(const MGPosixItemState &current, const MGAclList &expected,
                                               const QString &what, const QString &path);
    // The same for a path, resolved as MGFileItem does.
    static MGResult<MGAclList> read(const QString &path);
    static MGResultError write(const QString &path, const MGAclList &list);

    static MGResult<MGPosixItemState> readState(const MGFileItem &item);
    static MGAclList listFromState(const MGPosixItemState &state);
    // The state a list describes for an item of the given kind; special mode bits are
    // taken from `current`. `path` names the item in errors.
    static MGResult<MGPosixItemState> stateFromList(const MGAclList &list, const MGPosixItemState &current,
                                                    const QString &path);

    // "a folder", "a FIFO", "a character device" ...: what kind of item a mode says.
    static QString kindOf(mode_t mode);

    static inline const QString ReadFailure = QStringLiteral("Cannot read the permissions of");
    static inline const QString WriteFailure = QStringLiteral("Cannot change the permissions of");
    // The entries a POSIX list shows in its first section and its second.
    static QString aclTitle();
    static QString posixTitle();
};
