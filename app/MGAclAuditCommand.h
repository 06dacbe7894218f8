#pragma once

#include <QByteArrayList>

// marrowgate-acl audit WHO PATH [--write|--read|--any] [--summary]: where below a folder a
// user or group may write (read, or do anything), with the entry that grants it, or only
// how many items they may do what with. Walks as the user; where folders below cannot be
// read that way, the privileged service walks instead (polkit's read right).
namespace MGAclAuditCommand {
int run(const QByteArrayList &arguments);
}
