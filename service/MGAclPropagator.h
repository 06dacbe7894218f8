#pragma once

#include "MGAclList.h"
#include "MGError.h"
#include "MGFileItem.h"

#include <QMutex>
#include <QStringList>
#include <atomic>
#include <chrono>
#include <functional>
#include <sys/stat.h>

// Gives everything below a folder the folder's owner, group, permission bits and the ACL it
// would inherit from the folder (files keep execute bits only where they had one).
//
// The walk starts from the folder's descriptor and works on descriptors only: each folder
// is opened relative to its parent with O_NOFOLLOW | O_DIRECTORY, each file is opened
// O_PATH | O_NOFOLLOW (which opens no device, FIFO or file) and changed through that
// descriptor after its status has been asked through it. So no path is ever looked up from
// the root, paths may be of any length, and what is checked is what is changed.
//
// Changed are folders and regular files with one name. Left alone, and counted, are links,
// special files (devices, FIFOs, sockets), files with several hard links (another name may
// lie outside the tree), anything on another file system or behind a mount point (bind
// mounts of the same file system included), and items swapped or removed while the walk
// reached them. Items that cannot be changed are counted and the first few reported at the
// end.
//
// The files of a folder are opened, asked for their status and closed in io_uring batches
// (a system call per batch instead of one per file). Folders are handed out to two threads
// per processor.
class MGAclPropagator
{
public:
    MGAclPropagator(const MGFileItem &folder, MGAclList folderEntries);

    // Propagates only while the folder still holds `expected`'s entries (what the caller read).
    void setExpected(std::optional<MGAclList> expected) { m_expected = std::move(expected); }

    MGResultError run();

    // What the walk did.
    struct Summary
    {
        qint64 changed = 0;
        qint64 links = 0; // symbolic links, never followed nor changed
        qint64 otherMounts = 0; // other file systems and mount points
        qint64 special = 0; // devices, FIFOs, sockets
        qint64 hardLinks = 0; // regular files with more than one name
        qint64 changedWhileWalking = 0; // swapped or removed between listing and change
        qint64 failed = 0;
        QStringList failedPaths; // the first ReportedPaths, each with its error
        qint64 skipped() const { return links + otherMounts + special + hardLinks + changedWhileWalking; }
    };
    Summary summary() const;

    // Called from the walking threads, one at a time and at most every `interval`, with what
    // has been done so far and the folder the walk has just finished.
    using ProgressHandler = std::function<void(const Summary &sofar, const QByteArray &folder)>;
    void setProgressHandler(ProgressHandler handler, std::chrono::milliseconds interval);

    static constexpr int ReportedPaths = 5;

private:
    struct Template
    {
        QByteArray access;
        QByteArray defaults; // folders only; empty: no default ACL
    };
    struct Item;
    struct Descriptor;
    struct Task;
    class FileBatch;
    class Walk;
    struct Counters;

    MGResultError prepare(mode_t folderMode);
    void walk(int rootFd);
    bool readFolder(int fd, const QByteArray &path, QList<QByteArray> &subfolders, QList<Item> &files);
    void visitFolder(int fd, const QByteArray &path, FileBatch &batch, Walk &walk, const std::shared_ptr<Descriptor> &self);
    void applyToFolder(int fd, const struct statx &status, const QByteArray &shownPath);
    void applyToFile(int fd, const struct statx &status, const QByteArray &shownPath);
    void fail(const QByteArray &path, int error);
    void reportProgress(const QByteArray &folder);

    const MGFileItem &m_item;
    QString m_path;
    MGAclList m_entries;
    std::optional<MGAclList> m_expected;
    uid_t m_owner = 0;
    gid_t m_group = 0;
    quint64 m_mount = 0;
    Template m_folder, m_executable, m_plain;
    std::atomic<qint64> m_changed = 0, m_links = 0, m_otherMounts = 0, m_special = 0, m_hardLinks = 0,
                        m_changedWhileWalking = 0;
    ProgressHandler m_progress;
    std::chrono::steady_clock::duration m_progressInterval{};
    std::atomic<std::chrono::steady_clock::rep> m_nextReport = 0;
    QMutex m_progressLock;
    mutable QMutex m_failureLock;
    qint64 m_failures = 0;
    int m_firstError = 0;
    QStringList m_failedPaths;
};
