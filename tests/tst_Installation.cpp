// The product as it is installed: it finds its own parts under its own prefix and nothing
// anywhere else (not the build or source folders, whoever owns them later), and its desktop
// entry never becomes the program that opens folders or files.
#include "ShellHelpers.h"

#include <QDir>
#include <QDirIterator>

class tst_Installation : public QObject
{
    Q_OBJECT

    QTemporaryDir root;
    QString prefix;

    QStringList elfFiles() const
    {
        QStringList found;
        QDirIterator it(prefix, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            QFile file(path);
            if (file.open(QIODevice::ReadOnly) && file.read(4) == "\x7f" "ELF")
                found << path;
        }
        return found;
    }

private slots:
    void initTestCase()
    {
        prefix = root.filePath("usr");
        const QString out = sh(QStringLiteral("cmake --install %1 --prefix %2 --strip 2>&1")
                                   .arg(quoted(MARROWGATE_BUILD_DIR), quoted(prefix)));
        QVERIFY2(QFile::exists(prefix + "/bin/marrowgate-acl"), qPrintable(out));
    }

    // Programs and libraries look for the product's libraries beside themselves only.
    void libraryPathsAreRelative()
    {
        const QStringList files = elfFiles();
        QVERIFY(files.size() >= 10);
        for (const QString &file : files) {
            const QString dynamic = sh("readelf -d " + quoted(file) + " | grep -E 'RPATH|RUNPATH' || true");
            for (const QString &line : dynamic.split('\n', Qt::SkipEmptyParts)) {
                const QString paths = line.section('[', 1).section(']', 0, 0);
                for (const QString &path : paths.split(':'))
                    QVERIFY2(path.startsWith("$ORIGIN"), qPrintable(file + ": " + line));
            }
        }
    }

    // No installed file names the folders it was built from.
    void nothingNamesTheBuildOrSourceFolder()
    {
        for (const QString &folder : {QStringLiteral(MARROWGATE_BUILD_DIR), QStringLiteral(MARROWGATE_SOURCE_DIR)}) {
            const QString hits = sh("grep -r -l -F " + quoted(folder) + " " + quoted(prefix) + " || true").trimmed();
            QVERIFY2(hits.isEmpty(), qPrintable(hits));
        }
    }

    // Run from its installed place, the command line, the window host it starts, the
    // plug-in module and the service open nothing under the build or source folders.
    void theInstalledProgramUsesOnlyItsOwnFiles()
    {
        const QString item = root.filePath("item");
        QVERIFY(shOk("touch " + quoted(item) + " && setfacl -m u:nobody:r " + quoted(item)));
        const QString trace = root.filePath("trace");
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("XDG_CONFIG_HOME", root.filePath("config"));
        process.setProcessEnvironment(env);
        process.start("strace", {"-f", "-qq", "-e", "trace=open,openat,openat2,execve", "-o", trace,
                                 prefix + "/bin/marrowgate-acl", "screenshot", item, root.filePath("shot.png")});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(QFile::exists(root.filePath("shot.png")));
        QFile log(trace);
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QString calls = QString::fromUtf8(log.readAll());
        // It did start its parts: the window host loaded the installed module and the service.
        QVERIFY(calls.contains(prefix + "/libexec/marrowgate-aclwindow"));
        QVERIFY(calls.contains(prefix + "/lib/marrowgate/plugins/libmarrowgate-aclplugin.so"));
        QVERIFY(calls.contains(prefix + "/libexec/marrowgate-aclservice"));
        for (const QString &line : calls.split('\n')) {
            for (const QString &folder : {QStringLiteral(MARROWGATE_BUILD_DIR), QStringLiteral(MARROWGATE_SOURCE_DIR)})
                QVERIFY2(!line.contains("\"" + folder + "/"), qPrintable(line));
        }
        // And a text command works from there too.
        process.start(prefix + "/bin/marrowgate-acl", {"list", item});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(process.readAllStandardOutput().contains("nobody"));
    }

    // Installed where the desktop looks for programs, the editor is no program that opens
    // folders or files: it is reached from the file managers' context menus.
    void theDesktopEntryOpensNothing()
    {
        const QString data = root.filePath("xdg-data");
        QVERIFY(shOk(QStringLiteral("mkdir -p %1/applications && cp %2/share/applications/marrowgate-acl.desktop "
                                    "%1/applications/ && update-desktop-database %1/applications")
                         .arg(quoted(data), quoted(prefix))));
        QVERIFY(shOk("desktop-file-validate " + quoted(data + "/applications/marrowgate-acl.desktop")));
        for (const char *type : {"inode/directory", "text/plain", "application/octet-stream"}) {
            const QString answer = sh(QStringLiteral("env -u XDG_CURRENT_DESKTOP XDG_DATA_HOME=%1 XDG_DATA_DIRS=%1 "
                                                     "XDG_CONFIG_HOME=%2 xdg-mime query default %3")
                                          .arg(quoted(data), quoted(root.filePath("xdg-config")), type));
            QVERIFY2(!answer.contains("marrowgate"), qPrintable(QString(type) + ": " + answer));
        }
        // The file managers' entries are there, named as they look for them.
        for (const char *file : {"share/kio/servicemenus/marrowgate-acl-dolphin.desktop",
                                 "share/marrowgate/thunar/thunar-uca.xml", "share/nautilus-python/extensions/marrowgate-acl-menu.py",
                                 "share/caja-python/extensions/marrowgate-acl-menu.py", "share/nemo/actions/marrowgate-acl.nemo_action",
                                 "share/file-manager/actions/marrowgate-acl.desktop", "bin/marrowgate-acl-integrate"})
            QVERIFY2(QFile::exists(prefix + "/" + QString::fromUtf8(file)), file);
        // The manual pages and the shell completion, where man and bash look for them.
        for (const char *file : {"share/man/man1/marrowgate-acl.1.gz", "share/man/man1/marrowgate-acl-integrate.1.gz",
                                 "share/bash-completion/completions/marrowgate-acl"})
            QVERIFY2(QFile::exists(prefix + "/" + QString::fromUtf8(file)), file);
        QVERIFY(sh("MANWIDTH=100 man -l " + quoted(prefix + "/share/man/man1/marrowgate-acl.1.gz")).contains("marrowgate-acl audit"));
    }

    // A user adds the action to Thunar, and takes it away again, keeping the Thunar actions
    // they had.
    void integrationAddsAndRemovesTheActions()
    {
        const QString home = root.filePath("home");
        QVERIFY(shOk(QStringLiteral("mkdir -p %1/.config/Thunar && printf '%s\\n' '<?xml version=\"1.0\"?>' '<actions>' "
                                    "'<action><name>Mine</name><unique-id>mine</unique-id></action>' '</actions>' > "
                                    "%1/.config/Thunar/uca.xml")
                         .arg(quoted(home))));
        const QString run = "env -u XDG_DATA_HOME -u XDG_CONFIG_HOME HOME=" + quoted(home) + " " + quoted(prefix + "/bin/marrowgate-acl-integrate");
        // It says which file managers need nothing from it.
        QVERIFY(sh(run).contains("Nautilus, Caja, Nemo, PCManFM-Qt and Dolphin show"));
        QVERIFY(shOk(run)); // twice is once
        const QString uca = sh("cat " + quoted(home + "/.config/Thunar/uca.xml"));
        QCOMPARE(uca.count("com.quillwork.marrowgate.acl"), 1);
        QVERIFY(uca.contains("<unique-id>mine</unique-id>"));
        QVERIFY(shOk("xmllint --noout " + quoted(home + "/.config/Thunar/uca.xml") + " 2>/dev/null || python3 -c "
                     "\"import xml.dom.minidom,sys; xml.dom.minidom.parse(sys.argv[1])\" " + quoted(home + "/.config/Thunar/uca.xml")));
        // Nautilus has its extension system-wide: nothing of it in the user's folders.
        QVERIFY(!QFileInfo::exists(home + "/.local/share/nautilus/scripts/ACL\u2026"));
        QVERIFY(shOk(run + " --remove"));
        QVERIFY(!sh("cat " + quoted(home + "/.config/Thunar/uca.xml")).contains("marrowgate"));
        QVERIFY(sh("cat " + quoted(home + "/.config/Thunar/uca.xml")).contains("<unique-id>mine</unique-id>"));
        QVERIFY(!QFileInfo::exists(home + "/.local/share/nautilus/scripts/ACL\u2026"));
    }
};

QTEST_GUILESS_MAIN(tst_Installation)
#include "tst_Installation.moc"
