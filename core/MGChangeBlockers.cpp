#include "MGChangeBlockers.h"

#include "MGItemPaths.h"

#include "MGPosixLists.h"
#include "NTLocalizedString.h"

#include <QFile>
#include <cerrno>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace {
// In the language of whoever asked (the window's; the service answers in its caller's).
QString localized(const QString &text)
{
    return NTLocalizedString::localize(text, QStringLiteral("ACL"));
}
QString localized(const char *text)
{
    return localized(QString::fromUtf8(text));
}
}

namespace MGChangeBlockers {

MGResultError describe(const struct statx *status, bool readOnlyFileSystem, const QString &failure,
                       const QString &shownPath, Scope scope)
{
    if (readOnlyFileSystem) {
        // The mount's own place, for the command that lifts the block.
        const QString place = status ? mountPoint(status->stx_mnt_id) : QString();
        return MGError::posixError(
            EROFS, localized("%1 \u201c%2\u201d: the file system it is on is mounted read-only, so nobody can change "
                             "it, an administrator neither. To change it, mount that file system read-write "
                             "again (mount -o remount,rw %3).")
                       .arg(localized(failure), shownPath, place.isEmpty() ? QStringLiteral("MOUNT-POINT") : place));
    }
    if (scope == Scope::FileSystem || !status)
        return std::nullopt;
    const auto marked = [&](quint64 attribute) {
        return (status->stx_attributes_mask & attribute) && (status->stx_attributes & attribute);
    };
    const auto blocked = [&](const QString &mark, const QString &flag) {
        return MGError(QString::fromLatin1(MGError::ServiceDomain), MGError::UnchangeableItem,
                       localized("%1 \u201c%2\u201d: it is marked %3, and while it is, nobody can change its owner, "
                                 "permissions or ACL, an administrator neither. An administrator can lift the mark "
                                 "with \u201cchattr -%4 %2\u201d.")
                           .arg(localized(failure), shownPath, mark, flag));
    };
    if (marked(STATX_ATTR_IMMUTABLE))
        return blocked(localized("immutable"), QStringLiteral("i"));
    if (marked(STATX_ATTR_APPEND))
        return blocked(localized("append-only"), QStringLiteral("a"));
    return std::nullopt;
}

MGResultError kindBlocker(mode_t mode, const QString &failure, const QString &shownPath)
{
    if (S_ISDIR(mode) || S_ISREG(mode))
        return std::nullopt;
    return MGError::posixError(EINVAL, localized("%1 \u201c%2\u201d: it is %3, and only folders and regular files are changed")
                                           .arg(localized(failure), shownPath, MGPosixLists::kindOf(mode)));
}

MGResultError checkPath(const QByteArray &path, const QString &failure, const QString &shownPath)
{
    struct statx status {};
    if (statx(AT_FDCWD, path.constData(), AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT, STATX_BASIC_STATS | STATX_MNT_ID,
              &status) != 0)
        return std::nullopt;
    if (MGResultError kind = kindBlocker(status.stx_mode, failure, shownPath))
        return kind;
    struct statvfs fileSystem {};
    const bool readOnly = statvfs(path.constData(), &fileSystem) == 0 && (fileSystem.f_flag & ST_RDONLY);
    return describe(&status, readOnly, failure, shownPath);
}

QString mountPoint(quint64 mountId)
{
    for (const MGItemPaths::MountPoint &point : MGItemPaths::mountPoints().value_or(QList<MGItemPaths::MountPoint>())) {
        if (point.id == mountId)
            return QFile::decodeName(point.path);
    }
    return QString();
}
}
