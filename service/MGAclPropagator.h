#pragma once

#include "MGAclList.h"
#include "MGError.h"
#include "MGPosixAcl.h"

#include <QMutex>
#include <sys/stat.h>
#include <QStringList>
#include <atomic>

// Gives everything below a folder the folder's owner, group, permission bits and the ACL it
// would inherit from the folder (files keep execute bits only where they had one).
//
// The walk works on descriptors: each folder is opened relative to its parent with
// O_NOFOLLOW | O_DIRECTORY, and files are changed with *at calls relative to their folder,
// so no path is ever looked up from the root, paths may be of any length, symbolic links
// are never followed (nor changed), devices and FIFOs are never opened, and other file
// systems mounted below the folder are left alone. Items that cannot be changed are
// skipped and reported together at the end.
//
// A folder is read whole, then the status of all its files is asked in one io_uring batch
// (one system call per batch instead of one per file), so each file costs a chown (only
// when owner or group differ) and one ACL write. Without io_uring, files are stat'ed one by
// one. Folders are handed out to two threads per processor.
class MGAclPropagator
{
public:
    MGAclPropagator(QString folderPath, MGAclList folderEntries);

    MGResultError run();

    // What the walk did, for tests and benchmarks.
    qint64 changedItems() const { return m_changed; }
    const QStringList &failedPaths() const { return m_failedPaths; }

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
    class StatusBatch;
    class Walk;

    MGResultError prepare(mode_t folderMode);
    void walk(int rootFd, dev_t device);
    bool readFolder(int fd, const QByteArray &path, QList<QByteArray> &subfolders, QList<Item> &files);
    void applyToFolder(int fd, const struct stat &status, const QByteArray &shownPath);
    void applyToFile(int dirFd, const Item &item, const struct statx &status, dev_t device, const QByteArray &shownPath);
    void fail(const QByteArray &path, int error);

    QString m_path;
    MGAclList m_entries;
    uid_t m_owner = 0;
    gid_t m_group = 0;
    Template m_folder, m_executable, m_plain;
    std::atomic<qint64> m_changed = 0;
    QMutex m_failureLock;
    qint64 m_failures = 0;
    int m_firstError = 0;
    QStringList m_failedPaths;
};
