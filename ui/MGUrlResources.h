#pragma once

#include <QUrl>
#include <QVariant>

// Resource values of a file URL, looked up afresh on every call.
//   NSURLIsDirectoryKey        bool: the item is a folder (symbolic links are followed)
//   NSURLLocalizedNameKey      QString: the name shown to the user
//   NSURLParentDirectoryURLKey QUrl: the containing folder; nothing for "/"
// An unknown key, a non-file URL or a missing item gives an invalid QVariant.
QVariant resourceForKey(const QUrl &url, const QString &key);

inline const QString NSURLIsDirectoryKey = QStringLiteral("NSURLIsDirectoryKey");
inline const QString NSURLLocalizedNameKey = QStringLiteral("NSURLLocalizedNameKey");
inline const QString NSURLParentDirectoryURLKey = QStringLiteral("NSURLParentDirectoryURLKey");
