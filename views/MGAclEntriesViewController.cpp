#include "MGAclEntriesViewController.h"

#include "MGAclDocument.h"
#include "MGAclEntriesTableModel.h"
#include "MGAclEntryPopUpButtons.h"
#include "MGAclPermissionViewController.h"
#include "MGAclTableRowView.h"
#include "MGAnimationEffect.h"
#include "MGIdentityPopUpButton.h"
#include "MGImage.h"
#include "MGUrlResources.h"
#include "MGWindow.h"
#include "NTLocalizedString.h"
#include "NTLocalizedView.h"
#include "ui_MGAclEntriesView.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QCborValue>
#include <QCursor>
#include <QMenu>
#include <QMimeData>
#include <QScrollArea>
#include <QStyledItemDelegate>
#include <QTimer>

namespace {
const QString ACL = QStringLiteral("ACL");
const QString RowType = QStringLiteral("com.quillwork.Marrowgate.pasteboard.acl");

// The dragged row a payload names; a payload without one (a link to a file) names row 0.
// Screen readers name a row's controls by what they choose, in the language shown.
void describe(QWidget *control, const char *name, const char *description)
{
    control->setAccessibleName(NTLocalizedString::localize(QString::fromUtf8(name), ACL));
    control->setAccessibleDescription(NTLocalizedString::localize(QString::fromUtf8(description), ACL));
}

quint64 draggedRow(const QMimeData *data)
{
    const QCborValue row = QCborValue::fromCbor(data ? data->data(RowType) : QByteArray());
    return row.isInteger() && row.toInteger() >= 0 ? quint64(row.toInteger()) : 0;
}

bool appliesHere(const MGAclEntry &entry)
{
    return !(entry.flags() & MGAclFlag::OnlyInherit);
}

bool passesOn(const MGAclEntry &entry)
{
    return entry.flags() & (MGAclFlag::FileInherit | MGAclFlag::DirectoryInherit);
}

// Cells with a control of their own show the control only: the model's text (which screen
// readers and the command line read) is not drawn beneath it.
class CellDelegate : public QStyledItemDelegate
{
public:
    explicit CellDelegate(QTableView *table) : QStyledItemDelegate(table), m_table(table) {}

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        if (!m_table->indexWidget(index))
            return QStyledItemDelegate::paint(painter, option, index);
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        background.icon = QIcon();
        m_table->style()->drawControl(QStyle::CE_ItemViewItem, &background, painter, m_table);
    }

private:
    QTableView *m_table;
};
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
    m_aclUnavailableNote = ui.aclUnavailableNote;
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

void MGAclEntriesViewController::perform(const char *action, const QVariant &argument)
{
    if (auto *window = qobject_cast<MGWindow *>(view()->window()))
        window->tryToPerform(QString::fromLatin1(action), argument);
}

QAction *MGAclEntriesViewController::addMenuItem(QMenu *menu, const QString &title, const char *action)
{
    QAction *item = menu->addAction(title);
    item->setObjectName(QString::fromLatin1(action));
    // No target of its own: the action goes through the window to whoever answers it.
    connect(item, &QAction::triggered, this, [this, item] {
        perform(item->objectName().toLatin1().constData(), QVariant::fromValue<QObject *>(item));
    });
    return item;
}

void MGAclEntriesViewController::viewDidLoad()
{
    NTLocalizedView::localizeView(view(), ACL);
    m_tableView->setModel(m_model);
    m_tableView->setDataSource(this);
    // Tab leaves the table (arrows move between rows), to the selected row's controls and
    // on to the buttons.
    m_tableView->setTabKeyNavigation(false);
    m_tableView->setCornerButtonEnabled(false);
    m_tableView->setItemDelegate(new CellDelegate(m_tableView));
    // Every column fits its longest content in the language shown; who takes the rest.
    QHeaderView *header = m_tableView->horizontalHeader();
    header->setSectionResizeMode(QHeaderView::ResizeToContents);
    header->setSectionResizeMode(MGAclEntriesTableModel::IdentityColumn, QHeaderView::Stretch);
    header->setStretchLastSection(false);
    connect(m_model, &QAbstractItemModel::dataChanged, this, &MGAclEntriesViewController::rowsChanged);
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
    showRows();
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
    if (watched == m_tableView && event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) && key->modifiers() == Qt::NoModifier) {
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

void MGAclEntriesViewController::showRows()
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
            showRowControls(row, MGAclLists::entryPointerOf(m_model->list().at(row)));
            continue;
        }
        for (int column = 0; column < MGAclEntriesTableModel::ColumnCount; ++column) {
            if (column > 0 || !rowView)
                m_tableView->setIndexWidget(m_model->index(row, column), nullptr);
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
    fitColumns();
}

void MGAclEntriesViewController::fitColumns()
{
    // The header sizes its columns to their content when the rows change, which is before
    // the rows' controls are filled: size them again to what the controls now show.
    QMetaObject::invokeMethod(m_tableView->horizontalHeader(), "resizeSections");
}

void MGAclEntriesViewController::showRowControls(int row, const MGAclEntry::Pointer &entry)
{
    // Each control is bound to the entry shown in its row; a row that shows another entry
    // (the list changed) rebinds its controls.
    const QModelIndex tagIndex = m_model->index(row, MGAclEntriesTableModel::TagColumn);
    auto *tag = qobject_cast<MGAclTagPopUpButton *>(m_tableView->indexWidget(tagIndex));
    if (entry->isAcl()) {
        if (!tag) {
            tag = new MGAclTagPopUpButton;
            describe(tag, "Allow or deny", "Whether the entry allows or denies its permissions");
            m_tableView->setIndexWidget(tagIndex, tag);
        }
        tag->setEntry(entry);
    } else if (tag) {
        m_tableView->setIndexWidget(tagIndex, nullptr);
    }

    const QModelIndex whoIndex = m_model->index(row, MGAclEntriesTableModel::IdentityColumn);
    auto *chooser = qobject_cast<MGIdentityPopUpButton *>(m_tableView->indexWidget(whoIndex));
    // The owner, owning group, everyone and the mask are who they are; only users and
    // groups are chosen.
    if (entry->isAcl() && entry->identity().isUserOrGroup()) {
        if (!chooser) {
            chooser = new MGIdentityPopUpButton;
            describe(chooser, "Who the entry is for", "The user or group of the entry; type to find one");
            m_tableView->setIndexWidget(whoIndex, chooser);
            connect(chooser, &MGIdentityPopUpButton::menuAboutToShow, this, [this, chooser](QComboBox *menu) {
                const int shownRow = rowForView(chooser);
                if (const MGAclEntry *shown = shownRow >= 0 ? MGAclLists::entryOf(m_model->list().at(shownRow)) : nullptr)
                    fillIdentityChooser(chooser, *shown);
                menuNeedsUpdate(menu);
            });
            connect(chooser, &MGIdentityPopUpButton::identityChosen, this, [this, chooser](const CBIdentity &identity) {
                const int shownRow = rowForView(chooser);
                if (MGAclEntry *shown = shownRow >= 0 ? MGAclLists::entryOf(m_model->list().at(shownRow)) : nullptr)
                    shown->setIdentity(identity);
            });
        }
        if (chooser->identity() != entry->identity() || chooser->count() == 0)
            fillIdentityChooser(chooser, *entry);
        chooser->setEnabled(!entry->inherited());
        chooser->setToolTip(entry->identityText());
    } else if (chooser) {
        m_tableView->setIndexWidget(whoIndex, nullptr);
    }

    // The group pop-up, and beside it the letters of what the entry holds and any limit.
    const QModelIndex groupIndex = m_model->index(row, MGAclEntriesTableModel::PermissionGroupColumn);
    QWidget *cell = m_tableView->indexWidget(groupIndex);
    if (!cell) {
        cell = new QWidget;
        auto *layout = new QHBoxLayout(cell);
        layout->setContentsMargins(0, 0, 4, 0);
        layout->setSpacing(6);
        auto *group = new MGAclPermGroupPopUpButton(cell);
        group->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        describe(group, "Permissions", "The entry's permission group; Custom\u2026 opens the permission editor");
        auto *detail = new QLabel(cell);
        detail->setObjectName(QStringLiteral("permissionDetail"));
        describe(detail, "Permission letters", "Read, write and execute as the item keeps them, and any limit");
        layout->addWidget(group);
        layout->addWidget(detail, 1);
        m_tableView->setIndexWidget(groupIndex, cell);
        connect(group, &MGAclPermGroupPopUpButton::groupChosen, this, [this](QComboBox *sender) { selectPermissionGroup(sender); });
    }
    cell->findChild<MGAclPermGroupPopUpButton *>()->setEntry(entry);
    cell->findChild<QLabel *>(QStringLiteral("permissionDetail"))->setText(m_model->permissionDetail(*entry));
}

void MGAclEntriesViewController::rowsChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight)
{
    // What a row's pop-ups do not show themselves: the letters and the limit beside the group.
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
        const MGAclEntry *entry = MGAclLists::entryOf(m_model->list().value(row));
        QWidget *cell = rowControl(row, MGAclEntriesTableModel::PermissionGroupColumn);
        if (entry && cell)
            cell->findChild<QLabel *>(QStringLiteral("permissionDetail"))->setText(m_model->permissionDetail(*entry));
    }
    if (m_tableView)
        fitColumns();
}

void MGAclEntriesViewController::fillIdentityChooser(MGIdentityPopUpButton *chooser, const MGAclEntry &entry)
{
    if (!m_acl)
        return;
    const QList<CBIdentity> taken = unavailableIdentities(m_model->list(), entry);
    QVariantList offered;
    for (const QVariant &item : m_acl->identities()) {
        if (item.metaType() == QMetaType::fromType<CBIdentity>() && taken.contains(item.value<CBIdentity>()))
            continue;
        offered << item;
    }
    chooser->setIdentities(offered, entry.identity());
}

QList<CBIdentity> MGAclEntriesViewController::unavailableIdentities(const MGAclList &list, const MGAclEntry &entry)
{
    QList<CBIdentity> taken;
    if (!entry.isPosix())
        return taken;
    for (const MGAclItem &item : list) {
        const MGAclEntry *other = MGAclLists::entryOf(item);
        if (!other || other == &entry || !other->isAcl() || !other->identity().isUserOrGroup())
            continue;
        // POSIX ACLs hold one entry per user or group for the item, and one for new items.
        if ((appliesHere(entry) && appliesHere(*other)) || (passesOn(entry) && passesOn(*other)))
            taken << other->identity();
    }
    return taken;
}

QWidget *MGAclEntriesViewController::rowControl(int row, int column) const
{
    return m_tableView ? m_tableView->indexWidget(m_model->index(row, column)) : nullptr;
}

MGIdentityPopUpButton *MGAclEntriesViewController::identityChooser(int row) const
{
    return qobject_cast<MGIdentityPopUpButton *>(rowControl(row, MGAclEntriesTableModel::IdentityColumn));
}

int MGAclEntriesViewController::rowForView(QObject *view) const
{
    auto *widget = qobject_cast<QWidget *>(view);
    if (!widget || !m_tableView)
        return -1;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        for (int column = 0; column < MGAclEntriesTableModel::ColumnCount; ++column) {
            QWidget *control = m_tableView->indexWidget(m_model->index(row, column));
            if (control && (control == widget || control->isAncestorOf(widget)))
                return row;
        }
    }
    return -1;
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

bool MGAclEntriesViewController::validateMenuItem(QAction *item) const
{
    const QString action = item->objectName();
    if (action == QLatin1String("addEntry:"))
        return m_canAddEntry;
    if (action == QLatin1String("removeEntry:"))
        return m_canRemoveEntry;
    if (action == QLatin1String("showPermissions:"))
        return selectedRow() > 0; // row 0 is the ACL section's title
    return false;
}

void MGAclEntriesViewController::menuNeedsUpdate(QComboBox *menu)
{
    MGIdentityMenus::menuNeedsUpdate(menu);
}

void MGAclEntriesViewController::addEntry(QObject *)
{
    m_entryAdded = true;
    m_chooseAfterAdding = true;
    perform("addEntry:", QVariant(qint64(selectedRow())));
}

void MGAclEntriesViewController::removeEntry(QObject *)
{
    perform("removeEntry:", QVariant(quint64(selectedRow())));
}

void MGAclEntriesViewController::showPermissions(QObject *)
{
    const int row = selectedRow();
    if (row < 0 || !m_acl)
        return;
    // Only sheets this controller presented itself; the editor is presented by the window's
    // content view controller, so an editor already open stays.
    for (MGViewController *presented : presentedViewControllers())
        dismissViewController(presented);
    presentEditor(MGAclLists::entryPointerOf(m_model->list().value(row)));
}

void MGAclEntriesViewController::selectPermissionGroup(QObject *sender)
{
    // The group is stored in the entry already; "Custom…" opens the editor for the sender's
    // row, whatever row is selected.
    const int row = rowForView(sender);
    const MGAclEntry::Pointer entry = row >= 0 ? MGAclLists::entryPointerOf(m_model->list().at(row)) : nullptr;
    if (entry && entry->permissionGroup() == MGAclPermissionSet::Custom) {
        for (MGViewController *presented : presentedViewControllers())
            dismissViewController(presented);
        presentEditor(entry);
    }
}

void MGAclEntriesViewController::presentEditor(const MGAclEntry::Pointer &entry)
{
    if (!entry)
        return;
    auto *editor = new MGAclPermissionViewController(entry);
    editor->setUnavailableIdentities(unavailableIdentities(m_model->list(), *entry));
    MGViewController *presenter = this;
    if (auto *window = qobject_cast<MGWindow *>(view()->window()); window && window->contentViewController())
        presenter = window->contentViewController();
    presenter->presentViewControllerAsSheet(editor);
}

QMimeData *MGAclEntriesViewController::writeRows(const QList<int> &rows)
{
    // A multiple selection drags its first row alone.
    const int row = rows.value(0, -1);
    const MGAclEntry *entry = m_acl && row >= 0 ? MGAclLists::entryOf(m_acl->entries().value(row)) : nullptr;
    if (!entry || !entry->isAcl())
        return nullptr;
    auto *data = new QMimeData;
    data->setData(RowType, QCborValue(qint64(row)).toCbor());
    return data;
}

Qt::DropAction MGAclEntriesViewController::validateDrop(const QMimeData *, int &row,
                                                        MGAclEntriesTableView::DropOperation &operation)
{
    // Only into the ACL section, from above its first entry to below its last; what is
    // dragged and from where does not matter.
    const qsizetype n = m_acl ? MGAclLists::aclEntries(m_acl->entries()).size() : 0;
    if (row < 1 || row > n + 1)
        return Qt::IgnoreAction;
    operation = MGAclEntriesTableView::DropAbove;
    return Qt::MoveAction;
}

bool MGAclEntriesViewController::acceptDrop(const QMimeData *data, int row, MGAclEntriesTableView::DropOperation)
{
    // The row is taken as it is: a drag from another window's table names a row of its
    // list, applied to this list as it stands.
    if (m_acl)
        m_acl->moveEntryAtIndex(qsizetype(draggedRow(data)), row);
    return true;
}

void MGAclEntriesViewController::draggingSessionEnded(const QMimeData *data, const QPoint &screenPoint,
                                                      Qt::DropAction operation, quint64 flags)
{
    if (operation != Qt::IgnoreAction || !m_tableView || !m_acl)
        return;
    // Let go over the table (its scroll area, frame included): a reorder given up.
    const QRect area(m_tableView->mapToGlobal(QPoint(0, 0)), m_tableView->size());
    if (area.contains(screenPoint))
        return;
    // A plain let-go with no modifier key held is taken as a drag given up, so a row
    // dropped by mistake on the desktop is not lost; a modifier key confirms the removal.
    if (flags == MGAclEntriesTableView::flagWord(Qt::NoModifier))
        return;
    const quint64 row = draggedRow(data);
    const MGAclEntry *entry = MGAclLists::entryOf(m_acl->entries().value(qsizetype(row)));
    if (!entry || entry->inherited())
        return;
    MGAnimationEffect::showPoof(QCursor::pos());
    perform("removeEntry:", QVariant(row));
}

void MGAclEntriesViewController::tableViewSelectionDidChange()
{
    const int row = selectedRow();
    MGAclEntry::Pointer entry;
    if (row >= 0 && row < m_model->list().size())
        entry = MGAclLists::entryPointerOf(m_model->list().at(row));
    m_canAddEntry = (!entry || entry->isAcl()) && !(m_acl && !m_acl->aclUnavailableReason().isEmpty());
    m_canRemoveEntry = entry && entry->isAcl() && !entry->inherited();
    m_selectedEntry = entry;
    updateRowFocus();
    emit selectionStateChanged();
}

void MGAclEntriesViewController::updateRowFocus()
{
    if (!m_tableView)
        return;
    const int selected = selectedRow();
    QWidget *previous = m_tableView;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        if (m_model->isGroupRow(row))
            continue;
        for (int column : {int(MGAclEntriesTableModel::TagColumn), int(MGAclEntriesTableModel::IdentityColumn),
                           int(MGAclEntriesTableModel::PermissionGroupColumn)}) {
            QWidget *control = rowControl(row, column);
            if (control && column == MGAclEntriesTableModel::PermissionGroupColumn)
                control = control->findChild<MGAclPermGroupPopUpButton *>();
            if (!control)
                continue;
            // Only the selected row's controls are on the Tab path, straight after the table;
            // the others take the focus when clicked.
            control->setFocusPolicy(row == selected ? Qt::StrongFocus : Qt::ClickFocus);
            if (row == selected && control->isEnabled()) {
                QWidget::setTabOrder(previous, control);
                previous = control;
            }
        }
    }
    if (previous != m_tableView && m_addButton)
        QWidget::setTabOrder(previous, m_addButton);
}

void MGAclEntriesViewController::entriesChanged()
{
    const MGAclEntry::Pointer previousEntry = m_selectedEntry;
    const bool added = m_entryAdded;
    m_model->setList(m_acl ? m_acl->entries() : MGAclList());
    if (m_aclUnavailableNote) {
        // Said above the table, where the entries would be; adding them is off.
        const QString unavailable = m_acl ? m_acl->aclUnavailableReason() : QString();
        m_aclUnavailableNote->setText(unavailable);
        m_aclUnavailableNote->setAccessibleName(unavailable);
        m_aclUnavailableNote->setVisible(!unavailable.isEmpty());
    }
    if (m_tableView) {
        showRows();
        if (previousEntry) {
            const qsizetype index = MGAclLists::indexOfItem(m_model->list(), previousEntry);
            if (index >= 0)
                selectRow(int(m_entryAdded ? index + 1 : index));
        } else if (m_entryAdded) {
            selectRow(1);
        }
        updateRowFocus();
    }
    m_entryAdded = false;
    tableViewSelectionDidChange();
    // Adding someone is: +, type a name, Enter: the new row's chooser opens at once.
    if (added && m_chooseAfterAdding) {
        m_chooseAfterAdding = false;
        if (MGIdentityPopUpButton *chooser = identityChooser(selectedRow()))
            QTimer::singleShot(0, chooser, [chooser] { chooser->showPopup(); });
    }
}
