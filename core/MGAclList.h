#pragma once

#include "MGAclEntry.h"

#include <QByteArray>
#include <QList>
#include <optional>
#include <variant>

class MGError;

// An item's entry list: section titles (strings) and entries, in display order.
using MGAclItem = std::variant<QString, MGAclEntry::Pointer>;
using MGAclList = QList<MGAclItem>;

namespace MGAclLists {
inline constexpr qsizetype MaximumItems = 65536;
inline constexpr qsizetype MaximumTitleLength = 4096;

// The entry an item holds, or null for a section title.
inline MGAclEntry *entryOf(const MGAclItem &item)
{
    const auto *entry = std::get_if<MGAclEntry::Pointer>(&item);
    return entry ? entry->get() : nullptr;
}
inline MGAclEntry::Pointer entryPointerOf(const MGAclItem &item)
{
    const auto *entry = std::get_if<MGAclEntry::Pointer>(&item);
    return entry ? *entry : nullptr;
}

bool itemsEqual(const MGAclItem &a, const MGAclItem &b);
// Titles compare as strings, entries by value.
bool isEqualToList(const MGAclList &a, const MGAclList &b);
// The first index holding an item equal to `item`, -1 when there is none.
qsizetype indexOfItem(const MGAclList &list, const MGAclItem &item);
// The leading run of ACL entries; titles are skipped, the first POSIX entry ends the run.
QList<MGAclEntry::Pointer> aclEntries(const MGAclList &list);

QCborValue toCbor(const MGAclList &list);
// Decodes untrusted input; on failure answers nullopt and says what was wrong.
std::optional<MGAclList> fromCbor(const QCborValue &value, QString *problem);
// An independent copy made through the same encoding that crosses the service connection.
MGAclList deepCopy(const MGAclList &list);
}
