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
        m_ok = shOk(QStringLiteral("cp -a %1 %2 && chmod -R a+rX %2").arg(sources.join(QLatin1Char(' ')), quoted(m_dir.path())));
    }

    bool ok() const { return m_ok; }
    QString path(const QString &built) const
    {
        return m_dir.path() + QLatin1Char('/') + QDir(QStringLiteral(MARROWGATE_BUILD_DIR)).relativeFilePath(built);
    }
    QString service() const { return path(QStringLiteral(MARROWGATE_SERVICE_PATH)); }
    QString commandLine() const { return path(QStringLiteral(MARROWGATE_ACL_PATH)); }

private:
    SharedTemporaryDir m_dir;
    bool m_ok = false;
};

// Runs the staged programs as nobody, without any groups.
inline const QStringList AsNobody = {QStringLiteral("setpriv"), QStringLiteral("--reuid=65534"),
                                     QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups")};
