#pragma once

#include "MGAclEntry.h"
#include "MGError.h"

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
// The same entries in the same order; section titles (words in some language) aside.
bool sameEntries(const MGAclList &a, const MGAclList &b);
// Whether a list read from an item is a folder's (its entries say so).
bool isDirectoryList(const MGAclList &list);
// The error for an item whose entries were changed elsewhere since they were read; `what`
// says what failed ("Cannot change the permissions of").
MGError changedElsewhere(const QString &what, const QString &path);
// Titles compare as strings, entries by value.
bool isEqualToList(const MGAclList &a, const MGAclList &b);
// The first index holding an item equal to `item`, -1 when there is none.
qsizetype indexOfItem(const MGAclList &list, const MGAclItem &item);
// The leading run of ACL entries; titles are skipped, the first POSIX entry ends the run.
QList<MGAclEntry::Pointer> aclEntries(const MGAclList &list);

// What a POSIX ACL cannot hold of the list, named by row (the row an entry has in the list,
// as the table and the command line number them): an entry POSIX cannot store, or two
// entries for the same user or group (POSIX holds one per user or group for the item, and
// one more for what a folder passes on). Nothing when the list can be stored.
std::optional<QString> posixProblem(const MGAclList &list);

// For a list stored in POSIX ACLs: entries for the owner, owning group, everyone and the mask
// that apply to the item itself (as inheriting from a folder's default ACL makes them) are
// the item's own POSIX settings. Their permissions go to the POSIX section (a mask entry is
// added there when there is none); what they also pass on stays as an entry for new items
// only.
void placePosixSettings(MGAclList &list);

QCborValue toCbor(const MGAclList &list);
// Decodes untrusted input; on failure answers nullopt and says what was wrong.
std::optional<MGAclList> fromCbor(const QCborValue &value, QString *problem);
// An independent copy made through the same encoding that crosses the service connection.
MGAclList deepCopy(const MGAclList &list);
}
