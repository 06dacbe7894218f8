#pragma once

#include "MGAclEntry.h"

#include <QAbstractTableModel>
#include <QPointer>

class MGAclPlugin;

// The rows of the entries table: the plug-in object's entry list, read afresh on every
// question, one row per item. Section titles are group rows that cannot be selected;
// values are shown through the registered value transformers.
class MGAclEntriesTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { TagColumn, IdentityColumn, PermissionGroupColumn, InheritedColumn, ColumnCount };
    // A section title's text; group rows draw it themselves, so it is no display text.
    static constexpr int TitleRole = Qt::UserRole + 1;

    explicit MGAclEntriesTableModel(MGAclPlugin *acl, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    bool isGroupRow(int row) const;
    void reload();

    // "Owner: alice" for the POSIX owner and owning group, the name for everyone else.
    static QString identityText(const MGAclEntry &entry);

private:
    QPointer<MGAclPlugin> m_acl;
    int m_rows = 0;
};
