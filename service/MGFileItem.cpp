#include "MGFileItem.h"

#include <QFile>
#include <atomic>
#include <cerrno>
#include <linux/openat2.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#ifndef SYS_openat2
#define SYS_openat2 437
#endif
#ifndef SYS_fchmodat2
#define SYS_fchmodat2 452
#endif

namespace {
std::atomic<bool> useNewerCalls = true;
std::atomic<bool> haveFchmodat2 = true;

// One of the attribute calls, on an open descriptor or else on the O_PATH one's /proc name.
template <typename OnDescriptor, typename OnPath>
auto attributeCall(MGDescriptor item, OnDescriptor onDescriptor, OnPath onPath)
{
    if (item.open)
        return onDescriptor(item.fd);
    const QByteArray proc = MGDescriptors::procPath(item.fd);
    return onPath(proc.constData());
}

ssize_t readAttribute(MGDescriptor item, const char *name, void *buffer, size_t size)
{
    return attributeCall(
        item, [&](int fd) { return fgetxattr(fd, name, buffer, size); },
        [&](const char *path) { return getxattr(path, name, buffer, size); });
}
}

MGResult<MGFileItem> MGFileItem::open(const QByteArray &path, const QString &failure)
{
    const QString shown = QFile::decodeName(path);
    if (!path.startsWith('/') || path.contains('\0'))
        return MGError::posixError(EINVAL, QStringLiteral("%1 \u201c%2\u201d: the path is not absolute").arg(failure, shown));
    open_how how{};
    how.flags = O_PATH | O_CLOEXEC;
    // No link is followed, in any part of the path: a link swapped in for the item or
    // for a folder on its way is refused, not taken to wherever it points.
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    const int fd = int(syscall(SYS_openat2, AT_FDCWD, path.constData(), &how, sizeof how));
    if (fd < 0) {
        if (errno == ELOOP)
            return MGError::posixError(
                ELOOP, QStringLiteral("%1 \u201c%2\u201d: a part of the path is a symbolic link, and the ACL service follows "
                                      "none; choose the item the link leads to")
                           .arg(failure, shown));
        return MGError::posixError(errno, failure, shown);
    }
    return MGFileItem(fd, path);
}

MGFileItem::MGFileItem(MGFileItem &&other) noexcept : m_fd(other.m_fd), m_path(std::move(other.m_path))
{
    other.m_fd = -1;
}

MGFileItem &MGFileItem::operator=(MGFileItem &&other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0)
            close(m_fd);
        m_fd = other.m_fd;
        m_path = std::move(other.m_path);
        other.m_fd = -1;
    }
    return *this;
}

MGFileItem::~MGFileItem()
{
    if (m_fd >= 0)
        close(m_fd);
}

int MGFileItem::status(struct statx *status) const
{
    const unsigned mask = STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID | STATX_NLINK | STATX_MNT_ID;
    return statx(m_fd, "", AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW, mask, status) == 0 ? 0 : errno;
}

MGError MGFileItem::error(int errnoValue, const QString &what) const
{
    return MGError::posixError(errnoValue, what, shownPath());
}

namespace MGDescriptors {

QByteArray procPath(int fd)
{
    return "/proc/self/fd/" + QByteArray::number(fd);
}

int attribute(MGDescriptor item, const char *name, QByteArray *value)
{
    // Most values (an ACL of up to 60 entries) fit here: one call instead of two.
    char small[512];
    const ssize_t quick = readAttribute(item, name, small, sizeof small);
    if (quick >= 0) {
        *value = QByteArray(small, quick);
        return 0;
    }
    if (errno == ENODATA || errno == EOPNOTSUPP) {
        value->clear();
        return 0;
    }
    if (errno != ERANGE)
        return errno;
    for (;;) {
        const ssize_t size = readAttribute(item, name, nullptr, 0);
        if (size < 0) {
            if (errno == ENODATA || errno == EOPNOTSUPP) {
                value->clear();
                return 0;
            }
            return errno;
        }
        value->resize(size);
        const ssize_t got = readAttribute(item, name, value->data(), size_t(value->size()));
        if (got < 0 && errno == ERANGE)
            continue; // it grew between the two calls
        if (got < 0)
            return errno;
        value->truncate(got);
        return 0;
    }
}

int setAttribute(MGDescriptor item, const char *name, const QByteArray &value)
{
    const int result = attributeCall(
        item, [&](int fd) { return fsetxattr(fd, name, value.constData(), size_t(value.size()), 0); },
        [&](const char *path) { return setxattr(path, name, value.constData(), size_t(value.size()), 0); });
    return result == 0 ? 0 : errno;
}

int removeAttribute(MGDescriptor item, const char *name)
{
    const int result = attributeCall(
        item, [&](int fd) { return fremovexattr(fd, name); }, [&](const char *path) { return removexattr(path, name); });
    return result == 0 || errno == ENODATA ? 0 : errno;
}

int changeOwner(MGDescriptor item, uid_t owner, gid_t group)
{
    const int result = item.open ? fchown(item.fd, owner, group) : fchownat(item.fd, "", owner, group, AT_EMPTY_PATH);
    return result == 0 ? 0 : errno;
}

int changeMode(MGDescriptor item, mode_t mode)
{
    if (item.open)
        return fchmod(item.fd, mode) == 0 ? 0 : errno;
    if (useNewerCalls && haveFchmodat2) {
        if (syscall(SYS_fchmodat2, item.fd, "", mode, AT_EMPTY_PATH) == 0)
            return 0;
        if (errno != ENOSYS)
            return errno;
        haveFchmodat2 = false; // kernels before 6.6
    }
    const QByteArray proc = procPath(item.fd);
    return chmod(proc.constData(), mode) == 0 ? 0 : errno;
}

void setUseNewerCalls(bool use)
{
    useNewerCalls = use;
}
}

MGResultError MGFileItem::changeBlocker(const QString &failure, MGChangeBlockers::Scope scope) const
{
    // The status carries the item's marks whatever was asked for.
    struct statx status {};
    const bool known = this->status(&status) == 0;
    struct statvfs fileSystem {};
    const bool readOnly = fstatvfs(descriptor(), &fileSystem) == 0 && (fileSystem.f_flag & ST_RDONLY);
    return MGChangeBlockers::describe(known ? &status : nullptr, readOnly, failure, shownPath(), scope);
}
