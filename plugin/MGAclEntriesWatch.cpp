#include "MGAclEntriesWatch.h"

#include "MGItemPaths.h"

MGAclEntriesWatch::MGAclEntriesWatch(const QByteArray &path, std::function<void()> changed, QObject *parent)
    : QObject(parent), m_changed(std::move(changed))
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(500);
    connect(&m_quiet, &QTimer::timeout, this, [this] { m_changed(); });
    // The item reports changes of its owner, mode and ACL; its folder, the item replaced.
    m_eventer = new MGFileEventer(this, {path, MGItemPaths::parentPath(path)}, false, this);
}

void MGAclEntriesWatch::fileSystemEventHappenedAtPaths(const QStringList &)
{
    m_quiet.start();
}
