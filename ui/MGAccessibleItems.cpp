#include "MGAccessibleItems.h"

#include <QAbstractItemView>
#include <QAccessibleTableInterface>
#include <QTreeView>

namespace MGAccessibleItems {

QAccessibleInterface *cellOf(QAbstractItemView *view, const QModelIndex &index)
{
    QAccessibleInterface *table = view && index.isValid() ? QAccessible::queryAccessibleInterface(view) : nullptr;
    QAccessibleTableInterface *cells = table ? table->tableInterface() : nullptr;
    if (!cells)
        return nullptr;
    int row = index.row();
    // A tree's cells are numbered by visible row, from the top of the expanded outline.
    if (auto *tree = qobject_cast<QTreeView *>(view)) {
        row = 0;
        QModelIndex at = tree->model()->index(0, 0, tree->rootIndex());
        while (at.isValid() && at != index.siblingAtColumn(0)) {
            at = tree->indexBelow(at);
            ++row;
        }
        if (!at.isValid())
            return nullptr;
    }
    return cells->cellAt(row, index.column());
}

namespace {
// Sends an event made for the view as one for the cell at `index` (the cell as the view's
// child, as the view's own cell events are). Only while someone listens: asking for the
// interfaces makes them, and they stay.
void sendForCell(QAbstractItemView *view, const QModelIndex &index, QAccessibleEvent &event)
{
    if (!QAccessible::isActive())
        return;
    QAccessibleInterface *table = QAccessible::queryAccessibleInterface(view);
    QAccessibleInterface *cell = cellOf(view, index);
    if (!table || !cell)
        return;
    event.setChild(table->indexOfChild(cell));
    QAccessible::updateAccessibility(&event);
}
}

void sayStateChanged(QAbstractItemView *view, const QModelIndex &index, QAccessible::State changed)
{
    QAccessibleStateChangeEvent event(view, changed);
    sendForCell(view, index, event);
}

void sayNameChanged(QAbstractItemView *view, const QModelIndex &index)
{
    QAccessibleEvent event(view, QAccessible::NameChanged);
    sendForCell(view, index, event);
}

void sayFocus(QAbstractItemView *view, const QModelIndex &index)
{
    if (!view->hasFocus())
        return;
    QAccessibleEvent event(view, QAccessible::Focus);
    sendForCell(view, index, event);
}
}
