#pragma once

#include <QTableView>

class QMimeData;

// The entries table as a drag source and drop target. It finds where a drag is over and
// draws the gap a drop would fill; what may be dragged, where it may land and what a drop
// or a drag let go elsewhere does are its data source's answers (the view controller).
class MGAclEntriesTableView : public QTableView
{
    Q_OBJECT
public:
    // Where a drop lands relative to its row: in the gap above it, or on the row itself.
    enum DropOperation { DropOn = 0, DropAbove = 1 };

    class DataSource
    {
    public:
        virtual ~DataSource() = default;
        // The payload of a drag of these rows; null when they cannot be dragged.
        virtual QMimeData *writeRows(const QList<int> &rows) = 0;
        // Whether a drop at `row` is a move; may retarget the row and operation.
        virtual Qt::DropAction validateDrop(const QMimeData *data, int &row, DropOperation &operation) = 0;
        virtual bool acceptDrop(const QMimeData *data, int row, DropOperation operation) = 0;
        // A drag from this table ended at `screenPoint` (the operation says whether anyone
        // took the drop); `flags` are the modifier flags of the event that ended it.
        virtual void draggingSessionEnded(const QMimeData *data, const QPoint &screenPoint, Qt::DropAction operation,
                                          quint64 flags) = 0;
    };

    explicit MGAclEntriesTableView(QWidget *parent = nullptr);

    void setDataSource(DataSource *source) { m_source = source; }
    using QTableView::edit;
    // A cell's editor is open.
    bool isEditing() const { return state() == EditingState; }
    // The types a drop may carry: the table's own rows and links to files.
    static QStringList registeredDropTypes();
    // The modifier flag word of the event that ends a drag: a plain pointer event with no
    // modifier key reads 256 (0x100); Shift, Control, Alt and Meta add their own bits.
    static quint64 flagWord(Qt::KeyboardModifiers modifiers);
    // The gap a drop would fill now (a drop above that row), or -1.
    int dropRow() const { return m_dropRow; }
    // How wide a column's content is, measured on the rows in view and some more.
    int contentWidth(int column) const { return sizeHintForColumn(column); }
    // What the empty table says (while the list is being read).
    void setPlaceholderText(const QString &text);
    // Where a drop at a point in the viewport would go before validation.
    void proposedDrop(const QPoint &point, int &row, DropOperation &operation) const;

protected:
    // The arrow keys, Page Up and Down, Ctrl+Home and Ctrl+End pass over rows that cannot be
    // selected (section titles): Ctrl+Home reaches the first entry, Page Up stops at it.
    QModelIndex moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers) override;
    // Tab and Shift+Tab from a cell's editor leave the table, as they do from a cell: they
    // do not open the next cell's editor.
    void closeEditor(QWidget *editor, QAbstractItemDelegate::EndEditHint hint) override;
    // Taking the focus back (from a closed editor or another control), the table says which
    // cell has it, so that a screen reader reads the row, not the whole table.
    void focusInEvent(QFocusEvent *event) override;
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;
    // The row with the focus says its new texts (an edit of any of its cells), so that what a
    // screen reader has read of it is what the list holds.
    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QList<int> &roles = {}) override;
    // Says rowsAboutToGo before the table moves its current row off the rows that go.
    void rowsAboutToBeRemoved(const QModelIndex &parent, int start, int end) override;

signals:
    // Rows are about to go; the selection is still where the user left it.
    void rowsAboutToGo();

protected:
    // Moving between cells does not start editing; a click, Enter or typing does, and a
    // click or Enter opens the editor's pop-up at once.
    bool edit(const QModelIndex &index, EditTrigger trigger, QEvent *event) override;
    // A click on a row that cannot be selected (a section title) keeps the selection.
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex &index, const QEvent *event) const override;
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    bool carriesRegisteredType(const QMimeData *data) const;
    // Validates the drop under the event's point; answers the row it would land above.
    int validate(QDropEvent *event, DropOperation &operation);
    void setDropRow(int row);

    DataSource *m_source = nullptr;
    QString m_placeholderText;
    int m_dropRow = -1;
};
