#pragma once

#include "MGTreeNode.h"

#include <QAbstractItemModel>

// The effective-access tree as an always-expanded outline: a title column and a column
// with the access mark (check, cross, or nothing for rows without a value). Rows without a
// value cannot be selected.
//
// What the mark shows is also said: a permission's access cell and title read "granted",
// "denied" or "partly" (for a screen reader, which cannot see the mark), and the cell's check
// state is checked, unchecked or partly checked. The columns have names, though the header
// is not shown.
class MGAclAccessTreeModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    enum Column { TitleColumn, AccessColumn, DetailColumn, ColumnCount };

    using QAbstractItemModel::QAbstractItemModel;

    void setForest(const QList<MGTreeNode::Pointer> &forest);
    MGTreeNode *nodeForIndex(const QModelIndex &index) const;
    // Rows counted from the top of the fully expanded tree.
    int rowForIndex(const QModelIndex &index) const;
    QModelIndex indexForRow(int row) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // "granted", "denied" or "partly" for a permission row's state (1, 0 or -1).
    static QString accessWord(int state);

private:
    const QList<MGTreeNode::Pointer> &childrenOf(const MGTreeNode *node) const;

    QList<MGTreeNode::Pointer> m_forest;
};
