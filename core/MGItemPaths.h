#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <optional>

// An item's path as the file system knows it: bytes. Names need not be valid UTF-8, so a
// path travels as bytes (percent-encoded inside a file URL) and becomes text only to be
// shown.
namespace MGItemPaths {
// The path of a local file URL, byte for byte.
QByteArray nativePath(const QUrl &url);
// The file URL of a path given as bytes; nativePath() gives the same bytes back.
QUrl urlForNativePath(const QByteArray &path);
// Items on SMB file servers are named by their URL ("smb://SERVER/SHARE/PATH"), which
// travels to the ACL service as its encoded bytes in place of a path.
bool isServerUrl(const QUrl &url);
bool isServerPath(const QByteArray &path);
// The smb:// URL of a path inside a desktop's mount of an SMB share
// ("/run/user/UID/gvfs/smb-share:server=S,share=H,user=U/REST" is smb://S/H/REST); nothing
// for any other path.
std::optional<QUrl> serverUrlForMountPath(const QByteArray &path);
// What names the item in a request: its path, or a server item's URL without any password.
QByteArray requestPath(const QUrl &url);

// The path as shown to the user (bytes that are not UTF-8 show as replacement characters).
QString shownPath(const QUrl &url);

// `path` made absolute against the current folder, without looking at the file system.
QByteArray absolutePath(const QByteArray &path);
// The folder a path is in ("/" for "/" and for items directly in it), and its last part.
QByteArray parentPath(const QByteArray &path);
QByteArray fileName(const QByteArray &path);

// `path` made absolute, with "." and ".." taken away by its words alone.
QByteArray cleanPath(const QByteArray &path);

// What a path leads to: every symbolic link on the way followed, "." and ".." taken away.
// When this process may not look along the whole path (a folder it cannot enter), the
// path is only cleaned and `error` says why; when nothing is there, `exists` is false.
struct Resolution
{
    QByteArray path;
    bool throughLink = false; // a link was followed to get there
    bool exists = true;
    int error = 0;
};
Resolution resolve(const QByteArray &path);

// The mounts of this process's namespace, each with its id and its mount point (the escapes
// of /proc/self/mountinfo undone); nothing when that cannot be read.
struct MountPoint
{
    quint64 id = 0;
    QByteArray path;
};
std::optional<QList<MountPoint>> mountPoints();
}
