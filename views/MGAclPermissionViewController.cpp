#include "MGAclPermissionViewController.h"

#include "MGAccessibleItems.h"
#include "MGAclEntriesTableModel.h"
#include "MGIdentityListModel.h"
#include "MGIdentityPopUpButton.h"
#include "NTLocalizedString.h"
#include "NTLocalizedView.h"
#include "ui_MGAclPermissionView.h"

#include <QBoxLayout>
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

MGAclPermissionViewController::MGAclPermissionViewController(MGAclEditSession *session, MGAclEntry::Pointer entry)
    : m_session(session), m_entry(entry)
{
    m_model = new QStandardItemModel(this);
    connect(m_model, &QStandardItemModel::itemChanged, this, &MGAclPermissionViewController::rowChanged);
    if (entry)
        connect(entry.get(), &MGAclEntry::edited, this, &MGAclPermissionViewController::refresh);
    // The item may become one nobody can change, or one that can be changed again.
    if (session)
        connect(session, &MGAclEditSession::noticeChanged, this, &MGAclPermissionViewController::refresh);
}

bool MGAclPermissionViewController::edit(int column, const QVariant &value, int role)
{
    const auto entry = m_entry.lock();
    if (!entry || !m_session)
        return false;
    for (int row = 0; row < m_session->rowCount(); ++row) {
        if (m_session->entryAt(row) == entry.get())
            return m_session->setData(m_session->index(row, column), value, role);
    }
    return false; // no longer in the list
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
    // Where a folder's entry applies, beside who it is for.
    m_appliesToLabel = new QLabel(QStringLiteral("Applies to:"), view);
    m_appliesToPopUpButton = new QComboBox(view);
    m_appliesToPopUpButton->setAccessibleName(NTLocalizedString::localize(QStringLiteral("Applies to"), ACL));
    m_appliesToPopUpButton->setAccessibleDescription(NTLocalizedString::localize(
        QStringLiteral("Where a folder's entry applies: the folder, what is created in it, or both"), ACL));
    ui.chooser->addWidget(m_appliesToLabel);
    ui.chooser->addWidget(m_appliesToPopUpButton);
    return view;
}

void MGAclPermissionViewController::viewDidLoad()
{
    NTLocalizedView::localizeView(view(), ACL);
    m_outlineView->setModel(m_model);
    buildTree();
    m_outlineView->expandAll();
    connect(m_closeButton, &QPushButton::clicked, this, [this] { dismissPermissions(m_closeButton); });
    connect(m_identityPopUpButton, &MGIdentityPopUpButton::menuAboutToShow, this,
            [this] { menuNeedsUpdate(m_identityPopUpButton); });
    connect(m_identityPopUpButton, &MGIdentityPopUpButton::identityChosen, this, [this](const CBIdentity &identity) {
        edit(MGAclEditSession::IdentityColumn, QVariant::fromValue(identity));
        refresh();
    });
    // A POSIX entry's places from the start; a file server's entry brings its own (refresh).
    for (auto place : {MGAclEntry::AppliesTo::ThisItem, MGAclEntry::AppliesTo::NewItems, MGAclEntry::AppliesTo::Both})
        m_appliesToPopUpButton->addItem(MGAclEntriesTableModel::appliesToText(place), int(place));
    connect(m_appliesToPopUpButton, &QComboBox::activated, this, [this] {
        // A place another entry for the same user or group already takes is refused there.
        edit(MGAclEditSession::AppliesToColumn, m_appliesToPopUpButton->currentData());
        refresh();
    });
    showIdentity();
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
    // A row: a checkable item standing for the permissions of its mask.
    auto addRow = [this](QStandardItem *parent, const QString &key, quint32 mask) {
        auto *item = new QStandardItem(NTLocalizedString::localize(key, ACL));
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        item->setData(mask, Qt::UserRole);
        parent->appendRow(item);
        m_rows.insert(key, item);
        return item;
    };
    QStandardItem *root = m_model->invisibleRootItem();
    const QList<MGAclPermissionSet::Item> items = entry->editablePermissions();
    if (entry->isPosix()) {
        for (const MGAclPermissionSet::Item &item : items)
            addRow(root, item.key, item.mask);
        return;
    }
    // Every permission under its section; a section's row stands for all of them.
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

void MGAclPermissionViewController::rowChanged(QStandardItem *item)
{
    const auto entry = m_entry.lock();
    if (m_refreshing || !entry)
        return;
    // The view ticks a clear or mixed row and clears a ticked one; the entry decides what the
    // rows then show.
    const quint32 mask = item->data(Qt::UserRole).toUInt();
    const quint32 permissions = item->checkState() == Qt::Checked ? entry->permissions() | mask : entry->permissions() & ~mask;
    edit(MGAclEditSession::PermissionGroupColumn, permissions, MGAclEditSession::PermissionsRole);
    refresh();
    // The box ticked by a key or a click: the view tells only that its data changed.
    sayTicked(item);
}

void MGAclPermissionViewController::sayTicked(QStandardItem *item)
{
    QAccessible::State changed;
    changed.checked = true;
    changed.checkStateMixed = true;
    MGAccessibleItems::sayStateChanged(m_outlineView, item->index(), changed);
}

void MGAclPermissionViewController::refresh()
{
    const auto entry = m_entry.lock();
    if (!entry || !isViewLoaded())
        return;
    // Inherited entries are shown, not changed; nothing is while the item cannot be changed.
    const bool changeable = !entry->inherited() && m_session && !m_session->isReadOnly();
    m_refreshing = true;
    for (QStandardItem *item : std::as_const(m_rows)) {
        const int state = entry->permissionState(item->data(Qt::UserRole).toUInt());
        const Qt::CheckState check = state == 1 ? Qt::Checked : state == 0 ? Qt::Unchecked : Qt::PartiallyChecked;
        // A new row holds no state yet, though it reads as unchecked: without one it shows no
        // box to tick.
        const bool had = item->data(Qt::CheckStateRole).isValid();
        if (!had || item->checkState() != check) {
            item->setCheckState(check);
            // A box an edit elsewhere changed (a section that follows its permissions).
            if (had)
                sayTicked(item);
        }
        const Qt::ItemFlags flags = changeable ? Qt::ItemIsEnabled | Qt::ItemIsUserCheckable : Qt::NoItemFlags;
        if (item->flags() != flags)
            item->setFlags(flags);
    }
    m_refreshing = false;
    m_posixNote->setVisible(entry->isPosix());
    m_identityPopUpButton->setEnabled(entry->isAcl() && entry->identity().isUserOrGroup() && changeable);
    if (entry->isAcl() && entry->identity() != m_identityPopUpButton->identity())
        showIdentity();
    const bool places = entry->isAcl() && entry->isDirectory() && entry->identity().isUserOrGroup();
    m_appliesToLabel->setVisible(places);
    m_appliesToPopUpButton->setVisible(places);
    m_appliesToPopUpButton->setEnabled(places && changeable);
    // A POSIX entry's three places, or every combination of a file server entry's flags.
    const QList<std::pair<QString, int>> offered = MGAclEntriesTableModel::places(*entry);
    if (m_appliesToPopUpButton->count() != offered.size() || m_appliesToPopUpButton->itemData(0).toInt() != offered.first().second) {
        m_appliesToPopUpButton->clear();
        for (const auto &[text, value] : offered)
            m_appliesToPopUpButton->addItem(text, value);
    }
    m_appliesToPopUpButton->setCurrentIndex(m_appliesToPopUpButton->findData(MGAclEntriesTableModel::currentPlace(*entry)));
}

void MGAclPermissionViewController::showIdentity()
{
    const auto entry = m_entry.lock();
    if (!entry || !m_identityPopUpButton)
        return;
    if (!entry->isAcl() || !entry->identity().isUserOrGroup()) {
        // The owner, the owning group, everyone, the mask: fixed, shown by name.
        const QSignalBlocker blocker(m_identityPopUpButton);
        m_identityPopUpButton->setIdentities({entry->identityText()}, CBIdentity());
        m_identityPopUpButton->setCurrentIndex(0);
        return;
    }
    m_identityPopUpButton->setIdentityModel(MGIdentityListModel::sharedModel(), entry->identity());
    // Who else has entries (a user or group has one for the item and one for new items).
    if (m_session) {
        m_identityPopUpButton->setExcluded([session = m_session, weak = m_entry](const CBIdentity &who) {
            const auto entry = weak.lock();
            return entry && session && session->identityUse().isTaken(who, *entry);
        });
    }
}

QStandardItem *MGAclPermissionViewController::itemFor(const QString &key) const
{
    return m_rows.value(key);
}

std::optional<int> MGAclPermissionViewController::stateFor(const QString &key) const
{
    const QStandardItem *item = itemFor(key);
    if (!item)
        return std::nullopt;
    return item->checkState() == Qt::Checked ? 1 : item->checkState() == Qt::Unchecked ? 0 : -1;
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
