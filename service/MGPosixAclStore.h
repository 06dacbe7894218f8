#pragma once

#include "MGAclList.h"
#include "MGChangeBlockers.h"
#include "MGError.h"
#include "MGFileItem.h"
#include "MGPosixLists.h"

#include <sys/stat.h>

// Reads and writes an item's entry list (MGPosixLists) as POSIX ACLs, owner, group and mode.
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
    // With `specialBits`, the item's set-id and sticky bits become those (as a restore sets
    // them); the list cannot say them, so they stay as they are otherwise.
    static MGResultError write(const MGFileItem &item, const MGAclList &list, const std::optional<MGAclList> &expected,
                               std::optional<mode_t> specialBits = std::nullopt);
    // The same for a path, resolved as MGFileItem does.
    static MGResult<MGAclList> read(const QString &path);
    static MGResultError write(const QString &path, const MGAclList &list);

    static MGResult<MGPosixItemState> readState(const MGFileItem &item);

    static inline const QString ReadFailure = QStringLiteral("Cannot read the permissions of");
    static inline const QString WriteFailure = MGChangeBlockers::ChangeFailure;
};
