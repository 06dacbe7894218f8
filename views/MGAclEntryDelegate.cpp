#include "MGAclEntryDelegate.h"

#include "MGAclEntriesTableModel.h"
#include "MGAclTableRowView.h"
#include "MGAclTexts.h"
#include "MGIdentityListModel.h"
#include "MGIdentityPopUpButton.h"
#include "MGPosixRules.h"
#include "NTLocalizedString.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QStandardItemModel>
#include <QTimer>

namespace {
const QString ACL = QStringLiteral("ACL");
constexpr int ArrowWidth = 14;

QString text(std::span<const MGAclTexts::Row> table, qint64 code)
{
    return NTLocalizedString::localize(QString::fromUtf8(MGAclTexts::key(table, code)), ACL);
}

const MGAclEntriesTableModel *entriesModel(const QModelIndex &index)
{
    return qobject_cast<const MGAclEntriesTableModel *>(index.model());
}

// A pop-up of coded choices, an editor only while its list is open: a choice made there is
// final, and a list closed without one (Escape, a click elsewhere) ends the edit, so no
// closed pop-up can show a value the model does not hold.
class ChoicePopUp : public QComboBox
{
    Q_OBJECT
public:
    explicit ChoicePopUp(QWidget *parent) : QComboBox(parent)
    {
        connect(this, &QComboBox::activated, this, [this] { m_chosen = true; });
        view()->installEventFilter(this);
    }
    bool wasChosen() const { return m_chosen; }
    void showPopup() override
    {
        m_chosen = false;
        QComboBox::showPopup();
    }
    void hidePopup() override
    {
        QComboBox::hidePopup();
        // A choice is announced after the list closes: what closed it is known once the
        // event that closed it is done.
        QTimer::singleShot(0, this, [this] {
            if (!m_chosen && !view()->isVisible())
                emit dismissed();
        });
    }

signals:
    void dismissed();
    // Tab or Shift+Tab in the open list: nothing is chosen, and the keys go on from the
    // table as they would from the cell.
    void tabbedAway(bool forward);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == view() && event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent *>(event)->key();
            if (key == Qt::Key_Tab || key == Qt::Key_Backtab) {
                m_chosen = true; // not a dismissal: the edit ends as a move
                hidePopup();
                emit tabbedAway(key == Qt::Key_Tab);
                return true;
            }
        }
        return QComboBox::eventFilter(watched, event);
    }

private:
    bool m_chosen = false;
};

// A choice that cannot be taken is shown disabled, saying why.
QComboBox *choices(QWidget *parent, const QList<std::tuple<QString, int, QString>> &items)
{
    auto *box = new ChoicePopUp(parent);
    box->setFrame(false);
    for (const auto &[title, code, refusal] : items) {
        box->addItem(title, code);
        if (refusal.isEmpty())
            continue;
        auto *model = static_cast<QStandardItemModel *>(box->model());
        QStandardItem *item = model->item(box->count() - 1);
        item->setFlags(item->flags() & ~(Qt::ItemIsEnabled | Qt::ItemIsSelectable));
        item->setToolTip(refusal);
    }
    return box;
}
}

MGAclEntryDelegate::MGAclEntryDelegate(QObject *parent) : QStyledItemDelegate(parent)
{
}

void MGAclEntryDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const QVariant title = index.data(MGAclEntriesTableModel::TitleRole);
    if (title.isValid()) {
        // A section title: bold, indented from the leading edge, as a title row is.
        painter->save();
        QFont bold = option.font;
        bold.setBold(true);
        painter->setFont(bold);
        painter->setPen(option.palette.color(QPalette::WindowText));
        const QRect logical = option.rect.adjusted(MGAclTableRowView::LeadingInset, 0, -MGAclTableRowView::TrailingInset, 0);
        painter->drawText(QStyle::visualRect(option.direction, option.rect, logical),
                          Qt::AlignVCenter | Qt::AlignLeading | Qt::TextSingleLine, title.toString());
        painter->restore();
        return;
    }
    if (!(index.flags() & Qt::ItemIsEditable))
        return QStyledItemDelegate::paint(painter, option, index);
    // A cell that opens a pop-up shows its arrow; the text gives it room.
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    const QRect textRect = style->subElementRect(QStyle::SE_ItemViewItemText, &cell, widget);
    const int room = qMax(0, textRect.width() - ArrowWidth);
    cell.text = cell.fontMetrics.elidedText(cell.text, cell.textElideMode, room);
    style->drawControl(QStyle::CE_ItemViewItem, &cell, painter, widget);
    QRect arrow = option.rect;
    if (option.direction == Qt::RightToLeft)
        arrow.setWidth(ArrowWidth);
    else
        arrow.setLeft(arrow.right() - ArrowWidth);
    QStyleOption indicator;
    indicator.rect = arrow.adjusted(3, arrow.height() / 2 - 4, -3, -(arrow.height() / 2 - 4));
    indicator.palette = option.palette;
    indicator.state = option.state;
    style->drawPrimitive(QStyle::PE_IndicatorArrowDown, &indicator, painter, widget);
}

QSize MGAclEntryDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const QVariant title = index.data(MGAclEntriesTableModel::TitleRole);
    if (title.isValid()) {
        QFont bold = option.font;
        bold.setBold(true);
        return QSize(QFontMetrics(bold).horizontalAdvance(title.toString()) + MGAclTableRowView::LeadingInset
                         + MGAclTableRowView::TrailingInset,
                     QFontMetrics(bold).height());
    }
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    if (index.flags() & Qt::ItemIsEditable)
        size.rwidth() += ArrowWidth;
    return size;
}

QWidget *MGAclEntryDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &, const QModelIndex &index) const
{
    const MGAclEntriesTableModel *model = entriesModel(index);
    const MGAclEntry::Pointer entry = model ? model->entryPointerAt(index.row()) : nullptr;
    if (!entry)
        return nullptr;
    auto *self = const_cast<MGAclEntryDelegate *>(this);
    QWidget *editor = nullptr;
    switch (index.column()) {
    case MGAclEntriesTableModel::TagColumn: {
        const QString noDeny = entry->isPosix()
            ? NTLocalizedString::localize(QStringLiteral("POSIX ACLs have no deny entries"), ACL)
            : QString();
        editor = choices(parent, {{text(MGAclTexts::Tags, MGAclEntry::Allow), MGAclEntry::Allow, QString()},
                                  {text(MGAclTexts::Tags, MGAclEntry::Deny), MGAclEntry::Deny, noDeny}});
        break;
    }
    case MGAclEntriesTableModel::PermissionGroupColumn: {
        QList<std::tuple<QString, int, QString>> groups;
        for (int group : entry->availablePermissionGroups())
            groups.append({text(MGAclTexts::PermissionGroups, group), group, QString()});
        groups.append({text(MGAclTexts::PermissionGroups, MGAclPermissionSet::Custom), int(MGAclPermissionSet::Custom),
                       QString()});
        editor = choices(parent, groups);
        break;
    }
    case MGAclEntriesTableModel::AppliesToColumn: {
        // A user or group has one entry for the folder and one for new items at most.
        const MGPosixRules::IdentityUse &use = model->identityUse();
        const QString taken = NTLocalizedString::localize(
            QStringLiteral("Another entry for this user or group already applies there"), ACL);
        QList<std::tuple<QString, int, QString>> places;
        for (const auto &[text, value] : MGAclEntriesTableModel::places(*entry)) {
            const auto place = MGAclEntry::AppliesTo(value);
            const bool allowed = !entry->isPosix()
                || use.allows(*entry, entry->identity(), place != MGAclEntry::AppliesTo::NewItems,
                              place != MGAclEntry::AppliesTo::ThisItem);
            places.append({text, value, allowed ? QString() : taken});
        }
        editor = choices(parent, places);
        break;
    }
    case MGAclEntriesTableModel::IdentityColumn: {
        auto *chooser = new MGIdentityPopUpButton(parent);
        nameEditor(chooser, index, *entry);
        chooser->setFrame(false);
        chooser->setIdentityModel(m_identities ? m_identities.data() : MGIdentityListModel::sharedModel(),
                                  entry->identity());
        // The users and groups that already have an entry serving the same purpose.
        chooser->setExcluded([use = model->identityUse(), entry](const CBIdentity &who) {
            return use.isTaken(who, *entry);
        });
        connect(chooser, &MGIdentityPopUpButton::identityChosen, self, [self, chooser] { self->commitAndClose(chooser); });
        // Escape gives the edit up; a click elsewhere only closes the list (nothing was
        // chosen, nothing changes). A list dismissed after the editor itself was closed (the
        // table took the focus back) has nothing left to close: the table hides a closed
        // editor before deleting it.
        connect(chooser, &MGIdentityPopUpButton::dismissed, self, [self, chooser](bool escaped) {
            if (chooser->isVisible())
                emit self->closeEditor(chooser, escaped ? QAbstractItemDelegate::RevertModelCache
                                                        : QAbstractItemDelegate::NoHint);
        });
        connect(chooser, &MGIdentityPopUpButton::tabbedAway, self, [self, chooser](bool forward) {
            if (chooser->isVisible())
                emit self->closeEditor(chooser, forward ? QAbstractItemDelegate::EditNextItem
                                                        : QAbstractItemDelegate::EditPreviousItem);
        });
        return chooser;
    }
    default:
        return nullptr;
    }
    auto *box = static_cast<ChoicePopUp *>(editor);
    nameEditor(box, index, *entry);
    connect(box, &QComboBox::activated, self, [self, box] { self->commitAndClose(box); });
    connect(box, &ChoicePopUp::dismissed, self, [self, box] {
        if (box->isVisible())
            emit self->closeEditor(box, QAbstractItemDelegate::RevertModelCache);
    });
    connect(box, &ChoicePopUp::tabbedAway, self, [self, box](bool forward) {
        emit self->closeEditor(box, forward ? QAbstractItemDelegate::EditNextItem : QAbstractItemDelegate::EditPreviousItem);
    });
    return box;
}

void MGAclEntryDelegate::nameEditor(QWidget *editor, const QModelIndex &index, const MGAclEntry &entry)
{
    // Named by its column, for whom: a screen reader says "Permissions, for daemon", not
    // only the value it holds. On Linux a combo box's name is its value, and its label is
    // the widget whose buddy it is: a label that is never shown, gone with the editor.
    const QString title = index.model()->headerData(index.column(), Qt::Horizontal).toString();
    editor->setAccessibleName(title);
    editor->setAccessibleDescription(
        NTLocalizedString::localize(QStringLiteral("for %1"), ACL).arg(entry.identityText()));
    auto *label = new QLabel(title, editor->parentWidget());
    label->setObjectName(QStringLiteral("cellEditorLabel"));
    label->setBuddy(editor);
    label->hide();
    QObject::connect(editor, &QObject::destroyed, label, &QObject::deleteLater);
}

void MGAclEntryDelegate::commitAndClose(QWidget *editor)
{
    emit commitData(editor);
    emit closeEditor(editor, QAbstractItemDelegate::NoHint);
}

void MGAclEntryDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    if (auto *chooser = qobject_cast<MGIdentityPopUpButton *>(editor)) {
        chooser->setIdentity(index.data(Qt::EditRole).value<CBIdentity>());
        return;
    }
    if (auto *box = qobject_cast<QComboBox *>(editor)) {
        const QSignalBlocker blocker(box);
        box->setCurrentIndex(box->findData(index.data(Qt::EditRole).toInt()));
    }
}

void MGAclEntryDelegate::setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const
{
    if (auto *chooser = qobject_cast<MGIdentityPopUpButton *>(editor)) {
        if (chooser->identity() != index.data(Qt::EditRole).value<CBIdentity>())
            model->setData(index, QVariant::fromValue(chooser->identity()));
        return;
    }
    auto *box = qobject_cast<QComboBox *>(editor);
    if (!box || box->currentIndex() < 0)
        return;
    // An unchanged value is not written again: "Custom…" chosen anew still opens the
    // permission editor, since it is a choice of its own.
    const QVariant value = box->currentData();
    const bool custom = index.column() == MGAclEntriesTableModel::PermissionGroupColumn
        && value.toInt() == MGAclPermissionSet::Custom;
    if (custom || value.toInt() != index.data(Qt::EditRole).toInt())
        model->setData(index, value);
}

void MGAclEntryDelegate::openPopUp(QWidget *editor)
{
    if (auto *box = qobject_cast<QComboBox *>(editor))
        box->showPopup();
}

#include "MGAclEntryDelegate.moc"
