#include "MGAclNoticeBar.h"

#include "MGAccessibleRoles.h"
#include "NTLocalizedString.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>

namespace {
const QString ACL = QStringLiteral("ACL");
}

MGAclNoticeBar::MGAclNoticeBar(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("noticeBar"));
    MGAccessibleRoles::setRole(this, QAccessible::AlertMessage);
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 6);
    m_icon = new QLabel(this);
    m_label = new QLabel(this);
    m_label->setWordWrap(true);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_reload = button("Reload", "Reads the item again; the edits are dropped");
    m_keep = button("Keep my edits", "Keeps the edits; saving writes them over what is on disk");
    m_restore = button("Restore my edits", "Puts the edits that were not saved back in the list, over what was read");
    layout->addWidget(m_icon, 0, Qt::AlignTop);
    layout->addWidget(m_label, 1);
    layout->addWidget(m_reload);
    layout->addWidget(m_keep);
    layout->addWidget(m_restore);
    connect(m_reload, &QPushButton::clicked, this, &MGAclNoticeBar::reloadChosen);
    connect(m_keep, &QPushButton::clicked, this, &MGAclNoticeBar::keepChosen);
    connect(m_restore, &QPushButton::clicked, this, &MGAclNoticeBar::restoreChosen);
    hide();
}

QPushButton *MGAclNoticeBar::button(const char *title, const char *description)
{
    auto *button = new QPushButton(NTLocalizedString::localize(QString::fromLatin1(title), ACL), this);
    button->setAccessibleName(button->text());
    button->setAccessibleDescription(NTLocalizedString::localize(QString::fromLatin1(description), ACL));
    return button;
}

void MGAclNoticeBar::showNotice(const MGAclEditSession::Notice &notice)
{
    using Notice = MGAclEditSession::Notice;
    m_label->setText(notice.text);
    const bool warning = notice.kind != Notice::AsksAuthorisation && notice.kind != Notice::InheritedNotKept;
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize);
    m_icon->setPixmap(style()->standardIcon(warning ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxInformation)
                          .pixmap(size, size));
    // Reading the item again is the answer to a change on disk, and to an item gone or
    // replaced (it finds the item if it is back).
    const bool gone = notice.kind == Notice::Gone || notice.kind == Notice::Replaced;
    const QString reload = NTLocalizedString::localize(gone ? QStringLiteral("Read again") : QStringLiteral("Reload"), ACL);
    if (m_reload->text() != reload) {
        m_reload->setText(reload);
        m_reload->setAccessibleName(reload);
    }
    m_reload->setVisible(notice.kind == Notice::ChangedOnDisk || gone);
    m_keep->setVisible(notice.kind == Notice::ChangedOnDisk);
    m_restore->setVisible(notice.kind == Notice::EditsDiscarded);
    setVisible(!notice.text.isEmpty());
    MGAccessibleRoles::announce(this, notice.text);
}
