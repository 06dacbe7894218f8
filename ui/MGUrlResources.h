#pragma once

#include <QUrl>
#include <QVariant>

// Resource values of a file URL, looked up afresh on every call. For an item on a file
// server (smb://), its name and folder from the URL, and whether it is a folder as it was
// last seen (rememberKind), since nothing here may ask the server.
//   NSURLIsDirectoryKey        bool: the item is a folder (symbolic links are followed)
//   NSURLLocalizedNameKey      QString: the name shown to the user
//   NSURLParentDirectoryURLKey QUrl: the containing folder; nothing for "/"
// An unknown key, a non-file URL or a missing item gives an invalid QVariant.
QVariant resourceForKey(const QUrl &url, const QString &key);
void rememberKind(const QUrl &url, bool directory);

inline const QString NSURLIsDirectoryKey = QStringLiteral("NSURLIsDirectoryKey");
inline const QString NSURLLocalizedNameKey = QStringLiteral("NSURLLocalizedNameKey");
inline const QString NSURLParentDirectoryURLKey = QStringLiteral("NSURLParentDirectoryURLKey");
