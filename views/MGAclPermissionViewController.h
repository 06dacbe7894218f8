#pragma once

#include "MGAclEditSession.h"
#include "MGAclEntry.h"
#include "MGIdentityPopUpButton.h"
#include "MGViewController.h"

#include <QComboBox>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTreeView>
#include <optional>

class QStandardItem;
class QStandardItemModel;

// The permission editor: a sheet over the ACL window that edits one entry's permissions one
// by one, as a fully expanded tree of checkable rows (a section is mixed while its
// permissions differ; a click or Space on a mixed or clear row ticks it, on a ticked row
// clears it), with a pop-up for who the entry is for and, for a folder's entry, where it
// applies. It edits the entry through its edit session, as the table does: every tick
// reaches the entry at once. There is no Cancel; Close keeps what was changed. For an entry
// kept in a POSIX ACL it offers exactly read, write and execute, and says so. While the
// item cannot be changed it shows the entry and changes nothing.
class MGAclPermissionViewController : public MGViewController
{
    Q_OBJECT
public:
    MGAclPermissionViewController(MGAclEditSession *session, MGAclEntry::Pointer entry);

    MGAclEntry::Pointer entry() const { return m_entry.lock(); }

    QTreeView *outlineView() const { return m_outlineView; }
    QStandardItemModel *permissionModel() const { return m_model; }
    MGIdentityPopUpButton *identityPopUpButton() const { return m_identityPopUpButton; }
    QComboBox *appliesToPopUpButton() const { return m_appliesToPopUpButton; }
    QPushButton *closeButton() const { return m_closeButton; }
    // The row naming `key` (table "ACL" key); null when there is none. Its check state is
    // the permissions' state.
    QStandardItem *itemFor(const QString &key) const;
    // The three-state code of a row: 1 ticked, 0 clear, -1 mixed; nothing for no such row.
    std::optional<int> stateFor(const QString &key) const;

    // The same tidying as every identity menu.
    static void menuNeedsUpdate(QComboBox *menu);

public slots:
    void dismissPermissions(QObject *sender);

protected:
    QWidget *loadView() override;
    void viewDidLoad() override;
    void viewDidAppear() override;

private:
    void buildTree();
    void refresh();
    void showIdentity();
    void rowChanged(QStandardItem *item);
    void sayTicked(QStandardItem *item);
    // Sets a value of the entry through its session; false when the session refuses it.
    bool edit(int column, const QVariant &value, int role = Qt::EditRole);

    QPointer<MGAclEditSession> m_session;
    std::weak_ptr<MGAclEntry> m_entry;
    QStandardItemModel *m_model = nullptr;
    QHash<QString, QStandardItem *> m_rows;
    bool m_refreshing = false;
    QPointer<QTreeView> m_outlineView;
    QPointer<MGIdentityPopUpButton> m_identityPopUpButton;
    QPointer<QComboBox> m_appliesToPopUpButton;
    QPointer<QLabel> m_appliesToLabel;
    QPointer<QLabel> m_posixNote;
    QPointer<QPushButton> m_closeButton;
};
