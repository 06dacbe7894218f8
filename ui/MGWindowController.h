#pragma once

#include "MGWindow.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

// Owns a window, shows it, and keeps its frame in the settings under
// "NSWindow Frame <autosave name>" as "{{x, y}, {width, height}}".
class MGWindowController : public QObject
{
    Q_OBJECT
public:
    explicit MGWindowController(MGWindow *window, QObject *parent = nullptr);
    ~MGWindowController() override;

    MGWindow *window() const { return m_window; }
    void showWindow();

    // Names the frame in the settings; a frame saved under the name is applied at once.
    void setWindowFrameAutosaveName(const QString &name);

    static QString settingsKey(const QString &autosaveName) { return QStringLiteral("NSWindow Frame ") + autosaveName; }
    static QString stringFromRect(const QRect &rect);
    static std::optional<QRect> rectFromString(const QString &text);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void saveFrame();

    QPointer<MGWindow> m_window;
    const QObject *m_windowObject; // the same window, compared in the event filter
    QString m_autosaveName;
    QTimer m_saveTimer;
};
