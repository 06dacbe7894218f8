#pragma once

#include "MGChangeBlockers.h"
#include "MGError.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <fcntl.h>
#include <sys/stat.h>

// One file or folder, resolved once, with no symbolic link followed in any part of its
// path, and from then on reached only through its descriptor. The descriptor is an O_PATH
// one: holding it opens no device, FIFO or file, and every status, owner, mode and
// attribute call goes to the very inode that was resolved, whatever is renamed meanwhile.
// A descriptor the service reaches an item through: an O_PATH one, which opens nothing, or
// one open for reading, which the tree walk hands out where opening cannot start a device
// (see MGTreeWalker). Attribute calls go to an open descriptor itself and through the
// /proc/self/fd name of an O_PATH one, since the kernel refuses them on O_PATH.
struct MGDescriptor
{
    int fd = -1;
    bool open = false;

    static MGDescriptor pathOnly(int fd) { return {fd, false}; }
    static MGDescriptor opened(int fd) { return {fd, true}; }
};

class MGFileItem
{
public:
    // Resolves an absolute path given as the bytes the file system uses. `failure` begins
    // the description of any error ("Cannot read the permissions of").
    static MGResult<MGFileItem> open(const QByteArray &path, const QString &failure);

    MGFileItem(MGFileItem &&other) noexcept;
    MGFileItem &operator=(MGFileItem &&other) noexcept;
    MGFileItem(const MGFileItem &) = delete;
    MGFileItem &operator=(const MGFileItem &) = delete;
    ~MGFileItem();

    int descriptor() const { return m_fd; }
    MGDescriptor handle() const { return MGDescriptor::pathOnly(m_fd); }
    const QByteArray &path() const { return m_path; }
    // The path as shown in messages.
    QString shownPath() const { return QFile::decodeName(m_path); }

    // Type, mode, owner, group, link count and mount of the item; 0 or an errno.
    int status(struct statx *status) const;
    // For a regular file: an error unless the name it was resolved by is, at one instant
    // that a racer cannot split (see MGNameWatch), its only name. Another name may lie
    // anywhere, and a change through one name is a change under all of them. Nothing for
    // other items: folders have one name, and nothing else is changed.
    MGResultError loneName(const QString &failure) const;
    // Whether this process changes files of others (root), and so changes a regular file
    // only through its only name.
    static bool changesOthersFiles();
    // What keeps anyone from changing the item (see MGChangeBlockers), found through its
    // descriptor.
    MGResultError changeBlocker(const QString &failure, MGChangeBlockers::Scope scope = MGChangeBlockers::Scope::Item) const;
    // An error about this item: "<what> “<path>”: <system message>".
    MGError error(int errnoValue, const QString &what) const;

private:
    MGFileItem(int fd, QByteArray path) : m_fd(fd), m_path(std::move(path)) {}
    static int openPath(const QByteArray &path, int flags);
    MGError severalNames(quint32 names, const QString &failure) const;

    int m_fd = -1;
    QByteArray m_path;
};

// Calls on a descriptor, O_PATH ones included. The /proc/self/fd name an O_PATH
// descriptor's attributes are reached by leads to its inode and nothing else. Each answers
// 0 or an errno.
namespace MGDescriptors {
// The /proc/self/fd name of a descriptor, which leads to its inode (or, read as a link,
// gives the path the kernel knows it by).
QByteArray procPath(int fd);
// The value of an extended attribute; an empty value when the item has none or its file
// system keeps none.
int attribute(MGDescriptor item, const char *name, QByteArray *value);
int setAttribute(MGDescriptor item, const char *name, const QByteArray &value);
// Removing an attribute that is not there counts as done.
int removeAttribute(MGDescriptor item, const char *name);
int changeOwner(MGDescriptor item, uid_t owner, gid_t group);
int changeMode(MGDescriptor item, mode_t mode);
// Whether calls may use the kernel's descriptor-based calls where it has them (fchmodat2);
// off, they take the /proc/self/fd way that older kernels need (for tests of that way).
void setUseNewerCalls(bool use);
}
