#include "MGWindowController.h"

#include <QEvent>
#include <QRegularExpression>
#include <QSettings>

MGWindowController::MGWindowController(MGWindow *window, QObject *parent)
    : QObject(parent), m_window(window), m_windowObject(window)
{
    // Moving and resizing send many events; the frame is written once they settle.
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(200);
    connect(&m_saveTimer, &QTimer::timeout, this, &MGWindowController::saveFrame);
    window->installEventFilter(this);
}

MGWindowController::~MGWindowController()
{
    if (m_window)
        m_window->removeEventFilter(this);
    delete m_window;
}

void MGWindowController::showWindow()
{
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void MGWindowController::setWindowFrameAutosaveName(const QString &name)
{
    m_autosaveName = name;
    // A frame saved under this name is taken over whole, size included.
    if (const auto saved = rectFromString(QSettings().value(settingsKey(name)).toString())) {
        m_window->resize(saved->size());
        m_window->move(saved->topLeft());
    }
}

QString MGWindowController::stringFromRect(const QRect &rect)
{
    return QStringLiteral("{{%1, %2}, {%3, %4}}").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

std::optional<QRect> MGWindowController::rectFromString(const QString &text)
{
    static const QRegularExpression form(
        QStringLiteral("^\\{\\{(-?\\d+), (-?\\d+)\\}, \\{(\\d+), (\\d+)\\}\\}$"));
    const QRegularExpressionMatch match = form.match(text.trimmed());
    if (!match.hasMatch())
        return std::nullopt;
    return QRect(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt(),
                 match.captured(4).toInt());
}

bool MGWindowController::eventFilter(QObject *watched, QEvent *event)
{
    // Compared as objects: a window being destroyed still sends events, is no longer an
    // MGWindow, and the guarded pointer would cast it to one.
    if (watched == m_windowObject && !m_autosaveName.isEmpty()) {
        if (event->type() == QEvent::Move || event->type() == QEvent::Resize)
            m_saveTimer.start();
        else if (event->type() == QEvent::Close || event->type() == QEvent::Hide)
            saveFrame();
    }
    return QObject::eventFilter(watched, event);
}

void MGWindowController::saveFrame()
{
    if (!m_window || m_autosaveName.isEmpty() || !m_window->isVisible())
        return;
    QSettings().setValue(settingsKey(m_autosaveName),
                         stringFromRect(QRect(m_window->pos(), m_window->size())));
}
