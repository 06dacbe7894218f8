#include "MGAclNoticeBar.h"

#include "NTLocalizedString.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>

MGAclNoticeBar::MGAclNoticeBar(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("noticeBar"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 6);
    m_icon = new QLabel(this);
    m_label = new QLabel(this);
    m_label->setWordWrap(true);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_reload = new QPushButton(NTLocalizedString::localize(QStringLiteral("Reload"), QStringLiteral("ACL")), this);
    m_keep = new QPushButton(NTLocalizedString::localize(QStringLiteral("Keep my edits"), QStringLiteral("ACL")), this);
    m_reload->setAccessibleName(m_reload->text());
    m_reload->setAccessibleDescription(
        NTLocalizedString::localize(QStringLiteral("Reads the item again; the edits are dropped"), QStringLiteral("ACL")));
    m_keep->setAccessibleName(m_keep->text());
    m_keep->setAccessibleDescription(NTLocalizedString::localize(
        QStringLiteral("Keeps the edits; saving writes them over what is on disk"), QStringLiteral("ACL")));
    layout->addWidget(m_icon, 0, Qt::AlignTop);
    layout->addWidget(m_label, 1);
    layout->addWidget(m_reload);
    layout->addWidget(m_keep);
    connect(m_reload, &QPushButton::clicked, this, &MGAclNoticeBar::reloadChosen);
    connect(m_keep, &QPushButton::clicked, this, &MGAclNoticeBar::keepChosen);
    hide();
}

void MGAclNoticeBar::showNotice(const QString &text, bool choices, bool warning)
{
    m_label->setText(text);
    setAccessibleName(text);
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize);
    m_icon->setPixmap(style()->standardIcon(warning ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxInformation)
                          .pixmap(size, size));
    m_reload->setVisible(choices);
    m_keep->setVisible(choices);
    setVisible(!text.isEmpty());
}
