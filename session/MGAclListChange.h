#pragma once

#include "MGAclList.h"

#include <QList>

// How a list follows from the one before it: what a list operation did. The rows that show
// the list change as it did (an entry inserted, rows removed, one moved, all reordered), so
// nothing has to be found by comparing the two lists; a list read from the item or put in
// whole replaces the rows that differ.
struct MGAclListChange
{
    enum Kind { Replace, Insert, Remove, Move, Reorder };
    Kind kind = Replace;
    int row = 0; // Insert: the new row; Move: the row moved
    int to = 0; // Move: where it stands in the new list
    QList<int> rows; // Remove: the rows taken away, ascending
    QList<int> order; // Reorder: for each row of the new list, its row in the old one

    static MGAclListChange inserted(int row) { return {Insert, row, 0, {}, {}}; }
    static MGAclListChange removed(QList<int> rows) { return {Remove, 0, 0, std::move(rows), {}}; }
    static MGAclListChange moved(int from, int to) { return {Move, from, to, {}, {}}; }
    static MGAclListChange reordered(QList<int> order) { return {Reorder, 0, 0, {}, std::move(order)}; }
    static MGAclListChange replaced() { return {}; }
};

// The list operations, each on a copy of a list (the plug-in object's work queue runs them),
// answering the new list and how it follows from the old. Rows are rows of the whole list,
// section titles included; the ACL's entries stand at rows 1 to n.
namespace MGAclListOperations {
struct Result
{
    MGAclList list;
    MGAclListChange change;
};
// The item at `from` dropped between rows `to` - 1 and `to` (the drop row counts in the list
// before the move); nothing when it stays where it is.
std::optional<Result> moved(MGAclList list, qsizetype from, qsizetype to);
Result inserted(MGAclList list, qsizetype row, const MGAclEntry::Pointer &entry);
Result removed(MGAclList list, qsizetype row);
// The ACL's entries in canonical order (stable: equal scores keep their order).
Result sortedCanonically(const MGAclList &list);
// Without its inherited ACL entries.
Result withoutInherited(const MGAclList &list);
// With `acl` in place of its ACL entries.
Result withAclEntries(const MGAclList &list, const QList<MGAclEntry::Pointer> &acl);
}
