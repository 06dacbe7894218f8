#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QtTest>
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
    return shOk(QStringLiteral("mkdir %1 && cd %1 && for d in $(seq %2); do mkdir d$d; done && for d in d*; do "
                               "(cd $d && seq %3 | sed 's/^/f/' | xargs touch); done")
                    .arg(quoted(root))
                    .arg(folders)
                    .arg(files));
}

#define REQUIRE_ROOT()                                                                                                 \
    do {                                                                                                               \
        if (geteuid() != 0)                                                                                            \
            QSKIP("needs root to create files for other users");                                                      \
    } while (0)
