#pragma once

#include <QUrl>

#include <QByteArray>
#include <QtGlobal>

// What an item was when its list was read: which file (device and inode) and its change
// time (set by every change of owner, mode or ACL). Taken just before the read, so that a
// change during the read counts as one.
struct MGAclItemStamp
{
    bool known = false;
    quint64 device = 0;
    quint64 inode = 0;
    qint64 born = 0; // when the file was made, in nanoseconds; 0 where its file system does not say
    qint64 changedSeconds = 0;
    qint64 changedNanoseconds = 0;

    // The item at `path` now (a link on the way followed, as the window follows it); not
    // known when nothing is there.
    static MGAclItemStamp of(const QByteArray &path);
    // The same for a URL; never known for an item on a file server, which has no local file.
    static MGAclItemStamp of(const QUrl &url);

    enum class Difference { None, Changed, Replaced, Gone };
    // What became of the item read as `this`, now that it is `now`.
    Difference to(const MGAclItemStamp &now) const;
    // The same file: a file made in place of a removed one may get its inode number, but
    // not its birth.
    bool isSameItem(const MGAclItemStamp &other) const
    {
        return known && other.known && device == other.device && inode == other.inode
            && (born == 0 || other.born == 0 || born == other.born);
    }
};
