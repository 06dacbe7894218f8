#include "MGAclList.h"

#include "MGCborReader.h"

#include <QCborArray>
#include <QHash>
#include <cerrno>

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

bool sameEntries(const MGAclList &a, const MGAclList &b)
{
    QList<const MGAclEntry *> x, y;
    for (const MGAclItem &item : a)
        if (const MGAclEntry *entry = entryOf(item))
            x << entry;
    for (const MGAclItem &item : b)
        if (const MGAclEntry *entry = entryOf(item))
            y << entry;
    return std::equal(x.begin(), x.end(), y.begin(), y.end(),
                      [](const MGAclEntry *p, const MGAclEntry *q) { return p->isEqual(*q); });
}

bool isDirectoryList(const MGAclList &list)
{
    for (const MGAclItem &item : list) {
        if (const MGAclEntry *entry = entryOf(item))
            return entry->isDirectory();
    }
    return false;
}

MGError changedElsewhere(const QString &what, const QString &path)
{
    return MGError::posixError(ESTALE, QStringLiteral("%1 \u201c%2\u201d: they were changed elsewhere since they were "
                                                      "read, and nothing was changed. Look at them as they are now and "
                                                      "make the change again.")
                                           .arg(what, path));
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

namespace {
MGAclEntry::Kind kindFor(CBIdentity::Class identityClass)
{
    switch (identityClass) {
    case CBIdentity::Class::OwnerSpecial:
        return MGAclEntry::Kind::Owner;
    case CBIdentity::Class::GroupSpecial:
        return MGAclEntry::Kind::OwningGroup;
    case CBIdentity::Class::EveryoneSpecial:
        return MGAclEntry::Kind::Other;
    default:
        return MGAclEntry::Kind::Mask;
    }
}

int rwx(const MGAclEntry &entry)
{
    return MGAclPermissionSet::toPosixBits(entry.permissions(), entry.isDirectory()).value_or(0);
}
}

std::optional<QString> posixProblem(const MGAclList &list)
{
    // The first row of each user or group, for the item and for what it passes on.
    QHash<std::pair<int, quint32>, std::pair<qsizetype, QString>> forItem, passedOn;
    for (qsizetype row = 0; row < list.size(); ++row) {
        const MGAclEntry *entry = entryOf(list.at(row));
        if (!entry || !entry->isAcl() || !entry->isPosix())
            continue;
        const QString who = entry->identity().displayName();
        const QString problem = entry->posixProblem();
        if (!problem.isEmpty())
            return QStringLiteral("Row %1 (%2) is %3, which POSIX ACLs cannot hold.").arg(row).arg(who, problem);
        if (!entry->identity().isUserOrGroup())
            continue;
        const std::pair<int, quint32> key{int(entry->identity().identityClass()), entry->identity().posixID()};
        for (auto [seen, applies] : {std::pair{&forItem, entry->appliesHere()}, std::pair{&passedOn, entry->passesOn()}}) {
            if (!applies)
                continue;
            if (seen->contains(key)) {
                const auto &[first, name] = seen->value(key);
                return QStringLiteral("Rows %1 and %2 are both for %3 \u201c%4\u201d; POSIX ACLs hold one entry per user "
                                      "or group. Remove one of them.")
                    .arg(first)
                    .arg(row)
                    .arg(entry->identity().isUser() ? QStringLiteral("the user") : QStringLiteral("the group"), name);
            }
            seen->insert(key, {row, who});
        }
    }
    return std::nullopt;
}

void placePosixSettings(MGAclList &list)
{
    QList<qsizetype> moved;
    for (qsizetype row = 0; row < list.size(); ++row) {
        MGAclEntry *entry = entryOf(list.at(row));
        if (!entry || !entry->isAcl() || !entry->isPosix() || !entry->identity().isSpecial() || !entry->appliesHere())
            continue;
        const MGAclEntry::Kind kind = kindFor(entry->identity().identityClass());
        MGAclEntry *setting = nullptr;
        bool directory = entry->isDirectory();
        for (const MGAclItem &item : std::as_const(list)) {
            MGAclEntry *candidate = entryOf(item);
            if (candidate && !candidate->isAcl()) {
                directory = candidate->isDirectory();
                if (candidate->kind() == kind)
                    setting = candidate;
            }
        }
        const int bits = rwx(*entry);
        if (setting)
            setting->setPermissions(MGAclPermissionSet::fromPosixBits(bits, setting->isDirectory()));
        else if (kind == MGAclEntry::Kind::Mask)
            list << MGAclEntry::posixEntry(kind, CBIdentity::special(CBIdentity::Class::MaskSpecial), bits, directory);
        if (entry->passesOn())
            entry->setFlags(entry->flags() | MGAclFlag::OnlyInherit);
        else
            moved << row;
    }
    for (qsizetype i = moved.size() - 1; i >= 0; --i)
        list.removeAt(moved[i]);
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
    MGAclList copy;
    copy.reserve(list.size());
    for (const MGAclItem &item : list) {
        if (const auto *entry = std::get_if<MGAclEntry::Pointer>(&item))
            copy << MGAclItem((*entry)->copy());
        else
            copy << item;
    }
    return copy;
}
}
