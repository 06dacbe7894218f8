#include "MGMenuPlugin.h"

#include "MGItemPaths.h"

#include <QFile>

MGHostItem MGHostItem::fromPath(const QByteArray &path)
{
    // An item on a file server is named by its URL, which nothing here resolves.
    if (MGItemPaths::isServerPath(path)) {
        const QUrl url = QUrl::fromEncoded(path);
        return MGHostItem(url, MGItemPaths::isServerUrl(url));
    }
    // A path through a folder the user may not enter stays as written: the service may
    // still reach it with an administrator's authorisation.
    const MGItemPaths::Resolution resolved = MGItemPaths::resolve(path);
    MGHostItem item(MGItemPaths::urlForNativePath(resolved.path), resolved.exists);
    if (resolved.throughLink)
        item.m_linkUrl = MGItemPaths::urlForNativePath(MGItemPaths::cleanPath(path));
    return item;
}

MGHostItem MGHostItem::fromPath(const QString &path)
{
    return fromPath(QFile::encodeName(path));
}
