#pragma once

#include "MGFileEventer.h"

#include <QTimer>
#include <functional>

// Watches an item while its entries are shown, and says when they may have changed: once
// per burst of file-system events, half a second after the last one. Lives on the thread
// that makes it, which needs an event loop.
class MGAclEntriesWatch : public QObject, public MGFileEventerDelegate
{
    Q_OBJECT
public:
    MGAclEntriesWatch(const QByteArray &path, std::function<void()> changed, QObject *parent = nullptr);

    void fileSystemEventHappenedAtPaths(const QStringList &paths) override;

private:
    std::function<void()> m_changed;
    QTimer m_quiet;
    MGFileEventer *m_eventer;
};
