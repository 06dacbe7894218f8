#pragma once

#include "MGAclTextFormat.h"
#include "MGPosixLists.h"

// Changes to an item's POSIX ACLs as the command line makes them, entry by entry:
// entries set (added, or given new permissions) and entries removed, with setfacl -m and
// -x's results: each ACL a change names (the item's, or what a folder passes on) gets the
// mask that limits none of its entries, unless the change sets or removes that mask itself.
// (The window keeps a mask that limits the same entries as before; a script expects what
// setfacl does.)
namespace MGPosixEdits {
// `set` entries carry permissions; `remove` entries name who (the owner's, owning group's
// and others' entries cannot be removed, nor a mask while named entries need it). `path`
// names the item in errors.
MGResult<MGPosixItemState> apply(const MGPosixItemState &state, const QList<MGAclTextFormat::Entry> &set,
                                 const QList<MGAclTextFormat::Entry> &remove, const QString &path);
// `to` with the ACLs of `from` (its default ACL only when `to` is a folder); owner and
// owning group stay `to`'s.
MGPosixItemState copy(const MGPosixItemState &from, const MGPosixItemState &to);

// The modes files and folders are created with, before a umask or a default ACL limits
// them: a new file is never executable for anyone.
inline constexpr mode_t FileCreationMode = 0666;
inline constexpr mode_t FolderCreationMode = 0777;
// `item` with the permissions the kernel gives a new item of its kind created in a folder
// whose permissions are `parent`: the folder's default ACL limited by the creating mode (a
// folder also takes the default ACL as its own), or, where the folder has none, the
// creating mode less `umask` and no ACL. Owner, owning group and special bits stay
// `item`'s.
MGPosixItemState inherit(const MGPosixItemState &parent, const MGPosixItemState &item, mode_t umask);
// The process's umask, read without changing it (other threads may be creating files).
mode_t currentUmask();
}
