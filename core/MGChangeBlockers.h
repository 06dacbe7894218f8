#pragma once

#include "MGError.h"

#include <QString>
#include <fcntl.h>
#include <sys/stat.h>

// What keeps an item from being changed by anyone, root included: its immutable or
// append-only mark, a file system mounted read-only, or its kind (only folders and regular
// files are changed). Looked for before a change is tried, so that such a change is refused
// with what blocks it and how to lift it, and not taken for a permission error that an
// administrator's authorisation would overcome; and by the window when it opens, so that
// it says so before anything is edited.
namespace MGChangeBlockers {
// What a change needs: the item itself (its owner, mode and ACLs), or only its file system
// to be writable (a walk below a folder, whose marks are each item's own).
enum class Scope { Item, FileSystem };
// How a refused change of an item's permissions begins.
inline const QString ChangeFailure = QStringLiteral("Cannot change the permissions of");

// No error, or an error that says what blocks the item shown as `shownPath` and how to lift
// it: EROFS for a read-only file system, MGError::UnchangeableItem for a marked item.
// `status` is null when the item's status is not known.
MGResultError describe(const struct statx *status, bool readOnlyFileSystem, const QString &failure,
                       const QString &shownPath, Scope scope = Scope::Item);
// EINVAL for an item that is neither a folder nor a regular file ("it is a FIFO").
MGResultError kindBlocker(mode_t mode, const QString &failure, const QString &shownPath);
// All of the above for the item at `path`, found as the caller sees it (without privilege,
// without following a last link); no error when the item cannot be looked at.
MGResultError checkPath(const QByteArray &path, const QString &failure, const QString &shownPath);

// The folder a mount with this id is mounted on, from /proc/self/mountinfo; empty if none.
QString mountPoint(quint64 mountId);
}
