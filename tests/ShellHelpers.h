#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QtTest>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Runs a shell command for a test and answers its standard output; a failing command
// fails the test.
inline QString sh(const QString &command)
{
    QProcess process;
    process.start(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), command});
    process.waitForFinished(120000);
    const QString out = QString::fromUtf8(process.readAllStandardOutput());
    if (process.exitCode() != 0)
        qWarning().noquote() << "command failed:" << command << process.readAllStandardError();
    return out;
}

inline bool shOk(const QString &command)
{
    QProcess process;
    process.start(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), command});
    process.waitForFinished(120000);
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

inline QString quoted(const QString &path)
{
    return QLatin1Char('\'') + QString(path).replace(QLatin1Char('\''), QStringLiteral("'\\''")) + QLatin1Char('\'');
}

// getfacl's numeric listing of an item, without the file-name comment.
inline QString facl(const QString &path)
{
    return sh(QStringLiteral("getfacl -n --absolute-names %1 | grep -v '^# file'").arg(quoted(path)));
}

// A shell command that writes to `file` entries as setfacl -M reads them: one for every user
// (r) and every group (w) of the account database, and for 40 user and 40 group ids without
// accounts from 200,001 on (x): more ids of each class than are looked up one by one.
inline QString manyEntriesCommand(const QString &file)
{
    return QStringLiteral("{ getent passwd | cut -d: -f3 | sort -un | sed 's/.*/u:&:r/'; "
                          "getent group | cut -d: -f3 | sort -un | sed 's/.*/g:&:w/'; "
                          "seq 200001 200040 | sed 's/.*/u:&:x/'; seq 200001 200040 | sed 's/.*/g:&:x/'; } > %1")
        .arg(quoted(file));
}

// A temporary folder that every user may search, so that tests running parts as an
// unprivileged user can reach what is inside.
struct SharedTemporaryDir
{
    QTemporaryDir dir;
    SharedTemporaryDir() { QFile::setPermissions(dir.path(), QFileDevice::Permissions(0x7755)); }
    QString path(const QString &name = QString()) const { return name.isEmpty() ? dir.path() : dir.filePath(name); }
};

// `folders` folders d1, d2, ... below `root` (made here), each with `files` empty files f1,
// f2, ...: a tree wide enough for a walk to take a while.
inline bool makeWideTree(const QString &root, int folders, int files)
{
    // Made with system calls, not a shell: tens of thousands of files in a second.
    const QByteArray base = QFile::encodeName(root);
    if (mkdir(base.constData(), 0755) != 0)
        return false;
    for (int d = 1; d <= folders; ++d) {
        const QByteArray folder = base + "/d" + QByteArray::number(d);
        if (mkdir(folder.constData(), 0755) != 0)
            return false;
        for (int f = 1; f <= files; ++f) {
            const int fd = open((folder + "/f" + QByteArray::number(f)).constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            if (fd < 0)
                return false;
            close(fd);
        }
    }
    return true;
}

#define REQUIRE_ROOT()                                                                                                 \
    do {                                                                                                               \
        if (geteuid() != 0)                                                                                            \
            QSKIP("needs root to create files for other users");                                                      \
    } while (0)
