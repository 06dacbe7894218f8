#pragma once

#include "MGPropagationProgress.h"

#include <QElapsedTimer>
#include <QFrame>

class QLabel;
class QProgressBar;
class QPushButton;

// The strip along the bottom of the window while a propagation runs: how many items, how
// fast, the folder it is in, and Stop; then one line saying how it ended, until dismissed.
// It never blocks the window.
class MGAclPropagationView : public QFrame
{
    Q_OBJECT
public:
    explicit MGAclPropagationView(QWidget *parent = nullptr);

    // A propagation began (the strip shows, counting from now).
    void start();
    void showProgress(const MGPropagationProgress &progress);
    // The walk stops at its next folder; until then the strip says so.
    void showStopping();
    // How it ended: what was done, and whether it failed.
    void showSummary(const MGPropagationProgress &summary, bool failed);

    QString text() const;
    QPushButton *stopButton() const { return m_stop; }
    QPushButton *dismissButton() const { return m_dismiss; }
    bool isRunning() const { return m_running; }

signals:
    void stopClicked();

private:
    QLabel *m_text;
    QProgressBar *m_busy;
    QPushButton *m_stop;
    QPushButton *m_dismiss;
    QElapsedTimer m_clock;
    bool m_running = false;
};
