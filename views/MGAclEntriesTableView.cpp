#include "MGAclEntriesTableView.h"

#include "MGAccessibleItems.h"
#include "MGAclEntryDelegate.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDrag>
#include <QDragMoveEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QPainter>
#include <QPointer>
#include <QTimer>

namespace {
// The modifier keys of the last input event seen while a drag runs: the drag's own loop
// takes the events that end it, and the release carries the keys that were held.
class CurrentEventModifiers : public QObject
{
public:
    CurrentEventModifiers() : m_modifiers(QGuiApplication::queryKeyboardModifiers())
    {
        QCoreApplication::instance()->installEventFilter(this);
    }
    ~CurrentEventModifiers() override { QCoreApplication::instance()->removeEventFilter(this); }
    Qt::KeyboardModifiers modifiers() const { return m_modifiers; }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::MouseMove:
        case QEvent::MouseButtonRelease:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
            m_modifiers = static_cast<QInputEvent *>(event)->modifiers();
            break;
        default:
            break;
        }
        return false;
    }

private:
    Qt::KeyboardModifiers m_modifiers;
};

const QString RowType = QStringLiteral("com.quillwork.Marrowgate.pasteboard.acl");
const QString UrlType = QStringLiteral("text/uri-list");
}

MGAclEntriesTableView::MGAclEntriesTableView(QWidget *parent) : QTableView(parent)
{
    setDragEnabled(true);
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDropIndicatorShown(false); // the gap is drawn here
}

QStringList MGAclEntriesTableView::registeredDropTypes()
{
    return {RowType, UrlType};
}

quint64 MGAclEntriesTableView::flagWord(Qt::KeyboardModifiers modifiers)
{
    // The bits of the other desktop's flag word, so that the same cases mean the same.
    quint64 word = 0x100;
    if (modifiers & Qt::ShiftModifier)
        word |= 1u << 17;
    if (modifiers & Qt::ControlModifier)
        word |= 1u << 18;
    if (modifiers & Qt::AltModifier)
        word |= 1u << 19;
    if (modifiers & Qt::MetaModifier)
        word |= 1u << 20;
    return word;
}

bool MGAclEntriesTableView::carriesRegisteredType(const QMimeData *data) const
{
    for (const QString &type : registeredDropTypes()) {
        if (data && data->hasFormat(type))
            return true;
    }
    return false;
}

QModelIndex MGAclEntriesTableView::moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers)
{
    const QModelIndex start = currentIndex();
    const QModelIndex landed = QTableView::moveCursor(cursorAction, modifiers);
    if (!model() || !landed.isValid() || (model()->flags(landed) & Qt::ItemIsSelectable))
        return landed;
    // A title row was reached: the nearest entry the way the key goes, or else the other
    // way (Ctrl+Home lands on the first title, whose entry is below it; Page Up near the
    // top lands above the first entry).
    const bool up = cursorAction == MoveUp || cursorAction == MovePageUp || cursorAction == MovePrevious
        || cursorAction == MoveEnd;
    for (const int step : {up ? -1 : 1, up ? 1 : -1}) {
        for (int row = landed.row() + step; row >= 0 && row < model()->rowCount(); row += step) {
            const QModelIndex index = model()->index(row, landed.column());
            if (model()->flags(index) & Qt::ItemIsSelectable)
                return index;
        }
    }
    return start;
}

void MGAclEntriesTableView::closeEditor(QWidget *editor, QAbstractItemDelegate::EndEditHint hint)
{
    const bool next = hint == QAbstractItemDelegate::EditNextItem, previous = hint == QAbstractItemDelegate::EditPreviousItem;
    QTableView::closeEditor(editor, next || previous ? QAbstractItemDelegate::NoHint : hint);
    if (next || previous)
        QWidget::focusNextPrevChild(next);
}

void MGAclEntriesTableView::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QList<int> &roles)
{
    QTableView::dataChanged(topLeft, bottomRight, roles);
    const QModelIndex current = currentIndex();
    if (!QAccessible::isActive() || !current.isValid() || current.row() < topLeft.row() || current.row() > bottomRight.row())
        return;
    for (int column = topLeft.column(); column <= bottomRight.column(); ++column)
        MGAccessibleItems::sayNameChanged(this, current.siblingAtColumn(column));
}

void MGAclEntriesTableView::rowsAboutToBeRemoved(const QModelIndex &parent, int start, int end)
{
    emit rowsAboutToGo();
    QTableView::rowsAboutToBeRemoved(parent, start, end);
}

void MGAclEntriesTableView::focusInEvent(QFocusEvent *event)
{
    QTableView::focusInEvent(event);
    // After the focus event Qt sends for the whole table once this returns, and after the
    // edit an editor's closing commits: the cell is what is read last, with what it holds.
    QTimer::singleShot(0, this, [this] { MGAccessibleItems::sayFocus(this, currentIndex()); });
}

void MGAclEntriesTableView::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    QTableView::currentChanged(current, previous);
    // The row just moved to stays in view, whatever moved it (a key, a save that sorted the
    // list again, an entry added or restored).
    if (current.isValid())
        scrollTo(current);
}

bool MGAclEntriesTableView::edit(const QModelIndex &index, EditTrigger trigger, QEvent *event)
{
    if (trigger == CurrentChanged)
        return false;
    if (!QTableView::edit(index, trigger, event))
        return false;
    // However the edit began (a click, F2, Enter, a typed letter, which picks the matching
    // choice), the pop-up's list opens: the editor lives while it is open.
    if (QWidget *editor = indexWidget(index))
        QTimer::singleShot(0, editor, [editor] { MGAclEntryDelegate::openPopUp(editor); });
    return true;
}

QItemSelectionModel::SelectionFlags MGAclEntriesTableView::selectionCommand(const QModelIndex &index,
                                                                           const QEvent *event) const
{
    if (index.isValid() && model() && !(model()->flags(index) & Qt::ItemIsSelectable))
        return QItemSelectionModel::NoUpdate;
    return QTableView::selectionCommand(index, event);
}

void MGAclEntriesTableView::setPlaceholderText(const QString &text)
{
    m_placeholderText = text;
    viewport()->update();
}

void MGAclEntriesTableView::startDrag(Qt::DropActions)
{
    if (!m_source || !selectionModel())
        return;
    QList<int> rows;
    for (const QModelIndex &index : selectionModel()->selectedRows())
        rows << index.row();
    std::sort(rows.begin(), rows.end());
    QMimeData *data = m_source->writeRows(rows);
    if (!data)
        return;
    QPointer<QDrag> drag = new QDrag(this);
    drag->setMimeData(data);
    const QRect rowRect = visualRect(model()->index(rows.first(), 0)).united(
        visualRect(model()->index(rows.first(), model()->columnCount() - 1)));
    drag->setPixmap(viewport()->grab(rowRect));
    drag->setHotSpot(viewport()->mapFromGlobal(QCursor::pos()) - rowRect.topLeft());
    // The drag runs its own loop; the row is moved or removed by the list's owner, so
    // nothing is removed here after it (a view in move mode would take the row out itself).
    Qt::DropAction operation;
    quint64 flags;
    {
        const CurrentEventModifiers current;
        operation = drag->exec(Qt::MoveAction);
        flags = flagWord(current.modifiers());
    }
    if (drag)
        m_source->draggingSessionEnded(drag->mimeData(), QCursor::pos(), operation, flags);
    setDropRow(-1);
    if (drag)
        drag->deleteLater();
}

void MGAclEntriesTableView::proposedDrop(const QPoint &point, int &row, DropOperation &operation) const
{
    const int count = model() ? model()->rowCount() : 0;
    const QModelIndex index = indexAt(point);
    operation = DropAbove;
    if (!index.isValid()) {
        row = point.y() < 0 ? 0 : count;
        return;
    }
    const QRect rect = visualRect(index);
    const int margin = qBound(2, rect.height() / 4, 12);
    row = index.row();
    if (point.y() - rect.top() < margin)
        return;
    if (rect.bottom() - point.y() < margin) {
        row = index.row() + 1;
        return;
    }
    operation = DropOn;
}

int MGAclEntriesTableView::validate(QDropEvent *event, DropOperation &operation)
{
    int row = -1;
    proposedDrop(event->position().toPoint(), row, operation);
    if (!m_source || !carriesRegisteredType(event->mimeData())
        || m_source->validateDrop(event->mimeData(), row, operation) != Qt::MoveAction)
        return -1;
    return row;
}

void MGAclEntriesTableView::setDropRow(int row)
{
    if (row != m_dropRow) {
        m_dropRow = row;
        viewport()->update();
    }
}

void MGAclEntriesTableView::dragEnterEvent(QDragEnterEvent *event)
{
    if (carriesRegisteredType(event->mimeData()))
        event->accept();
    else
        event->ignore();
}

void MGAclEntriesTableView::dragMoveEvent(QDragMoveEvent *event)
{
    DropOperation operation;
    const int row = validate(event, operation);
    setDropRow(row);
    if (row < 0) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void MGAclEntriesTableView::dragLeaveEvent(QDragLeaveEvent *event)
{
    setDropRow(-1);
    event->accept();
}

void MGAclEntriesTableView::dropEvent(QDropEvent *event)
{
    DropOperation operation;
    const int row = validate(event, operation);
    setDropRow(-1);
    if (row < 0 || !m_source->acceptDrop(event->mimeData(), row, operation)) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void MGAclEntriesTableView::paintEvent(QPaintEvent *event)
{
    QTableView::paintEvent(event);
    if (model() && model()->rowCount() == 0 && !m_placeholderText.isEmpty()) {
        QPainter painter(viewport());
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(viewport()->rect(), Qt::AlignCenter, m_placeholderText);
    }
    if (m_dropRow < 0 || !model())
        return;
    const int count = model()->rowCount();
    int y = 0;
    if (m_dropRow < count)
        y = rowViewportPosition(m_dropRow);
    else if (count > 0)
        y = rowViewportPosition(count - 1) + rowHeight(count - 1);
    QPainter painter(viewport());
    QPen pen(palette().color(QPalette::Highlight), 2);
    painter.setPen(pen);
    painter.drawLine(4, y, viewport()->width() - 4, y);
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawEllipse(QPoint(6, y), 3, 3);
}
