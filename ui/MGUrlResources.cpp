#include "MGUrlResources.h"

#include <QDir>
#include <QFileInfo>

QVariant resourceForKey(const QUrl &url, const QString &key)
{
    if (!url.isLocalFile())
        return {};
    const QString path = QDir::cleanPath(url.toLocalFile());
    const QFileInfo info(path);
    if (key == NSURLIsDirectoryKey)
        return info.exists() ? QVariant(info.isDir()) : QVariant();
    if (key == NSURLLocalizedNameKey) {
        if (path == QLatin1String("/"))
            return path;
        return info.fileName();
    }
    if (key == NSURLParentDirectoryURLKey) {
        if (path == QLatin1String("/"))
            return {};
        return QUrl::fromLocalFile(info.absolutePath());
    }
    return {};
}
