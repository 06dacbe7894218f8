#include "MGFileEventer.h"

#include <QFile>
#include <QHash>
#include <QSocketNotifier>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

MGFileEventer::MGFileEventer(MGFileEventerDelegate *delegate, const QByteArrayList &pathsToWatch, bool watchFiles,
                             QObject *parent)
    : QObject(parent), m_delegate(delegate)
{
    m_fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_fd < 0)
        return;
    const quint32 itemEvents = IN_ATTRIB | IN_MODIFY | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;
    const quint32 folderEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
    for (const QByteArray &path : pathsToWatch) {
        struct stat st;
        const bool folder = stat(path.constData(), &st) == 0 && S_ISDIR(st.st_mode);
        // A folder's watch also reports the attribute changes of the files in it; without
        // watchFiles only the folder and what is added or removed matter.
        quint32 mask = itemEvents | (folder ? folderEvents : 0);
        if (folder && !watchFiles)
            mask &= ~quint32(IN_MODIFY | IN_CLOSE_WRITE);
        const int watch = inotify_add_watch(m_fd, path.constData(), mask);
        if (watch >= 0)
            m_watches.insert(watch, QFile::decodeName(path));
    }
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &MGFileEventer::readEvents);
}

MGFileEventer::~MGFileEventer()
{
    delete m_notifier;
    if (m_fd >= 0)
        close(m_fd);
}

void MGFileEventer::readEvents()
{
    alignas(inotify_event) char buffer[16 * 1024];
    QStringList paths;
    for (;;) {
        const ssize_t n = read(m_fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        for (ssize_t offset = 0; offset < n;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
            offset += ssize_t(sizeof(inotify_event) + event->len);
            QString path = m_watches.value(event->wd);
            if (event->len > 0)
                path += QLatin1Char('/') + QFile::decodeName(event->name);
            if (!path.isEmpty() && !paths.contains(path))
                paths << path;
        }
    }
    if (!paths.isEmpty() && m_delegate)
        m_delegate->fileSystemEventHappenedAtPaths(paths);
}
