#include "MGAclEntriesTableModel.h"

#include "MGValueTransformer.h"
#include "NTLocalizedString.h"

namespace {
QVariant transformed(const char *name, const QVariant &value)
{
    const auto transformer = MGValueTransformer::valueTransformerForName(QString::fromLatin1(name));
    return transformer ? transformer->transformedValue(value) : QVariant();
}

bool same(const MGAclList &a, qsizetype i, const MGAclList &b, qsizetype j)
{
    return MGAclLists::itemsEqual(a.at(i), b.at(j));
}
}

MGAclEntriesTableModel::~MGAclEntriesTableModel()
{
    observe(m_list, false);
}

void MGAclEntriesTableModel::observe(const MGAclList &list, bool on)
{
    for (const MGAclItem &item : list) {
        if (MGAclEntry *entry = MGAclLists::entryOf(item))
            on ? entry->addObserver(this) : entry->removeObserver(this);
    }
}

void MGAclEntriesTableModel::setList(const MGAclList &list)
{
    observe(m_list, false);
    observe(list, true);
    const MGAclList old = m_list;
    // What stayed the same at both ends is left alone; the part between is what changed.
    qsizetype prefix = 0;
    const qsizetype shorter = std::min(old.size(), list.size());
    while (prefix < shorter && same(old, prefix, list, prefix))
        ++prefix;
    qsizetype suffix = 0;
    while (suffix < shorter - prefix && same(old, old.size() - 1 - suffix, list, list.size() - 1 - suffix))
        ++suffix;
    const int first = int(prefix);
    const int oldCount = int(old.size() - prefix - suffix);
    const int newCount = int(list.size() - prefix - suffix);

    if (oldCount == 0 && newCount == 0) {
        m_list = list; // equal items, perhaps other objects
    } else if (oldCount == 0) {
        beginInsertRows({}, first, first + newCount - 1);
        m_list = list;
        endInsertRows();
    } else if (newCount == 0) {
        beginRemoveRows({}, first, first + oldCount - 1);
        m_list = list;
        endRemoveRows();
    } else if (oldCount == newCount && oldCount > 1 && same(old, first, list, first + newCount - 1)
               && std::equal(old.begin() + first + 1, old.begin() + first + oldCount, list.begin() + first,
                             MGAclLists::itemsEqual)) {
        // One row moved down to the end of the changed part.
        beginMoveRows({}, first, first, {}, first + oldCount);
        m_list = list;
        endMoveRows();
    } else if (oldCount == newCount && oldCount > 1 && same(old, first + oldCount - 1, list, first)
               && std::equal(old.begin() + first, old.begin() + first + oldCount - 1, list.begin() + first + 1,
                             MGAclLists::itemsEqual)) {
        // One row moved up to the start of the changed part.
        beginMoveRows({}, first + oldCount - 1, first + oldCount - 1, {}, first);
        m_list = list;
        endMoveRows();
    } else if (oldCount == newCount) {
        rearrangeRows(list);
    } else {
        replaceRows(first, oldCount, list);
    }
}

void MGAclEntriesTableModel::replaceRows(int first, int oldCount, const MGAclList &list)
{
    beginRemoveRows({}, first, first + oldCount - 1);
    m_list.remove(first, oldCount);
    endRemoveRows();
    const int newCount = int(list.size() - m_list.size());
    beginInsertRows({}, first, first + newCount - 1);
    m_list = list;
    endInsertRows();
}

void MGAclEntriesTableModel::rearrangeRows(const MGAclList &list)
{
    // The same number of rows in another order, or with other content: each old row
    // follows the first equal row of the new list not yet taken, so a selected entry stays
    // selected where it went; rows that found none are changed in place.
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    QList<int> target(m_list.size(), -1);
    QList<bool> taken(list.size(), false);
    for (qsizetype from = 0; from < m_list.size(); ++from) {
        for (qsizetype to = 0; to < list.size(); ++to) {
            if (!taken[to] && same(m_list, from, list, to)) {
                taken[to] = true;
                target[from] = int(to);
                break;
            }
        }
    }
    for (qsizetype from = 0; from < m_list.size(); ++from) {
        if (target[from] >= 0)
            continue;
        for (qsizetype to = 0; to < list.size(); ++to) {
            if (!taken[to]) {
                taken[to] = true;
                target[from] = int(to);
                break;
            }
        }
    }
    const QModelIndexList before = persistentIndexList();
    QModelIndexList after;
    for (const QModelIndex &index : before)
        after << createIndex(target.value(index.row(), index.row()), index.column());
    changePersistentIndexList(before, after);
    m_list = list;
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

std::optional<int> MGAclEntriesTableModel::limitingMask(const MGAclEntry &entry) const
{
    const bool named = entry.isAcl() && entry.identity().isUserOrGroup();
    const bool forNewItems = entry.isAcl() && (entry.flags() & MGAclFlag::OnlyInherit);
    const bool owningGroup = !entry.isAcl() && entry.kind() == MGAclEntry::Kind::OwningGroup;
    const bool groupForNewItems = forNewItems && entry.identity().identityClass() == CBIdentity::Class::GroupSpecial;
    if (!(named || owningGroup || groupForNewItems))
        return std::nullopt;
    // Entries for the item answer to the POSIX section's mask; entries only for new items,
    // to the mask the folder passes on.
    for (const MGAclItem &item : m_list) {
        const MGAclEntry *mask = MGAclLists::entryOf(item);
        if (!mask)
            continue;
        const bool itemMask = !mask->isAcl() && mask->kind() == MGAclEntry::Kind::Mask;
        const bool passedMask = mask->isAcl() && mask->identity().identityClass() == CBIdentity::Class::MaskSpecial;
        if (forNewItems ? passedMask : itemMask)
            return MGAclPermissionSet::toPosixBits(mask->permissions(), mask->isDirectory());
    }
    return std::nullopt;
}

QString MGAclEntriesTableModel::permissionDetail(const MGAclEntry &entry) const
{
    const auto bits = MGAclPermissionSet::toPosixBits(entry.permissions(), entry.isDirectory());
    if (!entry.isPosix() || !bits)
        return QString();
    // The letters say what a named group stands for; a mask that takes some away is named.
    const QString letters = MGAclPermissionSet::shortText(entry.permissions(), entry.isDirectory());
    const auto mask = limitingMask(entry);
    if (mask && (*bits & ~*mask)) {
        const int effective = *bits & *mask;
        return QStringLiteral("%1, %2").arg(
            letters, NTLocalizedString::localize(QStringLiteral("limited to %1"), QStringLiteral("ACL"))
                         .arg(MGAclPermissionSet::shortText(MGAclPermissionSet::fromPosixBits(effective, entry.isDirectory()),
                                                            entry.isDirectory())));
    }
    return letters;
}

QString MGAclEntriesTableModel::permissionText(const MGAclEntry &entry) const
{
    const QString group = transformed("MGAclPermGroupValueTransformer", entry.permissionGroup()).toString();
    const QString detail = permissionDetail(entry);
    return detail.isEmpty() ? group : QStringLiteral("%1 (%2)").arg(group, detail);
}

void MGAclEntriesTableModel::observeValueForKeyPath(const QString &, QObject *object)
{
    const auto *changed = qobject_cast<MGAclEntry *>(object);
    // A mask changes what the entries it limits show.
    const bool mask = changed
        && ((!changed->isAcl() && changed->kind() == MGAclEntry::Kind::Mask)
            || changed->identity().identityClass() == CBIdentity::Class::MaskSpecial);
    for (qsizetype row = 0; row < m_list.size(); ++row) {
        if (mask || MGAclLists::entryOf(m_list.at(row)) == object)
            emit dataChanged(index(int(row), 0), index(int(row), ColumnCount - 1));
    }
}

int MGAclEntriesTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_list.size());
}

int MGAclEntriesTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

bool MGAclEntriesTableModel::isGroupRow(int row) const
{
    return row >= 0 && row < m_list.size() && !MGAclLists::entryOf(m_list.at(row));
}

QVariant MGAclEntriesTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_list.size())
        return {};
    const MGAclItem &item = m_list.at(index.row());
    const MGAclEntry *entry = MGAclLists::entryOf(item);
    if (!entry)
        return role == TitleRole && index.column() == 0 ? QVariant(std::get<QString>(item)) : QVariant();
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    switch (index.column()) {
    case TagColumn:
        return transformed("MGAclTagValueTransformer", entry->tag());
    case IdentityColumn:
        // What only passes to new items does not apply to this folder itself.
        if (entry->flags() & MGAclFlag::OnlyInherit)
            return entry->identityText() + QStringLiteral(" ")
                + NTLocalizedString::localize(QStringLiteral("(new items only)"), QStringLiteral("ACL"));
        return entry->identityText();
    case PermissionGroupColumn:
        return permissionText(*entry);
    case InheritedColumn:
        return transformed("MGAclInheritedValueTransformer", entry->inherited());
    default:
        return {};
    }
}

QVariant MGAclEntriesTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const char *const titles[] = {"Type", "User or Group", "Permissions", "Inherited"};
    return section >= 0 && section < ColumnCount
        ? NTLocalizedString::localize(QString::fromLatin1(titles[section]), QStringLiteral("ACL"))
        : QVariant();
}

Qt::ItemFlags MGAclEntriesTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    if (isGroupRow(index.row()))
        return Qt::ItemIsEnabled;
    // ACL entries can be dragged to another place in the list (or out of it).
    const MGAclEntry *entry = MGAclLists::entryOf(m_list.value(index.row()));
    const Qt::ItemFlags drag = entry && entry->isAcl() ? Qt::ItemIsDragEnabled : Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | drag;
}
