#pragma once

#include "MGAclTextFormat.h"
#include "MGPosixLists.h"

// Changes to an item's POSIX ACLs as the command line makes them, entry by entry:
// entries set (added, or given new permissions) and entries removed. The mask follows the
// same rule as in the window: an ACL whose named entries or owning group change gets the
// mask that limits none of them, unless the change sets the mask itself.
namespace MGPosixEdits {
// `set` entries carry permissions; `remove` entries name who (a mask or the base entries
// of the item's own ACL cannot be removed). `path` names the item in errors.
MGResult<MGPosixItemState> apply(const MGPosixItemState &state, const QList<MGAclTextFormat::Entry> &set,
                                 const QList<MGAclTextFormat::Entry> &remove, const QString &path);
// `to` with the ACLs of `from` (its default ACL only when `to` is a folder); owner and
// owning group stay `to`'s.
MGPosixItemState copy(const MGPosixItemState &from, const MGPosixItemState &to);
}
