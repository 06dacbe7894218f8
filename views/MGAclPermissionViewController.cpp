#include "MGAclPermissionViewController.h"

#include "MGAclPermissionButton.h"
#include "MGIdentities.h"
#include "MGIdentityPopUpButton.h"
#include "NTLocalizedString.h"
#include "NTLocalizedView.h"
#include "ui_MGAclPermissionView.h"

#include <QDialog>
#include <QHeaderView>
#include <QStandardItemModel>
#include <QTreeView>

namespace {
const QString ACL = QStringLiteral("ACL");

// The sections of the tree for an entry with the full set of permissions.
struct Section
{
    const char *key;
    quint32 bits;
};
constexpr Section Sections[] = {
    {"Read", MGAclPermission::ReadData | MGAclPermission::ReadNamedAttributes | MGAclPermission::ReadAttributes
                 | MGAclPermission::ReadAcl},
    {"Write", MGAclPermission::WriteData | MGAclPermission::AppendData | MGAclPermission::WriteNamedAttributes
                  | MGAclPermission::WriteAttributes | MGAclPermission::DeleteChild | MGAclPermission::Delete},
    {"Execute", MGAclPermission::Execute},
    {"Administration", MGAclPermission::WriteAcl | MGAclPermission::WriteOwner | MGAclPermission::Synchronize},
};
}

MGAclPermissionViewController::MGAclPermissionViewController(MGAclEntry::Pointer entry) : m_entry(entry)
{
    m_model = new QStandardItemModel(this);
    if (entry)
        connect(entry.get(), &MGAclEntry::changed, this, &MGAclPermissionViewController::refresh);
}

QWidget *MGAclPermissionViewController::loadView()
{
    auto *view = new QWidget;
    Ui::MGAclPermissionView ui;
    ui.setupUi(view);
    m_outlineView = ui.outlineView;
    m_identityPopUpButton = ui.identityPopUpButton;
    m_posixNote = ui.posixNote;
    m_closeButton = ui.closeButton;
    return view;
}

void MGAclPermissionViewController::viewDidLoad()
{
    NTLocalizedView::localizeView(view(), ACL);
    m_outlineView->setModel(m_model);
    buildTree();
    m_outlineView->expandAll();
    connect(m_closeButton, &QPushButton::clicked, this, [this] { dismissPermissions(m_closeButton); });
    connect(m_identityPopUpButton, &MGIdentityPopUpButton::menuAboutToShow, this, [this] {
        fillIdentities();
        menuNeedsUpdate(m_identityPopUpButton);
    });
    connect(m_identityPopUpButton, &MGIdentityPopUpButton::identityChosen, this, [this](const CBIdentity &identity) {
        if (const auto entry = m_entry.lock())
            entry->setIdentity(identity);
    });
    fillIdentities();
    menuNeedsUpdate(m_identityPopUpButton);
    refresh();
}

void MGAclPermissionViewController::viewDidAppear()
{
    // The sheet keeps the size its content needs.
    if (QDialog *sheet = this->sheet())
        sheet->setFixedSize(sheet->sizeHint().expandedTo(QSize(360, 300)));
}

void MGAclPermissionViewController::buildTree()
{
    const auto entry = m_entry.lock();
    if (!entry)
        return;
    // A row: an item in the tree, and over it the check box of the permissions it stands for.
    auto addRow = [this](QStandardItem *parent, const QString &key, quint32 mask) {
        auto *item = new QStandardItem;
        item->setFlags(Qt::ItemIsEnabled);
        parent->appendRow(item);
        auto *button = new MGAclPermissionButton(NTLocalizedString::localize(key, ACL));
        button->setTristate(true);
        m_outlineView->setIndexWidget(item->index(), button);
        m_rows << Row{key, mask, button};
        connect(button, &QCheckBox::clicked, this, [this, mask, button] {
            if (const auto entry = m_entry.lock())
                entry->setPermission(mask, button->state() == 1);
        });
        return item;
    };
    QStandardItem *root = m_model->invisibleRootItem();
    const QList<MGAclPermissionSet::Item> items = entry->editablePermissions();
    if (entry->isPosix()) {
        for (const MGAclPermissionSet::Item &item : items)
            addRow(root, item.key, item.mask);
        return;
    }
    // Every permission under its section; a section's box stands for all of them.
    for (const Section &section : Sections) {
        quint32 bits = 0;
        for (const MGAclPermissionSet::Item &item : items)
            bits |= item.mask & section.bits;
        if (!bits)
            continue;
        QStandardItem *sectionItem = addRow(root, QString::fromLatin1(section.key), bits);
        for (const MGAclPermissionSet::Item &item : items) {
            if (item.mask & section.bits)
                addRow(sectionItem, item.key, item.mask);
        }
    }
}

void MGAclPermissionViewController::refresh()
{
    const auto entry = m_entry.lock();
    if (!entry || !isViewLoaded())
        return;
    for (const Row &row : std::as_const(m_rows)) {
        if (row.button) {
            row.button->setState(entry->permissionState(row.mask));
            row.button->setEnabled(!entry->inherited());
        }
    }
    m_posixNote->setVisible(entry->isPosix());
    m_identityPopUpButton->setEnabled(entry->isAcl() && entry->identity().isUserOrGroup() && !entry->inherited());
    if (entry->isAcl() && entry->identity() != m_identityPopUpButton->identity())
        fillIdentities();
}

void MGAclPermissionViewController::fillIdentities()
{
    const auto entry = m_entry.lock();
    if (!entry || !m_identityPopUpButton)
        return;
    if (!entry->isAcl() || !entry->identity().isUserOrGroup()) {
        // The owner, the owning group, everyone, the mask: fixed, shown by name.
        const QSignalBlocker blocker(m_identityPopUpButton);
        m_identityPopUpButton->clear();
        m_identityPopUpButton->addItem(entry->identityText());
        return;
    }
    QVariantList identities;
    for (const QVariant &item : MGIdentities::sharedIdentities()->fullNamedIdentities()) {
        if (item.metaType() == QMetaType::fromType<CBIdentity>() && m_unavailable.contains(item.value<CBIdentity>())
            && item.value<CBIdentity>() != entry->identity())
            continue;
        identities << item;
    }
    m_identityPopUpButton->setIdentities(identities, entry->identity());
}

MGAclPermissionButton *MGAclPermissionViewController::buttonFor(const QString &key) const
{
    for (const Row &row : m_rows) {
        if (row.key == key)
            return row.button;
    }
    return nullptr;
}

void MGAclPermissionViewController::menuNeedsUpdate(QComboBox *menu)
{
    MGIdentityMenus::menuNeedsUpdate(menu);
}

void MGAclPermissionViewController::dismissPermissions(QObject *)
{
    if (MGViewController *presenting = presentingViewController())
        presenting->dismissViewController(this);
}
