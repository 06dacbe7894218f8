#pragma once

#include "MGAclList.h"

#include <QByteArray>
#include <QString>

// An item's entry list as the command line writes it, for people and for scripts.
//
// Text: headings start with "#" ("# owner: NAME", "# group: NAME" as getfacl writes them,
// and each section's title, translated, after "## "); every entry is one line of tab-separated
// words that are the same in every language:
//   ROW KIND ID APPLIES ALLOW PERMISSIONS EFFECTIVE INHERITED GROUP
// ROW its row in the window; KIND user:NAME, group:NAME (NAME the number for an id without
// an account, as getfacl writes it), owner, owning-group, other or mask; ID the uid or gid
// ("-" for other and mask, and for the owner and owning group a folder passes on); APPLIES
// file, folder, new-items or folder+new-items; ALLOW allow or deny; PERMISSIONS rwx with "-"
// for what is missing; EFFECTIVE what the mask leaves of them (the same where no mask
// limits the entry; for an entry of a folder and its new items whose two masks leave
// different things, the folder's and the new items', as "r-x/r--"); INHERITED yes or no; GROUP the permission group (full-control,
// read-write, read, write, no-access, custom).
//
// JSON: one object, {"path", "folder", "owner": {"name", "id"}, "group": {...}, "entries": [
// {"row", "section" ("acl" or "posix"), "kind" (user, group, owner, owning-group, other,
// mask), "name", "id", "appliesTo", "allow", "permissions", "effective" (where the entry
// applies to the folder, there; otherwise for new items), "effectiveForNewItems" (entries
// that apply to both), "maskLimits", "inherited", "permissionGroup"}]}; "id" only where the entry names a user or group, "name"
// only where that id has an account.
namespace MGAclListOutput {
QString text(const MGAclList &list);
QByteArray json(const MGAclList &list, const QByteArray &path);
}
