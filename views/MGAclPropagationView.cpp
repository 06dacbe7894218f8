#include "MGAclPropagationView.h"

#include "MGAccessibleRoles.h"
#include "MGItemPaths.h"
#include "NTLocalizedString.h"

#include <QFile>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>

namespace {
QString localized(const char *key)
{
    return NTLocalizedString::localize(QString::fromUtf8(key), QStringLiteral("ACL"));
}
}

MGAclPropagationView::MGAclPropagationView(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("propagationView"));
    // Read out when it appears, when a stop is asked for and when it says how it ended; the
    // running count is the label's, read on demand (a count read out ten times a second
    // would drown everything else).
    MGAccessibleRoles::setRole(this, QAccessible::AlertMessage);
    setFrameShape(QFrame::StyledPanel);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 4, 4, 4);
    m_busy = new QProgressBar(this);
    m_busy->setRange(0, 0); // how many items there are is not known before the end
    m_busy->setMaximumWidth(80);
    m_busy->setTextVisible(false);
    m_busy->setAccessibleName(localized("Propagation running"));
    m_busy->setAccessibleDescription(localized("Shows that the propagation is still running"));
    m_text = new QLabel(this);
    m_text->setObjectName(QStringLiteral("propagationText"));
    m_text->setWordWrap(true);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_text->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_stop = new QPushButton(localized("Stop"), this);
    m_stop->setAccessibleName(localized("Stop"));
    m_stop->setAccessibleDescription(localized("Stops the propagation at the next folder; what was done stays done"));
    m_dismiss = new QPushButton(this);
    m_dismiss->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
    m_dismiss->setFlat(true);
    m_dismiss->setToolTip(localized("Dismiss"));
    m_dismiss->setAccessibleName(localized("Dismiss"));
    m_dismiss->setAccessibleDescription(localized("Hides this result"));
    layout->addWidget(m_busy);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_stop);
    layout->addWidget(m_dismiss);
    connect(m_stop, &QPushButton::clicked, this, &MGAclPropagationView::stopClicked);
    connect(m_dismiss, &QPushButton::clicked, this, &QWidget::hide);
    hide();
}

QString MGAclPropagationView::text() const
{
    return m_text->text();
}

void MGAclPropagationView::start()
{
    m_clock.start();
    m_running = true;
    m_busy->show();
    m_stop->show();
    m_stop->setEnabled(true);
    m_dismiss->hide();
    m_text->setText(localized("Propagating\u2026"));
    show();
    MGAccessibleRoles::announce(this, m_text->text());
}

void MGAclPropagationView::showProgress(const MGPropagationProgress &progress)
{
    if (!m_running)
        return;
    const qint64 elapsed = qMax<qint64>(1, m_clock.elapsed());
    const qint64 rate = progress.items() * 1000 / elapsed;
    // Numbers grouped as the summary groups them.
    QString text = localized("Propagating\u2026 %1 items, %2 a second")
                       .arg(NTLocalizedString::count(progress.items()), NTLocalizedString::count(rate));
    if (!progress.folder.isEmpty())
        text += QStringLiteral(" \u2014 ") + QFile::decodeName(progress.folder);
    if (m_stop->isEnabled())
        m_text->setText(text);
}

void MGAclPropagationView::showStopping()
{
    m_stop->setEnabled(false);
    m_text->setText(localized("Stopping at the next folder\u2026"));
    MGAccessibleRoles::announce(this, m_text->text());
}

void MGAclPropagationView::showSummary(const MGPropagationProgress &summary, bool failed)
{
    m_running = false;
    m_busy->hide();
    m_stop->hide();
    m_dismiss->show();
    const char *how = summary.stopped ? "Stopped: %1" : failed ? "Propagation failed: %1" : "Propagated: %1";
    m_text->setText(localized(how).arg(summary.summaryText()));
    show();
    MGAccessibleRoles::announce(this, m_text->text());
}
