#include "MGAclEntriesTableModel.h"

#include "MGAclDocument.h"
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

MGAclEntriesTableModel::MGAclEntriesTableModel(MGAclEditSession *session, QObject *parent)
    : QIdentityProxyModel(parent), m_session(session)
{
    setSourceModel(session);
    // The session's changes name all of its columns; passed on, they name this model's.
    disconnect(session, &QAbstractItemModel::dataChanged, this, nullptr);
    connect(session, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex &topLeft, const QModelIndex &bottomRight, const QList<int> &roles) {
                const int last = columnCount() - 1;
                if (topLeft.column() > last)
                    return;
                emit dataChanged(index(topLeft.row(), topLeft.column()),
                                 index(bottomRight.row(), qMin(bottomRight.column(), last)), roles);
            });
}

int MGAclEntriesTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : (m_appliesToShown ? ColumnCount : ColumnCount - 1);
}

void MGAclEntriesTableModel::setAppliesToShown(bool shown)
{
    if (shown == m_appliesToShown)
        return;
    if (shown)
        beginInsertColumns({}, AppliesToColumn, AppliesToColumn);
    else
        beginRemoveColumns({}, AppliesToColumn, AppliesToColumn);
    m_appliesToShown = shown;
    shown ? endInsertColumns() : endRemoveColumns();
}

QString MGAclEntriesTableModel::permissionDetail(const MGAclEntry &entry) const
{
    const auto bits = MGAclPermissionSet::toPosixBits(entry.permissions(), entry.isDirectory());
    if (!entry.isPosix() || !bits)
        return QString();
    // The letters say what a named group stands for; a mask that takes some away is named,
    // and so is one raised under an entry that now grants more than it did.
    const QString own = MGAclPermissionSet::shortText(entry.permissions(), entry.isDirectory());
    if (const int gained = m_session->maskGain(entry))
        return QStringLiteral("%1, %2").arg(
            own, NTLocalizedString::localize(QStringLiteral("now also grants %1"), ACL).arg(permissionWords(gained)));
    const bool dir = entry.isDirectory();
    const auto left = m_session->maskLimit(entry);
    // An entry of a folder and of its new items answers to two masks, which may differ.
    if (entry.isAcl() && entry.appliesHere() && entry.passesOn()) {
        const auto passed = m_session->maskLimit(entry, true);
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

QString MGAclEntriesTableModel::inheritanceText(quint32 flags)
{
    using namespace MGAclFlag;
    const bool files = flags & FileInherit, folders = flags & DirectoryInherit, here = !(flags & OnlyInherit);
    const char *words = nullptr;
    if (!files && !folders)
        words = "This folder only";
    else if (files && folders)
        words = here ? "This folder, subfolders and files" : "Subfolders and files only";
    else if (folders)
        words = here ? "This folder and subfolders" : "Subfolders only";
    else
        words = here ? "This folder and files" : "Files only";
    const QString text = NTLocalizedString::localize(QString::fromLatin1(words), ACL);
    // Limit-inherit: what passes on reaches the items in the folder, not below them.
    if ((files || folders) && (flags & LimitInherit))
        return NTLocalizedString::localize(QStringLiteral("%1, one level"), ACL).arg(text);
    return text;
}

QList<std::pair<QString, int>> MGAclEntriesTableModel::places(const MGAclEntry &entry)
{
    QList<std::pair<QString, int>> list;
    if (entry.isPosix()) {
        for (auto place : {MGAclEntry::AppliesTo::ThisItem, MGAclEntry::AppliesTo::NewItems, MGAclEntry::AppliesTo::Both})
            list.append({appliesToText(place), int(place)});
        return list;
    }
    using namespace MGAclFlag;
    const quint32 spreading[] = {FileInherit | DirectoryInherit, DirectoryInherit, FileInherit};
    list.append({inheritanceText(0), MGAclEditSession::InheritanceFlagsPlace});
    for (const quint32 limit : {0u, quint32(LimitInherit)}) {
        for (const quint32 onlyInherit : {0u, quint32(OnlyInherit)}) {
            for (const quint32 flags : spreading)
                list.append({inheritanceText(flags | onlyInherit | limit),
                             MGAclEditSession::InheritanceFlagsPlace | int(flags | onlyInherit | limit)});
        }
    }
    return list;
}

int MGAclEntriesTableModel::currentPlace(const MGAclEntry &entry)
{
    return entry.isPosix() ? int(entry.appliesTo())
                           : MGAclEditSession::InheritanceFlagsPlace | int(entry.flags() & MGAclFlag::Inheritance);
}

QVariant MGAclEntriesTableModel::data(const QModelIndex &index, int role) const
{
    const MGAclEntry *entry = index.isValid() ? m_session->entryAt(index.row()) : nullptr;
    // A section's title is read out as its row (it is painted across the row, and the
    // keyboard passes over it); each entry's cells say which section they are in, so that
    // the two masks can be told apart by ear.
    if (role == Qt::AccessibleTextRole && !entry && index.isValid())
        return index.column() == 0 ? QIdentityProxyModel::data(index, MGAclEditSession::TitleRole) : QVariant();
    if (role == Qt::AccessibleDescriptionRole && entry) {
        // ACL entries follow the first title; the few POSIX settings follow theirs, close by.
        int titleRow = 0;
        if (!entry->isAcl()) {
            for (titleRow = index.row(); titleRow > 0 && !m_session->isGroupRow(titleRow); --titleRow) {
            }
        }
        return QIdentityProxyModel::data(this->index(titleRow, 0), MGAclEditSession::TitleRole);
    }
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole && role != Qt::AccessibleTextRole)
        return QIdentityProxyModel::data(index, role);
    if (!entry)
        return {};
    // A file server's owner and group are who they are: no type, no permissions of their own.
    const bool ownerOnly = !entry->isAcl() && !entry->isPosix();
    if (ownerOnly && (index.column() == TagColumn || index.column() == PermissionGroupColumn || index.column() == InheritedColumn))
        return QString();
    switch (index.column()) {
    case TagColumn:
        return transformed("MGAclTagValueTransformer", entry->tag());
    case IdentityColumn:
        return entry->identityText();
    case PermissionGroupColumn:
        return permissionText(*entry);
    case AppliesToColumn:
        // Files, and a folder's own POSIX settings, apply to the item only.
        if (!entry->isAcl() || !entry->isDirectory())
            return QString();
        return entry->isPosix() ? appliesToText(entry->appliesTo()) : inheritanceText(entry->flags());
    case InheritedColumn:
        return transformed("MGAclInheritedValueTransformer", entry->inherited());
    default:
        return {};
    }
}

bool MGAclEntriesTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!QIdentityProxyModel::setData(index, value, role))
        return false;
    if (role == Qt::EditRole && index.column() == PermissionGroupColumn && value.toLongLong() == MGAclPermissionSet::Custom)
        emit customPermissionsChosen(index.row());
    return true;
}

QVariant MGAclEntriesTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const char *const titles[] = {"Type", "User or Group", "Permissions", "Inherited", "Applies to"};
    return section >= 0 && section < columnCount() ? NTLocalizedString::localize(QString::fromLatin1(titles[section]), ACL)
                                                 : QVariant();
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
    if (m_session->isReadOnly())
        return false;
    const int above = row >= 0 ? row : parent.row();
    const qsizetype n = m_session->aclEntries().size();
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
