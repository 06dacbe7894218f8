#pragma once

#include <QString>
#include <QUrl>

// Whether an item's file system keeps ACLs at all (ramfs, many FUSE file systems do not).
// Asked as the user, without privilege: an item the user cannot reach counts as one that
// may keep them, and its service says otherwise when it must.
namespace MGAclSupport {
// Empty when the item's file system keeps ACLs or nobody can tell; otherwise why ACL
// entries cannot be given to it, naming its file system.
QString unavailableReason(const QUrl &item);
}
