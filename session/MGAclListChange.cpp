#include "MGAclListChange.h"

#include <algorithm>
#include <numeric>

namespace MGAclListOperations {

std::optional<Result> moved(MGAclList list, qsizetype from, qsizetype to)
{
    if (to == from)
        return std::nullopt;
    const MGAclItem item = list.takeAt(from);
    // The drop row counts in the list before the removal.
    const qsizetype landing = quint64(to) < quint64(from) ? to : to - 1;
    list.insert(landing, item);
    return Result{std::move(list), MGAclListChange::moved(int(from), int(landing))};
}

Result inserted(MGAclList list, qsizetype row, const MGAclEntry::Pointer &entry)
{
    list.insert(row, entry);
    return {std::move(list), MGAclListChange::inserted(int(row))};
}

Result removed(MGAclList list, qsizetype row)
{
    list.removeAt(row);
    return {std::move(list), MGAclListChange::removed({int(row)})};
}

Result sortedCanonically(const MGAclList &list)
{
    // The ACL's rows, 1 to n, sorted by score, greatest first; the rest stay where they are.
    const qsizetype n = MGAclLists::aclEntries(list).size();
    QList<int> order(list.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin() + 1, order.begin() + 1 + n, [&list](int a, int b) {
        return MGAclLists::entryOf(list[a])->canonicalScore() > MGAclLists::entryOf(list[b])->canonicalScore();
    });
    MGAclList sorted;
    sorted.reserve(list.size());
    for (int row : std::as_const(order))
        sorted << list[row];
    return {std::move(sorted), MGAclListChange::reordered(std::move(order))};
}

Result withoutInherited(const MGAclList &list)
{
    const qsizetype n = MGAclLists::aclEntries(list).size();
    MGAclList kept;
    QList<int> rows;
    for (qsizetype row = 0; row < list.size(); ++row) {
        if (row >= 1 && row <= n && MGAclLists::entryOf(list[row])->inherited())
            rows << int(row);
        else
            kept << list[row];
    }
    return {std::move(kept), MGAclListChange::removed(std::move(rows))};
}

Result withAclEntries(const MGAclList &list, const QList<MGAclEntry::Pointer> &acl)
{
    const qsizetype n = MGAclLists::aclEntries(list).size();
    MGAclList result = list;
    result.remove(1, n);
    for (qsizetype i = 0; i < acl.size(); ++i)
        result.insert(1 + i, acl[i]);
    return {std::move(result), MGAclListChange::replaced()};
}
}
