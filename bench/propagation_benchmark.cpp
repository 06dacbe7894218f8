// Times propagation of a folder's owner, group, permission bits and ACL to N files below
// it, against chown -R + chmod -R + setfacl -R making the same change on an identical tree,
// in the same run, twice: on trees just built with the caches dropped (cold), then with
// other settings on the same trees (warm): wall-clock and CPU time, and the propagation's
// peak memory. Progress reports (as the service sends them) are priced against none in two
// warm rounds with the trees swapped, the per-file CPU time is set beside the floor
// program's (the least a propagation must do per file), and our system calls per file are
// counted with strace.
//
//   marrowgate-propagation-benchmark [N] [--keep] [--no-trace]
// Needs root (the trees change owner) and strace, unless --no-trace leaves the count out.
#include "MGAclPropagator.h"
#include "MGPosixAclStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {
int FilesPerFolder = 100; // --files-per-folder
constexpr int FoldersPerFolder = 30;

// N files in folders of 100 (or as many as asked), the folders 30 to a parent; every
// seventh file executable.
bool buildTree(const QByteArray &root, long files)
{
    if (mkdir(root.constData(), 0755) != 0)
        return false;
    long made = 0;
    for (int top = 0; made < files; ++top) {
        const QByteArray upper = root + "/group" + QByteArray::number(top);
        mkdir(upper.constData(), 0755);
        for (int folder = 0; folder < FoldersPerFolder && made < files; ++folder) {
            const QByteArray dir = upper + "/folder" + QByteArray::number(folder);
            mkdir(dir.constData(), 0755);
            const int dirFd = open(dir.constData(), O_RDONLY | O_DIRECTORY);
            for (int file = 0; file < FilesPerFolder && made < files; ++file, ++made) {
                const QByteArray name = "file" + QByteArray::number(file);
                const int fd = openat(dirFd, name.constData(), O_CREAT | O_WRONLY, made % 7 ? 0644 : 0755);
                fchown(fd, 1000, 1000);
                close(fd);
            }
            close(dirFd);
        }
    }
    return true;
}

bool shell(const QString &command)
{
    return QProcess::execute(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), command}) == 0;
}

// The folder's own settings: owner root, group 1, rwxr-x---, nobody may read and pass on;
// and what the tools run to give everything below the same.
const char *FolderSettings = "chown 0:1 %1 && chmod 750 %1 && setfacl -m u:nobody:r-x %1 && setfacl -d -m u:nobody:r-x %1";
const char *ToolsSettings = "chown -R 0:1 %1 && chmod -R u=rwX,g=rX,o= %1 && setfacl -R -m u:nobody:rX,d:u:nobody:rX %1";
// Other settings for a tree propagated once, so that every item is to change again.
const char *OtherSettings = "chown 0:2 %1 && chmod 770 %1 && setfacl -m u:nobody:rwx %1 && setfacl -d -m u:nobody:rwx %1";
const char *OtherToolsSettings = "chown -R 0:2 %1 && chmod -R u=rwX,g=rwX,o= %1 && setfacl -R -m u:nobody:rwX,d:u:nobody:rwX %1";

// What one program run cost: wall-clock and CPU seconds, and its peak resident memory.
struct Cost
{
    double seconds = 0;
    double cpu = 0;
    long peakKiB = 0;
    bool ok = false;
};

Cost measure(const QStringList &command)
{
    QList<QByteArray> bytes;
    for (const QString &part : command)
        bytes << part.toLocal8Bit();
    std::vector<char *> argv;
    for (QByteArray &part : bytes)
        argv.push_back(part.data());
    argv.push_back(nullptr);
    Cost cost;
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
        return cost;
    int status = 0;
    struct rusage usage = {};
    wait4(pid, &status, 0, &usage);
    cost.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    cost.cpu = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    cost.peakKiB = usage.ru_maxrss;
    cost.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return cost;
}

// Time spent in progress reports, in nanoseconds, summed over the walking threads.
std::atomic<qint64> reportingNanoseconds = 0;

bool propagate(const QString &root, bool withProgress)
{
    const MGResult<MGAclList> list = MGPosixAclStore::read(root);
    if (!list)
        return false;
    const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(root), QStringLiteral("Cannot propagate"));
    if (!item) {
        std::fprintf(stderr, "%s\n", qPrintable(item.error().localizedDescription()));
        return false;
    }
    MGAclPropagator propagator(*item, *list);
    if (withProgress)
        // What the service does with each report: encode it and write it to its caller.
        propagator.setProgressHandler(
            [](const MGPropagationProgress &progress) {
                const auto start = std::chrono::steady_clock::now();
                const QByteArray frame = progress.toCbor().toCborValue().toCbor();
                static const int sink = open("/dev/null", O_WRONLY);
                [[maybe_unused]] const ssize_t written = write(sink, frame.constData(), size_t(frame.size()));
                reportingNanoseconds += std::chrono::duration_cast<std::chrono::nanoseconds>(
                                            std::chrono::steady_clock::now() - start)
                                            .count();
            },
            std::chrono::milliseconds(250));
    const auto start = std::chrono::steady_clock::now();
    const MGResultError error = propagator.run();
    const double walk = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (error)
        std::fprintf(stderr, "%s\n", qPrintable(error->localizedDescription()));
    if (withProgress)
        std::printf("reporting share of the walk: %.4f%%\n", 100.0 * double(reportingNanoseconds) / 1e9 / walk);
    return !error;
}
}

// What the comparison of two runs prints: wall-clock and CPU time and their ratios.
void compare(const char *round, const Cost &ours, const Cost &tools)
{
    std::printf("%s\n", round);
    std::printf("    marrowgate propagation:  %.3f s, CPU %.3f s, peak memory %ld KiB\n", ours.seconds, ours.cpu, ours.peakKiB);
    std::printf("    chown + chmod + setfacl: %.3f s, CPU %.3f s\n", tools.seconds, tools.cpu);
    std::printf("    speed-up:                %.2fx wall, %.2fx CPU (ours %.0f%% of theirs)\n", tools.seconds / ours.seconds,
                tools.cpu / ours.cpu, 100.0 * ours.cpu / tools.cpu);
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    if (args.value(0) == QLatin1String("--propagate-only"))
        return propagate(args.value(1), args.contains(QStringLiteral("--progress"))) ? 0 : 1;
    const bool keep = args.removeAll(QStringLiteral("--keep")) > 0;
    const bool trace = args.removeAll(QStringLiteral("--no-trace")) == 0;
    if (const qsizetype option = args.indexOf(QStringLiteral("--files-per-folder")); option >= 0) {
        FilesPerFolder = args.value(option + 1).toInt();
        args.remove(option, std::min<qsizetype>(2, args.size() - option));
    }
    const long files = args.isEmpty() ? 100000 : args.first().toLong();
    if (geteuid() != 0 || files <= 0 || FilesPerFolder <= 0) {
        std::fprintf(stderr, "usage (as root): marrowgate-propagation-benchmark [N] [--keep] [--no-trace] "
                             "[--files-per-folder K]\n");
        return 2;
    }
    QTemporaryDir dir(QDir::currentPath() + QStringLiteral("/propagation-benchmark-XXXXXX"));
    dir.setAutoRemove(!keep);
    const QString ours = dir.filePath(QStringLiteral("ours")), quiet = dir.filePath(QStringLiteral("quiet")),
                  tools = dir.filePath(QStringLiteral("tools")), traced = dir.filePath(QStringLiteral("traced"));
    QStringList trees{ours, quiet, tools};
    if (trace)
        trees << traced;
    std::printf("building %lld trees of %ld files in %s\n", qint64(trees.size()), files, qPrintable(dir.path()));
    std::fflush(stdout);
    for (const QString &root : std::as_const(trees)) {
        if (!buildTree(root.toUtf8(), files) || !shell(QString::fromLatin1(FolderSettings).arg(root))) {
            std::fprintf(stderr, "cannot build %s\n", qPrintable(root));
            return 1;
        }
    }
    const bool dropped = shell(QStringLiteral("sync && echo 3 > /proc/sys/vm/drop_caches"));

    // Each in a process of its own, so that its time, CPU and memory are its own.
    const QString self = app.applicationFilePath();
    auto propagation = [&](const QString &root, bool reports) {
        QStringList command{self, QStringLiteral("--propagate-only"), root};
        if (reports)
            command << QStringLiteral("--progress");
        std::fflush(stdout);
        return measure(command);
    };
    auto toolsRun = [&](const char *settings, const QString &root) {
        return measure({QStringLiteral("/bin/bash"), QStringLiteral("-c"), QString::fromLatin1(settings).arg(root)});
    };
    // Both ways must have made the same change to owners, groups and permission bits.
    auto agree = [&](const QString &a, const QString &b) {
        return shell(QStringLiteral("diff -q <(cd %1 && find . -printf '%P %U:%G %m\\n' | sort) "
                                    "<(cd %2 && find . -printf '%P %U:%G %m\\n' | sort) >/dev/null")
                         .arg(a, b));
    };

    // Round 1, cold: every tree as built, nothing of it cached (where caches can be dropped).
    // The propagation reports its progress, as the service's does.
    const Cost oursCold = propagation(ours, true);
    const Cost toolsCold = toolsRun(ToolsSettings, tools);
    if (!oursCold.ok || !toolsCold.ok)
        return 1;
    const bool agreeCold = agree(ours, tools);

    // Round 2, warm: the trees given other settings, each read into memory by round 1 (the
    // quiet tree by a first propagation of its own, untimed).
    if (!propagation(quiet, false).ok)
        return 1;
    for (const QString &root : {ours, quiet, tools}) {
        if (!shell(QString::fromLatin1(OtherSettings).arg(root)))
            return 1;
    }
    const Cost oursWarm = propagation(ours, true);
    const Cost toolsWarm = toolsRun(OtherToolsSettings, tools);
    const Cost quietWarm = propagation(quiet, false);
    if (!oursWarm.ok || !toolsWarm.ok || !quietWarm.ok)
        return 1;
    const bool agreeWarm = agree(ours, tools);

    // Reports priced warm, in two rounds: round 3 gives both trees their first settings
    // again and swaps the roles, so that neither the tree nor its place in the run favours
    // reports or their absence.
    for (const QString &root : {ours, quiet}) {
        if (!shell(QString::fromLatin1(FolderSettings).arg(root)))
            return 1;
    }
    const Cost oursQuiet = propagation(ours, false);
    const Cost quietReporting = propagation(quiet, true);
    if (!oursQuiet.ok || !quietReporting.ok)
        return 1;
    const double reportingSeconds = (oursWarm.seconds + quietReporting.seconds) / 2;
    const double quietSeconds = (quietWarm.seconds + oursQuiet.seconds) / 2;
    const double reportingCpu = (oursWarm.cpu + quietReporting.cpu) / 2, quietCpu = (quietWarm.cpu + oursQuiet.cpu) / 2;

    // The floor program on a warm tree, each file to change: owner group 3.
    QProcess floor;
    floor.start(QFileInfo(self).dir().filePath(QStringLiteral("marrowgate-propagation-floor")), {ours, QStringLiteral("3")});
    floor.waitForFinished(-1);
    const QByteArray floorLine = floor.readAllStandardOutput().trimmed();

    // A full trace, counted line by line: strace's -c table leaves out system calls it has
    // no name for, such as setxattrat on older strace versions.
    const QString traceOut = dir.filePath(QStringLiteral("trace.txt"));
    if (trace)
        shell(QStringLiteral("strace -f -qq -o %1 %2 --propagate-only %3 --progress >/dev/null")
                  .arg(traceOut, app.applicationFilePath(), traced));
    long calls = -1;
    QHash<QByteArray, long> byName;
    QFile file(traceOut);
    if (trace && file.open(QIODevice::ReadOnly)) {
        calls = 0;
        while (!file.atEnd()) {
            const QByteArray line = file.readLine();
            // "PID name(args) = result"; continuations of interrupted calls are not new calls.
            const qsizetype paren = line.indexOf('(');
            if (paren < 0 || line.contains("resumed>"))
                continue;
            ++calls;
            ++byName[line.left(paren).split(' ').last()];
        }
    }
    const long items = files + 1 + (files + FilesPerFolder - 1) / FilesPerFolder
        + (files + FilesPerFolder * FoldersPerFolder - 1) / (FilesPerFolder * FoldersPerFolder);
    std::printf("files:                     %ld (%ld items below the folder)\n", files, items - 1);
    compare(dropped ? "round 1, caches dropped (cold):" : "round 1, trees just built (caches could not be dropped):",
            oursCold, toolsCold);
    compare("round 2, other settings on the same trees (warm):", oursWarm, toolsWarm);
    std::printf("same owners, groups, bits: %s\n", agreeCold && agreeWarm ? "yes" : "NO");
    std::printf("per file, warm:            ours %.2f us CPU; floor program: %s\n", oursWarm.cpu / files * 1e6,
                floorLine.isEmpty() ? "did not run" : floorLine.constData());
    std::printf("progress reports, warm:    with %.3f s (CPU %.3f s), without %.3f s (CPU %.3f s): %+.1f%% wall, %+.1f%% CPU\n",
                reportingSeconds, reportingCpu, quietSeconds, quietCpu, 100.0 * (reportingSeconds - quietSeconds) / quietSeconds,
                100.0 * (reportingCpu - quietCpu) / quietCpu);
    std::printf("    round 2: with %.3f s, without %.3f s; round 3 (trees swapped): with %.3f s, without %.3f s\n",
                oursWarm.seconds, quietWarm.seconds, quietReporting.seconds, oursQuiet.seconds);
    if (calls >= 0) {
        std::printf("system calls per file:     %.2f (%ld in all, start-up included)\n", double(calls) / files, calls);
        QList<std::pair<long, QByteArray>> top;
        for (auto it = byName.begin(); it != byName.end(); ++it)
            top << std::make_pair(it.value(), it.key());
        std::sort(top.rbegin(), top.rend());
        for (const auto &[count, name] : top.mid(0, 6))
            std::printf("    %-22s %ld\n", name.constData(), count);
    }
    else if (trace)
        std::printf("system calls per file:     unknown (is strace installed?)\n");
    return 0;
}
