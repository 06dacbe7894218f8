#include "MGAclEntriesViewController.h"

#include "MGAclEntriesTableModel.h"
#include "MGAclDocument.h"
#include "MGAclTableRowView.h"
#include "MGImage.h"
#include "MGUrlResources.h"
#include "MGWindow.h"
#include "NTLocalizedString.h"
#include "NTLocalizedView.h"
#include "ui_MGAclEntriesView.h"

#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QTimer>

namespace {
const QString ACL = QStringLiteral("ACL");
}

MGAclEntriesViewController::MGAclEntriesViewController(MGAclDocument *acl) : m_acl(acl)
{
    setTitle(NTLocalizedString::localize(QStringLiteral("Set of Permissions"), ACL));
    m_model = new MGAclEntriesTableModel(this);
    if (acl) {
        m_model->setList(acl->entries());
        connect(acl, &MGAclDocument::entriesChanged, this, &MGAclEntriesViewController::entriesChanged);
    }
}

MGAclEntriesViewController::~MGAclEntriesViewController()
{
    if (m_acl)
        disconnect(m_acl, nullptr, this, nullptr);
}

QWidget *MGAclEntriesViewController::loadView()
{
    auto *view = new QWidget;
    Ui::MGAclEntriesView ui;
    ui.setupUi(view);
    m_tableView = ui.tableView;
    m_addButton = ui.addButton;
    m_removeButton = ui.removeButton;
    m_actionPopUpButton = ui.actionPopUpButton;
    m_actionPopUpButton->setMenu(new QMenu(m_actionPopUpButton));
    return view;
}

QMenu *MGAclEntriesViewController::actionMenu() const
{
    return m_actionPopUpButton ? m_actionPopUpButton->menu() : nullptr;
}

QAction *MGAclEntriesViewController::addMenuItem(const QString &title, const char *action)
{
    QAction *item = actionMenu()->addAction(title);
    item->setObjectName(QString::fromLatin1(action));
    // No target of its own: the action goes through the window to the plug-in object.
    connect(item, &QAction::triggered, this, [this, item] {
        if (auto *window = qobject_cast<MGWindow *>(view()->window()))
            window->tryToPerform(item->objectName(), QVariant::fromValue<QObject *>(item));
    });
    return item;
}

void MGAclEntriesViewController::viewDidLoad()
{
    NTLocalizedView::localizeView(view(), ACL);
    m_tableView->setModel(m_model);
    m_tableView->horizontalHeader()->setSectionResizeMode(MGAclEntriesTableModel::IdentityColumn, QHeaderView::Stretch);
    connect(m_tableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MGAclEntriesViewController::tableViewSelectionDidChange);

    // The pull-down's first item is its title, shown as the button itself.
    QAction *titleItem = actionMenu()->addAction(MGImage::settingsImage(), QString());
    titleItem->setVisible(false);
    addMenuItem(NTLocalizedString::localize(QStringLiteral("Sort Access Control List Canonically"), ACL),
                "sortEntriesCanonically:");
    addMenuItem(NTLocalizedString::localize(QStringLiteral("Remove Inherited Entries"), ACL), "removeInheritedEntries:");
    addMenuItem(NTLocalizedString::localize(QStringLiteral("Make Inherited Entries Explicit"), ACL),
                "makeInheritedEntriesExplicit:");
    addMenuItem(NTLocalizedString::localize(QStringLiteral("Inherit Entries from Parent Folder"), ACL),
                "inheritEntriesFromParent:");
    connect(actionMenu(), &QMenu::aboutToShow, this, [this] {
        for (QAction *item : actionMenu()->actions()) {
            if (!item->objectName().isEmpty() && m_acl)
                item->setEnabled(m_acl->validateMenuItem(item));
        }
    });

    m_addButton->setIcon(MGImage::plusImage());
    m_removeButton->setIcon(MGImage::minusImage());
    m_actionPopUpButton->setIcon(MGImage::settingsImage());
    connect(m_addButton, &QToolButton::clicked, this, [this] { addEntry(m_addButton); });
    connect(m_removeButton, &QToolButton::clicked, this, [this] { removeEntry(m_removeButton); });
    connect(this, &MGAclEntriesViewController::selectionStateChanged, this, [this] {
        m_addButton->setEnabled(m_canAddEntry);
        m_removeButton->setEnabled(m_canRemoveEntry);
    });
    m_addButton->setEnabled(m_canAddEntry);
    m_removeButton->setEnabled(m_canRemoveEntry);
    showGroupRows();
    // The view is not in its window yet.
    QTimer::singleShot(0, m_tableView, [table = m_tableView] { table->setFocus(); });
}

void MGAclEntriesViewController::viewDidAppear()
{
    const bool folder = m_acl && resourceForKey(m_acl->url(), NSURLIsDirectoryKey).toBool();
    if (folder && !m_propagateItem)
        m_propagateItem = addMenuItem(NTLocalizedString::localize(QStringLiteral("Propagate Permissions\u2026"), ACL),
                                      "propagateEntries:");
}

void MGAclEntriesViewController::showGroupRows()
{
    if (!m_tableView)
        return;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const QModelIndex index = m_model->index(row, 0);
        auto *rowView = qobject_cast<MGAclTableRowView *>(m_tableView->indexWidget(index));
        if (!m_model->isGroupRow(row)) {
            if (m_tableView->columnSpan(row, 0) > 1)
                m_tableView->setSpan(row, 0, 1, 1);
            if (rowView)
                m_tableView->setIndexWidget(index, nullptr);
            continue;
        }
        if (m_tableView->columnSpan(row, 0) != MGAclEntriesTableModel::ColumnCount)
            m_tableView->setSpan(row, 0, 1, MGAclEntriesTableModel::ColumnCount);
        if (!rowView) {
            // The row view covers the row, so a click on a title leaves the selection alone.
            rowView = new MGAclTableRowView;
            rowView->setAttribute(Qt::WA_NoMousePropagation);
            m_tableView->setIndexWidget(index, rowView);
        }
        rowView->textField()->setText(m_model->data(index, MGAclEntriesTableModel::TitleRole).toString());
    }
}

int MGAclEntriesViewController::selectedRow() const
{
    if (!m_tableView || !m_tableView->selectionModel())
        return -1;
    const QModelIndexList rows = m_tableView->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void MGAclEntriesViewController::selectRow(int row)
{
    if (m_tableView)
        m_tableView->selectionModel()->select(m_model->index(row, 0),
                                              QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

void MGAclEntriesViewController::addEntry(QObject *)
{
    m_entryAdded = true;
    if (auto *window = qobject_cast<MGWindow *>(view()->window()))
        window->tryToPerform(QStringLiteral("addEntry:"), QVariant(qint64(selectedRow())));
}

void MGAclEntriesViewController::removeEntry(QObject *)
{
    if (auto *window = qobject_cast<MGWindow *>(view()->window()))
        window->tryToPerform(QStringLiteral("removeEntry:"), QVariant(quint64(selectedRow())));
}

void MGAclEntriesViewController::tableViewSelectionDidChange()
{
    const int row = selectedRow();
    MGAclEntry::Pointer entry;
    if (row >= 0 && row < m_model->list().size())
        entry = MGAclLists::entryPointerOf(m_model->list().at(row));
    m_canAddEntry = !entry || entry->isAcl();
    m_canRemoveEntry = entry && entry->isAcl() && !entry->inherited();
    m_selectedEntry = entry;
    emit selectionStateChanged();
}

void MGAclEntriesViewController::entriesChanged()
{
    const MGAclEntry::Pointer previousEntry = m_selectedEntry;
    m_model->setList(m_acl ? m_acl->entries() : MGAclList());
    if (m_tableView) {
        showGroupRows();
        if (previousEntry) {
            const qsizetype index = MGAclLists::indexOfItem(m_model->list(), previousEntry);
            if (index >= 0)
                selectRow(int(m_entryAdded ? index + 1 : index));
        } else if (m_entryAdded) {
            selectRow(1);
        }
    }
    m_entryAdded = false;
    tableViewSelectionDidChange();
}
