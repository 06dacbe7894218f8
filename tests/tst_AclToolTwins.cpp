// marrowgate-acl set, remove, restore and backup beside setfacl -m, setfacl -x, setfacl
// --restore and getfacl -R, as a script writer would swap one for the other. Each case runs
// both on twin items (made by the same commands on the same file system, tmpfs and ext4)
// and compares the exit status and what getfacl then says of every item; backups are
// compared byte for byte on one tree. Where the product differs on purpose (the README's
// "Where we differ from getfacl and setfacl"), the case says how, and checks that.
//
// Everything runs in a private mount namespace whose account files add users and groups
// with a backslash, a "#" and a space in their names.
#include "CommandLineHelpers.h"
#include "FileSystemHelpers.h"

#include <map>
#include <memory>

namespace {
// How our result may differ from the acl tools' for a case.
enum class Difference {
    None, // the same exit status, the same items after
    Usage, // a malformed entry: setfacl exits 2, we exit 64 (EX_USAGE); nothing changes
    Refuses, // we refuse the block and change nothing, where setfacl changes part of it
    Says, // the same items after; we say what was not restored and exit 1 where setfacl says nothing
    LoneMask, // setfacl keeps a mask no named entry needs any more; it goes with us (the bits agree)
};
}
Q_DECLARE_METATYPE(Difference)

class tst_AclToolTwins : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;
    std::map<QString, std::unique_ptr<ScratchFileSystem>> m_mounted;
    int m_twins = 0;

    // Account files with odd names, bound over the real ones inside each run's namespace.
    QString accounts()
    {
        const QString passwd = tmp.path("passwd"), group = tmp.path("group");
        if (!QFile::exists(passwd))
            shOk(QStringLiteral("cp /etc/passwd %1 && cp /etc/group %2 && "
                                "printf 'odd\\\\name:x:47001:47001::/:/bin/false\\nodd#name:x:47002:47002::/:/bin/false\\n"
                                "odd name:x:47003:47003::/:/bin/false\\n' >> %1 && "
                                "printf 'odd\\\\group:x:47001:\\nodd#group:x:47002:\\nodd group:x:47003:\\n' >> %2")
                     .arg(quoted(passwd), quoted(group)));
        return QStringLiteral("mount --bind %1 /etc/passwd && mount --bind %2 /etc/group")
            .arg(quoted(passwd), quoted(group));
    }

    // Runs `script` with bash in `folder`, in the namespace; $M is our command.
    Run run(const QString &folder, const QString &script, const QStringList &as = {}, const StagedBuild *staged = nullptr)
    {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("LANG", "C.UTF-8");
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("XDG_CONFIG_HOME", QDir::tempPath() + "/marrowgate-cli-test-config");
        env.insert("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + QDir::tempPath() + "/marrowgate-no-system-bus-here");
        env.insert("M", staged ? staged->commandLine() : QStringLiteral(MARROWGATE_ACL_PATH));
        process.setProcessEnvironment(env);
        const QString inner = (as.isEmpty() ? QString() : as.join(' ') + ' ') + "bash -c " + quoted("cd " + quoted(folder) + " && " + script);
        process.start("unshare", {"-m", "bash", "-c", accounts() + " && " + inner});
        process.waitForFinished(60000);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    ScratchFileSystem *fileSystem(const QString &type)
    {
        auto &slot = m_mounted[type];
        if (!slot)
            slot = std::make_unique<ScratchFileSystem>(type);
        return slot.get();
    }

    // Everything in a twin folder as getfacl writes it, with paths relative to it.
    QString state(const QString &folder) { return run(folder, "getfacl -R . 2>&1").out; }

    static QString withoutLoneMasks(const QString &text)
    {
        QStringList kept;
        for (const QString &block : text.split("\n\n")) {
            QStringList lines = block.split('\n');
            for (const QString prefix : {"", "default:"}) {
                const QRegularExpression named("^" + prefix + "(user|group):[^:]+:", QRegularExpression::MultilineOption);
                if (!block.contains(named))
                    lines.removeIf([&](const QString &line) { return line.startsWith(prefix + "mask::"); });
            }
            kept << lines.join('\n');
        }
        return kept.join("\n\n");
    }

    static void addTwinRow(const char *name, const QString &setup, const QString &theirs, const QString &ours,
                           Difference difference = Difference::None)
    {
        for (const char *type : {"tmpfs", "ext4"})
            QTest::addRow("%s, %s", type, name) << QString(type) << setup << theirs << ours << difference;
    }

    // A restore file, written into ../in.acl beside the twin folder.
    static QString restoring(const QString &text)
    {
        return QStringLiteral("printf '%1' > ../in.acl").arg(text);
    }

private slots:
    void initTestCase()
    {
        if (geteuid() != 0)
            QSKIP("the twins need root: they mount file systems and make accounts in a namespace");
        QVERIFY(run(tmp.path(), "getent passwd 'odd name' >/dev/null").status == 0);
    }

    void theSameChangeGivesTheSameItems_data()
    {
        QTest::addColumn<QString>("fileSystem");
        QTest::addColumn<QString>("setup"); // run in each twin folder
        QTest::addColumn<QString>("theirs");
        QTest::addColumn<QString>("ours");
        QTest::addColumn<Difference>("difference");
        // One way to change entries with setfacl's option and our command.
        const auto changing = [](const QString &option, const QString &command) {
            return [=](const char *name, const QString &setup, const QString &entries, Difference difference = Difference::None) {
                addTwinRow(name, setup, QStringLiteral("setfacl %1 %2 k").arg(option, entries),
                           QStringLiteral("$M %1 k %2").arg(command, entries), difference);
            };
        };
        const auto set = changing("-m", "set");
        const auto remove = changing("-x", "remove");
        const QString folder = "mkdir k";
        const QString named = "mkdir k && setfacl -m u:bin:rwx,m::r k";
        const QString both = "mkdir k && setfacl -m d:u:bin:rwx,d:g:daemon:rx,u:bin:rwx,m:rx k";
        // Every form setfacl -m takes.
        set("set o:r", folder, "o:r");
        set("set m:r", folder, "m:r");
        set("set d:m:rx", folder, "d:m:rx");
        set("set o::r", named, "o::r");
        set("set u::rwx recomputes the mask", named, "u::rwx");
        set("set g::w", named, "g::w");
        set("set d:o::r copies the base entries", named, "d:o::r");
        set("set a numeric id", folder, "u:4711:r,g:4712:rw");
        set("set an octal digit", folder, "u:bin:7,g:daemon:5");
        set("set rX on a file", "touch k", "u:bin:rX");
        set("set rX on an executable file", "touch k && chmod 744 k", "u:bin:rX");
        set("set rX on a folder", folder, "u:bin:rX");
        set("set several", folder, "u:bin:rw,default:group:daemon:r,mask::rwx");
        set("set keeps set-id", "mkdir k && chmod 2775 k", "u:bin:r");
        set("set odd names", folder, "'u:odd\\name:r,u:odd#name:w,g:odd\\040group:x'");
        set("set a letter twice", folder, "u:bin:rwxr", Difference::Usage);
        set("set without permissions", folder, "u:bin", Difference::Usage);
        set("set for new items on a file", "touch k", "d:u:bin:r");
        // Every form setfacl -x takes; each ACL a change names gets its mask again.
        remove("remove d:u:bin", both, "d:u:bin");
        remove("remove the last default entry", "mkdir k && setfacl -m d:u:bin:rwx k", "d:u:bin");
        remove("remove an entry that is not there", both, "g:bin");
        remove("remove u:bin:", both, "u:bin:", Difference::LoneMask);
        remove("remove the last named entry", both, "u:bin", Difference::LoneMask);
        remove("remove a needed mask", "mkdir k && setfacl -m u:bin:rwx k", "m");
        remove("remove a mask alone", "mkdir k && setfacl -m m:r k", "m");
        remove("remove the owner's entry", folder, "u::");
        remove("remove others", folder, "o");
        remove("remove a needed default mask", "mkdir k && setfacl -m d:u:bin:r k", "d:m");
        remove("remove with permissions", both, "u:bin:r", Difference::Usage);
        remove("remove for new items on a file", "touch k && setfacl -m u:bin:r k", "d:u:bin");
        // Restore files, well formed and not.
        const auto restore = [](const char *name, const QString &setup, const QString &text,
                                Difference difference = Difference::None) {
            addTwinRow(name, setup + " && " + restoring(text), "setfacl --restore=../in.acl", "$M restore ../in.acl",
                       difference);
        };
        const QString acl = "user::rwx\\ngroup::rwx\\nother::rwx\\n";
        restore("restore two owner lines", "touch f", "# file: f\\n# owner: root\\n# owner: bin\\n" + acl + "\\n");
        restore("restore two file lines", "touch f", "# file: f\\n# file: f\\n" + acl + "\\n");
        restore("restore flags that are no flags", "touch f", "# file: f\\n# flags: --x\\n" + acl + "\\n");
        restore("restore flags too long", "touch f", "# file: f\\n# flags: s--x\\n" + acl + "\\n");
        restore("restore without other", "touch f", "# file: f\\nuser::rwx\\ngroup::rwx\\n\\n");
        restore("restore an empty path", "touch f", "# file: \\n" + acl + "\\n");
        restore("restore an item without entries", "touch f", "# file: f\\n\\n# file: f\\n" + acl + "\\n");
        restore("restore set-id and sticky bits", "mkdir t", "# file: t\\n# flags: sst\\n" + acl + "\\n");
        restore("restore clears set-id bits not in the file", "touch f && chmod 2755 f", "# file: f\\n" + acl + "\\n");
        restore("restore an entry twice", "touch f", "# file: f\\nuser::rwx\\nuser::r--\\ngroup::rwx\\nother::rwx\\n\\n");
        restore("restore named entries without a mask", "touch f", "# file: f\\nuser:bin:r--\\n" + acl + "\\n");
        restore("restore a default ACL without base entries", "mkdir f",
                "# file: f\\n" + acl + "default:user:bin:rwx\\ndefault:other::r-x\\n\\n");
        restore("restore comments among entries", "touch f", "#file:f\\n   user::rwx\\n# owner: bin\\ngroup::rwx  \\nother::---\\t#c\\n\\n");
        restore("restore numeric owner and group", "touch f", "# file: f\\n# owner: 2\\n# group: 3\\n" + acl + "\\n");
        restore("restore odd names", "touch f",
                "# file: f\\n# owner: odd\\\\\\\\name\\n# group: odd#group\\nuser::rwx\\nuser:odd\\\\040name:r--\\n"
                "user:odd#name:-w-\\ngroup::r-x\\ngroup:odd\\\\\\\\group:--x\\nmask::rwx\\nother::---\\n\\n");
        restore("restore a missing item among others", "touch f",
                "# file: gone\\n" + acl + "\\n# file: f\\nuser::r-x\\ngroup::r-x\\nother::r-x\\n\\n");
        // Found by trying: what setfacl takes that a strict reading refused, and what it does
        // not do that a loose one did.
        restore("restore X on a file nobody may execute", "touch f && chmod 644 f", "# file: f\\nuser::rwX\\ngroup::r-X\\nother::r--\\n\\n");
        restore("restore X on an executable file", "touch f && chmod 744 f", "# file: f\\nuser::rwX\\ngroup::r-X\\nuser:bin:r-X\\nother::r--\\n\\n");
        restore("restore X where another entry grants execute", "touch f && chmod 644 f", "# file: f\\nuser::rwx\\ngroup::r-X\\nother::r--\\n\\n");
        set("set X where the change grants execute", "touch k", "u:bin:rX,o::x");
        restore("restore X on a folder", "mkdir f", "# file: f\\nuser::rwX\\ngroup::r-X\\nother::r-X\\ndefault:user:bin:rX\\n\\n");
        restore("restore a file line among entries", "touch f g && chmod 644 f g",
                "# file: f\\nuser::rwx\\ngroup::r--\\nother::r--\\n# file: g\\nuser::r--\\ngroup::---\\nother::---\\n\\n");
        restore("restore blank lines in the header", "touch f", "# file: f\\n\\n# owner: 65534\\n\\n" + acl + "\\n");
        restore("restore a second flags line", "touch f", "# file: f\\n# flags: s--\\n# flags: -s-\\n" + acl + "\\n");
        restore("restore an owner after an unknown one", "touch f",
                "# file: f\\n# owner: nosuchuser\\n# owner: 65534\\n" + acl + "\\n");
        restore("restore blanks inside entries", "touch f", "# file: f\\nuser:: rwx\\ngroup ::r-x\\nother::r--#note\\n\\n");
        restore("restore an unknown owner", "touch f", "# file: f\\n# owner: nosuchuser\\n# group: nosuchgroup\\n" + acl + "\\n",
                Difference::Says);
        restore("restore entries for new items on a file", "touch f",
                "# file: f\\n" + acl + "default:user::rwx\\ndefault:group::rwx\\ndefault:other::rwx\\n\\n", Difference::Refuses);
        restore("restore a malformed block after a good one", "touch f g",
                "# file: g\\n" + acl + "\\n# file: f\\nuser::rwx\\ngroup::rwx\\n\\n", Difference::Refuses);
    }
    void theSameChangeGivesTheSameItems()
    {
        QFETCH(QString, fileSystem);
        QFETCH(QString, setup);
        QFETCH(QString, theirs);
        QFETCH(QString, ours);
        QFETCH(Difference, difference);
        ScratchFileSystem *fs = this->fileSystem(fileSystem);
        REQUIRE_MOUNTED(*fs);
        const QString base = fs->path(QString::number(m_twins++));
        // Each twin's restore file lies beside it, never inside what is compared.
        const QString theirFolder = base + "/theirs-in/t", ourFolder = base + "/ours-in/t";
        QVERIFY(QDir().mkpath(theirFolder) && QDir().mkpath(ourFolder));
        for (const QString &folder : {theirFolder, ourFolder}) {
            const Run made = run(folder, setup);
            QVERIFY2(made.status == 0, qPrintable(made.err));
        }
        const QString before = state(ourFolder);
        const Run their = run(theirFolder, theirs);
        const Run our = run(ourFolder, ours);
        const QString theirState = state(theirFolder), ourState = state(ourFolder);
        const QString said = QStringLiteral("\ntheirs (%1): %2\nours (%3): %4\ntheirs:\n%5\nours:\n%6")
                                 .arg(their.status).arg(their.err).arg(our.status).arg(our.err, theirState, ourState);
        switch (difference) {
        case Difference::None:
            QVERIFY2((their.status == 0) == (our.status == 0), qPrintable(said));
            QVERIFY2(theirState == ourState, qPrintable(said));
            break;
        case Difference::Usage:
            QVERIFY2(their.status == 2 && our.status == 64, qPrintable(said));
            QVERIFY2(theirState == ourState && ourState == before, qPrintable(said));
            break;
        case Difference::Refuses:
            QVERIFY2(their.status != 0 && our.status == 1 && ourState == before, qPrintable(said));
            QVERIFY2(our.err.contains("line"), qPrintable(said));
            break;
        case Difference::Says:
            QVERIFY2(their.status == 0 && our.status == 1 && theirState == ourState, qPrintable(said));
            QVERIFY2(our.err.contains("was not changed"), qPrintable(said));
            break;
        case Difference::LoneMask:
            QVERIFY2((their.status == 0) == (our.status == 0), qPrintable(said));
            QVERIFY2(withoutLoneMasks(theirState) == withoutLoneMasks(ourState), qPrintable(said));
            QVERIFY2(run(theirFolder, "stat -c %a k").out == run(ourFolder, "stat -c %a k").out, qPrintable(said));
            break;
        }
    }

    // A backup is getfacl -R's text for the same tree, byte for byte and in its order, every
    // time; restoring it with setfacl or with us gives the same items.
    void backupsAreWhatGetfaclWrites_data()
    {
        QTest::addColumn<QString>("fileSystem");
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("asNobody");
        const QString tree = "mkdir -p t/a t/b t/c/d && touch t/a/{1..9} t/b/{1..9} t/c/d/x && "
                             "setfacl -Rm u:bin:rX,g:odd#group:r t/a && setfacl -m d:u:odd\\\\name:rwx,d:m:r t/c && "
                             "chmod 3775 t/b && chmod 4755 t/a/1 && mkfifo t/c/pipe && ln -s a t/link && "
                             "touch t/$'new\\nline' t/'back\\slash' t/'sp ace' && chown odd\\\\name:odd\\ group t/b/2";
        for (const char *type : {"tmpfs", "ext4"}) {
            QTest::addRow("%s, a tree", type) << QString(type) << tree << "t" << false;
            QTest::addRow("%s, a tree named with ./", type) << QString(type) << tree << "./t/" << false;
            QTest::addRow("%s, a link given as the path", type) << QString(type) << tree + " && ln -s t l" << "l" << false;
            QTest::addRow("%s, a folder that may not be listed", type)
                << QString(type) << "mkdir -p t/locked/inner t/open && touch t/locked/inner/f t/open/g && chmod 700 t/locked && chmod 755 . t t/open"
                << "t" << true;
        }
    }
    void backupsAreWhatGetfaclWrites()
    {
        QFETCH(QString, fileSystem);
        QFETCH(QString, setup);
        QFETCH(QString, path);
        QFETCH(bool, asNobody);
        ScratchFileSystem *fs = this->fileSystem(fileSystem);
        REQUIRE_MOUNTED(*fs);
        std::unique_ptr<StagedBuild> staged;
        if (asNobody) {
            staged = std::make_unique<StagedBuild>();
            REQUIRE_STAGED(*staged);
        }
        const QString folder = fs->path(QString::number(m_twins++));
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(shOk("chmod 755 " + quoted(folder)));
        const Run made = run(folder, setup);
        QVERIFY2(made.status == 0, qPrintable(made.err));
        const QStringList as = asNobody ? AsNobody : QStringList();
        const Run their = run(folder, "getfacl -R " + quoted(path), as, staged.get());
        QSet<QString> ourTexts;
        for (int time = 0; time < 3; ++time) {
            const Run our = run(folder, "$M backup " + quoted(path), as, staged.get());
            QCOMPARE(our.status == 0, their.status == 0);
            ourTexts << our.out;
        }
        QCOMPARE(ourTexts.size(), 1);
        QCOMPARE(*ourTexts.begin(), their.out);
        // A restore of a link's path goes through the link, which we never do (README).
        if (asNobody || path == "l")
            return;
        // Back again: both restores of the one backup, onto twins changed since, agree. The
        // FIFO goes from both: we never change one (README), setfacl does.
        const QString copies = fs->path(QString::number(m_twins++));
        QVERIFY(shOk(QStringLiteral("mkdir %1 && cp -a %2/. %1/theirs && cp -a %2/. %1/ours").arg(quoted(copies), quoted(folder))));
        QFile backup(copies + "/backup");
        QVERIFY(backup.open(QIODevice::WriteOnly) && backup.write(their.out.toUtf8()) == their.out.toUtf8().size());
        backup.close();
        for (const QString &twin : {copies + "/theirs", copies + "/ours"})
            QVERIFY(shOk("cd " + quoted(twin) + " && rm t/c/pipe && chmod -R 700 t && setfacl -Rb t && chmod 0755 t"));
        const Run theirRestore = run(copies + "/theirs", "setfacl --restore=../backup");
        const Run ourRestore = run(copies + "/ours", "$M restore ../backup");
        QVERIFY2(ourRestore.status == theirRestore.status, qPrintable(ourRestore.err + theirRestore.err));
        QCOMPARE(state(copies + "/ours"), state(copies + "/theirs"));
    }
};

QTEST_GUILESS_MAIN(tst_AclToolTwins)
#include "tst_AclToolTwins.moc"
