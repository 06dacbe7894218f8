#pragma once

#include <QStyledItemDelegate>

// Paints the access tree's cells as the standard delegate does, without the check box a
// check state would bring: the state is there for screen readers, the mark shows it.
class MGAclAccessMarkDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        option->features &= ~QStyleOptionViewItem::HasCheckIndicator;
    }
    bool editorEvent(QEvent *, QAbstractItemModel *, const QStyleOptionViewItem &, const QModelIndex &) override
    {
        return false; // nothing here is toggled by a click or a key
    }
};
