#pragma once

#include "StagedBuild.h"

#include <QDir>
#include <QProcess>

struct Run
{
    int status;
    QString out;
    QString err;
};

// Runs marrowgate-acl; with `as` (a launcher such as AsNobody), runs the staged copy under it.
// `display` false runs it where there is no display at all; `language` is its LANG.
inline Run acl(const QStringList &arguments, const QStringList &as = {}, const StagedBuild *staged = nullptr,
        bool display = true, const QString &language = QStringLiteral("C.UTF-8"))
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LANG", language);
    env.insert("QT_QPA_PLATFORM", "offscreen");
    if (!display) {
        for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            env.remove(name);
    }
    env.insert("XDG_CONFIG_HOME", QDir::tempPath() + "/marrowgate-cli-test-config");
    env.remove("LANGUAGE");
    // Never the machine's own privileged service: only a test's private bus, if it has one.
    if (!env.contains("DBUS_SYSTEM_BUS_ADDRESS"))
        env.insert("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + QDir::tempPath() + "/marrowgate-no-system-bus-here");
    process.setProcessEnvironment(env);
    if (as.isEmpty())
        process.start(QStringLiteral(MARROWGATE_ACL_PATH), arguments);
    else
        process.start(as.first(), as.mid(1) + QStringList{staged->commandLine()} + arguments);
    process.waitForFinished(30000);
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

inline Run aclIn(const QString &language, const QStringList &arguments)
{
    return acl(arguments, {}, nullptr, true, language);
}
