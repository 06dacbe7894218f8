#include "MGItemPaths.h"

#include "MGAclTextFormat.h"

#include <QFile>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <unistd.h>

namespace MGItemPaths {

QByteArray nativePath(const QUrl &url)
{
    if (!url.isLocalFile())
        return QByteArray();
    return QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
}

QUrl urlForNativePath(const QByteArray &path)
{
    return QUrl::fromEncoded("file://" + path.toPercentEncoding("/"), QUrl::StrictMode);
}

bool isServerUrl(const QUrl &url)
{
    return url.scheme() == QLatin1String("smb") && !url.host().isEmpty();
}

bool isServerPath(const QByteArray &path)
{
    return path.startsWith("smb://");
}

std::optional<QUrl> serverUrlForMountPath(const QByteArray &path)
{
    static const QByteArray marker = "/gvfs/smb-share:";
    const qsizetype at = path.indexOf(marker);
    if (!path.startsWith("/run/user/") || at < 0)
        return std::nullopt;
    const qsizetype end = path.indexOf('/', at + marker.size());
    const QByteArray fields = path.mid(at + marker.size(), end < 0 ? -1 : end - at - marker.size());
    QByteArray server, share;
    for (const QByteArray &field : fields.split(',')) {
        if (field.startsWith("server="))
            server = QByteArray::fromPercentEncoding(field.mid(7));
        else if (field.startsWith("share="))
            share = QByteArray::fromPercentEncoding(field.mid(6));
    }
    if (server.isEmpty() || share.isEmpty())
        return std::nullopt;
    QUrl url;
    url.setScheme(QStringLiteral("smb"));
    url.setHost(QString::fromUtf8(server));
    url.setPath(QLatin1Char('/') + QString::fromUtf8(share) + (end < 0 ? QString() : QString::fromUtf8(path.mid(end))));
    if (!url.isValid())
        return std::nullopt;
    return url.adjusted(QUrl::StripTrailingSlash);
}

QByteArray requestPath(const QUrl &url)
{
    return isServerUrl(url) ? url.adjusted(QUrl::RemovePassword | QUrl::RemoveQuery | QUrl::RemoveFragment).toEncoded()
                            : nativePath(url);
}

QString shownPath(const QUrl &url)
{
    if (isServerUrl(url))
        return url.toDisplayString(QUrl::RemovePassword | QUrl::RemoveQuery | QUrl::RemoveFragment);
    return QFile::decodeName(nativePath(url));
}

QByteArray absolutePath(const QByteArray &path)
{
    if (path.startsWith('/'))
        return path;
    char buffer[PATH_MAX];
    const QByteArray here = getcwd(buffer, sizeof buffer) ? QByteArray(buffer) : QByteArray("/");
    return here.endsWith('/') ? here + path : here + '/' + path;
}

QByteArray parentPath(const QByteArray &path)
{
    QByteArray trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith('/'))
        trimmed.chop(1);
    const qsizetype slash = trimmed.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : trimmed.left(slash);
}

QByteArray fileName(const QByteArray &path)
{
    QByteArray trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith('/'))
        trimmed.chop(1);
    return trimmed == "/" ? trimmed : trimmed.mid(trimmed.lastIndexOf('/') + 1);
}

QByteArray cleanPath(const QByteArray &path)
{
    QByteArrayList parts;
    for (const QByteArray &part : absolutePath(path).split('/')) {
        if (part == "..") {
            if (!parts.isEmpty())
                parts.removeLast();
        } else if (!part.isEmpty() && part != ".") {
            parts << part;
        }
    }
    return '/' + parts.join('/');
}

Resolution resolve(const QByteArray &path)
{
    const QByteArray clean = cleanPath(path);
    char buffer[PATH_MAX];
    if (!realpath(absolutePath(path).constData(), buffer)) {
        const int error = errno;
        return {clean, false, error != ENOENT && error != ENOTDIR, error};
    }
    // A path written plainly names the item without a link.
    return {QByteArray(buffer), clean != QByteArray(buffer), true, 0};
}

std::optional<QList<MountPoint>> mountPoints()
{
    QFile mounts(QStringLiteral("/proc/self/mountinfo"));
    if (!mounts.open(QIODevice::ReadOnly))
        return std::nullopt;
    // "ID PARENT MAJOR:MINOR ROOT MOUNT-POINT ...", with spaces and the like as \ooo. Read
    // whole: /proc files have no size, so QFile's end-of-file test cannot be used.
    QList<MountPoint> points;
    for (const QByteArray &line : mounts.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() >= 5)
            points << MountPoint{fields[0].toULongLong(), MGAclTextFormat::unescapePath(fields[4])};
    }
    return points;
}
}
