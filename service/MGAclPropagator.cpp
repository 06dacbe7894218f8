#include "MGAclPropagator.h"

#include "MGPosixAclStore.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <linux/types.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#ifndef SYS_setxattrat
#define SYS_setxattrat 463
#endif

namespace {
struct XattrArgs
{
    __aligned_u64 value;
    __u32 size;
    __u32 flags;
};

struct LinuxDirent64
{
    ino64_t d_ino;
    off64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[];
};

// Sets an attribute of `name` in the folder `dirFd` without opening it or following a
// link. Kernels before 6.13 lack setxattrat; there the item is reached through an O_PATH
// descriptor, which opens no device or FIFO either.
int setAttributeAt(int dirFd, const char *name, const char *attribute, const QByteArray &value)
{
    static bool haveSetxattrat = true;
    if (haveSetxattrat) {
        XattrArgs args{reinterpret_cast<__u64>(value.constData()), __u32(value.size()), 0};
        if (syscall(SYS_setxattrat, dirFd, name, AT_SYMLINK_NOFOLLOW, attribute, &args, sizeof args) == 0)
            return 0;
        if (errno != ENOSYS)
            return errno;
        haveSetxattrat = false;
    }
    const int fd = openat(dirFd, name, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const QByteArray proc = "/proc/self/fd/" + QByteArray::number(fd);
    const int rc = setxattr(proc.constData(), attribute, value.constData(), size_t(value.size()), 0);
    const int error = rc == 0 ? 0 : errno;
    close(fd);
    return error;
}
}

struct MGAclPropagator::Folder
{
    int fd;
    QByteArray path;
    QByteArray buffer;
    int used = 0;
    int offset = 0;
};

MGAclPropagator::MGAclPropagator(QString folderPath, MGAclList folderEntries)
    : m_path(std::move(folderPath)), m_entries(std::move(folderEntries))
{
}

void MGAclPropagator::fail(const QByteArray &path, int error)
{
    if (m_failures++ == 0)
        m_firstError = error;
    if (m_failedPaths.size() < ReportedPaths)
        m_failedPaths << QStringLiteral("%1 (%2)").arg(QString::fromUtf8(path), QString::fromLocal8Bit(strerror(error)));
}

MGResultError MGAclPropagator::prepare(mode_t folderMode)
{
    // The folder's own list must be storable; its state gives owner, group and bits.
    MGPosixItemState folder;
    folder.mode = folderMode;
    const MGResult<MGPosixItemState> state = MGPosixAclStore::stateFromList(m_entries, folder, m_path);
    if (!state)
        return state.error();
    m_owner = state->owner;
    m_group = state->group;

    // What a child inherits: the converted copies of the folder's ACL entries. The base
    // entries (owner, group, other, mask) are the folder's own; what the folder passes on
    // for them stays in a child folder's default ACL only.
    auto childList = [this, &state](bool directory) {
        MGAclList list;
        for (const MGAclEntry::Pointer &entry : MGAclLists::aclEntries(m_entries)) {
            MGAclEntry::Pointer copy = entry->copy();
            const bool passes = directory ? copy->convertInheritedToDirectoryEntry() : copy->convertInheritedToFileEntry();
            if (!passes)
                continue;
            copy->setInherited(false); // POSIX ACLs keep no inherited mark
            if (copy->identity().isSpecial() && !(copy->flags() & MGAclFlag::OnlyInherit))
                continue;
            list << copy;
        }
        return list;
    };
    auto toTemplate = [&](const MGAclList &aclPart, bool directory) -> MGResult<MGPosixItemState> {
        MGAclList list = aclPart;
        for (const MGAclItem &item : m_entries) {
            const MGAclEntry *entry = MGAclLists::entryOf(item);
            if (entry && !entry->isAcl())
                list << entry->copy();
        }
        MGPosixItemState child;
        child.mode = directory ? S_IFDIR : S_IFREG;
        return MGPosixAclStore::stateFromList(list, child, m_path);
    };
    const MGResult<MGPosixItemState> folderChild = toTemplate(childList(true), true);
    if (!folderChild)
        return folderChild.error();
    const MGResult<MGPosixItemState> fileChild = toTemplate(childList(false), false);
    if (!fileChild)
        return fileChild.error();
    m_folder = {folderChild->access.toXattr(), folderChild->defaultAcl.isEmpty() ? QByteArray()
                                                                                  : folderChild->defaultAcl.toXattr()};
    m_executable = {fileChild->access.toXattr(), {}};
    MGPosixAcl plain = fileChild->access;
    plain.removeExecuteBits();
    m_plain = {plain.toXattr(), {}};
    return std::nullopt;
}

MGResultError MGAclPropagator::run()
{
    const QByteArray root = m_path.toUtf8();
    const int fd = open(root.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return MGError::posixError(errno, QStringLiteral("Cannot propagate the permissions of"), m_path);
    struct stat st;
    if (fstat(fd, &st) != 0) {
        const int error = errno;
        close(fd);
        return MGError::posixError(error, QStringLiteral("Cannot propagate the permissions of"), m_path);
    }
    if (MGResultError error = prepare(st.st_mode)) {
        close(fd);
        return error;
    }
    walk(fd, st.st_dev);
    if (m_failures == 0)
        return std::nullopt;
    return MGError::posixError(
        m_firstError, QStringLiteral("%1 of the items below \u201c%2\u201d could not be changed: %3%4")
                          .arg(m_failures)
                          .arg(m_path, m_failedPaths.join(QStringLiteral(", ")),
                               m_failures > m_failedPaths.size() ? QStringLiteral(", \u2026") : QString()));
}

void MGAclPropagator::applyToFolder(int fd, const QByteArray &shownPath)
{
    struct stat st;
    if (fstat(fd, &st) != 0)
        return fail(shownPath, errno);
    if ((st.st_uid != m_owner || st.st_gid != m_group) && fchown(fd, m_owner, m_group) != 0)
        return fail(shownPath, errno);
    if (fsetxattr(fd, MGPosixAcl::AccessAttribute, m_folder.access.constData(), size_t(m_folder.access.size()), 0) != 0)
        return fail(shownPath, errno);
    if (m_folder.defaults.isEmpty()) {
        if (fremovexattr(fd, MGPosixAcl::DefaultAttribute) != 0 && errno != ENODATA)
            return fail(shownPath, errno);
    } else if (fsetxattr(fd, MGPosixAcl::DefaultAttribute, m_folder.defaults.constData(),
                         size_t(m_folder.defaults.size()), 0)
               != 0) {
        return fail(shownPath, errno);
    }
    ++m_changed;
}

void MGAclPropagator::applyToEntry(int dirFd, const char *name, unsigned char type, dev_t device,
                                   const QByteArray &shownPath, QList<Folder> &stack)
{
    if (type == DT_LNK)
        return;
    if (type == DT_DIR || type == DT_UNKNOWN) {
        const int fd = openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
        if (fd >= 0) {
            struct stat st;
            if (fstat(fd, &st) != 0 || st.st_dev != device) {
                // Another file system is mounted here: leave it alone.
                close(fd);
                return;
            }
            applyToFolder(fd, shownPath);
            stack.append(Folder{fd, shownPath, QByteArray(), 0, 0});
            return;
        }
        // ELOOP: a link that replaced the folder; ENOTDIR: not a folder after all.
        if (errno == ELOOP)
            return;
        if (errno != ENOTDIR || type == DT_DIR)
            return fail(shownPath, errno);
    }
    struct stat st;
    if (fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return fail(shownPath, errno);
    if (S_ISLNK(st.st_mode) || st.st_dev != device)
        return;
    if ((st.st_uid != m_owner || st.st_gid != m_group) && fchownat(dirFd, name, m_owner, m_group, AT_SYMLINK_NOFOLLOW) != 0)
        return fail(shownPath, errno);
    // Like chmod's X: files keep execute permission only where they had some.
    const Template &acl = (st.st_mode & 0111) ? m_executable : m_plain;
    if (const int error = setAttributeAt(dirFd, name, MGPosixAcl::AccessAttribute, acl.access))
        return fail(shownPath, error);
    ++m_changed;
}

void MGAclPropagator::walk(int rootFd, dev_t device)
{
    QList<Folder> stack;
    stack.append(Folder{rootFd, m_path.toUtf8(), QByteArray(), 0, 0});
    while (!stack.isEmpty()) {
        Folder &top = stack.last();
        if (top.offset >= top.used) {
            if (top.buffer.isEmpty())
                top.buffer.resize(32 * 1024);
            const long n = syscall(SYS_getdents64, top.fd, top.buffer.data(), top.buffer.size());
            if (n <= 0) {
                if (n < 0)
                    fail(top.path, errno);
                close(top.fd);
                stack.removeLast();
                continue;
            }
            top.used = int(n);
            top.offset = 0;
        }
        const auto *entry = reinterpret_cast<const LinuxDirent64 *>(top.buffer.constData() + top.offset);
        top.offset += entry->d_reclen;
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        const int dirFd = top.fd;
        const QByteArray path = top.path + '/' + name;
        // `top` may move when a folder is pushed, so nothing of it is used after this call.
        applyToEntry(dirFd, name, entry->d_type, device, path, stack);
    }
}
