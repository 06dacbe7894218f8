#pragma once

#include <QCborValue>
#include <QFlags>

// The kinds of value a service reply may carry; a connection refuses a reply holding
// anything its method does not allow. Errors are always allowed.
namespace MGRemoteClasses {
enum Class {
    Array = 0x1, // a list
    String = 0x2,
    TreeNode = 0x4, // MGTreeNode
    AclEntry = 0x8, // MGAclEntry
    Number = 0x10, // an integer (a count)
    Unknown = 0x80000000, // any other value; never allowed
};
Q_DECLARE_FLAGS(Classes, Class)

// The classes that occur in a reply payload (an entry's or node's own fields are theirs).
Classes classesIn(const QCborValue &value);
}
Q_DECLARE_OPERATORS_FOR_FLAGS(MGRemoteClasses::Classes)
