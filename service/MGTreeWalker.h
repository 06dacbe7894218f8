#pragma once

#include "MGError.h"
#include "MGFileItem.h"
#include "MGWalkFailures.h"

#include <QByteArray>
#include <QMutex>
#include <QStringList>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <sys/stat.h>

// Walks everything below a folder, safely, for whoever visits the items.
//
// The walk starts from the folder's descriptor and works on descriptors only: each folder
// is opened relative to its parent with O_NOFOLLOW | O_DIRECTORY, each other item by its
// name in its folder, and handed to the visitor with the status asked through that
// descriptor. So no path is ever looked up from the root, paths may be of any length, and
// what the visitor sees is what it may change.
//
// Where the process may mount and nothing is mounted below the folder, the walk goes
// through a private copy of the folder's mount (a detached bind mount made nodev). There a
// file the listing called regular is opened for reading, O_NOFOLLOW | O_NONBLOCK |
// O_NOCTTY, and its status asked through that descriptor decides what is done with it:
// whatever may have taken its name since the listing, the opening starts no device (nodev
// refuses it), waits for nothing and follows no link. Everything else, and every item of
// any other walk, is opened O_PATH | O_NOFOLLOW, which opens nothing.
//
// Never followed nor visited, and counted: symbolic links, anything on another file system
// or behind a mount point (bind mounts of the same file system included), and items
// swapped or removed between the listing and their visit. For a visitor that changes
// items, a file is visited only when its name is known to have meant it from before it was
// looked up until after its status was read (MGNameWatch): a link count of 1 in that status
// then says the name in the tree was its only one, even while someone links it from
// elsewhere into the tree and unlinks it again. Items that cannot be reached are
// counted as failures and the first few kept with their error.
//
// The items of a folder are opened and closed in io_uring batches (a system call per batch
// instead of one per item); their status is asked one by one, which costs a system call
// each but less CPU than io_uring's worker threads, which run every status request.
// Folders are handed out to two threads per processor, deepest first, so few descriptors
// stay open.
class MGTreeWalker
{
public:
    class Visitor
    {
    public:
        virtual ~Visitor() = default;
        // A folder below the root, open for reading; called before its items are visited.
        virtual void folder(int fd, const struct statx &status, const QByteArray &path) = 0;
        // Any other item of the same file system (a regular file, or a special file when
        // wanted), through a descriptor open for reading or an O_PATH one.
        virtual void item(MGDescriptor file, const struct statx &status, const QByteArray &path) = 0;
        // Special files (devices, FIFOs, sockets) are visited only when this answers true;
        // otherwise they are counted without being opened.
        virtual bool visitsSpecialFiles() const { return false; }
        // Whether item() changes what it is given, so that a file must be known to be the
        // one its name meant all along (see above).
        virtual bool changesItems() const { return false; }
        // Whether the walk goes into a folder below the root (its items and everything below
        // it), asked right after folder(). Nothing below a folder left out is opened, counted
        // or held in memory.
        virtual bool entersFolder(int fd, const struct statx &status, const QByteArray &path)
        {
            Q_UNUSED(fd);
            Q_UNUSED(status);
            Q_UNUSED(path);
            return true;
        }
    };

    struct Counts
    {
        qint64 links = 0;
        qint64 otherMounts = 0;
        qint64 special = 0; // left unvisited
        qint64 changedWhileWalking = 0;
        qint64 failed = 0;
        QStringList failedPaths; // the first ReportedPaths, each with its error
        int firstError = 0;
    };
    static constexpr int ReportedPaths = MGWalkFailures::ReportedPaths;

    MGTreeWalker(Visitor *visitor, quint64 mountId);

    // Once the flag is set, the walk ends at the next folder.
    void setStopFlag(std::shared_ptr<const std::atomic<bool>> stop) { m_stop = std::move(stop); }
    bool stopped() const { return m_stop && m_stop->load(std::memory_order_relaxed); }
    // Called from the walking threads, one at a time and at most every `interval`, with the
    // folder the walk has just finished.
    void setProgressHandler(std::function<void(const QByteArray &folder)> handler, std::chrono::milliseconds interval);

    // Walks below the folder open at `rootFd` (which the walk closes), named `rootPath`.
    void walk(int rootFd, const QByteArray &rootPath);

    // For visitors: an item that could not be handled, with its errno.
    void fail(const QByteArray &path, int error);
    void countSkippedSpecial() { ++m_special; }
    Counts counts() const;
    // No error when every item was handled; otherwise one that says how many items below
    // `root` could not be `what` ("read", "changed"), the first few of them, and the first
    // error's errno.
    std::optional<MGError> failures(const QString &what, const QString &root) const;

private:
    struct Item;
    struct Descriptor;
    struct Task;
    class FileBatch;
    class Walk;

    int intoPrivateCopy(int rootFd);
    bool readFolder(int fd, const QByteArray &path, QList<QByteArray> &subfolders, QList<Item> &items);
    void visitFolder(int fd, const QByteArray &path, FileBatch &batch, Walk &walk, const std::shared_ptr<Descriptor> &self);
    void reportProgress(const QByteArray &folder);

    Visitor *m_visitor;
    quint64 m_mount;
    bool m_opensFiles = false;
    std::shared_ptr<const std::atomic<bool>> m_stop;
    std::atomic<qint64> m_links = 0, m_otherMounts = 0, m_special = 0, m_changedWhileWalking = 0;
    std::function<void(const QByteArray &)> m_progress;
    std::chrono::steady_clock::duration m_progressInterval{};
    std::atomic<std::chrono::steady_clock::rep> m_nextReport = 0;
    QMutex m_progressLock;
    MGWalkFailures m_failures;
};
