#pragma once

#include "MGAclEntriesTableView.h"
#include "MGAclList.h"
#include "MGViewController.h"

#include <QLabel>
#include <QPointer>
#include <QTableView>
#include <QToolButton>

class MGAclEntriesTableModel;
class MGAclDocument;
class MGIdentityPopUpButton;
class QComboBox;
class QMenu;

// The "Set of Permissions" tab: the entry list as a table with section-title rows, each
// entry's row with its controls (who it is for, allow or deny, its permission group), the
// add and remove buttons, and the action pull-down with the list-wide commands. A row's
// permissions are edited one by one in the permission editor, a sheet.
class MGAclEntriesViewController : public MGViewController, public MGAclEntriesTableView::DataSource
{
    Q_OBJECT
    Q_PROPERTY(bool canAddEntry READ canAddEntry NOTIFY selectionStateChanged)
    Q_PROPERTY(bool canRemoveEntry READ canRemoveEntry NOTIFY selectionStateChanged)
public:
    explicit MGAclEntriesViewController(MGAclDocument *acl = nullptr);
    ~MGAclEntriesViewController() override;

    MGAclEntriesTableView *tableView() const { return m_tableView; }
    QLabel *aclUnavailableNote() const { return m_aclUnavailableNote; }
    QToolButton *addButton() const { return m_addButton; }
    QToolButton *removeButton() const { return m_removeButton; }
    QToolButton *actionPopUpButton() const { return m_actionPopUpButton; }
    QMenu *actionMenu() const;
    MGAclEntriesTableModel *model() const { return m_model; }
    // The control of a row's column (the identity chooser, the tag or group pop-up); null
    // where the row has none.
    QWidget *rowControl(int row, int column) const;
    MGIdentityPopUpButton *identityChooser(int row) const;

    MGAclEntry::Pointer selectedEntry() const { return m_selectedEntry; }
    bool canAddEntry() const { return m_canAddEntry; }
    bool canRemoveEntry() const { return m_canRemoveEntry; }
    bool entryAdded() const { return m_entryAdded; }

    // Selects one row (replacing the selection), as the user would.
    void selectRow(int row);
    int selectedRow() const;

    Q_INVOKABLE bool validateMenuItem(QAction *item) const;
    // The tidying every identity menu gets before it opens.
    static void menuNeedsUpdate(QComboBox *menu);
    // The users and groups an entry may not take: those another entry of the list already
    // has for the same purpose (the item itself, or what a folder passes on).
    static QList<CBIdentity> unavailableIdentities(const MGAclList &list, const MGAclEntry &entry);

    // Dragging a row to reorder the list, or out of the table to remove it.
    QMimeData *writeRows(const QList<int> &rows) override;
    Qt::DropAction validateDrop(const QMimeData *data, int &row, MGAclEntriesTableView::DropOperation &operation) override;
    bool acceptDrop(const QMimeData *data, int row, MGAclEntriesTableView::DropOperation operation) override;
    void draggingSessionEnded(const QMimeData *data, const QPoint &screenPoint, Qt::DropAction operation,
                              quint64 flags) override;

public slots:
    void addEntry(QObject *sender);
    void removeEntry(QObject *sender);
    void showPermissions(QObject *sender);
    void selectPermissionGroup(QObject *sender);
    void tableViewSelectionDidChange();

signals:
    void selectionStateChanged();

protected:
    QWidget *loadView() override;
    void viewDidLoad() override;
    void viewDidAppear() override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void entriesChanged();
    void showRows();
    void updateRowFocus();
    void fitColumns();
    void showRowControls(int row, const MGAclEntry::Pointer &entry);
    void rowsChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight);
    void fillIdentityChooser(MGIdentityPopUpButton *chooser, const MGAclEntry &entry);
    void presentEditor(const MGAclEntry::Pointer &entry);
    int rowForView(QObject *view) const;
    QAction *addMenuItem(QMenu *menu, const QString &title, const char *action);
    void perform(const char *action, const QVariant &argument);

    QPointer<MGAclDocument> m_acl;
    MGAclEntriesTableModel *m_model = nullptr;
    QPointer<MGAclEntriesTableView> m_tableView;
    QPointer<QLabel> m_aclUnavailableNote;
    QPointer<QToolButton> m_addButton;
    QPointer<QToolButton> m_removeButton;
    QPointer<QToolButton> m_actionPopUpButton;
    QPointer<QAction> m_propagateItem; // folders only, added when the tab first appears
    QPointer<QMenu> m_rowMenu;
    MGAclEntry::Pointer m_selectedEntry;
    bool m_canAddEntry = true;
    bool m_canRemoveEntry = false;
    bool m_entryAdded = false;
    bool m_chooseAfterAdding = false;
};
