#pragma once

#include <QByteArray>
#include <QHash>
#include <QMutex>
#include <QSet>

// Tells which names in a folder were made, removed or renamed while the service looked at
// the folder, so that a fact read about a file can be tied to its name at one instant.
//
// A file's link count says how many names it has, but not where they are: read through a
// descriptor while someone links the file into a folder and unlinks it again, it can say 1
// when the one name left is outside. A folder's names change only under the folder's lock,
// and the kernel queues the watch's event for each change before it lets go of that lock.
// So once a watch on the folder is in place before a name is looked up (a file opened by it),
// a listing of the folder (which takes the same lock) waits for any change under way, and the
// queue then holds every change of the folder's names since the watch began. (A name seen
// in the lookup while its removal was under way is gone before the removal's event is
// queued, which is after the watch began.) A name with no event
// meant the same file all along, and a link count of 1 read meanwhile says that name was
// the file's only one at that instant: whatever names come later were made from it.
//
// One inotify instance, which threads may share; each folder is watched while its files are
// looked at, then let go.
class MGNameWatch
{
public:
    MGNameWatch();
    ~MGNameWatch();
    MGNameWatch(const MGNameWatch &) = delete;
    MGNameWatch &operator=(const MGNameWatch &) = delete;

    struct Changes
    {
        QSet<QByteArray> names;
        bool all = false; // more changes than the kernel could queue: any name may have changed
        int error = 0; // the changes could not be learnt (errno): take every name as changed
        bool contains(const QByteArray &name) const { return all || error != 0 || names.contains(name); }
    };

    // Whether the kernel gave this watch an instance to work with.
    bool usable() const { return m_fd >= 0; }
    // Starts watching the names of the folder open at `folder` (for reading); before any of
    // them is looked up. A watch number, or -errno.
    int watch(int folder);
    // Every name of the watched folder made, removed or renamed since watch(), once the
    // changes under way in it have ended. `folder` is the same folder, open for reading.
    Changes changes(int folder, int watch);
    void unwatch(int watch);

private:
    void drain();

    int m_fd;
    int m_error = 0;
    QMutex m_lock;
    QHash<int, Changes> m_changes; // by watch number
};
