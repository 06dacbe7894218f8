#include "MGChangeBlockers.h"

#include <QFile>
#include <cerrno>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace MGChangeBlockers {

MGResultError check(const MGFileItem &item, const QString &failure, Scope scope)
{
    // The status carries the item's marks whatever was asked for.
    struct statx status {};
    const bool known = item.status(&status) == 0;
    struct statvfs fileSystem {};
    if (fstatvfs(item.descriptor(), &fileSystem) == 0 && (fileSystem.f_flag & ST_RDONLY)) {
        // The mount's own place, for the command that lifts the block.
        const QString place = known ? mountPoint(status.stx_mnt_id) : QString();
        return MGError::posixError(
            EROFS, QStringLiteral("%1 \u201c%2\u201d: the file system it is on is mounted read-only, so nobody can change "
                                  "it, an administrator neither. To change it, mount that file system read-write "
                                  "again (mount -o remount,rw %3).")
                       .arg(failure, item.shownPath(), place.isEmpty() ? QStringLiteral("MOUNT-POINT") : place));
    }
    if (scope == Scope::FileSystem || !known)
        return std::nullopt;
    const auto marked = [&](quint64 attribute) {
        return (status.stx_attributes_mask & attribute) && (status.stx_attributes & attribute);
    };
    const auto blocked = [&](const QString &mark, const QString &flag) {
        return MGError(QString::fromLatin1(MGError::ServiceDomain), MGError::UnchangeableItem,
                       QStringLiteral("%1 \u201c%2\u201d: it is marked %3, and while it is, nobody can change its owner, "
                                      "permissions or ACL, an administrator neither. An administrator can lift the mark "
                                      "with \u201cchattr -%4 %2\u201d.")
                           .arg(failure, item.shownPath(), mark, flag));
    };
    if (marked(STATX_ATTR_IMMUTABLE))
        return blocked(QStringLiteral("immutable"), QStringLiteral("i"));
    if (marked(STATX_ATTR_APPEND))
        return blocked(QStringLiteral("append-only"), QStringLiteral("a"));
    return std::nullopt;
}

QString mountPoint(quint64 mountId)
{
    QFile mounts(QStringLiteral("/proc/self/mountinfo"));
    if (!mounts.open(QIODevice::ReadOnly))
        return QString();
    // "ID PARENT MAJOR:MINOR ROOT MOUNT-POINT ...", with spaces and the like as \ooo.
    // Read whole: /proc files have no size, so QFile's end-of-file test cannot be used.
    const QList<QByteArray> lines = mounts.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() < 5 || fields[0].toULongLong() != mountId)
            continue;
        QByteArray place;
        const QByteArray &escaped = fields[4];
        for (qsizetype i = 0; i < escaped.size(); ++i) {
            if (escaped[i] == '\\' && i + 3 < escaped.size()) {
                place += char(escaped.mid(i + 1, 3).toInt(nullptr, 8));
                i += 3;
            } else {
                place += escaped[i];
            }
        }
        return QFile::decodeName(place);
    }
    return QString();
}
}
