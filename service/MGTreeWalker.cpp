#include "MGTreeWalker.h"

#include "MGFolderListing.h"
#include "MGItemPaths.h"
#include "MGNameWatch.h"

#include <QFile>
#include <QScopeGuard>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <liburing.h>
#include <mutex>
#include <optional>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {
using MGFolderListing::StatusMask;
constexpr int NoResult = INT_MIN;

bool isSpecialType(unsigned char type)
{
    return type == DT_FIFO || type == DT_SOCK || type == DT_CHR || type == DT_BLK;
}

// Whether anything is mounted below the folder open at `fd`, in this process's namespace:
// mount points under the path the kernel gives the descriptor. Unknown counts as yes.
bool anythingMountedBelow(int fd)
{
    char link[PATH_MAX + 1];
    const ssize_t length = readlink(MGDescriptors::procPath(fd).constData(), link, sizeof link - 1);
    const std::optional<QList<MGItemPaths::MountPoint>> points = MGItemPaths::mountPoints();
    if (length <= 0 || link[0] != '/' || !points)
        return true;
    QByteArray below(link, length);
    if (!below.endsWith('/'))
        below += '/';
    for (const MGItemPaths::MountPoint &point : *points) {
        if (point.path.startsWith(below))
            return true;
    }
    return false;
}

// status[i] and errors[i] (0 or -errno) for each open descriptor of `fds`, one call each:
// io_uring would run every request on a worker thread, which costs more than the call.
void askStatus(const std::vector<int> &fds, std::vector<struct statx> &status, std::vector<int> &errors)
{
    status.assign(fds.size(), {});
    errors.assign(fds.size(), 0);
    for (size_t i = 0; i < fds.size(); ++i) {
        if (fds[i] >= 0 && statx(fds[i], "", AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW, StatusMask, &status[i]) != 0)
            errors[i] = -errno;
    }
}
}

// A folder's descriptor, open while any of its subfolders still waits to be visited.
struct MGTreeWalker::Descriptor
{
    int fd;
    explicit Descriptor(int descriptor) : fd(descriptor) {}
    ~Descriptor() { close(fd); }
};

struct MGTreeWalker::Task
{
    std::shared_ptr<Descriptor> parent;
    QByteArray name;
    QByteArray path;
};

struct MGTreeWalker::Item
{
    QByteArray name;
    unsigned char type;
};

// Opens and closes many files of one folder, each step in one io_uring batch; without
// io_uring, one call per file.
class MGTreeWalker::FileBatch
{
public:
    static constexpr unsigned Depth = 256;

    FileBatch() : m_ready(io_uring_queue_init(Depth, &m_ring, 0) == 0) {}
    ~FileBatch()
    {
        if (m_ready)
            io_uring_queue_exit(&m_ring);
    }

    // fds[i]: a descriptor for items[first + i], or -errno; opened[i]: whether it is open for
    // reading. With `readRegular`, items the listing calls regular files are opened for
    // reading, and any that cannot be (something else took the name, or this process may
    // not read it) O_PATH after all; every other item is opened O_PATH.
    void open(int dirFd, const QList<Item> &items, qsizetype first, qsizetype count, bool readRegular,
              std::vector<int> &fds, std::vector<char> &opened)
    {
        const int pathOnly = O_PATH | O_NOFOLLOW | O_CLOEXEC;
        const int reading = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        opened.assign(size_t(count), 0);
        for (qsizetype i = 0; i < count; ++i)
            opened[i] = readRegular && items[first + i].type == DT_REG;
        run(
            count, fds,
            [&](io_uring_sqe *sqe, qsizetype i) {
                io_uring_prep_openat(sqe, dirFd, items[first + i].name.constData(), opened[i] ? reading : pathOnly, 0);
            },
            [&](qsizetype i) {
                const int fd = openat(dirFd, items[first + i].name.constData(), opened[i] ? reading : pathOnly);
                return fd >= 0 ? fd : -errno;
            });
        for (qsizetype i = 0; i < count; ++i) {
            if (opened[i] && fds[i] < 0 && fds[i] != -ENOENT) {
                opened[i] = false;
                const int fd = openat(dirFd, items[first + i].name.constData(), pathOnly);
                fds[i] = fd >= 0 ? fd : -errno;
            }
        }
    }

    // The walking thread's watch of folder names, for visitors that change items: its own
    // (threads sharing one wait on each other's watches), or another thread's where this one
    // could not have one (an inotify instance is a limited resource).
    MGNameWatch *names = nullptr;
    std::unique_ptr<MGNameWatch> ownNames;
    void watchNames(MGNameWatch *fallback)
    {
        ownNames = std::make_unique<MGNameWatch>();
        names = ownNames->usable() || !fallback ? ownNames.get() : fallback;
    }

    void close(const std::vector<int> &fds)
    {
        std::vector<int> results;
        run(
            qsizetype(fds.size()), results,
            [&](io_uring_sqe *sqe, qsizetype i) {
                if (fds[i] >= 0)
                    io_uring_prep_close(sqe, fds[i]);
                else
                    io_uring_prep_nop(sqe);
            },
            [&](qsizetype i) { return fds[i] >= 0 ? ::close(fds[i]) : 0; });
    }

private:
    // Runs one operation per index, as a batch when it can, and stores the results.
    template <typename Prepare, typename Call>
    void run(qsizetype count, std::vector<int> &results, Prepare prepare, Call call)
    {
        results.assign(size_t(count), NoResult);
        if (m_ready && count > 0) {
            for (qsizetype i = 0; i < count; ++i) {
                io_uring_sqe *sqe = io_uring_get_sqe(&m_ring);
                prepare(sqe, i);
                io_uring_sqe_set_data64(sqe, quint64(i));
            }
            int submitted = io_uring_submit_and_wait(&m_ring, unsigned(count));
            if (submitted != int(count))
                m_ready = false; // what was not submitted is done one by one below
            for (int done = 0; done < std::max(submitted, 0); ++done) {
                io_uring_cqe *cqe = nullptr;
                int waited;
                while ((waited = io_uring_wait_cqe(&m_ring, &cqe)) == -EINTR) {
                }
                if (waited != 0)
                    break;
                results[io_uring_cqe_get_data64(cqe)] = cqe->res;
                io_uring_cqe_seen(&m_ring, cqe);
            }
        }
        for (qsizetype i = 0; i < count; ++i) {
            if (results[i] == NoResult)
                results[i] = call(i);
        }
    }

    io_uring m_ring;
    bool m_ready;
};

MGTreeWalker::MGTreeWalker(Visitor *visitor, quint64 mountId) : m_visitor(visitor), m_mount(mountId)
{
}

void MGTreeWalker::setProgressHandler(std::function<void(const QByteArray &)> handler, std::chrono::milliseconds interval)
{
    m_progress = std::move(handler);
    m_progressInterval = interval;
}

void MGTreeWalker::reportProgress(const QByteArray &folder)
{
    if (!m_progress)
        return;
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    auto next = m_nextReport.load();
    // One thread reports; the others go on walking.
    if (now < next || !m_nextReport.compare_exchange_strong(next, now + m_progressInterval.count()))
        return;
    QMutexLocker locker(&m_progressLock);
    m_progress(folder);
}

void MGTreeWalker::fail(const QByteArray &path, int error)
{
    m_failures.add(path, error);
}

std::optional<MGError> MGTreeWalker::failures(const QString &what, const QString &root) const
{
    return m_failures.error(what, root);
}

MGTreeWalker::Counts MGTreeWalker::counts() const
{
    Counts counts;
    counts.links = m_links;
    counts.otherMounts = m_otherMounts;
    counts.special = m_special;
    counts.changedWhileWalking = m_changedWhileWalking;
    counts.failed = m_failures.count();
    counts.failedPaths = m_failures.reportedPaths();
    counts.firstError = m_failures.firstError();
    return counts;
}

bool MGTreeWalker::readFolder(int fd, const QByteArray &path, QList<QByteArray> &subfolders, QList<Item> &files)
{
    const int error = MGFolderListing::forEach(fd, [&](const char *name, unsigned char type) {
        // What the listing already tells is not opened at all.
        if (type == DT_DIR)
            subfolders << QByteArray(name);
        else if (type == DT_LNK)
            ++m_links;
        else if (isSpecialType(type) && !m_visitor->visitsSpecialFiles())
            ++m_special;
        else
            files << Item{QByteArray(name), type};
    });
    if (error)
        fail(path, error);
    return error == 0;
}

// The folders still to visit, shared by the walking threads. A thread takes the most
// recently found folder, so the walk goes deep first and few descriptors stay open.
class MGTreeWalker::Walk
{
public:
    void add(QList<Task> tasks)
    {
        std::lock_guard<std::mutex> locker(m_lock);
        m_outstanding += tasks.size();
        m_tasks.append(std::move(tasks));
        m_ready.notify_all();
    }
    // The next folder, or nothing once every folder has been visited.
    std::optional<Task> take()
    {
        std::unique_lock<std::mutex> locker(m_lock);
        m_ready.wait(locker, [this] { return !m_tasks.isEmpty() || m_outstanding == 0; });
        if (m_tasks.isEmpty())
            return std::nullopt;
        return m_tasks.takeLast();
    }
    void done()
    {
        std::lock_guard<std::mutex> locker(m_lock);
        if (--m_outstanding == 0)
            m_ready.notify_all();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_ready;
    QList<Task> m_tasks;
    qsizetype m_outstanding = 0;
};

void MGTreeWalker::visitFolder(int fd, const QByteArray &path, FileBatch &batch, Walk &walk,
                                  const std::shared_ptr<Descriptor> &self)
{
    QList<QByteArray> subfolders;
    QList<Item> files;
    if (!readFolder(fd, path, subfolders, files))
        return;
    // Watched before any of its files is looked up (opened), until the last file's status
    // has been asked; a folder of folders alone is not watched.
    MGNameWatch *const names = batch.names;
    const int watch = names && !files.isEmpty() ? names->watch(fd) : 0;
    const auto unwatch = qScopeGuard([&] {
        if (names && !files.isEmpty())
            names->unwatch(watch);
    });
    std::vector<int> fds, errors;
    std::vector<char> opened;
    std::vector<struct statx> status;
    for (qsizetype first = 0; first < files.size(); first += FileBatch::Depth) {
        const qsizetype count = std::min<qsizetype>(FileBatch::Depth, files.size() - first);
        batch.open(fd, files, first, count, m_opensFiles, fds, opened);
        askStatus(fds, status, errors);
        MGNameWatch::Changes renamed;
        if (names) {
            if (watch >= 0)
                renamed = names->changes(fd, watch);
            else
                renamed.error = -watch;
        }
        for (qsizetype i = 0; i < count; ++i) {
            const Item &item = files[first + i];
            const QByteArray shown = path + '/' + item.name;
            if (fds[i] < 0) {
                if (fds[i] == -ENOENT)
                    ++m_changedWhileWalking; // removed since the listing
                else
                    fail(shown, -fds[i]);
            } else if (errors[i] < 0) {
                fail(shown, -errors[i]);
            } else if (S_ISDIR(status[i].stx_mode)) {
                // A folder the listing could not tell apart is visited as one; one that
                // replaced a file since the listing is not.
                if (item.type == DT_UNKNOWN)
                    subfolders << item.name;
                else
                    ++m_changedWhileWalking;
            } else if (item.type != DT_UNKNOWN && IFTODT(status[i].stx_mode) != item.type) {
                ++m_changedWhileWalking; // something else took the name since the listing
            } else if (S_ISLNK(status[i].stx_mode)) {
                ++m_links;
            } else if (status[i].stx_mnt_id != m_mount) {
                ++m_otherMounts; // a file mounted over this one
            } else if (!S_ISREG(status[i].stx_mode) && !m_visitor->visitsSpecialFiles()) {
                ++m_special;
            } else if (names && renamed.contains(item.name)) {
                // Its name was made, removed or renamed while it was looked at: what the
                // status says of its names cannot be tied to this one.
                if (renamed.error)
                    fail(shown, renamed.error);
                else
                    ++m_changedWhileWalking;
            } else {
                m_visitor->item(MGDescriptor{fds[i], bool(opened[i])}, status[i], shown);
            }
        }
        batch.close(fds);
    }
    QList<Task> tasks;
    for (const QByteArray &name : std::as_const(subfolders))
        tasks << Task{self, name, path + '/' + name};
    walk.add(std::move(tasks));
    reportProgress(path);
}

int MGTreeWalker::intoPrivateCopy(int rootFd)
{
    // The copy is of the folder's own mount alone: a copy of the mounts below would keep
    // their file systems alive after they are unmounted (removable media would look safe to
    // pull while still in use), and without them it would show what they cover, which the
    // walk must leave alone as it leaves whatever is mounted. So with anything mounted
    // below the folder, no copy.
    if (anythingMountedBelow(rootFd))
        return rootFd;
    const int copy = open_tree(rootFd, "", OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_EMPTY_PATH);
    if (copy < 0)
        return rootFd; // the service of a user, who may not mount: O_PATH it is
    mount_attr noDevices{};
    noDevices.attr_set = MOUNT_ATTR_NODEV;
    struct statx st;
    const int fd = mount_setattr(copy, "", AT_EMPTY_PATH, &noDevices, sizeof noDevices) == 0
        ? openat(copy, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)
        : -1;
    // The copy stays mounted, unseen by anyone else, while a descriptor below it is open.
    ::close(copy);
    if (fd < 0 || statx(fd, "", AT_EMPTY_PATH, STATX_MNT_ID, &st) != 0) {
        if (fd >= 0)
            ::close(fd);
        return rootFd;
    }
    ::close(rootFd);
    m_mount = st.stx_mnt_id;
    m_opensFiles = true;
    return fd;
}

void MGTreeWalker::walk(int rootFd, const QByteArray &rootPath)
{
    rootFd = intoPrivateCopy(rootFd);
    Walk walk;
    auto work = [&](FileBatch &batch) {
        while (std::optional<Task> task = walk.take()) {
            if (stopped()) {
                // Asked to stop: the folders still waiting are let go unvisited.
                task->parent.reset();
                walk.done();
                continue;
            }
            const int fd = openat(task->parent->fd, task->name.constData(),
                                  O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
            task->parent.reset();
            struct statx st;
            if (fd < 0) {
                // A link or a file in the folder's place, or nothing: it changed since the
                // listing, and what is there now is left alone.
                if (errno == ENOTDIR || errno == ELOOP || errno == ENOENT)
                    ++m_changedWhileWalking;
                else
                    fail(task->path, errno);
            } else if (statx(fd, "", AT_EMPTY_PATH, StatusMask, &st) != 0) {
                fail(task->path, errno);
                close(fd);
            } else if (st.stx_mnt_id != m_mount) {
                ++m_otherMounts; // another file system or a mount point: leave it alone
                close(fd);
            } else {
                m_visitor->folder(fd, st, task->path);
                if (m_visitor->entersFolder(fd, st, task->path))
                    visitFolder(fd, task->path, batch, walk, std::make_shared<Descriptor>(fd));
                else
                    close(fd);
            }
            walk.done();
        }
    };
    FileBatch mine;
    if (m_visitor->changesItems())
        mine.watchNames(nullptr);
    visitFolder(rootFd, rootPath, mine, walk, std::make_shared<Descriptor>(rootFd));
    // Changing an inode often waits for it to be read or for the journal, so twice as
    // many threads as processors keep the processors busy (measured: 4 threads on 2 cores
    // propagate 2.7 times as fast as 1).
    const unsigned threads = std::clamp(2 * std::thread::hardware_concurrency(), 2u, 8u);
    std::vector<std::thread> helpers;
    for (unsigned i = 1; i < threads; ++i)
        helpers.emplace_back([this, &work, &mine] {
            FileBatch batch;
            if (m_visitor->changesItems())
                batch.watchNames(mine.names);
            work(batch);
        });
    work(mine);
    for (std::thread &helper : helpers)
        helper.join();
}
