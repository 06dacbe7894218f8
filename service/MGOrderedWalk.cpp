#include "MGOrderedWalk.h"

#include "MGFolderListing.h"

#include <QList>
#include <vector>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
struct Listed
{
    QByteArray name;
    unsigned char type;
};
}

void MGOrderedWalk::walk(int rootFd, const QByteArray &rootPath)
{
    // A stack of open folders, not a recursion: a tree may be deeper than any thread's stack
    // would hold (each level costs a descriptor here, and the walk ends its way down at the
    // descriptor limit, as a failure of that folder). One path grows and shrinks with the
    // stack: a deep tree's paths are not each held whole.
    struct Level
    {
        int fd;
        bool owned;
        qsizetype pathLength;
        QList<Listed> items;
        qsizetype next = 0;
    };
    std::vector<Level> stack;
    QByteArray path = rootPath;
    // Enters the folder open at `fd`, named `path` as it stands; false when it cannot be listed.
    const auto enter = [&](int fd, bool owned) {
        // The whole listing first: the folder's descriptor is all that stays open below it.
        Level level{fd, owned, path.size(), {}, 0};
        if (const int error = MGFolderListing::forEach(fd, [&](const char *name, unsigned char type) {
                level.items << Listed{QByteArray(name), type};
            })) {
            m_failures.add(path, error);
            if (owned)
                close(fd);
            return false;
        }
        stack.push_back(std::move(level));
        return true;
    };
    enter(rootFd, false);
    while (!stack.empty() && !stopped()) {
        Level &top = stack.back();
        path.truncate(top.pathLength);
        if (top.next >= top.items.size()) {
            if (top.owned)
                close(top.fd);
            stack.pop_back();
            continue;
        }
        const Listed item = top.items.at(top.next++);
        if (item.type == DT_LNK)
            continue;
        const int parent = top.fd;
        path += '/' + item.name;
        if (const int folder = visitChild(parent, item.name, item.type, path); folder >= 0)
            enter(folder, true);
    }
    for (const Level &level : stack) {
        if (level.owned)
            close(level.fd);
    }
}

int MGOrderedWalk::visitChild(int folder, const QByteArray &name, unsigned char type, const QByteArray &path)
{
    int fd = -1;
    int listError = 0;
    if (type == DT_DIR || type == DT_UNKNOWN) {
        fd = openat(folder, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0 && errno != ENOTDIR && errno != ELOOP)
            listError = errno;
    }
    const bool listable = fd >= 0;
    if (fd < 0)
        fd = openat(folder, name.constData(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        m_failures.add(path, errno);
        return -1;
    }
    const MGDescriptor item = listable ? MGDescriptor::opened(fd) : MGDescriptor::pathOnly(fd);
    struct statx status;
    if (statx(fd, "", AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW, MGFolderListing::StatusMask, &status) != 0) {
        m_failures.add(path, errno);
    } else if (S_ISLNK(status.stx_mode) || status.stx_mnt_id != m_mount) {
        // A link that took the name since the listing, or another file system: not ours to visit.
    } else if (const int error = m_visit(item, status, path)) {
        m_failures.add(path, error);
    } else if (S_ISDIR(status.stx_mode)) {
        if (listable)
            return fd; // entered next, and closed when its items are done
        m_failures.add(path, listError ? listError : EACCES);
    }
    close(fd);
    return -1;
}
