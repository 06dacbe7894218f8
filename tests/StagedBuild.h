#pragma once

#include "ShellHelpers.h"

// A copy of the built programs and libraries (bin/, lib/, libexec/ of the build folder,
// laid out as an installation) in a temporary folder every user may enter, removed with
// the object. Tests that run the product as another user run this copy: the checkout
// itself may sit in a folder only its owner can enter (home folders, mktemp -d).
class StagedBuild
{
public:
    StagedBuild()
    {
        const QString build = QStringLiteral(MARROWGATE_BUILD_DIR);
        QStringList folders;
        for (const QString &program : {QStringLiteral(MARROWGATE_ACL_PATH), QStringLiteral(MARROWGATE_SERVICE_PATH)})
            folders << QDir(build).relativeFilePath(program).section(QLatin1Char('/'), 0, 0);
        folders << QStringLiteral(MARROWGATE_LIBRARY_DIR).section(QLatin1Char('/'), 0, 0);
        folders.removeDuplicates();
        QStringList sources;
        for (const QString &folder : std::as_const(folders))
            sources << quoted(build + QLatin1Char('/') + folder);
        if (!shOk(QStringLiteral("cp -a %1 %2 && chmod -R a+rX %2").arg(sources.join(QLatin1Char(' ')), quoted(m_dir.path())))) {
            m_problem = QStringLiteral("the build could not be copied to %1").arg(m_dir.path());
            return;
        }
        // The copy must start as nobody (a temporary folder mounted noexec, say, would not do).
        QProcess probe;
        probe.start(QStringLiteral("setpriv"), QStringList{"--reuid=65534", "--regid=65534", "--clear-groups", service()});
        probe.waitForFinished(20000);
        if (probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 2)
            m_problem = QStringLiteral("a copy of the service in %1 does not start as nobody: %2")
                            .arg(m_dir.path(), QString::fromLocal8Bit(probe.readAllStandardError()).trimmed());
    }

    // Whether the copy runs as nobody; otherwise problem() says why not.
    bool ok() const { return m_problem.isEmpty(); }
    const QString &problem() const { return m_problem; }
    QString path(const QString &built) const
    {
        return m_dir.path() + QLatin1Char('/') + QDir(QStringLiteral(MARROWGATE_BUILD_DIR)).relativeFilePath(built);
    }
    QString service() const { return path(QStringLiteral(MARROWGATE_SERVICE_PATH)); }
    QString commandLine() const { return path(QStringLiteral(MARROWGATE_ACL_PATH)); }

private:
    SharedTemporaryDir m_dir;
    QString m_problem;
};

// Skips a case that runs the product as nobody when no copy of it can run as nobody here.
#define REQUIRE_STAGED(staged)                                                                                         \
    do {                                                                                                               \
        if (!(staged).ok())                                                                                            \
            QSKIP(qPrintable(QStringLiteral("cannot run the product as another user: ") + (staged).problem()));       \
    } while (0)

// Runs the staged programs as nobody, without any groups.
inline const QStringList AsNobody = {QStringLiteral("setpriv"), QStringLiteral("--reuid=65534"),
                                     QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups")};
