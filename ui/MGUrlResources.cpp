#include "MGUrlResources.h"

#include "MGItemPaths.h"

#include <QFile>
#include <sys/stat.h>

QVariant resourceForKey(const QUrl &url, const QString &key)
{
    if (!url.isLocalFile())
        return {};
    const QByteArray path = MGItemPaths::nativePath(url);
    if (key == NSURLIsDirectoryKey) {
        struct stat st;
        return stat(path.constData(), &st) == 0 ? QVariant(S_ISDIR(st.st_mode)) : QVariant();
    }
    if (key == NSURLLocalizedNameKey)
        return QFile::decodeName(MGItemPaths::fileName(path));
    if (key == NSURLParentDirectoryURLKey) {
        if (MGItemPaths::fileName(path) == "/")
            return {};
        return MGItemPaths::urlForNativePath(MGItemPaths::parentPath(path));
    }
    return {};
}
