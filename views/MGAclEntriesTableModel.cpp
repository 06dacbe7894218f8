#include "MGAclEntriesTableModel.h"

#include "MGAclPlugin.h"
#include "MGValueTransformer.h"
#include "NTLocalizedString.h"

namespace {
QVariant transformed(const char *name, const QVariant &value)
{
    const auto transformer = MGValueTransformer::valueTransformerForName(QString::fromLatin1(name));
    return transformer ? transformer->transformedValue(value) : QVariant();
}
}

MGAclEntriesTableModel::MGAclEntriesTableModel(MGAclPlugin *acl, QObject *parent)
    : QAbstractTableModel(parent), m_acl(acl)
{
    m_rows = acl ? int(acl->entries().size()) : 0;
}

QString MGAclEntriesTableModel::identityText(const MGAclEntry &entry)
{
    const QString acl = QStringLiteral("ACL");
    switch (entry.kind()) {
    case MGAclEntry::Kind::Owner:
        return NTLocalizedString::localize(QStringLiteral("Owner"), acl) + QStringLiteral(": ")
            + entry.identity().displayName();
    case MGAclEntry::Kind::OwningGroup:
        return NTLocalizedString::localize(QStringLiteral("Group"), acl) + QStringLiteral(": ")
            + entry.identity().displayName();
    default:
        return entry.identity().displayName();
    }
}

void MGAclEntriesTableModel::reload()
{
    beginResetModel();
    m_rows = m_acl ? int(m_acl->entries().size()) : 0;
    endResetModel();
}

int MGAclEntriesTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int MGAclEntriesTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

bool MGAclEntriesTableModel::isGroupRow(int row) const
{
    const MGAclList list = m_acl ? m_acl->entries() : MGAclList();
    return row >= 0 && row < list.size() && !MGAclLists::entryOf(list[row]);
}

QVariant MGAclEntriesTableModel::data(const QModelIndex &index, int role) const
{
    const MGAclList list = m_acl ? m_acl->entries() : MGAclList();
    if (!index.isValid() || index.row() >= list.size())
        return {};
    const MGAclEntry *entry = MGAclLists::entryOf(list[index.row()]);
    if (!entry)
        return role == TitleRole && index.column() == 0 ? QVariant(std::get<QString>(list[index.row()])) : QVariant();
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    switch (index.column()) {
    case TagColumn:
        return transformed("MGAclTagValueTransformer", entry->tag());
    case IdentityColumn:
        // What only passes to new items does not apply to this folder itself.
        if (entry->flags() & MGAclFlag::OnlyInherit)
            return identityText(*entry) + QStringLiteral(" ")
                + NTLocalizedString::localize(QStringLiteral("(new items only)"), QStringLiteral("ACL"));
        return identityText(*entry);
    case PermissionGroupColumn:
        return transformed("MGAclPermGroupValueTransformer", entry->permissionGroup());
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
    return isGroupRow(index.row()) ? Qt::ItemIsEnabled : Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}
