#include "MGAclList.h"

#include "MGCborReader.h"

#include <QCborArray>

namespace MGAclLists {

bool itemsEqual(const MGAclItem &a, const MGAclItem &b)
{
    const MGAclEntry *x = entryOf(a);
    const MGAclEntry *y = entryOf(b);
    if (x && y)
        return x->isEqual(*y);
    if (x || y)
        return false;
    return std::get<QString>(a) == std::get<QString>(b);
}

bool isEqualToList(const MGAclList &a, const MGAclList &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), itemsEqual);
}

qsizetype indexOfItem(const MGAclList &list, const MGAclItem &item)
{
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (itemsEqual(list.at(i), item))
            return i;
    }
    return -1;
}

QList<MGAclEntry::Pointer> aclEntries(const MGAclList &list)
{
    QList<MGAclEntry::Pointer> run;
    run.reserve(list.size());
    for (const MGAclItem &item : list) {
        const MGAclEntry::Pointer entry = entryPointerOf(item);
        if (!entry)
            continue;
        if (!entry->isAcl())
            break;
        run << entry;
    }
    return run;
}

QCborValue toCbor(const MGAclList &list)
{
    QCborArray array;
    for (const MGAclItem &item : list) {
        if (const MGAclEntry *entry = entryOf(item))
            array.append(entry->toCbor());
        else
            array.append(std::get<QString>(item));
    }
    return array;
}

std::optional<MGAclList> fromCbor(const QCborValue &value, QString *problem)
{
    MGCborReader read(problem);
    const auto array = read.array(value, QStringLiteral("entry list"), MaximumItems);
    if (!array)
        return std::nullopt;
    MGAclList list;
    list.reserve(array->size());
    for (const QCborValue &item : *array) {
        if (item.isString()) {
            const auto title = read.text(item, QStringLiteral("section title"), MaximumTitleLength);
            if (!title)
                return std::nullopt;
            list << *title;
            continue;
        }
        MGAclEntry::Pointer entry = MGAclEntry::fromCbor(item, problem);
        if (!entry)
            return std::nullopt;
        list << entry;
    }
    return list;
}

MGAclList deepCopy(const MGAclList &list)
{
    // Our own encoding always decodes; a failure here would be a programming error.
    std::optional<MGAclList> copy = fromCbor(QCborValue::fromCbor(toCbor(list).toCbor()), nullptr);
    Q_ASSERT(copy);
    return copy.value_or(MGAclList());
}
}
