#pragma once

#include "CBIdentity.h"
#include "MGTreeNode.h"

#include <QByteArray>
#include <QString>

// What a user or group may do with an item, as the command line writes it.
//
// Text: one line per permission, tab-separated: SECTION PERMISSION STATE DECIDED-BY, where
// SECTION (read, write, execute, administration) and PERMISSION (read-data, write-data,
// ..., as words that are the same in every language) name it, STATE is yes, no or partly,
// and DECIDED-BY says, in the desktop's language, which entry decides it (empty where no
// entry does). A heading line starting with "#" comes first when a folder on the way keeps
// the user or group out, and one for what the answer could not count.
//
// JSON: {"path", "who": {"kind", "name", "id"}, "blockedBy" (the folder, where one keeps them
// out), "caveat" (what the answer could not count, where something), "permissions":
// [{"section", "permission", "state", "decidedBy"}]}.
namespace MGAclAccessOutput {
QString text(const QList<MGTreeNode::Pointer> &tree, const QString &caveat = QString());
QByteArray json(const QList<MGTreeNode::Pointer> &tree, const QByteArray &path, const CBIdentity &who,
                const QByteArray &blockedBy, const QString &caveat = QString());
}
