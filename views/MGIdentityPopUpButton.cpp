#include "MGIdentityPopUpButton.h"

#include "CBIdentityAuthority.h"
#include "MGIdentities.h"
#include "MGIdentityExclusionModel.h"
#include "MGIdentityListModel.h"
#include "MGImage.h"
#include "NTLocalizedString.h"

#include <QApplication>
#include <QConcatenateTablesProxyModel>
#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QStylePainter>
#include <QStyle>
#include <QListView>
#include <QPainter>
#include <QScreen>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QVBoxLayout>
#include <algorithm>

namespace {
bool isIdentity(const QVariant &value)
{
    return MGIdentityListModel::isIdentity(value);
}

bool isSeparator(const QModelIndex &index)
{
    return index.data(Qt::AccessibleDescriptionRole).toString() == QLatin1String("separator");
}

// The list's rows: identities, titles that cannot be chosen, and separators drawn as lines.
class ItemDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        if (!isSeparator(index))
            return QStyledItemDelegate::paint(painter, option, index);
        const int y = option.rect.center().y();
        painter->setPen(option.palette.color(QPalette::Mid));
        painter->drawLine(option.rect.left() + 4, y, option.rect.right() - 4, y);
    }

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        return isSeparator(index) ? QSize(10, 7) : QStyledItemDelegate::sizeHint(option, index);
    }
};

// What a search shows: the identities whose login or full name holds the text; with no text,
// every item, separators and titles included.
class SearchModel : public QSortFilterProxyModel
{
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

    void setText(const QString &text)
    {
        m_text = text.trimmed();
        invalidateFilter();
    }

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override
    {
        if (m_text.isEmpty())
            return true;
        const QVariant value = sourceModel()->index(row, 0, parent).data(MGIdentityListModel::ItemRole);
        if (!isIdentity(value))
            return false;
        const CBIdentity identity = value.value<CBIdentity>();
        return identity.displayName().contains(m_text, Qt::CaseInsensitive)
            || identity.fullName().contains(m_text, Qt::CaseInsensitive);
    }

private:
    QString m_text;
};
}

// The open list: a search field over the button's items.
class MGIdentityPopUp : public QFrame
{
public:
    explicit MGIdentityPopUp(MGIdentityPopUpButton *button) : QFrame(button, Qt::Popup), m_button(button)
    {
        setFrameShape(QFrame::StyledPanel);
        setAttribute(Qt::WA_DeleteOnClose);
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(2, 2, 2, 2);
        layout->setSpacing(2);
        m_search = new QLineEdit(this);
        m_search->setObjectName(QStringLiteral("identitySearchField"));
        m_search->setPlaceholderText(NTLocalizedString::localize(QStringLiteral("Find a user or group"), QStringLiteral("ACL")));
        m_search->setClearButtonEnabled(true);
        m_search->setAccessibleName(m_search->placeholderText());
        m_search->installEventFilter(this);
        m_model = new SearchModel(this);
        m_model->setSourceModel(button->model());
        m_list = new QListView(this);
        m_list->setObjectName(QStringLiteral("identityList"));
        m_list->setModel(m_model);
        m_list->setItemDelegate(new ItemDelegate(m_list));
        m_list->setUniformItemSizes(false);
        m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
        m_list->setSelectionMode(QAbstractItemView::SingleSelection);
        m_list->setAccessibleName(NTLocalizedString::localize(QStringLiteral("Users and groups"), QStringLiteral("ACL")));
        // Why someone searched for is not offered: they have an entry that serves here.
        m_hint = new QLabel(this);
        m_hint->setObjectName(QStringLiteral("identityExclusionHint"));
        m_hint->setWordWrap(true);
        m_hint->hide();
        layout->addWidget(m_search);
        layout->addWidget(m_list);
        layout->addWidget(m_hint);
        connect(m_search, &QLineEdit::textChanged, this, [this](const QString &text) {
            m_model->setText(text);
            selectFirstIdentity();
            sayWhoIsLeftOut(text.trimmed());
        });
        connect(m_list, &QListView::clicked, this, [this](const QModelIndex &index) { choose(index); });
        connect(m_list, &QListView::activated, this, [this](const QModelIndex &index) { choose(index); });
        const QModelIndex current = m_model->mapFromSource(button->model()->index(button->currentIndex(), 0));
        if (current.isValid())
            m_list->setCurrentIndex(current);
    }

    QLineEdit *search() const { return m_search; }
    QListView *list() const { return m_list; }
    QLabel *hint() const { return m_hint; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == m_search && event->type() == QEvent::KeyPress) {
            auto *key = static_cast<QKeyEvent *>(event);
            switch (key->key()) {
            case Qt::Key_Down:
            case Qt::Key_Up:
            case Qt::Key_PageDown:
            case Qt::Key_PageUp:
                // The list moves while the typing stays in the field.
                QApplication::sendEvent(m_list, event);
                return true;
            case Qt::Key_Return:
            case Qt::Key_Enter:
                if (!m_list->currentIndex().isValid())
                    chooseTyped();
                else
                    choose(m_list->currentIndex());
                return true;
            case Qt::Key_Escape:
                m_escaped = true;
                close();
                return true;
            case Qt::Key_Tab:
            case Qt::Key_Backtab:
                // Nothing chosen; the keys go on from where the list was opened.
                m_chosen = true;
                close();
                if (m_button)
                    emit m_button->tabbedAway(key->key() == Qt::Key_Tab);
                return true;
            default:
                break;
            }
        }
        return QFrame::eventFilter(watched, event);
    }

private:
    void sayWhoIsLeftOut(const QString &text)
    {
        QStringList names;
        const qsizetype count = text.isEmpty() || !m_button ? 0 : m_button->m_filter->excludedMatching([&](const CBIdentity &who) {
            const bool match = who.displayName().contains(text, Qt::CaseInsensitive)
                || who.fullName().contains(text, Qt::CaseInsensitive);
            if (match && names.size() < 1)
                names << who.displayName();
            return match;
        });
        const QString ACL = QStringLiteral("ACL");
        const QString said = count == 0 ? QString()
            : count == 1 ? NTLocalizedString::localize(QStringLiteral("\u201c%1\u201d is not offered: it already has an entry that applies here."), ACL)
                               .arg(names.value(0))
                         : NTLocalizedString::localize(QStringLiteral("%1 users or groups that match are not offered: they already have an entry that applies here."), ACL)
                               .arg(NTLocalizedString::count(count));
        m_hint->setText(said);
        m_hint->setAccessibleName(said);
        m_hint->setVisible(!said.isEmpty());
    }

    void selectFirstIdentity()
    {
        for (int row = 0; row < m_model->rowCount(); ++row) {
            const QModelIndex index = m_model->index(row, 0);
            if (isIdentity(index.data(Qt::UserRole))) {
                m_list->setCurrentIndex(index);
                return;
            }
        }
    }

    // An id typed as "uid:N" or "gid:N" needs no account.
    void chooseTyped()
    {
        const QString text = m_search->text().trimmed();
        if (!text.startsWith(QLatin1String("uid:")) && !text.startsWith(QLatin1String("gid:")))
            return;
        const auto identity = CBIdentityAuthority::defaultIdentityAuthority().identityForText(text);
        if (!identity || !identity->isUserOrGroup())
            return;
        m_chosen = true;
        close();
        if (m_button)
            m_button->chooseIdentity(*identity);
    }

    void closeEvent(QCloseEvent *event) override
    {
        if (!m_chosen && m_button)
            QMetaObject::invokeMethod(m_button, [button = m_button, escaped = m_escaped] { emit button->dismissed(escaped); },
                                      Qt::QueuedConnection);
        QFrame::closeEvent(event);
    }

    void choose(const QModelIndex &index)
    {
        if (!index.isValid() || !(index.flags() & Qt::ItemIsEnabled) || !isIdentity(index.data(Qt::UserRole)))
            return;
        const int row = m_model->mapToSource(index).row();
        m_chosen = true;
        close();
        if (m_button)
            m_button->choose(row);
    }

    QPointer<MGIdentityPopUpButton> m_button;
    QLineEdit *m_search;
    QListView *m_list;
    QLabel *m_hint;
    SearchModel *m_model;
    bool m_chosen = false;
    bool m_escaped = false;
};

MGIdentityPopUpButton::MGIdentityPopUpButton(QWidget *parent) : QComboBox(parent)
{
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(12);
    m_filter = new MGIdentityExclusionModel(this);
    m_extra = new QStandardItemModel(0, 1, this);
}

MGIdentityPopUpButton::~MGIdentityPopUpButton()
{
    delete m_popUp;
}

QString MGIdentityPopUpButton::titleFor(const CBIdentity &identity)
{
    return MGIdentityListModel::titleFor(identity);
}

void MGIdentityPopUpButton::setIdentityModel(QAbstractItemModel *identities, const CBIdentity &current)
{
    const QSignalBlocker blocker(this);
    if (m_filter->sourceModel() != identities)
        m_filter->setSourceModel(identities);
    if (!m_shown) {
        // Made once both parts have their column: the shown list has as many as the fewest.
        m_shown = new QConcatenateTablesProxyModel(this);
        m_shown->addSourceModel(m_extra);
        m_shown->addSourceModel(m_filter);
        setModel(m_shown);
    }
    setIdentity(current);
}

void MGIdentityPopUpButton::setIdentities(const QVariantList &identities, const CBIdentity &current)
{
    if (!m_ownList)
        m_ownList = new MGIdentityListModel({}, this);
    m_ownList->setItems(identities);
    setIdentityModel(m_ownList, current);
}

void MGIdentityPopUpButton::setExcluded(std::function<bool(const CBIdentity &)> excluded)
{
    const CBIdentity current = identity();
    const QSignalBlocker blocker(this);
    m_filter->setExcluded(std::move(excluded), current);
    setIdentity(current);
}

CBIdentity MGIdentityPopUpButton::identity() const
{
    const QVariant value = currentData(MGIdentityListModel::ItemRole);
    return isIdentity(value) ? value.value<CBIdentity>() : CBIdentity();
}

void MGIdentityPopUpButton::setIdentity(const CBIdentity &identity)
{
    if (!m_shown)
        return;
    if (!identity.isUserOrGroup()) {
        m_extra->removeRows(0, m_extra->rowCount());
        setCurrentIndex(-1);
        return;
    }
    // The extra row first: it holds the current identity whenever the list lacks it.
    if (m_extra->rowCount() && m_extra->item(0)->data(MGIdentityListModel::ItemRole).value<CBIdentity>() == identity) {
        setCurrentIndex(0);
        return;
    }
    const QModelIndexList found
        = m_filter->match(m_filter->index(0, 0), MGIdentityListModel::ItemRole, QVariant::fromValue(identity), 1,
                          Qt::MatchExactly);
    m_extra->removeRows(0, m_extra->rowCount());
    if (!found.isEmpty()) {
        setCurrentIndex(m_shown->mapFromSource(found.first()).row());
        return;
    }
    auto *item = new QStandardItem(identity.isGroup() ? MGImage::groupImage() : MGImage::userImage(), titleFor(identity));
    item->setData(QVariant::fromValue(identity), MGIdentityListModel::ItemRole);
    m_extra->appendRow(item);
    setCurrentIndex(0);
}

void MGIdentityPopUpButton::keyPressEvent(QKeyEvent *event)
{
    // Typing a name opens the list with what was typed; arrows and the rest are the
    // button's own, and an identity they move to is chosen as a pick from the list is.
    const QString text = event->text();
    if (!text.isEmpty() && text.at(0).isPrint() && !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier))) {
        showPopup();
        if (QLineEdit *search = searchField())
            search->setText(text);
        return;
    }
    const CBIdentity before = identity();
    QComboBox::keyPressEvent(event);
    if (identity() != before && identity().isUserOrGroup())
        emit identityChosen(identity());
}

void MGIdentityPopUpButton::wheelEvent(QWheelEvent *event)
{
    const CBIdentity before = identity();
    QComboBox::wheelEvent(event);
    if (identity() != before && identity().isUserOrGroup())
        emit identityChosen(identity());
}

void MGIdentityPopUpButton::paintEvent(QPaintEvent *)
{
    // Closed, the button names its choice as the table's rows do (the login name); the list
    // shows the full names to choose by.
    QStylePainter painter(this);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    if (const CBIdentity who = identity(); who.isUserOrGroup())
        option.currentText = who.displayName();
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

void MGIdentityPopUpButton::showPopup()
{
    emit menuAboutToShow(this);
    delete m_popUp;
    m_popUp = new MGIdentityPopUp(this);
    const QRect screen = this->screen() ? this->screen()->availableGeometry() : QRect(0, 0, 1024, 768);
    QPoint below = mapToGlobal(QPoint(0, height()));
    // As wide as the longest name needs (beside its icon, with the scroll bar), within the
    // screen: moved left where the screen ends first.
    const QFontMetrics metrics(m_popUp->list()->font());
    int widest = 0;
    for (int row = 0, rows = model()->rowCount(); row < rows; ++row)
        widest = qMax(widest, metrics.horizontalAdvance(model()->index(row, 0).data().toString()));
    const int chrome = m_popUp->list()->iconSize().width() + style()->pixelMetric(QStyle::PM_ScrollBarExtent)
        + 6 * style()->pixelMetric(QStyle::PM_FocusFrameHMargin) + 24;
    const int width = qMin(std::max({this->width(), 280, widest + chrome}), screen.width());
    below.setX(qMax(screen.left(), qMin(below.x(), screen.right() + 1 - width)));
    // Below the button where the list fits there, above it where there is more room: never
    // off the screen.
    const int wanted = 360;
    const int roomBelow = screen.bottom() + 1 - below.y();
    const int roomAbove = mapToGlobal(QPoint(0, 0)).y() - screen.top();
    const bool above = roomBelow < qMin(wanted, 200) && roomAbove > roomBelow;
    const int height = qMin(wanted, above ? roomAbove : roomBelow);
    const QPoint at = above ? QPoint(below.x(), mapToGlobal(QPoint(0, 0)).y() - height) : below;
    m_popUp->setGeometry(QRect(at, QSize(width, height)));
    m_popUp->show();
    m_popUp->search()->setFocus();
}

void MGIdentityPopUpButton::hidePopup()
{
    if (m_popUp)
        m_popUp->close();
}

QLineEdit *MGIdentityPopUpButton::searchField() const
{
    return m_popUp ? m_popUp->search() : nullptr;
}

QListView *MGIdentityPopUpButton::listView() const
{
    return m_popUp ? m_popUp->list() : nullptr;
}

QLabel *MGIdentityPopUpButton::exclusionHint() const
{
    return m_popUp ? m_popUp->hint() : nullptr;
}

void MGIdentityPopUpButton::choose(int row)
{
    setCurrentIndex(row);
    emit activated(row);
    emit identityChosen(identity());
}

void MGIdentityPopUpButton::chooseIdentity(const CBIdentity &identity)
{
    setIdentity(identity);
    emit activated(currentIndex());
    emit identityChosen(identity);
}
