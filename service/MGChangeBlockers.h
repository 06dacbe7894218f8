#pragma once

#include "MGFileItem.h"

// What keeps an item from being changed by anyone, root included: its immutable or
// append-only mark, or a file system mounted read-only. Looked for before a change is
// tried, so that such a change is refused with what blocks it and how to lift it, and not
// taken for a permission error that an administrator's authorisation would overcome.
namespace MGChangeBlockers {
// What a change needs: the item itself (its owner, mode and ACLs), or only its file system
// to be writable (a walk below a folder, whose marks are each item's own).
enum class Scope { Item, FileSystem };

// No error, or an error that says what blocks `item` and how to lift it: EROFS for a
// read-only file system, MGError::UnchangeableItem for a marked item.
MGResultError check(const MGFileItem &item, const QString &failure, Scope scope = Scope::Item);

// The folder a mount with this id is mounted on, from /proc/self/mountinfo; empty if none.
QString mountPoint(quint64 mountId);
}
