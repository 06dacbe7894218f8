#include "MGAclEntriesTableModel.h"

#include "MGAclDocument.h"
#include "MGPosixRules.h"
#include "MGValueTransformer.h"
#include "NTLocalizedString.h"

#include <QCborValue>
#include <QMimeData>

namespace {
const QString ACL = QStringLiteral("ACL");

QVariant transformed(const char *name, const QVariant &value)
{
    const auto transformer = MGValueTransformer::valueTransformerForName(QString::fromLatin1(name));
    return transformer ? transformer->transformedValue(value) : QVariant();
}

bool same(const MGAclList &a, qsizetype i, const MGAclList &b, qsizetype j)
{
    return MGAclLists::itemsEqual(a.at(i), b.at(j));
}

QString letters(int bits, bool directory)
{
    return MGAclPermissionSet::shortText(MGAclPermissionSet::fromPosixBits(bits, directory), directory);
}

// "write", "read and execute": what a raised mask lets an entry do now.
QString permissionWords(int bits)
{
    QStringList words;
    if (bits & 4)
        words << NTLocalizedString::localize(QStringLiteral("read"), ACL);
    if (bits & 2)
        words << NTLocalizedString::localize(QStringLiteral("write"), ACL);
    if (bits & 1)
        words << NTLocalizedString::localize(QStringLiteral("execute"), ACL);
    if (words.size() < 2)
        return words.value(0);
    const QString last = words.takeLast();
    return NTLocalizedString::localize(QStringLiteral("%1 and %2"), ACL).arg(words.join(QStringLiteral(", ")), last);
}
}

const QString MGAclEntriesTableModel::RowMimeType = QStringLiteral("com.quillwork.Marrowgate.pasteboard.acl");

MGAclEntriesTableModel::MGAclEntriesTableModel(QObject *parent) : QAbstractTableModel(parent)
{
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

void MGAclEntriesTableModel::listChanged()
{
    m_identityUse.reset();
    m_gains.reset();
    m_masks.reset();
}

std::optional<int> MGAclEntriesTableModel::limitingMask(const MGAclEntry &entry, bool forNewItems) const
{
    if (!MGPosixRules::answersToMask(entry, forNewItems))
        return std::nullopt;
    if (!m_masks) {
        m_masks.emplace();
        for (bool inheritable : {false, true}) {
            if (const MGAclEntry *mask = MGPosixRules::maskEntry(m_list, inheritable))
                (*m_masks)[inheritable] = MGAclPermissionSet::toPosixBits(mask->permissions(), mask->isDirectory());
        }
    }
    return (*m_masks)[forNewItems];
}

const MGPosixRules::IdentityUse &MGAclEntriesTableModel::identityUse() const
{
    if (!m_identityUse)
        m_identityUse = std::make_unique<MGPosixRules::IdentityUse>(m_list);
    return *m_identityUse;
}

const QHash<const MGAclEntry *, int> &MGAclEntriesTableModel::gains() const
{
    if (!m_gains)
        m_gains = MGPosixRules::maskGains(m_list, m_document ? m_document->revertedEntries() : MGAclList());
    return *m_gains;
}

MGAclEntry *MGAclEntriesTableModel::entryAt(int row) const
{
    return row >= 0 && row < m_list.size() ? MGAclLists::entryOf(m_list.at(row)) : nullptr;
}

MGAclEntry::Pointer MGAclEntriesTableModel::entryPointerAt(int row) const
{
    return row >= 0 && row < m_list.size() ? MGAclLists::entryPointerOf(m_list.at(row)) : nullptr;
}

void MGAclEntriesTableModel::setList(const MGAclList &list)
{
    observe(m_list, false);
    observe(list, true);
    listChanged();
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

std::optional<int> MGAclEntriesTableModel::maskLimit(const MGAclEntry &entry) const
{
    return maskLimit(entry, MGPosixRules::limitingMaskScope(entry).value_or(false));
}

std::optional<int> MGAclEntriesTableModel::maskLimit(const MGAclEntry &entry, bool forNewItems) const
{
    const auto bits = MGAclPermissionSet::toPosixBits(entry.permissions(), entry.isDirectory());
    const auto mask = limitingMask(entry, forNewItems);
    return bits && mask && (*bits & ~*mask) ? std::optional<int>(*bits & *mask) : std::nullopt;
}

QString MGAclEntriesTableModel::permissionDetail(const MGAclEntry &entry) const
{
    const auto bits = MGAclPermissionSet::toPosixBits(entry.permissions(), entry.isDirectory());
    if (!entry.isPosix() || !bits)
        return QString();
    // The letters say what a named group stands for; a mask that takes some away is named,
    // and so is one raised under an entry that now grants more than it did.
    const QString own = MGAclPermissionSet::shortText(entry.permissions(), entry.isDirectory());
    if (const int gained = gains().value(&entry))
        return QStringLiteral("%1, %2").arg(
            own, NTLocalizedString::localize(QStringLiteral("now also grants %1"), ACL).arg(permissionWords(gained)));
    const bool dir = entry.isDirectory();
    const auto left = maskLimit(entry);
    // An entry of a folder and of its new items answers to two masks, which may differ.
    if (entry.isAcl() && entry.appliesHere() && entry.passesOn()) {
        const auto passed = maskLimit(entry, true);
        if (left != passed) {
            const QString limit = !passed ? NTLocalizedString::localize(QStringLiteral("limited to %1 in this folder"), ACL)
                                                .arg(letters(*left, dir))
                : !left ? NTLocalizedString::localize(QStringLiteral("limited to %1 for new items"), ACL).arg(letters(*passed, dir))
                        : NTLocalizedString::localize(QStringLiteral("limited to %1, for new items to %2"), ACL)
                              .arg(letters(*left, dir), letters(*passed, dir));
            return QStringLiteral("%1, %2").arg(own, limit);
        }
    }
    if (left)
        return QStringLiteral("%1, %2").arg(own, NTLocalizedString::localize(QStringLiteral("limited to %1"), ACL)
                                                     .arg(letters(*left, dir)));
    return own;
}

QString MGAclEntriesTableModel::permissionText(const MGAclEntry &entry) const
{
    const QString group = transformed("MGAclPermGroupValueTransformer", entry.permissionGroup()).toString();
    const QString detail = permissionDetail(entry);
    return detail.isEmpty() ? group : QStringLiteral("%1 (%2)").arg(group, detail);
}

QString MGAclEntriesTableModel::appliesToText(MGAclEntry::AppliesTo appliesTo)
{
    switch (appliesTo) {
    case MGAclEntry::AppliesTo::NewItems:
        return NTLocalizedString::localize(QStringLiteral("New items"), ACL);
    case MGAclEntry::AppliesTo::Both:
        return NTLocalizedString::localize(QStringLiteral("This folder and new items"), ACL);
    default:
        return NTLocalizedString::localize(QStringLiteral("This folder"), ACL);
    }
}

void MGAclEntriesTableModel::observeValueForKeyPath(const QString &keyPath, QObject *object)
{
    const auto *changed = qobject_cast<MGAclEntry *>(object);
    // A row shows every key of its entry: it is drawn again once, for the key that was set.
    if (changed && !changed->isEditKey(keyPath))
        return;
    if (keyPath == QLatin1String("identity") || keyPath == QLatin1String("flags"))
        m_identityUse.reset();
    // A mask changes what the entries it limits show, and what a raised mask widens.
    const bool hadGains = m_gains && !m_gains->isEmpty();
    m_gains.reset();
    if (changed && changed->isMask())
        m_masks.reset();
    if (changed && (changed->isMask() || hadGains)) {
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
        return;
    }
    for (qsizetype row = 0; row < m_list.size(); ++row) {
        if (MGAclLists::entryOf(m_list.at(row)) == object)
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
    switch (role) {
    case TagRole:
        return entry->tag();
    case IdentityRole:
        return QVariant::fromValue(entry->identity());
    case PermissionGroupRole:
        return entry->permissionGroup();
    case PermissionsRole:
        return entry->permissions();
    case LettersRole:
        return entry->isPosix() ? MGAclPermissionSet::shortText(entry->permissions(), entry->isDirectory()) : QString();
    case AppliesToRole:
        return int(entry->appliesTo());
    case InheritedRole:
        return entry->inherited();
    case MaskLimitRole: {
        const auto left = maskLimit(*entry);
        return left ? QVariant(*left) : QVariant();
    }
    case MaskGainRole: {
        const int gained = gains().value(entry);
        return gained ? QVariant(gained) : QVariant();
    }
    case Qt::EditRole:
        switch (index.column()) {
        case TagColumn:
            return entry->tag();
        case IdentityColumn:
            return QVariant::fromValue(entry->identity());
        case PermissionGroupColumn:
            return entry->permissionGroup();
        case AppliesToColumn:
            return int(entry->appliesTo());
        default:
            return {};
        }
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
    case Qt::AccessibleTextRole:
        break;
    default:
        return {};
    }
    switch (index.column()) {
    case TagColumn:
        return transformed("MGAclTagValueTransformer", entry->tag());
    case IdentityColumn:
        return entry->identityText();
    case PermissionGroupColumn:
        return permissionText(*entry);
    case AppliesToColumn:
        // Files, and a folder's own POSIX settings, apply to the item only.
        return entry->isAcl() && entry->isDirectory() ? appliesToText(entry->appliesTo()) : QString();
    case InheritedColumn:
        return transformed("MGAclInheritedValueTransformer", entry->inherited());
    default:
        return {};
    }
}

bool MGAclEntriesTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    MGAclEntry *entry = index.isValid() ? entryAt(index.row()) : nullptr;
    if (!entry || role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable))
        return false;
    // In place, as a row's own control would: the entry announces the change, and this model
    // and the plug-in object hear it.
    switch (index.column()) {
    case TagColumn: {
        const int tag = value.toInt();
        if ((tag != MGAclEntry::Allow && tag != MGAclEntry::Deny) || (entry->isPosix() && tag != MGAclEntry::Allow))
            return false;
        entry->setTag(tag);
        return true;
    }
    case IdentityColumn: {
        if (value.metaType() != QMetaType::fromType<CBIdentity>())
            return false;
        const CBIdentity who = value.value<CBIdentity>();
        if (!who.isUserOrGroup() || identityUse().isTaken(who, *entry))
            return false;
        entry->setIdentity(who);
        return true;
    }
    case PermissionGroupColumn: {
        const qint64 group = value.toLongLong();
        if (group != MGAclPermissionSet::Custom && !entry->availablePermissionGroups().contains(int(group)))
            return false;
        entry->setPermissionGroup(group);
        if (group == MGAclPermissionSet::Custom)
            emit customPermissionsChosen(index.row());
        return true;
    }
    case AppliesToColumn: {
        const auto appliesTo = MGAclEntry::AppliesTo(value.toInt());
        if (appliesTo != MGAclEntry::AppliesTo::ThisItem && appliesTo != MGAclEntry::AppliesTo::NewItems
            && appliesTo != MGAclEntry::AppliesTo::Both)
            return false;
        const bool here = appliesTo != MGAclEntry::AppliesTo::NewItems;
        const bool passes = appliesTo != MGAclEntry::AppliesTo::ThisItem;
        if (!identityUse().allows(*entry, entry->identity(), here, passes))
            return false;
        entry->setAppliesTo(appliesTo);
        return true;
    }
    default:
        return false;
    }
}

QVariant MGAclEntriesTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const char *const titles[] = {"Type", "User or Group", "Permissions", "Applies to", "Inherited"};
    return section >= 0 && section < ColumnCount ? NTLocalizedString::localize(QString::fromLatin1(titles[section]), ACL)
                                                 : QVariant();
}

void MGAclEntriesTableModel::setReadOnly(bool readOnly)
{
    if (readOnly == m_readOnly)
        return;
    m_readOnly = readOnly;
    // The flags of every cell change.
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

Qt::ItemFlags MGAclEntriesTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    const MGAclEntry *entry = entryAt(index.row());
    if (!entry)
        return Qt::ItemIsEnabled;
    // ACL entries can be dragged to another place in the list (or out of it).
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (m_readOnly)
        return flags;
    if (entry->isAcl())
        flags |= Qt::ItemIsDragEnabled;
    // Inherited entries are shown, not changed; the owner, owning group, everyone and the
    // mask are who they are and apply where they stand.
    if (entry->inherited())
        return flags;
    const bool named = entry->isAcl() && entry->identity().isUserOrGroup();
    bool editable = false;
    switch (index.column()) {
    case TagColumn:
        editable = entry->isAcl();
        break;
    case IdentityColumn:
        editable = named;
        break;
    case PermissionGroupColumn:
        editable = true;
        break;
    case AppliesToColumn:
        editable = named && entry->isDirectory();
        break;
    default:
        break;
    }
    return editable ? flags | Qt::ItemIsEditable : flags;
}

QStringList MGAclEntriesTableModel::mimeTypes() const
{
    return {RowMimeType, QStringLiteral("text/uri-list")};
}

QMimeData *MGAclEntriesTableModel::mimeData(const QModelIndexList &indexes) const
{
    // A multiple selection drags its first row alone; only ACL entries are dragged.
    const int row = indexes.isEmpty() ? -1 : indexes.first().row();
    const MGAclEntry *entry = entryAt(row);
    if (!entry || !entry->isAcl())
        return nullptr;
    auto *data = new QMimeData;
    data->setData(RowMimeType, QCborValue(qint64(row)).toCbor());
    return data;
}

quint64 MGAclEntriesTableModel::draggedRow(const QMimeData *data)
{
    const QCborValue row = QCborValue::fromCbor(data ? data->data(RowMimeType) : QByteArray());
    return row.isInteger() && row.toInteger() >= 0 ? quint64(row.toInteger()) : 0;
}

bool MGAclEntriesTableModel::canDropMimeData(const QMimeData *, Qt::DropAction, int row, int,
                                             const QModelIndex &parent) const
{
    // What is dragged and from where does not matter, only where it would land.
    if (m_readOnly)
        return false;
    const int above = row >= 0 ? row : parent.row();
    const qsizetype n = MGAclLists::aclEntries(m_list).size();
    return above >= 1 && above <= n + 1;
}

bool MGAclEntriesTableModel::dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                                          const QModelIndex &parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    // The row is taken as it is: a drag from another window's table names a row of its
    // list, applied to this list as it stands. The move comes back as a new list.
    if (m_document)
        m_document->moveEntryAtIndex(qsizetype(draggedRow(data)), row >= 0 ? row : parent.row());
    return true;
}
