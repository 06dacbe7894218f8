#pragma once

#include "MGViewController.h"

#include "MGIdentityPopUpButton.h"

#include <QComboBox>
#include <QLabel>
#include <QCheckBox>
#include <QPointer>
#include <QTreeView>

class MGAclAccessTreeModel;
class MGAclDocument;

// The "Effective Permissions" tab: an identity chooser and the always-expanded tree of
// what the chosen user or group may do, keeping the selected row across refreshes.
class MGAclAccessViewController : public MGViewController
{
    Q_OBJECT
public:
    explicit MGAclAccessViewController(MGAclDocument *acl = nullptr);
    ~MGAclAccessViewController() override;

    QTreeView *outlineView() const { return m_outlineView; }
    // The note above the tree: a folder that keeps the identity out, what the answer could not count.
    QLabel *accessNote() const { return m_accessNote; }
    QLabel *shownStateNote() const { return m_shownStateNote; }
    QCheckBox *asEditedSwitch() const { return m_asEditedSwitch; }
    MGIdentityPopUpButton *identityPopUpButton() const { return m_identityPopUpButton; }
    MGAclAccessTreeModel *model() const { return m_model; }
    int selectedRow() const { return m_selectedRow; }

    // "-----" items become separators; items that are not identities stay visible but
    // cannot be chosen.
    static void menuNeedsUpdate(QComboBox *menu);

public slots:
    void outlineViewSelectionDidChange();

protected:
    QWidget *loadView() override;
    void viewDidLoad() override;
    void viewDidAppear() override;

private:
    // Says whether the tree shows the item as saved or as edited, and offers the switch
    // only while there are edits.
    void showShownState();

    void showAccessNote();
    void accessChanged();
    void fillIdentities();

    QPointer<MGAclDocument> m_acl;
    MGAclAccessTreeModel *m_model = nullptr;
    QPointer<QTreeView> m_outlineView;
    QPointer<QLabel> m_accessNote;
    QPointer<QLabel> m_shownStateNote;
    QPointer<QCheckBox> m_asEditedSwitch;
    QPointer<MGIdentityPopUpButton> m_identityPopUpButton;
    int m_selectedRow = 0;
    bool m_identitiesShown = false;
};
