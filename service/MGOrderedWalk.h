#pragma once

#include "MGFileItem.h"
#include "MGWalkFailures.h"

#include <atomic>
#include <functional>
#include <memory>
#include <sys/stat.h>

// Walks everything below a folder one item at a time, in the order getfacl -R takes:
// each folder's items in the order the folder lists them, a folder's contents right after
// the folder. The same tree is walked in the same order every time, so what is written
// from it can be compared and kept.
//
// As MGTreeWalker, it works on descriptors only: each item is opened relative to its
// folder with O_NOFOLLOW, a folder for reading, anything else O_PATH (which opens
// nothing), and its status is asked through that descriptor. Links are not followed nor
// visited; nothing on another file system or behind a mount point is visited. A folder
// that may not be listed is still visited (through an O_PATH descriptor); that its items
// could not be listed counts as a failure. The walk keeps its open folders on a stack of its
// own, not the thread's: however deep a tree, it ends at the descriptor limit at worst, with
// the folders below counted as failures.
class MGOrderedWalk
{
public:
    // Answers 0, or the errno that kept it from handling the item (a failure).
    using Visit = std::function<int(MGDescriptor item, const struct statx &status, const QByteArray &path)>;

    MGOrderedWalk(Visit visit, quint64 mountId) : m_visit(std::move(visit)), m_mount(mountId) {}
    // Once the flag is set, the walk ends at the next item.
    void setStopFlag(std::shared_ptr<const std::atomic<bool>> stop) { m_stop = std::move(stop); }

    // Walks below the folder open for reading at `fd` (left open), named `path`.
    void walk(int fd, const QByteArray &path);
    const MGWalkFailures &failures() const { return m_failures; }

private:
    bool stopped() const { return m_stop && m_stop->load(std::memory_order_relaxed); }
    // Visits an item of the folder open at `folder`; answers the descriptor of a folder to walk
    // next (the caller closes it), or -1.
    int visitChild(int folder, const QByteArray &name, unsigned char type, const QByteArray &path);

    Visit m_visit;
    quint64 m_mount;
    std::shared_ptr<const std::atomic<bool>> m_stop;
    MGWalkFailures m_failures;
};
