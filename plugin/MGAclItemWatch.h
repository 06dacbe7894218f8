#pragma once

#include "MGFileEventer.h"

#include <QTimer>
#include <functional>

// The one watch of a window's item, for as long as the window is open: it says when the item
// may have changed (its owner, mode, ACL or marks, or the item replaced or removed), once
// per burst of file-system events, half a second after the last one. While polling it also
// says so every two seconds, for what no event tells (a read-only mount made writable).
// Lives on the thread that makes it, which needs an event loop.
class MGAclItemWatch : public QObject, public MGFileEventerDelegate
{
    Q_OBJECT
public:
    MGAclItemWatch(const QByteArray &path, std::function<void()> changed, QObject *parent = nullptr);

    void setPolling(bool on);
    void fileSystemEventHappenedAtPaths(const QStringList &paths) override;

private:
    std::function<void()> m_changed;
    QTimer m_quiet;
    QTimer m_poll;
    MGFileEventer *m_eventer;
};
