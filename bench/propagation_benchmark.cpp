// Times propagation of a folder's owner, group, permission bits and ACL to N files below
// it, against chown -R + chmod -R + setfacl -R making the same change on an identical tree,
// in the same run; then counts our system calls per file with strace -c -f.
//
//   marrowgate-propagation-benchmark [N] [--keep]
// Needs root (the trees change owner) and strace.
#include "MGAclPropagator.h"
#include "MGPosixAclStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr int FilesPerFolder = 100;
constexpr int FoldersPerFolder = 30;

// N files in folders of 100, the folders 30 to a parent; every seventh file executable.
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

double seconds(const std::function<bool()> &work, bool *ok)
{
    const auto start = std::chrono::steady_clock::now();
    *ok = work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The folder's own settings: owner root, group 1, rwxr-x---, nobody may read and pass on.
const char *FolderSettings = "chown 0:1 %1 && chmod 750 %1 && setfacl -m u:nobody:r-x %1 && setfacl -d -m u:nobody:r-x %1";

bool propagate(const QString &root)
{
    const MGResult<MGAclList> list = MGPosixAclStore::read(root);
    if (!list)
        return false;
    const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(root), QStringLiteral("Cannot propagate"));
    if (!item) {
        std::fprintf(stderr, "%s\n", qPrintable(item.error().localizedDescription()));
        return false;
    }
    const MGResultError error = MGAclPropagator(*item, *list).run();
    if (error)
        std::fprintf(stderr, "%s\n", qPrintable(error->localizedDescription()));
    return !error;
}
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    if (args.value(0) == QLatin1String("--propagate-only"))
        return propagate(args.value(1)) ? 0 : 1;
    const bool keep = args.removeAll(QStringLiteral("--keep")) > 0;
    const long files = args.isEmpty() ? 100000 : args.first().toLong();
    if (geteuid() != 0 || files <= 0) {
        std::fprintf(stderr, "usage (as root): marrowgate-propagation-benchmark [N] [--keep]\n");
        return 2;
    }
    QTemporaryDir dir(QDir::currentPath() + QStringLiteral("/propagation-benchmark-XXXXXX"));
    dir.setAutoRemove(!keep);
    const QString ours = dir.filePath(QStringLiteral("ours")), tools = dir.filePath(QStringLiteral("tools")),
                  traced = dir.filePath(QStringLiteral("traced"));
    std::printf("building three trees of %ld files in %s\n", files, qPrintable(dir.path()));
    for (const QString &root : {ours, tools, traced}) {
        if (!buildTree(root.toUtf8(), files) || !shell(QString::fromLatin1(FolderSettings).arg(root))) {
            std::fprintf(stderr, "cannot build %s\n", qPrintable(root));
            return 1;
        }
    }
    shell(QStringLiteral("sync; echo 3 > /proc/sys/vm/drop_caches 2>/dev/null; true"));

    bool ok = false;
    const double oursTime = seconds([&] { return propagate(ours); }, &ok);
    if (!ok)
        return 1;
    const double toolsTime = seconds(
        [&] {
            return shell(QStringLiteral("chown -R 0:1 %1 && chmod -R u=rwX,g=rX,o= %1 && "
                                        "setfacl -R -m u:nobody:rX,d:u:nobody:rX %1")
                             .arg(tools));
        },
        &ok);
    if (!ok)
        return 1;

    // Both ways must have made the same change to owners, groups and permission bits.
    const bool agree = shell(QStringLiteral("diff -q <(cd %1 && find . -printf '%P %U:%G %m\\n' | sort) "
                                            "<(cd %2 && find . -printf '%P %U:%G %m\\n' | sort) >/dev/null")
                                 .arg(ours, tools));

    // A full trace, counted line by line: strace's -c table leaves out system calls it has
    // no name for, such as setxattrat on older strace versions.
    const QString traceOut = dir.filePath(QStringLiteral("trace.txt"));
    shell(QStringLiteral("strace -f -qq -o %1 %2 --propagate-only %3 >/dev/null")
              .arg(traceOut, app.applicationFilePath(), traced));
    long calls = -1;
    QHash<QByteArray, long> byName;
    QFile file(traceOut);
    if (file.open(QIODevice::ReadOnly)) {
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
    std::printf("marrowgate propagation:    %.3f s\n", oursTime);
    std::printf("chown + chmod + setfacl:   %.3f s\n", toolsTime);
    std::printf("speed-up:                  %.2fx\n", toolsTime / oursTime);
    std::printf("same owners, groups, bits: %s\n", agree ? "yes" : "NO");
    if (calls >= 0) {
        std::printf("system calls per file:     %.2f (%ld in all, start-up included)\n", double(calls) / files, calls);
        QList<std::pair<long, QByteArray>> top;
        for (auto it = byName.begin(); it != byName.end(); ++it)
            top << std::make_pair(it.value(), it.key());
        std::sort(top.rbegin(), top.rend());
        for (const auto &[count, name] : top.mid(0, 6))
            std::printf("    %-22s %ld\n", name.constData(), count);
    }
    else
        std::printf("system calls per file:     unknown (is strace installed?)\n");
    return 0;
}
