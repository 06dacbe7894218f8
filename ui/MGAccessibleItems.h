#pragma once

#include <QAccessible>
#include <QModelIndex>

class QAbstractItemView;

// Tells assistive technology about one cell of an item view, where the view says nothing
// itself: a check state toggled by a key, and which cell has the focus when the view takes
// it back (from an editor that closed, or another widget): without it a screen reader reads
// the whole table instead of the row.
namespace MGAccessibleItems {
void sayStateChanged(QAbstractItemView *view, const QModelIndex &index, QAccessible::State changed);
void sayFocus(QAbstractItemView *view, const QModelIndex &index);
// A cell's text changed: a screen reader keeps the names it has read, and a view says only
// that its data changed.
void sayNameChanged(QAbstractItemView *view, const QModelIndex &index);
// The cell's interface, or null (a row hidden, a view without a table interface).
QAccessibleInterface *cellOf(QAbstractItemView *view, const QModelIndex &index);
}
