#include "MGAclEditSession.h"

#include "MGItemPaths.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>

namespace {
const QString ACL = QStringLiteral("ACL");

// Which of the two masks a mask entry is: the item's (in the POSIX section) or the one a
// folder passes on (among the ACL's entries).
int scopeOf(const MGAclEntry &mask)
{
    return mask.isAcl() ? 1 : 0;
}
}

MGAclEditSession::MGAclEditSession(QObject *parent) : QAbstractTableModel(parent)
{
}

MGAclEditSession::~MGAclEditSession()
{
    observe(m_list, false);
}

QUrl MGAclEditSession::url() const
{
    QMutexLocker locker(&m_lock);
    return m_url;
}

void MGAclEditSession::setUrl(const QUrl &url)
{
    QMutexLocker locker(&m_lock);
    m_url = url;
}

void MGAclEditSession::setKeepsInheritedMark(bool keeps)
{
    m_keepsInheritedMark = keeps;
    emit noticeChanged();
}

MGAclList MGAclEditSession::snapshot() const
{
    QMutexLocker locker(&m_lock);
    return MGAclLists::deepCopy(m_snapshot);
}

MGAclList MGAclEditSession::readEntries() const
{
    QMutexLocker locker(&m_lock);
    return m_read;
}

MGAclItemStamp MGAclEditSession::readStamp() const
{
    QMutexLocker locker(&m_lock);
    return m_stamp;
}

MGAclEntry *MGAclEditSession::entryAt(int row) const
{
    return row >= 0 && row < m_list.size() ? MGAclLists::entryOf(m_list.at(row)) : nullptr;
}

MGAclEntry::Pointer MGAclEditSession::entryPointerAt(int row) const
{
    return row >= 0 && row < m_list.size() ? MGAclLists::entryPointerOf(m_list.at(row)) : nullptr;
}

QList<MGAclEntry::Pointer> MGAclEditSession::aclEntries() const
{
    if (!m_acl)
        m_acl = MGAclLists::aclEntries(m_list);
    return *m_acl;
}

bool MGAclEditSession::hasInheritedEntries() const
{
    return std::any_of(m_list.begin(), m_list.end(), [](const MGAclItem &item) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        return entry && entry->inherited();
    });
}

bool MGAclEditSession::isCanonical() const
{
    const QList<MGAclEntry::Pointer> acl = aclEntries();
    for (qsizetype i = 1; i < acl.size(); ++i) {
        if (acl[i - 1]->canonicalScore() < acl[i]->canonicalScore())
            return false;
    }
    return true;
}

int MGAclEditSession::rowOf(const MGAclEntry *entry) const
{
    if (m_rows.isEmpty()) {
        for (qsizetype row = 0; row < m_list.size(); ++row) {
            if (const MGAclEntry *at = MGAclLists::entryOf(m_list.at(row)))
                m_rows.insert(at, int(row));
        }
    }
    return m_rows.value(entry, -1);
}

void MGAclEditSession::observe(const MGAclList &list, bool on)
{
    for (const MGAclItem &item : list) {
        if (MGAclEntry *entry = MGAclLists::entryOf(item))
            on ? entry->addObserver(this) : entry->removeObserver(this);
    }
}

void MGAclEditSession::installRead(const MGAclList &list, const MGAclItemStamp &stamp)
{
    // Edits made for an item that is gone, or is now another one, could not be saved: reading
    // what is there now keeps them aside to be had back, not dropped.
    if (m_edited && (m_disk == MGAclItemStamp::Difference::Gone || m_disk == MGAclItemStamp::Difference::Replaced))
        m_discarded = MGAclLists::deepCopy(m_list);
    {
        QMutexLocker locker(&m_lock);
        m_read = MGAclLists::deepCopy(list);
        m_stamp = stamp;
    }
    m_disk = MGAclItemStamp::Difference::None;
    m_maskBase = m_read;
    m_maskSetByHand = {false, false};
    swapIn(list, MGAclListChange::replaced());
    emit noticeChanged();
}

void MGAclEditSession::setRead(const MGAclList &list, const MGAclItemStamp &stamp)
{
    {
        QMutexLocker locker(&m_lock);
        m_read = MGAclLists::deepCopy(list);
        m_stamp = stamp;
    }
    m_disk = MGAclItemStamp::Difference::None;
    updateEdited();
    emit noticeChanged();
}

void MGAclEditSession::place(const MGAclList &list)
{
    m_maskBase = MGAclLists::deepCopy(list);
    m_maskSetByHand = {false, false};
    swapIn(list, MGAclListChange::replaced());
}

void MGAclEditSession::apply(const MGAclList &list, const MGAclListChange &change)
{
    swapIn(list, change);
    // An entry added or taken away may be one a mask limits.
    if (change.kind == MGAclListChange::Insert || change.kind == MGAclListChange::Remove)
        followMasks();
}

void MGAclEditSession::swapIn(const MGAclList &list, const MGAclListChange &change)
{
    Q_ASSERT(!QCoreApplication::instance() || QThread::currentThread() == QCoreApplication::instance()->thread());
    // The change is made to the list shown, so entries that stay are the same objects: a row
    // selected, an editor open or the permission editor keeps its entry.
    switch (change.kind) {
    case MGAclListChange::Insert: {
        beginInsertRows({}, change.row, change.row);
        m_list.insert(change.row, list.at(change.row));
        m_rows.clear();
        endInsertRows();
        if (MGAclEntry *entry = MGAclLists::entryOf(m_list.at(change.row)))
            entry->addObserver(this);
        break;
    }
    case MGAclListChange::Remove: {
        for (qsizetype i = change.rows.size() - 1; i >= 0; --i) {
            const int row = change.rows[i];
            if (MGAclEntry *entry = MGAclLists::entryOf(m_list.at(row)))
                entry->removeObserver(this);
            beginRemoveRows({}, row, row);
            m_list.removeAt(row);
            m_rows.clear();
            endRemoveRows();
        }
        break;
    }
    case MGAclListChange::Move: {
        if (change.row == change.to)
            break;
        beginMoveRows({}, change.row, change.row, {}, change.to > change.row ? change.to + 1 : change.to);
        m_list.move(change.row, change.to);
        m_rows.clear();
        endMoveRows();
        break;
    }
    case MGAclListChange::Reorder: {
        emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        QList<int> newRow(m_list.size());
        MGAclList reordered;
        reordered.reserve(m_list.size());
        for (qsizetype row = 0; row < change.order.size(); ++row) {
            newRow[change.order[row]] = int(row);
            reordered << m_list.at(change.order[row]);
        }
        const QModelIndexList before = persistentIndexList();
        QModelIndexList after;
        for (const QModelIndex &index : before)
            after << index.sibling(newRow.value(index.row(), index.row()), index.column());
        m_list = reordered;
        m_rows.clear();
        changePersistentIndexList(before, after);
        emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
        break;
    }
    case MGAclListChange::Replace: {
        // What stayed the same at both ends is kept; the rows between are replaced.
        qsizetype prefix = 0;
        const qsizetype shorter = std::min(m_list.size(), list.size());
        while (prefix < shorter && MGAclLists::itemsEqual(m_list.at(prefix), list.at(prefix)))
            ++prefix;
        qsizetype suffix = 0;
        while (suffix < shorter - prefix
               && MGAclLists::itemsEqual(m_list.at(m_list.size() - 1 - suffix), list.at(list.size() - 1 - suffix)))
            ++suffix;
        const int first = int(prefix);
        const int oldCount = int(m_list.size() - prefix - suffix), newCount = int(list.size() - prefix - suffix);
        if (oldCount > 0) {
            observe(m_list.mid(first, oldCount), false);
            beginRemoveRows({}, first, first + oldCount - 1);
            m_list.remove(first, oldCount);
            m_rows.clear();
            endRemoveRows();
        }
        if (newCount > 0) {
            beginInsertRows({}, first, first + newCount - 1);
            const MGAclList inserted = list.mid(first, newCount);
            for (qsizetype i = 0; i < inserted.size(); ++i)
                m_list.insert(first + i, inserted.at(i));
            m_rows.clear();
            endInsertRows();
            observe(inserted, true);
        }
        break;
    }
    }
    listReplaced();
}

void MGAclEditSession::listReplaced()
{
    m_acl.reset();
    m_identityUse.reset();
    m_gains.reset();
    m_masks.reset();
    m_rows.clear();
    publishSnapshot();
    updateEdited();
    emit listChanged();
    // Entries marked inherited in a store that keeps no such mark are said to be so.
    emit noticeChanged();
}

void MGAclEditSession::updateEdited()
{
    const bool edited = !MGAclLists::isEqualToList(m_list, readEntries());
    if (edited == m_edited)
        return;
    m_edited = edited;
    emit editedChanged();
}

void MGAclEditSession::publishSnapshot()
{
    // Copies by value: the snapshot's entries are other threads', never edited in place.
    MGAclList snapshot;
    snapshot.reserve(m_list.size());
    for (const MGAclItem &item : std::as_const(m_list)) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        snapshot << (entry ? MGAclItem(entry->copy()) : item);
    }
    QMutexLocker locker(&m_lock);
    m_snapshot = std::move(snapshot);
}

void MGAclEditSession::publishEntry(int row)
{
    MGAclEntry::Pointer copy = entryAt(row)->copy();
    QMutexLocker locker(&m_lock);
    if (row < m_snapshot.size())
        m_snapshot[row] = std::move(copy);
}

void MGAclEditSession::setKeepsMask(bool keep)
{
    m_keepsMask = keep;
    followMasks();
}

void MGAclEditSession::followMasks()
{
    m_followingMasks = true;
    for (bool inheritable : {false, true}) {
        MGAclEntry *mask = MGPosixRules::maskEntry(m_list, inheritable);
        if (!mask || m_maskSetByHand[inheritable])
            continue;
        const MGAclEntry *base = MGPosixRules::maskEntry(m_maskBase, inheritable);
        const auto baseBits = base ? MGAclPermissionSet::toPosixBits(base->permissions(), base->isDirectory()) : std::nullopt;
        const int bits = MGPosixRules::followingMask(MGPosixRules::groupClass(m_maskBase, inheritable),
                                                     MGPosixRules::groupClass(m_list, inheritable), baseBits, m_keepsMask);
        const quint32 permissions = MGAclPermissionSet::fromPosixBits(bits, mask->isDirectory());
        if (permissions != mask->permissions())
            mask->setPermissions(permissions);
    }
    m_followingMasks = false;
}

void MGAclEditSession::observeValueForKeyPath(const QString &keyPath, QObject *object)
{
    auto *entry = qobject_cast<MGAclEntry *>(object);
    // What follows from an edit is done once, for the key that was set.
    if (!entry || !entry->isEditKey(keyPath))
        return;
    const int row = rowOf(entry);
    if (row < 0)
        return;
    if (keyPath == QLatin1String("identity") || keyPath == QLatin1String("flags"))
        m_identityUse.reset();
    const bool hadGains = m_gains && !m_gains->isEmpty();
    m_gains.reset();
    if (entry->isMask()) {
        m_masks.reset();
        if (!m_followingMasks)
            m_maskSetByHand[scopeOf(*entry)] = true;
    } else if (!m_followingMasks) {
        followMasks();
    }
    if (keyPath == QLatin1String("flags"))
        m_acl.reset();
    publishEntry(row);
    updateEdited();
    // A mask changes what every entry it limits shows, and so may a mask no longer raised.
    if (entry->isMask() || hadGains)
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
    else
        emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
    if (keyPath == QLatin1String("flags"))
        emit noticeChanged(); // an entry made explicit
}

const MGPosixRules::IdentityUse &MGAclEditSession::identityUse() const
{
    if (!m_identityUse)
        m_identityUse = std::make_unique<MGPosixRules::IdentityUse>(m_list);
    return *m_identityUse;
}

const QHash<const MGAclEntry *, int> &MGAclEditSession::gains() const
{
    if (!m_gains)
        m_gains = MGPosixRules::maskGains(m_list, m_maskBase);
    return *m_gains;
}

int MGAclEditSession::maskGain(const MGAclEntry &entry) const
{
    return gains().value(&entry);
}

std::optional<int> MGAclEditSession::maskLimit(const MGAclEntry &entry) const
{
    return maskLimit(entry, MGPosixRules::limitingMaskScope(entry).value_or(false));
}

std::optional<int> MGAclEditSession::maskLimit(const MGAclEntry &entry, bool forNewItems) const
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
    const auto bits = MGAclPermissionSet::toPosixBits(entry.permissions(), entry.isDirectory());
    const auto mask = (*m_masks)[forNewItems];
    return bits && mask && (*bits & ~*mask) ? std::optional<int>(*bits & *mask) : std::nullopt;
}

void MGAclEditSession::setItemNotices(const QString &blocked, const QString &asksAuthorisation, const QString &noAcls)
{
    const bool wasReadOnly = isReadOnly();
    m_blocked = blocked;
    m_asksAuthorisation = asksAuthorisation;
    m_noAcls = noAcls;
    if (wasReadOnly != isReadOnly() && rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1)); // every cell's flags
    emit noticeChanged();
}

void MGAclEditSession::setDiskChange(MGAclItemStamp::Difference difference)
{
    const bool wasReadOnly = isReadOnly();
    m_disk = difference;
    if (wasReadOnly != isReadOnly() && rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
    emit noticeChanged();
}

bool MGAclEditSession::isReadOnly() const
{
    return !m_blocked.isEmpty() || m_disk == MGAclItemStamp::Difference::Gone
        || m_disk == MGAclItemStamp::Difference::Replaced;
}

MGAclEditSession::Notice MGAclEditSession::notice() const
{
    const QString shown = MGItemPaths::shownPath(url());
    if (m_disk == MGAclItemStamp::Difference::Gone)
        return {Notice::Gone, NTLocalizedString::localize(QStringLiteral("\u201c%1\u201d was deleted or moved away: there "
                                                                         "is nothing here to save to."),
                                                          ACL)
                                  .arg(shown)};
    if (m_disk == MGAclItemStamp::Difference::Replaced)
        return {Notice::Replaced,
                NTLocalizedString::localize(QStringLiteral("\u201c%1\u201d is now another item than the one read: nothing "
                                                           "is saved to it unless it is read."),
                                            ACL)
                    .arg(shown)};
    if (!m_blocked.isEmpty())
        return {Notice::Blocked, m_blocked};
    if (!m_discarded.isEmpty())
        return {Notice::EditsDiscarded,
                NTLocalizedString::localize(QStringLiteral("The edits were not saved, and the list was read again."), ACL)};
    if (m_disk == MGAclItemStamp::Difference::Changed && m_edited)
        return {Notice::ChangedOnDisk,
                NTLocalizedString::localize(QStringLiteral("\u201c%1\u201d was changed on disk since it was read."), ACL)
                    .arg(shown)};
    if (!m_noAcls.isEmpty())
        return {Notice::NoAcls, m_noAcls};
    if (!m_keepsInheritedMark && m_edited) {
        const qsizetype marked = std::count_if(m_list.begin(), m_list.end(), [](const MGAclItem &item) {
            const MGAclEntry *entry = MGAclLists::entryOf(item);
            return entry && entry->isAcl() && entry->inherited();
        });
        if (marked > 0)
            return {Notice::InheritedNotKept,
                    NTLocalizedString::localize(QStringLiteral("%n entries are marked inherited. POSIX ACLs keep no such "
                                                               "mark: once saved, they are entries of the item's own."),
                                                ACL)
                        .replace(QStringLiteral("%n"), NTLocalizedString::count(marked))};
    }
    if (!m_asksAuthorisation.isEmpty())
        return {Notice::AsksAuthorisation, m_asksAuthorisation};
    return {};
}

void MGAclEditSession::keepDiscardedEdits(const MGAclList &edits)
{
    m_discarded = MGAclLists::deepCopy(edits);
    emit noticeChanged();
}

void MGAclEditSession::restoreDiscardedEdits()
{
    if (m_discarded.isEmpty())
        return;
    const MGAclList edits = std::exchange(m_discarded, {});
    place(edits);
    emit noticeChanged();
}

void MGAclEditSession::forgetDiscardedEdits()
{
    if (m_discarded.isEmpty())
        return;
    m_discarded.clear();
    emit noticeChanged();
}

bool MGAclEditSession::isGroupRow(int row) const
{
    return row >= 0 && row < m_list.size() && !MGAclLists::entryOf(m_list.at(row));
}

int MGAclEditSession::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_list.size());
}

int MGAclEditSession::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant MGAclEditSession::data(const QModelIndex &index, int role) const
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
        const int gained = maskGain(*entry);
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
            return entry->isPosix() ? int(entry->appliesTo()) : InheritanceFlagsPlace | int(entry->flags() & MGAclFlag::Inheritance);
        case InheritedColumn:
            return entry->inherited();
        default:
            return {};
        }
    default:
        return {};
    }
}

bool MGAclEditSession::setData(const QModelIndex &index, const QVariant &value, int role)
{
    MGAclEntry *entry = index.isValid() ? entryAt(index.row()) : nullptr;
    if (!entry || isReadOnly())
        return false;
    // Making an inherited entry explicit is the one change an inherited entry takes.
    if (role == InheritedRole) {
        if (value.toBool() || !entry->inherited())
            return false;
        entry->setInherited(false);
        return true;
    }
    if (entry->inherited())
        return false;
    if (role == PermissionsRole) {
        entry->setPermissions(value.toUInt());
        return true;
    }
    if (role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable))
        return false;
    // In place: the entry announces the change, which the session hears.
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
        return true;
    }
    case AppliesToColumn: {
        // A file server's entry takes any combination of its inheritance flags.
        if (!entry->isPosix() && (value.toInt() & InheritanceFlagsPlace)) {
            const quint32 inheritance = quint32(value.toInt()) & MGAclFlag::Inheritance;
            entry->setFlags((entry->flags() & ~quint32(MGAclFlag::Inheritance)) | inheritance);
            return true;
        }
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

Qt::ItemFlags MGAclEditSession::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    const MGAclEntry *entry = entryAt(index.row());
    if (!entry)
        return Qt::ItemIsEnabled;
    // ACL entries can be dragged to another place in the list (or out of it).
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (isReadOnly())
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
        // A file server's owner and group are named without permissions.
        editable = entry->isAcl() || entry->isPosix();
        break;
    case AppliesToColumn:
        editable = named && entry->isDirectory();
        break;
    default:
        break;
    }
    return editable ? flags | Qt::ItemIsEditable : flags;
}

bool MGAclEditSession::insertRows(int row, int count, const QModelIndex &parent)
{
    if (parent.isValid() || row < 1 || row > aclEntries().size() + 1 || count < 1 || isReadOnly())
        return false;
    for (int i = 0; i < count; ++i) {
        const MGAclListOperations::Result added =
            MGAclListOperations::inserted(m_list, row + i, MGAclEntry::newEntryForDirectory(m_directory));
        apply(added.list, added.change);
    }
    return true;
}

bool MGAclEditSession::removeRows(int row, int count, const QModelIndex &parent)
{
    if (parent.isValid() || row < 0 || count < 1 || row + count > m_list.size() || isReadOnly())
        return false;
    QList<int> rows;
    MGAclList kept = m_list;
    for (int i = 0; i < count; ++i)
        rows << row + i;
    kept.remove(row, count);
    apply(kept, MGAclListChange::removed(rows));
    return true;
}

bool MGAclEditSession::moveRows(const QModelIndex &sourceParent, int sourceRow, int count,
                                const QModelIndex &destinationParent, int destinationChild)
{
    if (sourceParent.isValid() || destinationParent.isValid() || count != 1 || isReadOnly() || sourceRow < 0
        || sourceRow >= m_list.size() || destinationChild < 0 || destinationChild > m_list.size())
        return false;
    const std::optional<MGAclListOperations::Result> moved = MGAclListOperations::moved(m_list, sourceRow, destinationChild);
    if (moved)
        apply(moved->list, moved->change);
    return true;
}
