#include "MGAclTableRowView.h"

#include <QEvent>
#include <QLabel>
#include <QStyle>

MGAclTableRowView::MGAclTableRowView(QWidget *parent) : QWidget(parent)
{
    auto *label = new QLabel(this);
    QFont bold = label->font();
    bold.setBold(true);
    label->setFont(bold);
    label->setForegroundRole(QPalette::WindowText);
    label->setAutoFillBackground(false);
    label->setTextInteractionFlags(Qt::NoTextInteraction);
    m_textField = label;
    layoutTextField();
}

QSize MGAclTableRowView::sizeHint() const
{
    const QSize label = m_textField ? m_textField->sizeHint() : QSize();
    return QSize(label.width() + LeadingInset + TrailingInset, label.height());
}

void MGAclTableRowView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layoutTextField();
}

void MGAclTableRowView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange)
        layoutTextField();
}

void MGAclTableRowView::layoutTextField()
{
    if (!m_textField)
        return;
    // Laid out by hand rather than by a layout so that the insets follow the reading
    // direction exactly: leading and trailing swap sides in right-to-left languages.
    const int height = m_textField->sizeHint().height();
    const QRect logical(LeadingInset, (this->height() - height) / 2,
                        qMax(0, width() - LeadingInset - TrailingInset), height);
    m_textField->setGeometry(QStyle::visualRect(layoutDirection(), rect(), logical));
}
