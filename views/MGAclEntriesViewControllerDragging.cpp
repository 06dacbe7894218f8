// The entries table's rows dragged: to another place in the list, or out of the table to
// remove them.
#include "MGAclEntriesViewController.h"

#include "MGAclDocument.h"
#include "MGAclEntriesTableModel.h"
#include "MGAnimationEffect.h"

#include <QCursor>
#include <QMimeData>

QMimeData *MGAclEntriesViewController::writeRows(const QList<int> &rows)
{
    QModelIndexList indexes;
    for (int row : rows)
        indexes << m_model->index(row, 0);
    return m_model->mimeData(indexes);
}

Qt::DropAction MGAclEntriesViewController::validateDrop(const QMimeData *, int &row,
                                                        MGAclEntriesTableView::DropOperation &operation)
{
    if (!m_model->canDropMimeData(nullptr, Qt::MoveAction, row, 0, {}))
        return Qt::IgnoreAction;
    operation = MGAclEntriesTableView::DropAbove;
    return Qt::MoveAction;
}

bool MGAclEntriesViewController::acceptDrop(const QMimeData *data, int row, MGAclEntriesTableView::DropOperation)
{
    m_model->dropMimeData(data, Qt::MoveAction, row, 0, {});
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
    const quint64 row = MGAclEntriesTableModel::draggedRow(data);
    const MGAclEntry *entry = MGAclLists::entryOf(m_acl->entries().value(qsizetype(row)));
    if (!entry || entry->inherited())
        return;
    MGAnimationEffect::showPoof(QCursor::pos());
    perform("removeEntry:", QVariant(row));
}
