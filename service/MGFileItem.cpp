#include "MGFileItem.h"

#include "MGNameWatch.h"

#include <QFile>
#include <QScopeGuard>
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
    const int fd = openPath(path, O_PATH | O_CLOEXEC);
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

int MGFileItem::openPath(const QByteArray &path, int flags)
{
    open_how how{};
    how.flags = quint64(flags);
    // No link is followed, in any part of the path: a link swapped in for the item or
    // for a folder on its way is refused, not taken to wherever it points.
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    return int(syscall(SYS_openat2, AT_FDCWD, path.constData(), &how, sizeof how));
}

bool MGFileItem::changesOthersFiles()
{
    return geteuid() == 0;
}

MGError MGFileItem::severalNames(quint32 names, const QString &failure) const
{
    return MGError::posixError(EMLINK, QStringLiteral("%1 “%2”: the file has %3 names (hard links), and a change "
                                                      "made as an administrator through one of them would change it "
                                                      "under the others too, wherever they are. Its owner can change it.")
                                           .arg(failure, shownPath())
                                           .arg(names));
}

MGResultError MGFileItem::loneName(const QString &failure) const
{
    struct statx before;
    if (const int problem = status(&before))
        return error(problem, failure);
    if (!S_ISREG(before.stx_mode))
        return std::nullopt;
    if (before.stx_nlink != 1)
        return severalNames(before.stx_nlink, failure);
    // The name is looked up again in its folder while the folder's names are watched.
    const qsizetype slash = m_path.lastIndexOf('/');
    const QByteArray name = m_path.mid(slash + 1);
    const int folder = openPath(slash == 0 ? QByteArray("/") : m_path.left(slash), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return error(errno, failure);
    const auto closeFolder = qScopeGuard([folder] { close(folder); });
    MGNameWatch names;
    const int watch = names.watch(folder);
    if (watch < 0)
        return error(-watch, failure);
    struct statx named, now;
    const bool found = !name.isEmpty() && statx(folder, name.constData(), AT_SYMLINK_NOFOLLOW, STATX_INO, &named) == 0;
    const int problem = status(&now);
    const MGNameWatch::Changes changes = names.changes(folder, watch);
    if (problem)
        return error(problem, failure);
    if (!found || named.stx_ino != now.stx_ino || named.stx_dev_major != now.stx_dev_major
        || named.stx_dev_minor != now.stx_dev_minor || changes.contains(name))
        return MGError::posixError(ESTALE, QStringLiteral("%1 “%2”: its name was given to another file or taken "
                                                          "away while it was being changed, and nothing was changed.")
                                               .arg(failure, shownPath()));
    if (now.stx_nlink != 1)
        return severalNames(now.stx_nlink, failure);
    return std::nullopt;
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
    const unsigned mask = STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID | STATX_NLINK | STATX_INO | STATX_MNT_ID | STATX_BTIME;
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
