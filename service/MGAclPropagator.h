#pragma once

#include "MGAclList.h"
#include "MGError.h"
#include "MGPosixAcl.h"

#include <QStringList>

// Gives everything below a folder the folder's owner, group, permission bits and the ACL it
// would inherit from the folder (files keep execute bits only where they had one).
//
// The walk works on descriptors: each folder is opened relative to its parent with
// O_NOFOLLOW | O_DIRECTORY, and files are changed with *at calls relative to their folder,
// so no path is ever looked up from the root, paths may be of any length, symbolic links
// are never followed (nor changed), devices and FIFOs are never opened, and other file
// systems mounted below the folder are left alone. Items that cannot be changed are
// skipped and reported together at the end.
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
    struct Folder;

    MGResultError prepare(mode_t folderMode);
    void walk(int rootFd, dev_t device);
    void applyToFolder(int fd, const QByteArray &shownPath);
    void applyToEntry(int dirFd, const char *name, unsigned char type, dev_t device, const QByteArray &shownPath,
                      QList<Folder> &stack);
    void fail(const QByteArray &path, int error);

    QString m_path;
    MGAclList m_entries;
    uid_t m_owner = 0;
    gid_t m_group = 0;
    Template m_folder, m_executable, m_plain;
    qint64 m_changed = 0;
    qint64 m_failures = 0;
    int m_firstError = 0;
    QStringList m_failedPaths;
};
