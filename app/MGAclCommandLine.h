#pragma once

#include "MGAclList.h"
#include "MGTreeNode.h"

#include <QByteArrayList>

// The text commands of marrowgate-acl. They go through the same client layer as the
// window: the ordinary service first, the privileged one after an authorisation.
//   list PATH              the entry list, one line per item
//   access IDENTITY PATH   the effective-access tree of a user or group
//   set, remove, copy      (MGAclEditCommands), propagate (MGAclPropagateCommand),
//   backup, restore        (MGAclBackupCommands)
// A path that leads through a link is about the item at its end, and the command says so.
// Exit status: 0 success; 1 with the error on standard error; 2, silently, when an
// authorisation was dismissed; 64 for a command used wrongly; 130 a propagation stopped.
class MGAclCommandLine
{
public:
    enum Status { Success = 0, Failure = 1, Dismissed = 2, Usage = 64, Stopped = 130 };

    // How to use marrowgate-acl, every command with its exit status.
    static QString usage();

    // `arguments`: as the program got them (without its name), bytes: paths need not be UTF-8.
    static bool handles(const QByteArrayList &arguments);
    // Runs the command in `arguments`; needs a QCoreApplication.
    static int run(const QByteArrayList &arguments);

    static QString formatList(const MGAclList &list);
    static QString formatTree(const QList<MGTreeNode::Pointer> &tree);
    static QString permissionText(const MGAclEntry &entry);
};
