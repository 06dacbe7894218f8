#pragma once

#include "MGAclNoticeBar.h"

#include "MGAclEntriesTableView.h"
#include "MGAclList.h"
#include "MGViewController.h"

#include <QLabel>
#include <QPointer>
#include <QTimer>
#include <QTableView>
#include <QToolButton>

class MGAclEntriesTableModel;
class MGAclEntryDelegate;
class MGAclDocument;
class QComboBox;
class QMenu;

// The "Set of Permissions" tab: the entry list as a table with section-title rows, the add
// and remove buttons, and the action pull-down with the list-wide commands. A row's cells
// are edited through the table's model (who the entry is for, allow or deny, its permission
// group, where a folder's entry applies), one editor at a time; its permissions are edited
// one by one in the permission editor, a sheet.
class MGAclEntriesViewController : public MGViewController, public MGAclEntriesTableView::DataSource
{
    Q_OBJECT
    Q_PROPERTY(bool canAddEntry READ canAddEntry NOTIFY selectionStateChanged)
    Q_PROPERTY(bool canRemoveEntry READ canRemoveEntry NOTIFY selectionStateChanged)
public:
    explicit MGAclEntriesViewController(MGAclDocument *acl = nullptr);
    ~MGAclEntriesViewController() override;

    MGAclEntriesTableView *tableView() const { return m_tableView; }
    MGAclNoticeBar *noticeBar() const { return m_noticeBar; }
    QToolButton *addButton() const { return m_addButton; }
    QToolButton *removeButton() const { return m_removeButton; }
    QToolButton *actionPopUpButton() const { return m_actionPopUpButton; }
    QMenu *actionMenu() const;
    MGAclEntriesTableModel *model() const { return m_model; }
    MGAclEntryDelegate *delegate() const { return m_delegate; }
    // The editor open in a row's cell; null when the cell is not being edited.
    QWidget *cellEditor(int row, int column) const;
    // Starts editing a cell as the keyboard would (its pop-up opens); false when the cell
    // cannot be edited.
    bool editCell(int row, int column);

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
    // "Custom…" was chosen as a row's permission group: the editor opens for that row.
    void selectPermissionGroup(int row);
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
    void rowsInserted(const QModelIndex &parent, int first);
    int rowOf(const MGAclEntry *entry) const;
    // Shows what the document says about the item, and turns editing off where it cannot be changed.
    void showNotice();
    void showTitleRows();
    void presentEditor(const MGAclEntry::Pointer &entry);
    QAction *addMenuItem(QMenu *menu, const QString &title, const char *action);
    void perform(const char *action, const QVariant &argument);

    QPointer<MGAclDocument> m_acl;
    MGAclEntriesTableModel *m_model = nullptr;
    MGAclEntryDelegate *m_delegate = nullptr;
    QPointer<MGAclEntriesTableView> m_tableView;
    // Fits the columns to their content again, once, after the rows or the display changed.
    QTimer *m_columnFit = nullptr;
    QPointer<MGAclNoticeBar> m_noticeBar;
    QPointer<QToolButton> m_addButton;
    QPointer<QToolButton> m_removeButton;
    QPointer<QToolButton> m_actionPopUpButton;
    QPointer<QAction> m_propagateItem; // folders only, added when the tab first appears
    QPointer<QMenu> m_rowMenu;
    MGAclEntry::Pointer m_selectedEntry;
    MGAclEntry::Pointer m_selectedBeforeChange;
    void keepSelectedEntryInView();
    void fitPermissionsColumn();
    // The entry "+" has just added while its chooser is open: Escape there takes the add back.
    std::weak_ptr<MGAclEntry> m_choosingForAdded;
    // What was selected when "+" was pressed, selected again when the add is taken back.
    std::weak_ptr<MGAclEntry> m_selectedBeforeAdding;
    bool m_takingBackAdd = false;
    bool m_canAddEntry = true;
    bool m_canRemoveEntry = false;
    bool m_entryAdded = false;
    bool m_chooseAfterAdding = false;
};
