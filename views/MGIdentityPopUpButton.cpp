#include "MGIdentityPopUpButton.h"

#include "MGIdentities.h"
#include "MGIdentityExclusionModel.h"
#include "MGIdentityListModel.h"
#include "MGIdentityPopUp.h"
#include "MGImage.h"
#include "NTLocalizedString.h"

#include <QConcatenateTablesProxyModel>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QStylePainter>
#include <QStyle>
#include <QListView>
#include <QScreen>
#include <QStandardItemModel>
#include <algorithm>

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
    return MGIdentityListModel::isIdentity(value) ? value.value<CBIdentity>() : CBIdentity();
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
    chooseIfMoved(before);
}

void MGIdentityPopUpButton::wheelEvent(QWheelEvent *event)
{
    const CBIdentity before = identity();
    QComboBox::wheelEvent(event);
    chooseIfMoved(before);
}

void MGIdentityPopUpButton::chooseIfMoved(const CBIdentity &before)
{
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
