#include "MGAclItemWatch.h"

#include "MGItemPaths.h"

MGAclItemWatch::MGAclItemWatch(const QByteArray &path, std::function<void()> changed, QObject *parent)
    : QObject(parent), m_changed(std::move(changed))
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(500);
    connect(&m_quiet, &QTimer::timeout, this, [this] { m_changed(); });
    m_poll.setInterval(2000);
    connect(&m_poll, &QTimer::timeout, this, [this] { m_changed(); });
    // The item reports changes of its owner, mode and ACL; its folder, the item replaced.
    m_eventer = new MGFileEventer(this, {path, MGItemPaths::parentPath(path)}, false, this);
}

void MGAclItemWatch::setPolling(bool on)
{
    if (on == m_poll.isActive())
        return;
    if (on)
        m_poll.start();
    else
        m_poll.stop();
}

void MGAclItemWatch::fileSystemEventHappenedAtPaths(const QStringList &)
{
    m_quiet.start();
}
