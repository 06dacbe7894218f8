#include "MGAclAccessTreeModel.h"

#include "MGValueTransformer.h"
#include "NTLocalizedString.h"

#include <QFont>

void MGAclAccessTreeModel::setForest(const QList<MGTreeNode::Pointer> &forest)
{
    beginResetModel();
    m_forest = forest;
    endResetModel();
}

const QList<MGTreeNode::Pointer> &MGAclAccessTreeModel::childrenOf(const MGTreeNode *node) const
{
    return node ? node->childNodes() : m_forest;
}

MGTreeNode *MGAclAccessTreeModel::nodeForIndex(const QModelIndex &index) const
{
    return static_cast<MGTreeNode *>(index.internalPointer());
}

QModelIndex MGAclAccessTreeModel::index(int row, int column, const QModelIndex &parent) const
{
    const QList<MGTreeNode::Pointer> &children = childrenOf(nodeForIndex(parent));
    if (row < 0 || row >= children.size() || column < 0 || column >= ColumnCount)
        return {};
    return createIndex(row, column, children[row].get());
}

QModelIndex MGAclAccessTreeModel::parent(const QModelIndex &child) const
{
    const MGTreeNode *node = nodeForIndex(child);
    MGTreeNode *parentNode = node ? node->parentNode() : nullptr;
    if (!parentNode)
        return {};
    const QList<MGTreeNode::Pointer> &siblings = childrenOf(parentNode->parentNode());
    for (int row = 0; row < siblings.size(); ++row) {
        if (siblings[row].get() == parentNode)
            return createIndex(row, 0, parentNode);
    }
    return {};
}

int MGAclAccessTreeModel::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    return int(childrenOf(nodeForIndex(parent)).size());
}

int MGAclAccessTreeModel::columnCount(const QModelIndex &) const
{
    return ColumnCount;
}

QVariant MGAclAccessTreeModel::data(const QModelIndex &index, int role) const
{
    const MGTreeNode *node = nodeForIndex(index);
    if (!node)
        return {};
    if (index.column() == TitleColumn && role == Qt::DisplayRole)
        return node->title();
    // Section rows are bold; a permission row without a yes or no says in its title on what
    // it depends.
    if (index.column() == TitleColumn && role == Qt::FontRole && !node->childNodes().isEmpty()) {
        QFont bold;
        bold.setBold(true);
        return bold;
    }
    // What decides the row: the entry, and whether the mask limits it.
    if (index.column() == DetailColumn && (role == Qt::DisplayRole || role == Qt::AccessibleTextRole))
        return node->detail();
    // A permission (a row without rows below it) says its access in words and as a check
    // state; a section says nothing of its own.
    const bool permission = node->childNodes().isEmpty();
    if (permission && index.column() == TitleColumn && role == Qt::AccessibleTextRole)
        return QStringLiteral("%1: %2").arg(node->title(), accessWord(node->state()));
    if (permission && index.column() == AccessColumn && role == Qt::AccessibleTextRole)
        return accessWord(node->state());
    if (permission && index.column() == AccessColumn && role == Qt::CheckStateRole)
        return node->state() == 1 ? Qt::Checked : node->state() == 0 ? Qt::Unchecked : Qt::PartiallyChecked;
    if (index.column() == AccessColumn && role == Qt::DecorationRole) {
        const auto transformer = MGValueTransformer::valueTransformerForName(QStringLiteral("MGAclAccessValueTransformer"));
        return transformer ? transformer->transformedValue(node->state()) : QVariant();
    }
    return {};
}

Qt::ItemFlags MGAclAccessTreeModel::flags(const QModelIndex &index) const
{
    const MGTreeNode *node = nodeForIndex(index);
    if (!node)
        return Qt::NoItemFlags;
    return node->state() == -1 ? Qt::ItemIsEnabled : Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

QVariant MGAclAccessTreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const char *const titles[] = {"Permission", "Access", "Decided by"};
    return section >= 0 && section < ColumnCount
        ? NTLocalizedString::localize(QString::fromLatin1(titles[section]), QStringLiteral("ACL"))
        : QVariant();
}

QString MGAclAccessTreeModel::accessWord(int state)
{
    const char *word = state == 1 ? "granted" : state == 0 ? "denied" : "partly";
    return NTLocalizedString::localize(QString::fromLatin1(word), QStringLiteral("ACL"));
}

int MGAclAccessTreeModel::rowForIndex(const QModelIndex &target) const
{
    int row = 0;
    std::function<bool(const QModelIndex &)> walk = [&](const QModelIndex &parent) {
        for (int i = 0; i < rowCount(parent); ++i) {
            const QModelIndex child = index(i, 0, parent);
            if (child.internalPointer() == target.internalPointer())
                return true;
            ++row;
            if (walk(child))
                return true;
        }
        return false;
    };
    return target.isValid() && walk(QModelIndex()) ? row : -1;
}

QModelIndex MGAclAccessTreeModel::indexForRow(int wanted) const
{
    int row = 0;
    QModelIndex found;
    std::function<bool(const QModelIndex &)> walk = [&](const QModelIndex &parent) {
        for (int i = 0; i < rowCount(parent); ++i) {
            const QModelIndex child = index(i, 0, parent);
            if (row++ == wanted) {
                found = child;
                return true;
            }
            if (walk(child))
                return true;
        }
        return false;
    };
    walk(QModelIndex());
    return found;
}
