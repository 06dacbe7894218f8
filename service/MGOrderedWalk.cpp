#include "MGOrderedWalk.h"

#include "MGFolderListing.h"

#include <QList>
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

void MGOrderedWalk::walk(int fd, const QByteArray &path)
{
    // The whole listing first: the folder's descriptor is all that stays open below it.
    QList<Listed> items;
    if (const int error = MGFolderListing::forEach(fd, [&](const char *name, unsigned char type) { items << Listed{QByteArray(name), type}; })) {
        m_failures.add(path, error);
        return;
    }
    for (const Listed &item : std::as_const(items)) {
        if (stopped())
            return;
        if (item.type != DT_LNK)
            visitChild(fd, item.name, item.type, path + '/' + item.name);
    }
}

void MGOrderedWalk::visitChild(int folder, const QByteArray &name, unsigned char type, const QByteArray &path)
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
        return;
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
            walk(fd, path);
        else
            m_failures.add(path, listError ? listError : EACCES);
    }
    close(fd);
}
