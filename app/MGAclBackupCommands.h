#pragma once

#include <QByteArray>

// backup PATH: the ACLs of PATH and everything below it, on standard output, in the text
// form getfacl -R writes (setfacl --restore reads it). Links are left out, and the walk
// does not cross into other file systems or mount points.
// restore FILE: sets what such a text says (FILE, or standard input for "-"), item by
// item, through the same client as the window; paths are taken as written, relative to
// the current folder. Owners and groups are restored where they differ; set-id and sticky
// bits are left as they are. A path with a ".." component is never restored, nor an
// absolute one unless `absolute`; each is named on standard error, the rest restored, and
// the status is then Failure.
namespace MGAclBackupCommands {
int backup(const QByteArray &path);
int restore(const QByteArray &file, bool absolute);
}
