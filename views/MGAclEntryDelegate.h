#pragma once

#include <QPointer>
#include <QStyledItemDelegate>

class MGAclEntry;

class QAbstractItemModel;

// Paints the cells of the entries table and makes the one editor a cell has while it is
// edited: a pop-up of allow or deny, of the permission groups, of where a folder's entry
// applies, or the identity chooser. A pop-up is an editor only while its list is open: a
// choice made there is committed at once, and the list closed without one ends the edit.
// Nothing but the model changes what a cell shows.
class MGAclEntryDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    explicit MGAclEntryDelegate(QObject *parent = nullptr);

    // The identity list every chooser shows (through its own filter).
    void setIdentityModel(QAbstractItemModel *identities) { m_identities = identities; }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;

    // Opens the pop-up of an editor made by this delegate.
    static void openPopUp(QWidget *editor);

private:
    void commitAndClose(QWidget *editor);
    static void nameEditor(QWidget *editor, const QModelIndex &index, const MGAclEntry &entry);

    QPointer<QAbstractItemModel> m_identities;
};
