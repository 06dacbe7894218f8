#include "MGNameWatch.h"

#include "MGFileItem.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
constexpr uint32_t NameEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
}

MGNameWatch::MGNameWatch() : m_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    if (m_fd < 0)
        m_error = errno;
}

MGNameWatch::~MGNameWatch()
{
    if (m_fd >= 0)
        close(m_fd);
}

int MGNameWatch::watch(int folder)
{
    if (m_fd < 0)
        return -m_error;
    // IN_MASK_CREATE: a folder already watched (never twice in one walk) is an error, not a
    // watch shared with whoever watches it.
    const int number = inotify_add_watch(m_fd, MGDescriptors::procPath(folder).constData(),
                                         NameEvents | IN_ONLYDIR | IN_MASK_CREATE);
    if (number < 0)
        return -errno;
    QMutexLocker locker(&m_lock);
    m_changes.insert(number, Changes());
    return number;
}

void MGNameWatch::drain()
{
    alignas(inotify_event) char buffer[16 * 1024];
    constexpr ssize_t LargestEvent = sizeof(inotify_event) + NAME_MAX + 1;
    for (;;) {
        const ssize_t length = read(m_fd, buffer, sizeof buffer);
        if (length < 0 && errno == EINTR)
            continue;
        if (length <= 0) {
            if (length < 0 && errno != EAGAIN) {
                for (Changes &changes : m_changes)
                    changes.error = errno;
            }
            return;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
            offset += ssize_t(sizeof(inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                for (Changes &changes : m_changes)
                    changes.all = true;
                continue;
            }
            const auto found = m_changes.find(event->wd);
            if (found == m_changes.end() || !(event->mask & NameEvents))
                continue; // IN_IGNORED of a watch let go, or a folder gone
            found->names.insert(QByteArray(event->name, qsizetype(strnlen(event->name, event->len))));
        }
        // A read gives every event queued when it was made that fits: with room left for the
        // largest, none was left behind, and what came since is not of the changes asked about.
        if (length <= ssize_t(sizeof buffer) - LargestEvent)
            return;
    }
}

MGNameWatch::Changes MGNameWatch::changes(int folder, int watch)
{
    // A listing takes the folder's lock: a change of its names under way has ended, and
    // queued its event, once this returns.
    char buffer[256];
    if (syscall(SYS_getdents64, folder, buffer, sizeof buffer) < 0) {
        Changes failed;
        failed.error = errno;
        return failed;
    }
    QMutexLocker locker(&m_lock);
    drain();
    return m_changes.value(watch);
}

void MGNameWatch::unwatch(int watch)
{
    if (watch < 0)
        return;
    inotify_rm_watch(m_fd, watch);
    QMutexLocker locker(&m_lock);
    m_changes.remove(watch);
}
