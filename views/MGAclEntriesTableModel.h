#pragma once

#include "MGAclList.h"

#include <QAbstractTableModel>

// The rows of the entries table: one row per item of an entry list, which the model holds
// as a value. A new list is taken over as the row changes that lead to it (inserted,
// removed and moved rows, changed cells), so the table keeps its selection and scroll
// position; an entry changed in place updates its row. Section titles are group rows that
// cannot be selected; values are shown through the registered value transformers.
class MGAclEntriesTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { TagColumn, IdentityColumn, PermissionGroupColumn, InheritedColumn, ColumnCount };
    // A section title's text; group rows draw it themselves, so it is no display text.
    static constexpr int TitleRole = Qt::UserRole + 1;

    using QAbstractTableModel::QAbstractTableModel;
    ~MGAclEntriesTableModel() override;

    const MGAclList &list() const { return m_list; }
    void setList(const MGAclList &list);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    bool isGroupRow(int row) const;

public slots:
    // An entry of the list changed in place.
    void observeValueForKeyPath(const QString &keyPath, QObject *object);

    // The permission group's name, with the r/w/x letters of an entry stored in a POSIX ACL
    // and, when a mask takes some of them away, what the entry is limited to.
    QString permissionText(const MGAclEntry &entry) const;
    // The r/w/x letters and the limit alone ("rw-, limited to r--"); empty for an entry that
    // is not kept in a POSIX ACL.
    QString permissionDetail(const MGAclEntry &entry) const;

private:
    void observe(const MGAclList &list, bool on);
    // The r/w/x bits of the mask that limits an entry; nothing when none does.
    std::optional<int> limitingMask(const MGAclEntry &entry) const;
    void replaceRows(int first, int oldCount, const MGAclList &list);
    void rearrangeRows(const MGAclList &list);

    MGAclList m_list;
};
