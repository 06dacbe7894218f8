#include "MGAclCapacity.h"

#include "MGPosixAcl.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace MGAclCapacity {

namespace {
// A folder of the item's file system that a temporary file can be made in: the item when
// it is a folder, otherwise its parent, provided that is still on the same device.
int folderOf(const MGFileItem &item)
{
    struct stat own {};
    if (fstat(item.descriptor(), &own) != 0)
        return -1;
    if (S_ISDIR(own.st_mode))
        return openat(item.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const QByteArray &path = item.path();
    const qsizetype slash = path.lastIndexOf('/');
    if (slash < 0)
        return -1;
    const MGResult<MGFileItem> parent = MGFileItem::open(slash == 0 ? QByteArray("/") : path.left(slash), QString());
    if (!parent)
        return -1;
    const int fd = openat(parent->descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat folder {};
    if (fd >= 0 && (fstat(fd, &folder) != 0 || folder.st_dev != own.st_dev)) {
        close(fd);
        return -1;
    }
    return fd;
}

QByteArray aclWithNamedEntries(int count)
{
    MGPosixAcl acl;
    acl.set(MGPosixAcl::UserObj, 6);
    acl.set(MGPosixAcl::GroupObj, 4);
    acl.set(MGPosixAcl::Mask, 6);
    acl.set(MGPosixAcl::Other, 0);
    // Ids no account is likely to have; the file is never visible to anyone anyway.
    for (int i = 0; i < count; ++i)
        acl.set(MGPosixAcl::User, 4, 0x7f000000u + quint32(i));
    return acl.toXattr();
}
}

std::optional<int> namedEntriesThatFit(const MGFileItem &item, int tried)
{
    const int folder = folderOf(item);
    if (folder < 0)
        return std::nullopt;
    const int probe = openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    close(folder);
    if (probe < 0)
        return std::nullopt;
    const auto fits = [probe](int count) {
        // From nothing each time: some file systems (btrfs) need room for the old value
        // and the new one while replacing.
        fremovexattr(probe, MGPosixAcl::AccessAttribute);
        const QByteArray value = aclWithNamedEntries(count);
        return fsetxattr(probe, MGPosixAcl::AccessAttribute, value.constData(), size_t(value.size()), 0) == 0;
    };
    std::optional<int> answer;
    if (fits(0)) {
        // Halving between what fits and what does not: a dozen writes for thousands of entries.
        int low = 0, high = tried;
        while (high - low > 1) {
            const int middle = low + (high - low) / 2;
            (fits(middle) ? low : high) = middle;
        }
        answer = low;
    }
    close(probe);
    return answer;
}

MGError tooLarge(const MGFileItem &item, int errnoValue, const QString &failure, int named)
{
    // A full disk answers ENOSPC too: only an ACL that does not fit even an empty file is
    // one too large.
    const std::optional<int> fit = namedEntriesThatFit(item, named);
    if (!fit || *fit >= named)
        return item.error(errnoValue, failure);
    return MGError::posixError(
        errnoValue, QStringLiteral("%1 \u201c%2\u201d: an ACL of %3 named entries is more than its file system keeps for "
                                   "one item; at most %4 fit there.")
                        .arg(failure, item.shownPath())
                        .arg(named)
                        .arg(*fit));
}
}
