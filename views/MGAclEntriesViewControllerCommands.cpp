// The entries tab's commands: its menus, its buttons and the permission editor it opens.
#include "MGAclEntriesViewController.h"

#include "MGAclDocument.h"
#include "MGAclEntriesTableModel.h"
#include "MGAclPermissionViewController.h"
#include "MGIdentityPopUpButton.h"
#include "MGWindow.h"

#include <QAction>
#include <QMenu>

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

bool MGAclEntriesViewController::validateMenuItem(QAction *item) const
{
    const QString action = item->objectName();
    if (action == QLatin1String("addEntry:"))
        return m_canAddEntry;
    if (action == QLatin1String("removeEntry:"))
        return m_canRemoveEntry;
    if (action == QLatin1String("showPermissions:"))
        return selectedRow() > 0 && !m_model->isReadOnly(); // row 0 is the ACL section's title
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
    m_selectedBeforeAdding = m_selectedEntry;
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
    presentEditor(m_model->entryPointerAt(row));
}

void MGAclEntriesViewController::selectPermissionGroup(int row)
{
    // The group is stored in the entry already; "Custom…" opens the editor for that row,
    // whatever row is selected.
    const MGAclEntry::Pointer entry = m_model->entryPointerAt(row);
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
    auto *editor = new MGAclPermissionViewController(m_model->session(), entry);
    MGViewController *presenter = this;
    if (auto *window = qobject_cast<MGWindow *>(view()->window()); window && window->contentViewController())
        presenter = window->contentViewController();
    presenter->presentViewControllerAsSheet(editor);
}

void MGAclEntriesViewController::tableViewSelectionDidChange()
{
    const int row = selectedRow();
    MGAclEntry::Pointer entry;
    if (row >= 0 && row < m_model->list().size())
        entry = MGAclLists::entryPointerOf(m_model->list().at(row));
    m_canAddEntry = (!entry || entry->isAcl()) && !(m_acl && !m_acl->aclUnavailableReason().isEmpty())
        && !m_model->isReadOnly();
    m_canRemoveEntry = entry && entry->isAcl() && !entry->inherited() && !m_model->isReadOnly();
    m_selectedEntry = entry;
    emit selectionStateChanged();
}
