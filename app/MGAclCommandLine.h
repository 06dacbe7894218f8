#pragma once

#include "MGAclList.h"
#include "MGTreeNode.h"

#include <QStringList>

// The text commands of marrowgate-acl. They go through the plug-in object and the
// service connection exactly as the window does.
//   list PATH              the entry list, one line per item
//   access IDENTITY PATH   the effective-access tree of a user or group
// Exit status: 0 success; 1 with the error on standard error; 2, silently, when an
// authorisation was dismissed.
class MGAclCommandLine
{
public:
    static bool handles(const QStringList &arguments);
    // Runs the command in `arguments` (without the program name) on a running event loop.
    static int run(const QStringList &arguments);

    static QString formatList(const MGAclList &list);
    static QString formatTree(const QList<MGTreeNode::Pointer> &tree);
    static QString permissionText(const MGAclEntry &entry);
};
