#pragma once

#include "MGAclList.h"
#include "MGError.h"
#include "MGFileItem.h"
#include "MGPropagationProgress.h"
#include "MGTreeWalker.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <sys/stat.h>

// Gives everything below a folder the folder's owner, group, permission bits and the ACL it
// would inherit from the folder (files keep execute bits only where they had one).
//
// The walk is MGTreeWalker's: descriptors only, no link followed, no mount point crossed.
// Changed are folders and regular files with one name, where they differ from what they
// should be; the others are counted as already right. Left alone, and counted, are links,
// special files (devices, FIFOs, sockets), files with several hard links (another name may
// lie outside the tree), anything on another file system or behind a mount point, and items
// swapped or removed while the walk reached them. Items that cannot be changed are counted
// and the first few reported at the end.
class MGAclPropagator : private MGTreeWalker::Visitor
{
public:
    MGAclPropagator(const MGFileItem &folder, MGAclList folderEntries);

    // Propagates only while the folder still holds `expected`'s entries (what the caller read).
    void setExpected(std::optional<MGAclList> expected) { m_expected = std::move(expected); }
    // Walks and counts what would change, changing nothing.
    void setDryRun(bool dryRun) { m_dryRun = dryRun; }
    // Once the flag is set, the walk ends at the next folder: what was done stays done.
    void setStopFlag(std::shared_ptr<const std::atomic<bool>> stop) { m_stop = std::move(stop); }

    MGResultError run();

    // What the walk did (stopped is set once run() has returned).
    using Summary = MGPropagationProgress;
    Summary summary() const;

    // Called from the walking threads, one at a time and at most every `interval`, with what
    // has been done so far (its folder the one the walk has just finished).
    using ProgressHandler = std::function<void(const Summary &sofar)>;
    void setProgressHandler(ProgressHandler handler, std::chrono::milliseconds interval);

private:
    struct Template
    {
        QByteArray access;
        QByteArray defaults; // folders only; empty: no default ACL
        // An access ACL of owner, group and other alone is kept as the mode bits only.
        bool minimal = false;
        mode_t bits = 0;
    };

    MGResultError prepare(mode_t folderMode);
    void folder(int fd, const struct statx &status, const QByteArray &path) override;
    void item(MGDescriptor file, const struct statx &status, const QByteArray &path) override;
    bool changesItems() const override { return !m_dryRun; }
    // Whether the item already has the template's owner, group and ACLs; an errno when
    // its ACL cannot be read.
    int isRight(MGDescriptor item, const struct statx &status, const Template &wanted, bool folder, bool *right) const;
    // Counts an item that is right already, or that a dry run would change: nothing to write.
    bool countsOnly(MGDescriptor item, const struct statx &status, const Template &wanted, bool folder, const QByteArray &path);

    const MGFileItem &m_item;
    QString m_path;
    MGAclList m_entries;
    std::optional<MGAclList> m_expected;
    bool m_dryRun = false;
    std::shared_ptr<const std::atomic<bool>> m_stop;
    bool m_wasStopped = false;
    ProgressHandler m_progress;
    std::chrono::milliseconds m_progressInterval{};
    uid_t m_owner = 0;
    gid_t m_group = 0;
    Template m_folder, m_executable, m_plain;
    std::unique_ptr<MGTreeWalker> m_walker;
    std::atomic<qint64> m_changed = 0, m_alreadyRight = 0, m_hardLinks = 0;
};
