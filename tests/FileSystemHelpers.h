#pragma once

#include "ShellHelpers.h"

#include <QDir>

// A file system of one type mounted on a fresh folder for a test, and gone with the object:
// tmpfs and ramfs in memory, ext4, xfs and btrfs on a sparse image through a loop device.
// Needs root; problem() says why it could not be made.
class ScratchFileSystem
{
public:
    explicit ScratchFileSystem(const QString &type) : m_type(type)
    {
        if (geteuid() != 0) {
            m_problem = QStringLiteral("mounting %1 needs root").arg(type);
            return;
        }
        const QString mountPoint = path();
        QDir().mkpath(mountPoint);
        QString command;
        if (type == QLatin1String("tmpfs") || type == QLatin1String("ramfs")) {
            command = QStringLiteral("mount -t %1 -o mode=755 marrowgate-test %2").arg(type, quoted(mountPoint));
        } else {
            const QString image = m_dir.filePath(QStringLiteral("image"));
            const QString make = type == QLatin1String("btrfs") ? QStringLiteral("mkfs.btrfs -q")
                : type == QLatin1String("xfs")                  ? QStringLiteral("mkfs.xfs -q")
                                                                : QStringLiteral("mkfs.ext4 -q -F");
            if (QStandardPaths::findExecutable(make.section(QLatin1Char(' '), 0, 0)).isEmpty()) {
                m_problem = QStringLiteral("%1 is not installed (Debian package %2)")
                                .arg(make.section(QLatin1Char(' '), 0, 0),
                                     type == QLatin1String("btrfs") ? QStringLiteral("btrfs-progs")
                                         : type == QLatin1String("xfs") ? QStringLiteral("xfsprogs")
                                                                        : QStringLiteral("e2fsprogs"));
                return;
            }
            command = QStringLiteral("truncate -s 320M %1 && %2 %1 >/dev/null && mount -o loop %1 %3 && chmod 755 %3")
                          .arg(quoted(image), make, quoted(mountPoint));
        }
        QProcess process;
        process.start(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), command});
        process.waitForFinished(120000);
        if (process.exitCode() != 0)
            m_problem = QStringLiteral("cannot mount %1 here: %2").arg(type, QString::fromLocal8Bit(process.readAllStandardError()).trimmed());
        m_mounted = m_problem.isEmpty();
    }
    ~ScratchFileSystem()
    {
        if (m_mounted)
            shOk(QStringLiteral("umount %1 || umount -l %1").arg(quoted(path())));
    }
    ScratchFileSystem(const ScratchFileSystem &) = delete;
    ScratchFileSystem &operator=(const ScratchFileSystem &) = delete;

    bool ok() const { return m_mounted; }
    const QString &problem() const { return m_problem; }
    const QString &type() const { return m_type; }
    QString path(const QString &name = QString()) const
    {
        const QString root = m_dir.filePath(QStringLiteral("mount"));
        return name.isEmpty() ? root : root + QLatin1Char('/') + name;
    }

private:
    SharedTemporaryDir m_dirHolder;
    QTemporaryDir &m_dir = m_dirHolder.dir;
    QString m_type;
    QString m_problem;
    bool m_mounted = false;
};

#define REQUIRE_MOUNTED(fs)                                                                                            \
    do {                                                                                                               \
        if (!(fs).ok())                                                                                                \
            QSKIP(qPrintable((fs).problem()));                                                                         \
    } while (0)
