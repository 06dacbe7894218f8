#include "MGAclEntriesViewController.h"

#include "MGAclDocument.h"
#include "MGAclEntriesTableModel.h"
#include "MGAclEntryDelegate.h"
#include "MGAclPermissionViewController.h"
#include "MGAnimationEffect.h"
#include "MGIdentityListModel.h"
#include "MGIdentityPopUpButton.h"
#include "MGImage.h"
#include "MGUrlResources.h"
#include "MGWindow.h"
#include "NTLocalizedString.h"
#include "NTLocalizedView.h"
#include "MGAclNoticeBar.h"
#include "ui_MGAclEntriesView.h"

#include <QApplication>
#include <QBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QCursor>
#include <QMenu>
#include <QMimeData>
#include <QTimer>

namespace {
const QString ACL = QStringLiteral("ACL");
}

MGAclEntriesViewController::MGAclEntriesViewController(MGAclDocument *acl) : m_acl(acl)
{
    setTitle(NTLocalizedString::localize(QStringLiteral("Set of Permissions"), ACL));
    // The table shows and edits the document's edit session (a session of its own without one).
    m_model = new MGAclEntriesTableModel(acl ? acl->session() : new MGAclEditSession(this), this);
    m_model->setDocument(acl);
    connect(m_model, &MGAclEntriesTableModel::customPermissionsChosen, this,
            &MGAclEntriesViewController::selectPermissionGroup);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &MGAclEntriesViewController::rowsInserted);
    if (acl) {
        connect(acl, &MGAclDocument::noticeChanged, this, &MGAclEntriesViewController::showNotice);
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
    m_noticeBar = new MGAclNoticeBar(view);
    // Above the table, where the entries would be.
    static_cast<QBoxLayout *>(view->layout())->insertWidget(0, m_noticeBar);
    connect(m_noticeBar, &MGAclNoticeBar::reloadChosen, this, [this] {
        if (m_acl)
            m_acl->reloadFromDisk();
    });
    connect(m_noticeBar, &MGAclNoticeBar::keepChosen, this, [this] {
        if (m_acl)
            m_acl->keepEditsOverDisk();
    });
    connect(m_noticeBar, &MGAclNoticeBar::restoreChosen, this, [this] {
        if (m_acl)
            m_acl->restoreDiscardedEdits();
    });
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

void MGAclEntriesViewController::viewDidLoad()
{
    NTLocalizedView::localizeView(view(), ACL);
    m_tableView->setModel(m_model);
    m_tableView->setDataSource(this);
    m_tableView->setPlaceholderText(NTLocalizedString::localize(QStringLiteral("Reading\u2026"), ACL));
    // Arrows move between rows and cells, Tab leaves the table for the buttons.
    m_tableView->setTabKeyNavigation(false);
    m_tableView->setCornerButtonEnabled(false);
    m_delegate = new MGAclEntryDelegate(m_tableView);
    m_delegate->setIdentityModel(MGIdentityListModel::sharedModel());
    m_tableView->setItemDelegate(m_delegate);
    // Escape in the chooser that "+" opened means the add was not wanted: the entry goes, and
    // the list is as before "+". Any other way of closing it keeps the entry.
    connect(m_delegate, &QAbstractItemDelegate::closeEditor, this,
            [this](QWidget *, QAbstractItemDelegate::EndEditHint hint) {
                const MGAclEntry::Pointer added = m_choosingForAdded.lock();
                m_choosingForAdded.reset();
                if (!added || hint != QAbstractItemDelegate::RevertModelCache)
                    return;
                const int row = rowOf(added.get());
                if (row >= 0) {
                    m_takingBackAdd = true;
                    perform("removeEntry:", QVariant(quint64(row)));
                }
            });
    // A cell's editor opens on a click into the selected row, F2, Enter or typing.
    m_tableView->setEditTriggers(QAbstractItemView::SelectedClicked | QAbstractItemView::EditKeyPressed
                                 | QAbstractItemView::AnyKeyPressed);
    // Every column fits its longest content in the language shown; the permissions take the
    // rest. The widths are measured on the rows in view and a bounded number of others, so
    // that a list of thousands of entries is not laid out in full on every change.
    QHeaderView *header = m_tableView->horizontalHeader();
    header->setSectionResizeMode(QHeaderView::ResizeToContents);
    header->setResizeContentsPrecision(200);
    header->setSectionResizeMode(MGAclEntriesTableModel::PermissionGroupColumn, QHeaderView::Stretch);
    header->setStretchLastSection(false);
    // Rows that arrive before the table is laid out on a display are measured with none of
    // them in view, which leaves "A…" for "Allow": the columns are fitted again once the rows
    // are laid out (the header's own slot applies each column's mode; it is not public API).
    m_columnFit = new QTimer(m_tableView);
    m_columnFit->setSingleShot(true);
    m_columnFit->setInterval(0);
    connect(m_columnFit, &QTimer::timeout, header, [this, header] {
        QMetaObject::invokeMethod(header, "resizeSections");
        fitPermissionsColumn();
    });
    // Only when rows come: an edit that changes cells or their order (every tick of a
    // permission) is fitted by the header itself, and measuring again there would cost each
    // tick milliseconds on thousands of entries.
    connect(m_model, &QAbstractItemModel::rowsInserted, m_columnFit, qOverload<>(&QTimer::start));
    // What was selected before rows go (a list read back replaces them), to select again;
    // heard before the table moves its current row off the rows going.
    connect(m_tableView, &MGAclEntriesTableView::rowsAboutToGo, this, [this] {
        if (!m_selectedBeforeChange)
            m_selectedBeforeChange = m_selectedEntry;
    });
    // A row that made a column wide may go: the column narrows again.
    connect(m_model, &QAbstractItemModel::rowsRemoved, m_columnFit, qOverload<>(&QTimer::start));
    connect(m_model, &QAbstractItemModel::modelReset, m_columnFit, qOverload<>(&QTimer::start));
    m_tableView->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_tableView->verticalHeader()->setDefaultSectionSize(m_tableView->verticalHeader()->defaultSectionSize() + 6);
    connect(m_tableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MGAclEntriesViewController::tableViewSelectionDidChange);

    // The double action uses the selection, whatever row was clicked.
    connect(m_tableView, &QTableView::doubleClicked, this, [this] { showPermissions(m_tableView); });
    m_tableView->installEventFilter(this);

    // The pull-down's first item is its title, shown as the button itself.
    QAction *titleItem = actionMenu()->addAction(MGImage::settingsImage(), QString());
    titleItem->setVisible(false);
    addMenuItem(actionMenu(), NTLocalizedString::localize(QStringLiteral("Sort Access Control List Canonically"), ACL),
                "sortEntriesCanonically:");
    addMenuItem(actionMenu(), NTLocalizedString::localize(QStringLiteral("Remove Inherited Entries"), ACL),
                "removeInheritedEntries:");
    addMenuItem(actionMenu(), NTLocalizedString::localize(QStringLiteral("Make Inherited Entries Explicit"), ACL),
                "makeInheritedEntriesExplicit:");
    addMenuItem(actionMenu(), NTLocalizedString::localize(QStringLiteral("Inherit Entries from Parent Folder"), ACL),
                "inheritEntriesFromParent:");
    connect(actionMenu(), &QMenu::aboutToShow, this, [this] {
        for (QAction *item : actionMenu()->actions()) {
            if (!item->objectName().isEmpty() && m_acl)
                item->setEnabled(m_acl->validateMenuItem(item));
        }
    });

    // A row's own menu: its permissions, or away with it.
    m_rowMenu = new QMenu(m_tableView);
    addMenuItem(m_rowMenu, NTLocalizedString::localize(QStringLiteral("Show Permissions\u2026"), ACL), "showPermissions:");
    addMenuItem(m_rowMenu, NTLocalizedString::localize(QStringLiteral("Remove"), ACL), "removeEntry:");
    connect(m_rowMenu, &QMenu::aboutToShow, this, [this] {
        for (QAction *item : m_rowMenu->actions())
            item->setEnabled(validateMenuItem(item));
    });
    m_tableView->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_tableView, &QWidget::customContextMenuRequested, this, [this](const QPoint &point) {
        const QModelIndex index = m_tableView->indexAt(point);
        if (!index.isValid() || m_model->isGroupRow(index.row()))
            return;
        selectRow(index.row());
        m_rowMenu->popup(m_tableView->viewport()->mapToGlobal(point));
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
    showTitleRows();
    // The view is not in its window yet.
    QTimer::singleShot(0, m_tableView, [table = m_tableView] { table->setFocus(); });
}

void MGAclEntriesViewController::viewDidAppear()
{
    const bool folder = m_acl && resourceForKey(m_acl->url(), NSURLIsDirectoryKey).toBool();
    if (folder && !m_propagateItem)
        m_propagateItem = addMenuItem(actionMenu(),
                                      NTLocalizedString::localize(QStringLiteral("Propagate Permissions\u2026"), ACL),
                                      "propagateEntries:");
}

bool MGAclEntriesViewController::eventFilter(QObject *watched, QEvent *event)
{
    // The event's type before the object: a table being destroyed still sends events, and
    // comparing it with the guarded pointer would cast it to what it no longer is.
    if ((event->type() == QEvent::Show || event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange
         || event->type() == QEvent::Resize)
        && watched == m_tableView)
        m_columnFit->start();
    if (event->type() == QEvent::KeyPress && watched == m_tableView) {
        auto *key = static_cast<QKeyEvent *>(event);
        if ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) && key->modifiers() == Qt::NoModifier
            && !m_tableView->isEditing()) {
            // Enter edits the current cell; where there is nothing to edit, it shows the
            // entry's permissions.
            const QModelIndex current = m_tableView->currentIndex();
            if (!current.isValid() || !editCell(current.row(), current.column()))
                showPermissions(m_tableView);
            return true;
        }
        if ((key->key() == Qt::Key_Delete || key->key() == Qt::Key_Backspace) && key->modifiers() == Qt::NoModifier) {
            if (m_canRemoveEntry)
                removeEntry(m_tableView);
            return true;
        }
    }
    return MGViewController::eventFilter(watched, event);
}

void MGAclEntriesViewController::fitPermissionsColumn()
{
    // The permissions take the room the other columns leave, but never less than their
    // text needs (a long name, a German "applies to"): then the table scrolls sideways.
    QHeaderView *header = m_tableView->horizontalHeader();
    const int column = MGAclEntriesTableModel::PermissionGroupColumn;
    const int needed = qMax(m_tableView->contentWidth(column), header->sectionSizeHint(column));
    int others = 0;
    for (int c = 0; c < header->count(); ++c) {
        if (c != column && !header->isSectionHidden(c))
            others += header->sectionSize(c);
    }
    const bool fits = m_tableView->viewport()->width() - others >= needed;
    if (fits && header->sectionResizeMode(column) != QHeaderView::Stretch) {
        header->setSectionResizeMode(column, QHeaderView::Stretch);
    } else if (!fits) {
        header->setSectionResizeMode(column, QHeaderView::Interactive);
        header->resizeSection(column, needed);
    }
}

void MGAclEntriesViewController::showTitleRows()
{
    if (!m_tableView)
        return;
    // Only a folder's entries may apply elsewhere than the item itself.
    const bool folder = m_acl && resourceForKey(m_acl->url(), NSURLIsDirectoryKey).toBool();
    // The column is the table's last, so that the columns a screen reader walks are the ones
    // shown, in the order shown.
    m_model->setAppliesToShown(folder);
    // Title rows span the table; the delegate draws them.
    m_tableView->clearSpans();
    for (int row = 0; row < m_model->rowCount(); ++row) {
        if (m_model->isGroupRow(row))
            m_tableView->setSpan(row, 0, 1, m_model->columnCount());
    }
}

QWidget *MGAclEntriesViewController::cellEditor(int row, int column) const
{
    if (!m_tableView || !m_tableView->isEditing())
        return nullptr;
    const QModelIndex index = m_model->index(row, column);
    return index == m_tableView->currentIndex() ? m_tableView->indexWidget(index) : nullptr;
}

bool MGAclEntriesViewController::editCell(int row, int column)
{
    if (!m_tableView)
        return false;
    const QModelIndex index = m_model->index(row, column);
    if (!(m_model->flags(index) & Qt::ItemIsEditable))
        return false;
    m_tableView->setCurrentIndex(index);
    m_tableView->edit(index);
    return m_tableView->isEditing();
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

int MGAclEntriesViewController::rowOf(const MGAclEntry *entry) const
{
    const MGAclList &list = m_model->list();
    for (qsizetype row = 0; row < list.size(); ++row) {
        if (MGAclLists::entryOf(list.at(row)) == entry)
            return int(row);
    }
    return -1;
}

void MGAclEntriesViewController::rowsInserted(const QModelIndex &, int first)
{
    // "+" added this row: it is selected, and its chooser opens at once (+, type a name, Enter).
    if (!m_entryAdded || !m_tableView)
        return;
    m_entryAdded = false;
    selectRow(first);
    if (!m_chooseAfterAdding)
        return;
    m_chooseAfterAdding = false;
    QTimer::singleShot(0, this, [this, first] {
        // Unless the user has moved on meanwhile.
        if (selectedRow() == first) {
            m_choosingForAdded = m_model->entryPointerAt(first);
            editCell(first, MGAclEntriesTableModel::IdentityColumn);
        }
    });
}

void MGAclEntriesViewController::entriesChanged()
{
    // The rows moved, came and went as the list did, and the selection with them.
    showNotice();
    if (m_tableView) {
        showTitleRows();
        if (m_takingBackAdd) {
            m_takingBackAdd = false;
            const MGAclEntry::Pointer before = m_selectedBeforeAdding.lock();
            const int row = before ? rowOf(before.get()) : -1;
            if (row >= 0)
                selectRow(row);
            else
                m_tableView->clearSelection();
        }
        keepSelectedEntryInView();
    }
    tableViewSelectionDidChange();
}

void MGAclEntriesViewController::keepSelectedEntryInView()
{
    // A save reads the list back, sorted as the item keeps it: the selected entry may now be
    // another object on another row (and the selection may have slid onto a neighbour as its
    // rows went). It stays selected, and in view, as the same user or group in the same place.
    const MGAclEntry::Pointer was = m_selectedBeforeChange;
    m_selectedBeforeChange.reset();
    if (!was)
        return;
    const auto same = [&](const MGAclEntry *entry) {
        return entry && entry->identity() == was->identity() && entry->kind() == was->kind()
            && entry->isAcl() == was->isAcl() && entry->appliesTo() == was->appliesTo();
    };
    const MGAclList &list = m_model->list();
    const int selected = selectedRow();
    if (selected >= 0 && selected < list.size() && MGAclLists::entryOf(list.at(selected)) == was.get())
        return; // the entry itself is still there and selected
    for (qsizetype row = 0; row < list.size(); ++row) {
        if (same(MGAclLists::entryOf(list.at(row)))) {
            const QModelIndex index = m_model->index(int(row), qMax(0, m_tableView->currentIndex().column()));
            m_tableView->setCurrentIndex(index);
            selectRow(int(row));
            m_tableView->scrollTo(index);
            return;
        }
    }
}

void MGAclEntriesViewController::showNotice()
{
    const MGAclDocument::Notice notice = m_acl ? m_acl->notice() : MGAclDocument::Notice();
    if (m_model->isReadOnly() && m_tableView && m_tableView->isAncestorOf(QApplication::focusWidget()))
        m_tableView->setFocus(); // an open editor gives up
    if (m_noticeBar)
        m_noticeBar->showNotice(notice);
    tableViewSelectionDidChange();
}
