#pragma once

#include "MGAclEntry.h"
#include "MGViewController.h"

#include <QPointer>
#include <QTableView>
#include <QToolButton>

class MGAclEntriesTableModel;
class MGAclDocument;
class QMenu;

// The "Set of Permissions" tab: the entry list as a table with section-title rows, the add
// and remove buttons, and the action pull-down with the list-wide commands.
class MGAclEntriesViewController : public MGViewController
{
    Q_OBJECT
    Q_PROPERTY(bool canAddEntry READ canAddEntry NOTIFY selectionStateChanged)
    Q_PROPERTY(bool canRemoveEntry READ canRemoveEntry NOTIFY selectionStateChanged)
public:
    explicit MGAclEntriesViewController(MGAclDocument *acl = nullptr);
    ~MGAclEntriesViewController() override;

    QTableView *tableView() const { return m_tableView; }
    QToolButton *addButton() const { return m_addButton; }
    QToolButton *removeButton() const { return m_removeButton; }
    QToolButton *actionPopUpButton() const { return m_actionPopUpButton; }
    QMenu *actionMenu() const;
    MGAclEntriesTableModel *model() const { return m_model; }

    MGAclEntry::Pointer selectedEntry() const { return m_selectedEntry; }
    bool canAddEntry() const { return m_canAddEntry; }
    bool canRemoveEntry() const { return m_canRemoveEntry; }
    bool entryAdded() const { return m_entryAdded; }

    // Selects one row (replacing the selection), as the user would.
    void selectRow(int row);
    int selectedRow() const;

public slots:
    void addEntry(QObject *sender);
    void removeEntry(QObject *sender);
    void tableViewSelectionDidChange();

signals:
    void selectionStateChanged();

protected:
    QWidget *loadView() override;
    void viewDidLoad() override;
    void viewDidAppear() override;

private:
    void entriesChanged();
    void showGroupRows();
    QAction *addMenuItem(const QString &title, const char *action);

    QPointer<MGAclDocument> m_acl;
    MGAclEntriesTableModel *m_model = nullptr;
    QPointer<QTableView> m_tableView;
    QPointer<QToolButton> m_addButton;
    QPointer<QToolButton> m_removeButton;
    QPointer<QToolButton> m_actionPopUpButton;
    QPointer<QAction> m_propagateItem; // folders only, added when the tab first appears
    MGAclEntry::Pointer m_selectedEntry;
    bool m_canAddEntry = true;
    bool m_canRemoveEntry = false;
    bool m_entryAdded = false;
};
