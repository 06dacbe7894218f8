#pragma once

#include "MGAclEntry.h"
#include "MGViewController.h"

#include <QPointer>

#include "MGAclPermissionButton.h"
#include "MGIdentityPopUpButton.h"

#include <QLabel>
#include <QPushButton>
#include <QTreeView>

class QStandardItemModel;

// The permission editor: a sheet over the ACL window that edits one entry's permissions one
// by one, as a fully expanded tree of three-state check boxes (a section is mixed while its
// permissions differ), with a pop-up for who the entry is for. It edits the entry in place:
// every tick reaches the entry at once. There is no Cancel; Close keeps what was changed.
// For an entry kept in a POSIX ACL it offers exactly read, write and execute, and says so.
class MGAclPermissionViewController : public MGViewController
{
    Q_OBJECT
public:
    explicit MGAclPermissionViewController(MGAclEntry::Pointer entry = nullptr);

    MGAclEntry::Pointer entry() const { return m_entry.lock(); }
    // Users and groups the entry may not take (others already have an entry of that kind).
    void setUnavailableIdentities(const QList<CBIdentity> &identities) { m_unavailable = identities; }

    QTreeView *outlineView() const { return m_outlineView; }
    MGIdentityPopUpButton *identityPopUpButton() const { return m_identityPopUpButton; }
    QPushButton *closeButton() const { return m_closeButton; }
    // The check box of the row naming `key` (table "ACL" key); null when there is none.
    MGAclPermissionButton *buttonFor(const QString &key) const;

    // The same tidying as every identity menu.
    static void menuNeedsUpdate(QComboBox *menu);

public slots:
    void dismissPermissions(QObject *sender);

protected:
    QWidget *loadView() override;
    void viewDidLoad() override;
    void viewDidAppear() override;

private:
    struct Row
    {
        QString key;
        quint32 mask;
        QPointer<MGAclPermissionButton> button;
    };
    void buildTree();
    void refresh();
    void fillIdentities();

    std::weak_ptr<MGAclEntry> m_entry;
    QList<CBIdentity> m_unavailable;
    QStandardItemModel *m_model = nullptr;
    QList<Row> m_rows;
    QPointer<QTreeView> m_outlineView;
    QPointer<MGIdentityPopUpButton> m_identityPopUpButton;
    QPointer<QLabel> m_posixNote;
    QPointer<QPushButton> m_closeButton;
};
