#include "MGIdentityPopUp.h"

#include "CBIdentityAuthority.h"
#include "MGIdentityExclusionModel.h"
#include "MGIdentityListModel.h"
#include "MGIdentityPopUpButton.h"
#include "NTLocalizedString.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QSortFilterProxyModel>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

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

}

// What a search shows: the identities whose login or full name holds the text; with no text,
// every item, separators and titles included.
class MGIdentitySearchModel : public QSortFilterProxyModel
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

MGIdentityPopUp::MGIdentityPopUp(MGIdentityPopUpButton *button) : QFrame(button, Qt::Popup), m_button(button)
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
    m_model = new MGIdentitySearchModel(this);
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

bool MGIdentityPopUp::eventFilter(QObject *watched, QEvent *event)
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

void MGIdentityPopUp::sayWhoIsLeftOut(const QString &text)
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

void MGIdentityPopUp::selectFirstIdentity()
{
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const QModelIndex index = m_model->index(row, 0);
        if (isIdentity(index.data(Qt::UserRole))) {
            m_list->setCurrentIndex(index);
            return;
        }
    }
}

// An id typed as "uid:N" or "gid:N" needs no account; a name the button's owner knows
// elsewhere (a file server's account) is taken as typed.
void MGIdentityPopUp::chooseTyped()
{
    const QString text = m_search->text().trimmed();
    std::optional<CBIdentity> identity;
    if (text.startsWith(QLatin1String("uid:")) || text.startsWith(QLatin1String("gid:")))
        identity = CBIdentityAuthority::defaultIdentityAuthority().identityForText(text);
    else if (m_button && m_button->m_typed && !text.isEmpty())
        identity = m_button->m_typed(text);
    if (!identity || !identity->isUserOrGroup())
        return;
    m_chosen = true;
    close();
    if (m_button)
        m_button->chooseIdentity(*identity);
}

void MGIdentityPopUp::closeEvent(QCloseEvent *event)
{
    if (!m_chosen && m_button)
        QMetaObject::invokeMethod(m_button, [button = m_button, escaped = m_escaped] { emit button->dismissed(escaped); },
                                  Qt::QueuedConnection);
    QFrame::closeEvent(event);
}

void MGIdentityPopUp::choose(const QModelIndex &index)
{
    if (!index.isValid() || !(index.flags() & Qt::ItemIsEnabled) || !isIdentity(index.data(Qt::UserRole)))
        return;
    const int row = m_model->mapToSource(index).row();
    m_chosen = true;
    close();
    if (m_button)
        m_button->choose(row);
}
