#include "MGAclEntriesTableModel.h"
// The product installed from its Debian package, with the real polkitd on a real system bus:
// a rules file lets one user change what only root may change and refuses another, and each
// of them tries it on the command line and in the window. Runs as root only, and leaves the
// machine as it found it: the package, the rules, the users and any bus or polkitd it had to
// start are gone afterwards.
#include "MGAclEntriesViewController.h"
#include "MGChildServiceConnection.h"
#include "MGIdentityPopUpButton.h"
#include "PluginHelpers.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QLineEdit>
#include <QListView>
#include <csignal>
#include <dlfcn.h>
#include <sys/prctl.h>
#include <sys/wait.h>

namespace {
const QString Package = QStringLiteral("marrowgate");
const QString ServiceName = QStringLiteral("com.quillwork.Marrowgate.AclService");
const QString PolkitName = QStringLiteral("org.freedesktop.PolicyKit1");
const QString InstalledService = QStringLiteral("/usr/libexec/marrowgate-aclservice");
const QString RulesFile = QStringLiteral("/etc/polkit-1/rules.d/49-marrowgate-end-to-end-test.rules");
const QString BusFolder = QStringLiteral("/run/dbus");
const QString BusSocket = QStringLiteral("/run/dbus/system_bus_socket");
const QString Allowed = QStringLiteral("mgtestallow");
const QString Refused = QStringLiteral("mgtestrefuse");

struct Run
{
    int status = -1;
    QString out;
    QString err;
};

bool systemBusAnswers()
{
    return shOk(QStringLiteral("dbus-send --system --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus "
                               "org.freedesktop.DBus.GetId >/dev/null 2>&1"));
}

// Only the staged copy of this program runs this, as the user under test, with the installed
// libraries: it opens the window on `path`, adds `who` with +, typing and Enter, and saves
// with Ctrl+S, as a user would. It prints where its code came from and how the save ended.
int addAndSaveInWindow(const QString &path, const QString &who)
{
    useTestSettings();
    Dl_info info{};
    dladdr(reinterpret_cast<void *>(&MGAclPlugin::plugin), &info);
    std::printf("plug-in library: %s\n", info.dli_fname ? info.dli_fname : "?");
    std::printf("service: %s\n", qPrintable(MGChildServiceConnection::defaultCommand().join(QLatin1Char(' '))));
    MGAclPlugin::Pointer plugin = openWindow(path);
    if (plugin->entries().isEmpty()) {
        std::printf("the entries never arrived\n");
        return 3;
    }
    MGAclEntriesViewController *view = entriesView(plugin);
    QSignalSpy changed(plugin.get(), &MGAclPlugin::entriesChanged);
    QTest::mouseClick(view->addButton(), Qt::LeftButton);
    MGIdentityPopUpButton *chooser = nullptr;
    if (!QTest::qWaitFor(
            [&] {
                chooser = qobject_cast<MGIdentityPopUpButton *>(view->cellEditor(1, MGAclEntriesTableModel::IdentityColumn));
                return chooser && chooser->searchField();
            },
            10000)) {
        std::printf("no chooser opened for the new entry\n");
        return 3;
    }
    QTest::keyClicks(chooser->searchField(), who);
    if (!QTest::qWaitFor([&] { return chooser->listView()->currentIndex().data().toString() == who; }, 10000)) {
        std::printf("typing \"%s\" did not find it\n", qPrintable(who));
        return 3;
    }
    QTest::keyClick(chooser->searchField(), Qt::Key_Return);
    QSignalSpy reloaded(plugin.get(), &MGAclPlugin::entriesChanged);
    QTest::keyClick(plugin->window(), Qt::Key_S, Qt::ControlModifier);
    QMessageBox *box = nullptr;
    const bool ended = QTest::qWaitFor(
        [&] {
            box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            return box || (reloaded.count() > 0 && !plugin->window()->isWindowModified());
        },
        30000);
    if (box) {
        std::printf("refused: %s %s\n", qPrintable(box->text()), qPrintable(box->informativeText()));
        return 1;
    }
    std::printf(ended ? "saved\n" : "no answer\n");
    return ended ? 0 : 4;
}
}

class tst_PrivilegedEndToEnd : public QObject
{
    Q_OBJECT

    SharedTemporaryDir work;
    QString packageFile;
    QStringList packageFiles;
    bool installed = false;
    QStringList createdUsers;
    bool createdBusFolder = false;
    bool createdBusSocket = false;
    bool polkitWasRunning = false;
    QProcess *bus = nullptr;
    QDBusConnection connection{QString()};
    qint64 firstService = 0;

    QString item() const { return work.path("root-owned"); }
    QString secret() const { return work.path("closed/secret"); }

    Run runAs(const QString &user, const QString &program, const QStringList &arguments,
              const QMap<QString, QString> &extra = {}) const
    {
        QProcessEnvironment env;
        env.insert("PATH", "/usr/bin:/bin:/usr/sbin:/sbin");
        env.insert("LANG", "C.UTF-8");
        env.insert("HOME", work.path("home-" + user));
        env.insert("QT_QPA_PLATFORM", "offscreen");
        for (auto it = extra.begin(); it != extra.end(); ++it)
            env.insert(it.key(), it.value());
        QProcess process;
        process.setProcessEnvironment(env);
        process.setWorkingDirectory("/");
        process.start("setpriv", QStringList{"--reuid=" + user, "--regid=" + user, "--init-groups", program} + arguments);
        process.waitForFinished(60000);
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
    }

    qint64 servicePid(const QString &name) const
    {
        const QDBusReply<uint> pid = connection.interface()->servicePid(name);
        return pid.isValid() ? pid.value() : 0;
    }

    // A process that ran under a bus started here ends as a child of this process, which
    // reaps it; any other is only waited for.
    static bool waitForExit(qint64 pid)
    {
        return QTest::qWaitFor(
            [&] {
                if (waitpid(pid_t(pid), nullptr, WNOHANG) == pid_t(pid))
                    return true;
                return kill(pid_t(pid), 0) != 0 && errno == ESRCH;
            },
            10000);
    }

private slots:
    void initTestCase()
    {
        if (geteuid() != 0)
            QSKIP("installs a package, adds users and polkit rules: run as root to test the installed product end to end");
        for (const char *tool : {"dpkg", "cpack", "dbus-daemon", "dbus-send", "setpriv", "useradd", "userdel"}) {
            if (QStandardPaths::findExecutable(tool).isEmpty())
                QSKIP(qPrintable(QStringLiteral("%1 is not installed here").arg(tool)));
        }
        if (!QFile::exists("/usr/lib/polkit-1/polkitd"))
            QSKIP("polkitd is not installed here (Debian package polkitd)");
        const QString known = sh("dpkg-query -W -f='${db:Status-Status}' " + Package + " 2>/dev/null || true").trimmed();
        if ((!known.isEmpty() && known != "not-installed") || QFile::exists("/usr/bin/marrowgate-acl"))
            QSKIP("the product is installed on this machine already; this test installs and removes its own copy");
        qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        // What the bus starts lives on below this process once a bus it started is gone.
        prctl(PR_SET_CHILD_SUBREAPER, 1);

        const QString out = sh(QStringLiteral("cpack -G DEB --config %1/CPackConfig.cmake -B %2 2>&1")
                                   .arg(quoted(MARROWGATE_BUILD_DIR), quoted(work.path("package"))));
        packageFile = QDir(work.path("package")).entryInfoList({"*.deb"}).value(0).absoluteFilePath();
        QVERIFY2(!packageFile.isEmpty(), qPrintable(out));

        // Users the rules tell apart, and a rules file that does.
        for (const QString &user : {Allowed, Refused}) {
            if (!shOk("id -u " + user + " >/dev/null 2>&1")) {
                QVERIFY(shOk("useradd --system --no-create-home --shell /usr/sbin/nologin " + user));
                createdUsers << user;
            }
            QVERIFY(shOk(QStringLiteral("install -d -m 700 -o %1 -g %1 %2").arg(user, quoted(work.path("home-" + user)))));
        }
        QFile rules(RulesFile);
        QVERIFY(rules.open(QIODevice::WriteOnly));
        rules.write(QStringLiteral("polkit.addRule(function(action, subject) {\n"
                                   "    if (action.id.indexOf(\"com.quillwork.marrowgate.\") != 0)\n"
                                   "        return polkit.Result.NOT_HANDLED;\n"
                                   "    if (subject.user == \"%1\")\n"
                                   "        return polkit.Result.YES;\n"
                                   "    if (subject.user == \"%2\")\n"
                                   "        return polkit.Result.NO;\n"
                                   "    return polkit.Result.NOT_HANDLED;\n"
                                   "});\n")
                        .arg(Allowed, Refused)
                        .toUtf8());
        rules.close();
        QFile::setPermissions(RulesFile, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);

        // The system bus: the machine's own, or one started here for the test.
        if (!systemBusAnswers()) {
            createdBusFolder = !QFileInfo::exists(BusFolder);
            createdBusSocket = !QFileInfo::exists(BusSocket);
            QVERIFY(QDir().mkpath(BusFolder));
            bus = new QProcess(this);
            bus->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            bus->start("dbus-daemon", {"--system", "--nofork", "--nopidfile"});
            QVERIFY(bus->waitForStarted());
            QVERIFY2(QTest::qWaitFor(systemBusAnswers, 10000), "the system bus started here does not answer");
        }
        connection = QDBusConnection::connectToBus(QDBusConnection::SystemBus, "end-to-end");
        QVERIFY(connection.isConnected());
        polkitWasRunning = connection.interface()->isServiceRegistered(PolkitName);

        const QString installOut = sh("dpkg -i " + quoted(packageFile) + " 2>&1");
        installed = true;
        QVERIFY2(shOk("dpkg-query -W -f='${Status}' " + Package + " | grep -q 'install ok installed'"),
                 qPrintable(installOut));
        packageFiles = sh("dpkg -L " + Package).split('\n', Qt::SkipEmptyParts);
        QVERIFY(packageFiles.contains(InstalledService));

        // Items only root may change, and one only root may read.
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 644 %1 && mkdir -m 700 %2 && echo x > %2/secret")
                         .arg(quoted(item()), quoted(work.path("closed")))));
        QVERIFY(!connection.interface()->isServiceRegistered(ServiceName));
    }

    // The command line as each user: the allowed one's change lands, the refused one's is
    // refused by polkit and nothing of it reaches the disk. The service was started by the
    // bus for the first request, from its installed place.

    // What Debian checks every package with: lintian finds no error (and no warning but the
    // ones docs/packaging.md explains), the desktop entry and the AppStream data are valid,
    // and the file managers' extensions are Python that compiles.
    void thePackagePassesDebiansChecks()
    {
        for (const char *tool : {"lintian", "appstreamcli", "desktop-file-validate", "python3"}) {
            if (QStandardPaths::findExecutable(tool).isEmpty())
                QSKIP(qPrintable(QStringLiteral("%1 is not installed here").arg(tool)));
        }
        const QString report = sh("lintian --tag-display-limit 0 " + quoted(packageFile) + " 2>/dev/null");
        const QStringList explained{"maintscript-calls-ldconfig", "no-manual-page"};
        for (const QString &line : report.split('\n', Qt::SkipEmptyParts)) {
            QVERIFY2(!line.startsWith("E: "), qPrintable(report));
            if (line.startsWith("W: "))
                QVERIFY2(explained.contains(line.section(' ', 2, 2)), qPrintable(line));
        }
        const QString unpacked = work.path("unpacked");
        QVERIFY(shOk("dpkg-deb -x " + quoted(packageFile) + " " + quoted(unpacked)));
        const QString share = unpacked + "/usr/share";
        QVERIFY(shOk("desktop-file-validate " + quoted(share + "/applications/marrowgate-acl.desktop")));
        QVERIFY(shOk("appstreamcli validate --no-net " + quoted(share + "/metainfo/com.quillwork.marrowgate.metainfo.xml")));
        for (const char *extension : {"nautilus-python", "caja-python"})
            QVERIFY(shOk(QStringLiteral("python3 -m py_compile %1/%2/extensions/marrowgate-acl-menu.py").arg(quoted(share), extension)));
    }
    void theCommandLineChangesOnlyWhatTheRulesAllow()
    {
        // A read the rules allow, tried until polkitd has read the rules file.
        Run read;
        QVERIFY2(QTest::qWaitFor([&] { return (read = runAs(Allowed, "marrowgate-acl", {"list", secret()})).status == 0; },
                                 20000),
                 qPrintable(read.err));
        QVERIFY(read.out.contains("## POSIX Permissions"));

        const Run allowed = runAs(Allowed, "marrowgate-acl", {"set", item(), "u:nobody:rw"});
        QVERIFY2(allowed.status == 0, qPrintable(allowed.err));
        const Run refused = runAs(Refused, "marrowgate-acl", {"set", item(), "u:daemon:rwx"});
        QCOMPARE(refused.status, 1);
        QVERIFY2(refused.err.contains("You are not authorised to do this (com.quillwork.marrowgate.setfileacl)"),
                 qPrintable(refused.err));
        const Run refusedRead = runAs(Refused, "marrowgate-acl", {"list", secret()});
        QCOMPARE(refusedRead.status, 1);
        QVERIFY(!refusedRead.out.contains("POSIX"));
        const QString acl = facl(item());
        QVERIFY2(acl.contains("user:65534:rw-") && !acl.contains("user:1:"), qPrintable(acl));
        QVERIFY(sh("stat -c %u:%g " + quoted(item())).trimmed() == "0:0");

        firstService = servicePid(ServiceName);
        QVERIFY(firstService > 0);
        QCOMPARE(QFileInfo(QStringLiteral("/proc/%1/exe").arg(firstService)).symLinkTarget(), InstalledService);
        QCOMPARE(sh(QStringLiteral("stat -c %u /proc/%1").arg(firstService)).trimmed(), QStringLiteral("0"));
    }

    // The window as each user: a copy of this program, run with the installed libraries, adds
    // someone and presses Ctrl+S; the save goes through the installed service and polkit.
    void aWindowSaveLandsOnlyForTheAllowedUser()
    {
        const QString stage = work.path("stage");
        QVERIFY(QDir().mkpath(stage));
        const QString copy = stage + "/window-test";
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), copy));
        QVERIFY(QFile::setPermissions(stage, QFileDevice::Permissions(0x7755)));
        const QMap<QString, QString> installedLibraries{{"LD_LIBRARY_PATH", "/usr/lib/marrowgate"}};
        const QString target = work.path("saved-in-window");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 644 %1").arg(quoted(target))));

        const Run allowed = runAs(Allowed, copy, {"--add-and-save", target, "nobody"}, installedLibraries);
        QVERIFY2(allowed.out.startsWith("plug-in library: /usr/lib/marrowgate/libmarrowgate-plugin.so"), qPrintable(allowed.out));
        QVERIFY2(allowed.out.contains("service: " + InstalledService), qPrintable(allowed.out));
        QVERIFY2(allowed.status == 0 && allowed.out.contains("saved\n"), qPrintable(allowed.out + allowed.err));
        QVERIFY2(facl(target).contains("user:65534:r"), qPrintable(facl(target)));

        const Run refused = runAs(Refused, copy, {"--add-and-save", target, "daemon"}, installedLibraries);
        QVERIFY2(refused.status == 1 && refused.out.contains("refused: ") && refused.out.contains("not authorised"),
                 qPrintable(refused.out + refused.err));
        QVERIFY2(!facl(target).contains("user:1:"), qPrintable(facl(target)));
    }

    // Left alone, the service quits; the next request starts it again.
    void theServiceQuitsWhenIdleAndTheBusStartsItAgain()
    {
        QVERIFY(firstService > 0);
        QVERIFY2(QTest::qWaitFor([&] { return !connection.interface()->isServiceRegistered(ServiceName); }, 90000),
                 "the service was still there 90 s after its last request");
        QVERIFY(waitForExit(firstService));
        const Run again = runAs(Allowed, "marrowgate-acl", {"list", secret()});
        QVERIFY2(again.status == 0, qPrintable(again.err));
        const qint64 second = servicePid(ServiceName);
        QVERIFY(second > 0 && second != firstService);
        QCOMPARE(QFileInfo(QStringLiteral("/proc/%1/exe").arg(second)).symLinkTarget(), InstalledService);
    }

    void cleanupTestCase()
    {
        if (geteuid() != 0)
            return;
        const qint64 service = connection.isConnected() ? servicePid(ServiceName) : 0;
        const qint64 polkit = connection.isConnected() && !polkitWasRunning ? servicePid(PolkitName) : 0;
        if (installed) {
            // Removing takes every file away; purging also drops the package's record.
            const QString out = sh("dpkg -r " + Package + " 2>&1 && dpkg --purge " + Package + " 2>&1");
            for (const QString &file : std::as_const(packageFiles)) {
                const QFileInfo info(file);
                QVERIFY2(!info.exists() || info.isDir(), qPrintable(file + " is left after removal: " + out));
            }
            QVERIFY(!shOk("dpkg-query -W " + Package + " >/dev/null 2>&1"));
        }
        QFile::remove(RulesFile);
        for (const QString &user : std::as_const(createdUsers))
            QVERIFY(shOk("userdel " + user));
        QDBusConnection::disconnectFromBus("end-to-end");
        if (bus) {
            bus->terminate();
            QVERIFY(bus->waitForFinished(10000));
        }
        for (const qint64 pid : {service, polkit}) {
            if (pid > 0) {
                kill(pid_t(pid), SIGTERM);
                QVERIFY(waitForExit(pid));
            }
        }
        // Whatever else ran below a bus started here (the window's own services) and ended.
        while (bus && waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        if (createdBusSocket)
            QFile::remove(BusSocket);
        if (createdBusFolder)
            QDir().rmdir(BusFolder);
    }
};

int main(int argc, char **argv)
{
    if (argc == 4 && qstrcmp(argv[1], "--add-and-save") == 0) {
        QApplication app(argc, argv);
        return addAndSaveInWindow(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    }
    QApplication app(argc, argv);
    tst_PrivilegedEndToEnd test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_PrivilegedEndToEnd.moc"
