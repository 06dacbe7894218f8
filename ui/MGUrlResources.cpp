#include "MGUrlResources.h"

#include "MGItemPaths.h"

#include <QFile>
#include <QHash>
#include <QMutex>
#include <sys/stat.h>

namespace {
QMutex kindsLock;
QHash<QUrl, bool> &kinds()
{
    static QHash<QUrl, bool> known;
    return known;
}

QVariant serverResource(const QUrl &url, const QString &key)
{
    const QUrl item = url.adjusted(QUrl::StripTrailingSlash | QUrl::RemovePassword);
    if (key == NSURLIsDirectoryKey) {
        const QMutexLocker locker(&kindsLock);
        const auto found = kinds().constFind(item);
        return found == kinds().constEnd() ? QVariant() : QVariant(*found);
    }
    if (key == NSURLLocalizedNameKey)
        return item.fileName().isEmpty() ? item.host() : item.fileName();
    if (key == NSURLParentDirectoryURLKey) {
        const QUrl parent = item.adjusted(QUrl::RemoveFilename | QUrl::StripTrailingSlash);
        // A share's own folder has none on the server.
        return parent.path().count(QLatin1Char('/')) < 1 || parent.path() == QLatin1String("/") ? QVariant() : QVariant(parent);
    }
    return {};
}
}

void rememberKind(const QUrl &url, bool directory)
{
    const QMutexLocker locker(&kindsLock);
    kinds().insert(url.adjusted(QUrl::StripTrailingSlash | QUrl::RemovePassword), directory);
}

QVariant resourceForKey(const QUrl &url, const QString &key)
{
    if (MGItemPaths::isServerUrl(url))
        return serverResource(url, key);
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
