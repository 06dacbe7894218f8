#pragma once

#include <QByteArrayList>

// The commands that change an item's ACL, each through the same client as the window
// (the ordinary service first, the privileged one after an authorisation):
//   set PATH ENTRY...        adds entries or gives them new permissions ("u:NAME:rwx")
//   remove PATH WHO...       removes entries ("u:NAME", "d:g:NAME", or a user or group,
//                            whose entries for the item and for new items both go)
//   copy FROM TO             gives TO the ACL of FROM (owner and group stay TO's)
//   inherit PATH [--dry-run] gives PATH what its folder gives a new item of its kind now
//                            (--dry-run prints that, as getfacl would, and changes nothing)
// Each writes only if the item still holds what was read from it a moment before.
namespace MGAclEditCommands {
int set(const QByteArray &path, const QByteArrayList &entries);
int remove(const QByteArray &path, const QByteArrayList &who);
int copy(const QByteArray &from, const QByteArray &to);
int inherit(const QByteArray &path, bool dryRun);
}
