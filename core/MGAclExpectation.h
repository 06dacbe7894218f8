#pragma once

#include "MGAclList.h"

#include <optional>

// Which file an item is: its device and inode, and when it was made (nanoseconds since the
// epoch; 0 where its file system does not say): a file made in place of a removed one may
// get the same inode number.
struct MGItemIdentity
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 born = 0;
    bool operator==(const MGItemIdentity &) const = default;
};

// What a write expects of its item, so that it changes nothing that is not what its caller
// read: that the item still holds these entries, and that it is still this file (a name that
// now means another file is not written to).
struct MGAclExpectation
{
    std::optional<MGAclList> entries;
    std::optional<MGItemIdentity> item;

    MGAclExpectation() = default;
    MGAclExpectation(std::nullopt_t) {}
    MGAclExpectation(const MGAclList &list) : entries(list) {}
    MGAclExpectation(std::optional<MGAclList> list) : entries(std::move(list)) {}
    MGAclExpectation(std::optional<MGAclList> list, std::optional<MGItemIdentity> file)
        : entries(std::move(list)), item(file)
    {
    }
};
