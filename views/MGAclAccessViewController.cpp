#include "MGAclAccessViewController.h"

#include "CBIdentity.h"
#include "MGAclAccessMarkDelegate.h"
#include "MGAclAccessTreeModel.h"
#include "MGIdentityPopUpButton.h"
#include "MGItemPaths.h"
#include "MGAclDocument.h"
#include "MGIdentities.h"
#include "MGIdentityListModel.h"
#include "NTLocalizedString.h"
#include "NTLocalizedView.h"
#include "ui_MGAclAccessView.h"

#include <QComboBox>
#include <QHeaderView>
#include <QStandardItemModel>
#include <QTreeView>

MGAclAccessViewController::MGAclAccessViewController(MGAclDocument *acl) : m_acl(acl)
{
    setTitle(NTLocalizedString::localize(QStringLiteral("Effective Permissions"), QStringLiteral("ACL")));
    m_model = new MGAclAccessTreeModel(this);
    if (acl) {
        connect(acl, &MGAclDocument::accessChanged, this, &MGAclAccessViewController::accessChanged);
        connect(acl, &MGAclDocument::identitiesChanged, this, &MGAclAccessViewController::fillIdentities);
        // Whoever changes the identity, the chooser shows it.
        connect(acl, &MGAclDocument::identityChanged, this, [this] {
            if (m_identityPopUpButton && m_identitiesShown && m_acl && m_identityPopUpButton->identity() != m_acl->identity())
                m_identityPopUpButton->setIdentity(m_acl->identity());
        });
    }
}

MGAclAccessViewController::~MGAclAccessViewController()
{
    if (m_acl)
        disconnect(m_acl, nullptr, this, nullptr);
}

QWidget *MGAclAccessViewController::loadView()
{
    auto *view = new QWidget;
    Ui::MGAclAccessView ui;
    ui.setupUi(view);
    m_outlineView = ui.outlineView;
    m_identityPopUpButton = ui.identityPopUpButton;
    m_accessNote = ui.accessNote;
    m_shownStateNote = ui.shownStateNote;
    m_asEditedSwitch = ui.asEditedSwitch;
    return view;
}

void MGAclAccessViewController::viewDidLoad()
{
    NTLocalizedView::localizeView(view(), QStringLiteral("ACL"));
    m_outlineView->setModel(m_model);
    m_outlineView->setItemDelegate(new MGAclAccessMarkDelegate(m_outlineView));
    m_outlineView->header()->setStretchLastSection(false);
    m_outlineView->header()->setSectionResizeMode(MGAclAccessTreeModel::TitleColumn, QHeaderView::Stretch);
    m_outlineView->header()->setSectionResizeMode(MGAclAccessTreeModel::AccessColumn, QHeaderView::ResizeToContents);
    m_outlineView->header()->setSectionResizeMode(MGAclAccessTreeModel::DetailColumn, QHeaderView::ResizeToContents);
    connect(m_outlineView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MGAclAccessViewController::outlineViewSelectionDidChange);
    connect(m_asEditedSwitch, &QCheckBox::toggled, this, [this](bool on) {
        if (m_acl)
            m_acl->setShowsAccessAsEdited(on);
        showShownState();
    });
    if (m_acl) {
        connect(m_acl, &MGAclDocument::editedChanged, this, &MGAclAccessViewController::showShownState);
        // A server item's chooser offers the accounts its entries name, as they are now.
        connect(m_acl, &MGAclDocument::entriesChanged, this, [this] {
            if (MGItemPaths::isServerUrl(m_acl->url()))
                fillIdentities();
        });
    }
    showShownState();
    connect(m_identityPopUpButton, &MGIdentityPopUpButton::identityChosen, this, [this](const CBIdentity &identity) {
        if (m_acl && identity.isValid())
            m_acl->setIdentity(identity);
    });
    connect(m_identityPopUpButton, &MGIdentityPopUpButton::menuAboutToShow, this,
            [](QComboBox *menu) { menuNeedsUpdate(menu); });
    if (m_acl)
        m_model->setForest(m_acl->access());
    m_outlineView->expandAll();
}

void MGAclAccessViewController::viewDidAppear()
{
    // The chooser gets the list when the tab is first shown, not while the window opens.
    if (!m_identitiesShown) {
        m_identitiesShown = true;
        fillIdentities();
    }
}

void MGAclAccessViewController::fillIdentities()
{
    if (!m_identityPopUpButton || !m_acl || !m_identitiesShown)
        return;
    if (MGItemPaths::isServerUrl(m_acl->url())) {
        // A file server's item: the server's accounts its entries name, and whoever is asked
        // about now.
        QVariantList accounts{QVariant::fromValue(m_acl->identity())};
        for (const MGAclItem &item : m_acl->entries()) {
            const MGAclEntry *entry = MGAclLists::entryOf(item);
            if (entry && entry->identity().isPrincipal() && !accounts.contains(QVariant::fromValue(entry->identity()))
                && !entry->identity().sid().startsWith(QLatin1String("S-1-3-")))
                accounts << QVariant::fromValue(entry->identity());
        }
        m_identityPopUpButton->setIdentities(accounts, m_acl->identity());
        // Any other account of the server, typed by name ("DOMAIN\name" or "name").
        m_identityPopUpButton->setTypedIdentity([](const QString &name) { return std::optional(CBIdentity::principal(QString(), name)); });
    } else {
        // The list every chooser shows, which follows the account database itself.
        m_identityPopUpButton->setIdentityModel(MGIdentityListModel::sharedModel(), m_acl->identity());
        m_identityPopUpButton->setTypedIdentity(nullptr);
    }
    menuNeedsUpdate(m_identityPopUpButton);
}

void MGAclAccessViewController::menuNeedsUpdate(QComboBox *menu)
{
    MGIdentityMenus::menuNeedsUpdate(menu);
}

void MGAclAccessViewController::showAccessNote()
{
    // The tree is the item's own answer; a folder above that keeps the identity out, or what
    // the answer could not count, is said above it, so that "yes" is not read as "can".
    const QString folder = m_acl ? m_acl->accessBlockedBy() : QString();
    const QString caveat = m_acl ? m_acl->accessCaveat() : QString();
    QStringList said;
    if (!folder.isEmpty())
        said << NTLocalizedString::localize(QStringLiteral("\u201c%1\u201d cannot enter the folder \u201c%2\u201d on this "
                                                           "item's path: whatever the item allows below, it is out of their "
                                                           "reach until that folder lets them in."),
                                            QStringLiteral("ACL"))
                    .arg(m_acl->identity().displayName(), folder);
    if (!caveat.isEmpty())
        said << caveat;
    m_accessNote->setVisible(!said.isEmpty());
    m_accessNote->setText(said.join(QLatin1Char('\n')));
    m_accessNote->setAccessibleName(m_accessNote->text());
}

void MGAclAccessViewController::accessChanged()
{
    if (!m_outlineView) {
        // Not loaded yet: nothing to expand or select.
        m_selectedRow = 0;
        return;
    }
    m_model->setForest(m_acl ? m_acl->access() : QList<MGTreeNode::Pointer>());
    m_outlineView->expandAll();
    showAccessNote();
    if (m_selectedRow > 0) {
        const QModelIndex index = m_model->indexForRow(m_selectedRow);
        if (index.isValid() && (m_model->flags(index) & Qt::ItemIsSelectable))
            m_outlineView->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
    outlineViewSelectionDidChange();
}

void MGAclAccessViewController::outlineViewSelectionDidChange()
{
    const QModelIndexList rows = m_outlineView ? m_outlineView->selectionModel()->selectedRows() : QModelIndexList();
    m_selectedRow = rows.isEmpty() ? -1 : m_model->rowForIndex(rows.first());
}

void MGAclAccessViewController::showShownState()
{
    if (!m_shownStateNote || !m_asEditedSwitch)
        return;
    const bool edited = m_acl && m_acl->isEdited();
    m_asEditedSwitch->setEnabled(edited);
    // The switch says what the document shows: "as edited" ends with the edits.
    if (m_acl && m_asEditedSwitch->isChecked() != m_acl->showsAccessAsEdited()) {
        const QSignalBlocker blocker(m_asEditedSwitch);
        m_asEditedSwitch->setChecked(m_acl->showsAccessAsEdited());
    }
    const bool asEdited = edited && m_asEditedSwitch->isChecked();
    const QString text = NTLocalizedString::localize(
        asEdited ? QStringLiteral("Shows the access the edited list would give once saved; nothing is saved yet.")
                 : edited ? QStringLiteral("Shows the item as saved, without the unsaved edits.")
                          : QStringLiteral("Shows the item as saved."),
        QStringLiteral("ACL"));
    m_shownStateNote->setText(text);
    m_shownStateNote->setAccessibleName(text);
}
