#pragma once

#include "MGAclList.h"
#include "MGTreeNode.h"

#include <QStringList>

// The text commands of marrowgate-acl. They go through the same client layer as the
// window: the ordinary service first, the privileged one after an authorisation.
//   list PATH              the entry list, one line per item
//   access IDENTITY PATH   the effective-access tree of a user or group
// Exit status: 0 success; 1 with the error on standard error; 2, silently, when an
// authorisation was dismissed; 64 for a command used wrongly.
class MGAclCommandLine
{
public:
    static bool handles(const QStringList &arguments);
    // Runs the command in `arguments` (without the program name); needs a QCoreApplication.
    static int run(const QStringList &arguments);

    static QString formatList(const MGAclList &list);
    static QString formatTree(const QList<MGTreeNode::Pointer> &tree);
    static QString permissionText(const MGAclEntry &entry);
};
