#include "MGRemoteClasses.h"

#include "MGAclEntry.h"

#include <QCborArray>
#include <QCborMap>

namespace MGRemoteClasses {

Classes classesIn(const QCborValue &value)
{
    if (value.isString())
        return String;
    if (value.isInteger())
        return Number;
    if (value.isArray()) {
        Classes found = Array;
        for (const QCborValue &element : value.toArray())
            found |= classesIn(element);
        return found;
    }
    if (MGAclEntry::isEncodedEntry(value))
        return AclEntry;
    if (value.isMap()) {
        const QCborMap map = value.toMap();
        if (map.contains(QStringLiteral("title")) && map.contains(QStringLiteral("state"))) {
            // A node's children are part of the node.
            Classes found = TreeNode;
            const QCborValue children = map.value(QStringLiteral("children"));
            if (children.isArray()) {
                for (const QCborValue &child : children.toArray())
                    found |= classesIn(child);
            }
            return found;
        }
    }
    return Unknown;
}
}
