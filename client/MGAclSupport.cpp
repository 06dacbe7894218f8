#include "MGAclSupport.h"

#include "MGItemPaths.h"
#include "NTLocalizedString.h"

#include <QFile>
#include <QStorageInfo>
#include <cerrno>
#include <sys/xattr.h>

namespace MGAclSupport {

QString unavailableReason(const QUrl &item)
{
    // The path's own bytes: a name that is not UTF-8 is another name once made text.
    const QByteArray native = MGItemPaths::nativePath(item);
    // A file system without ACLs refuses the attribute's very name; one with them answers
    // with the ACL or "no such attribute".
    if (lgetxattr(native.constData(), "system.posix_acl_access", nullptr, 0) >= 0 || errno != EOPNOTSUPP)
        return QString();
    const QString type = QString::fromLatin1(QStorageInfo(QFile::decodeName(MGItemPaths::parentPath(native))).fileSystemType());
    return NTLocalizedString::localize(QStringLiteral("The file system of this item (%1) keeps no ACLs: only the owner, "
                                                      "the group and everyone can be given permissions here."),
                                       QStringLiteral("ACL"))
        .arg(type.isEmpty() ? QStringLiteral("?") : type);
}
}
