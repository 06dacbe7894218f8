// marrowgate-acl backup and restore, in both directions with the system's getfacl -R and
// setfacl --restore.
#include "CommandLineHelpers.h"
#include "MGAclTextFormat.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class tst_MGAclBackupCommands : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    // A tree with named entries, defaults, odd names, another owner, a FIFO and a link.
    QString makeTree(const QString &name)
    {
        const QString root = tmp.path(name);
        const bool made = shOk(QStringLiteral(
            "mkdir -p %1/sub/deeper && cd %1 && touch a 'with space' $'new\\nline' 'back\\\\slash' sub/b sub/deeper/c && "
            "setfacl -m u:nobody:rwx,g:adm:r,m::rx a && setfacl -d -m u:daemon:rwx,g:adm:rx sub && chown 1:2 sub/b && "
            "setfacl -m u:4242:r sub/deeper/c && chmod 2750 sub/deeper && ln -s /etc link && mkfifo pipe")
                                   .arg(quoted(root)));
        return made ? root : QString();
    }

    // Each item of a backup, by path relative to `root`: its owner, group and ACLs.
    static QMap<QString, QString> items(const QByteArray &text, const QString &root)
    {
        QString why;
        const auto blocks = MGAclTextFormat::parse(text, &why);
        if (!blocks) {
            qWarning() << why;
            return {};
        }
        QMap<QString, QString> found;
        const QString prefix = root.mid(1);
        for (const MGAclTextFormat::Block &b : *blocks) {
            // Ours are absolute (without the first slash), getfacl's relative to ".".
            QString path = QFile::decodeName(b.path);
            if (path.startsWith(prefix))
                path = path.mid(prefix.size());
            if (path == ".")
                path.clear();
            while (path.startsWith('/') || path.startsWith("./"))
                path = path.mid(path.startsWith('/') ? 1 : 2);
            QStringList acl;
            for (const auto *list : {&b.access, &b.defaultAcl})
                for (const MGPosixAcl::Entry &e : list->entries())
                    acl << QStringLiteral("%1:%2:%3").arg(e.tag).arg(e.id).arg(e.perm);
            acl.sort();
            found.insert(path, QStringLiteral("%1:%2 %3").arg(*b.owner).arg(*b.group).arg(acl.join(',')));
        }
        return found;
    }

    static QByteArray getfaclR(const QString &root)
    {
        return sh("cd " + quoted(root) + " && getfacl -R . 2>/dev/null").toUtf8();
    }

private slots:
    // A tree deeper than any thread's stack (a user can make one where an administrator may
    // back it up): the backup ends, at the descriptor limit at worst with the folders below
    // named as not read, and the service answers.
    void aTreeOfAnyDepthIsWalkedWithoutEndingTheService()
    {
        const QString root = tmp.path("deep");
        QVERIFY(QDir().mkpath(root));
        int fd = open(QFile::encodeName(root).constData(), O_RDONLY | O_DIRECTORY);
        QVERIFY(fd >= 0);
        const int depth = 30000;
        for (int level = 0; level < depth; ++level) {
            QVERIFY(mkdirat(fd, "d", 0755) == 0);
            const int below = openat(fd, "d", O_RDONLY | O_DIRECTORY);
            close(fd);
            fd = below;
            QVERIFY(fd >= 0);
        }
        close(fd);
        const auto removeTree = qScopeGuard([&] { shOk("rm -rf " + quoted(root)); });
        const Run run = acl({"backup", root});
        QVERIFY2(!run.err.contains("interrupted"), qPrintable(run.err.left(400)));
        const qsizetype blocks = run.out.count(QStringLiteral("# file: "));
        QVERIFY2(blocks == depth + 1 || (run.status == 1 && blocks > 500 && run.err.contains("could not be read")),
                 qPrintable(QStringLiteral("%1 blocks, status %2: %3").arg(blocks).arg(run.status).arg(run.err.left(300))));
    }

    void backupHoldsWhatGetfaclHolds()
    {
        const QString root = makeTree("backed-up");
        QVERIFY(!root.isEmpty());
        const Run run = acl({"backup", root});
        QCOMPARE(run.status, 0);
        const QMap<QString, QString> ours = items(run.out.toUtf8(), root);
        const QMap<QString, QString> theirs = items(getfaclR(root), root);
        QCOMPARE(ours.size(), 10); // three folders, six files, the FIFO; not the link
        QCOMPARE(ours, theirs);
        QVERIFY(run.err.contains("Removing leading '/'"));
    }

    // Paths as the user gave them, as getfacl -R writes them: relative stays relative (without
    // a leading "./"), absolute loses its slash and says so.
    void backupNamesPathsAsGetfaclDoes()
    {
        const QString root = makeTree("named");
        QVERIFY(!root.isEmpty());
        // The walk's order may differ from getfacl's; each item's block must not.
        auto blocks = [](const QString &text) {
            QStringList all = text.split("\n\n", Qt::SkipEmptyParts);
            all.sort();
            return all;
        };
        for (const QString &given : {QStringLiteral("named"), QStringLiteral("named/"), QStringLiteral("./named"),
                                     QStringLiteral("named/sub"), QStringLiteral("."), root}) {
            const QString in = given == "." ? root : tmp.path();
            const QString ours = sh(QStringLiteral("cd %1 && %2 backup %3 2>%1/../ours.err").arg(quoted(in), MARROWGATE_ACL_PATH, quoted(given)));
            const QString theirs = sh(QStringLiteral("cd %1 && getfacl -R %2 2>%1/../theirs.err").arg(quoted(in), quoted(given)));
            QVERIFY2(ours.startsWith("# file: " + QString(given == root ? root.mid(1) : given == "./named" ? "named" : given) + "\n"),
                     qPrintable(ours.left(200)));
            QCOMPARE(blocks(ours), blocks(theirs));
            const QString notice = sh(QStringLiteral("cat %1/../ours.err").arg(quoted(in)));
            QCOMPARE(notice.contains("Removing leading '/'"), given.startsWith('/'));
        }
    }

    // A relative backup, restored from where it was made, puts back what it holds.
    void aRelativeBackupRestoresWhereItWasMade()
    {
        const QString root = makeTree("relative");
        QVERIFY(!root.isEmpty());
        const QString before = facl(root + "/a");
        QVERIFY(shOk(QStringLiteral("cd %1 && %2 backup relative > relative.acl").arg(quoted(tmp.path()), MARROWGATE_ACL_PATH)));
        QVERIFY(shOk("setfacl -b " + quoted(root + "/a")));
        QVERIFY(facl(root + "/a") != before);
        // The tree's FIFO is passed over (and said); the rest is set.
        const QString said = sh(QStringLiteral("cd %1 && %2 restore relative.acl 2>&1").arg(quoted(tmp.path()), MARROWGATE_ACL_PATH));
        QVERIFY2(said.contains("relative/pipe") && !said.contains("relative/a"), qPrintable(said));
        QCOMPARE(facl(root + "/a"), before);
    }

    // A backup someone else wrote cannot make a restore change items outside the folder it
    // runs in: ".." and absolute paths are named and passed over, the rest restored exactly
    // as setfacl --restore restores it, escaped names included.
    void restoreStaysInTheFolderItRunsIn()
    {
        REQUIRE_ROOT();
        const QString jail = tmp.path("jail"), twin = tmp.path("twin"), secret = tmp.path("secret"), absolute = tmp.path("absolute");
        const QStringList names{"inside", "new\nline", "back\\slash"};
        for (const QString &folder : {jail, twin}) {
            QVERIFY(QDir().mkpath(folder + "/sub"));
            for (const QString &name : names) {
                QFile item(folder + "/" + name);
                QVERIFY(item.open(QIODevice::WriteOnly));
            }
        }
        QVERIFY(shOk(QStringLiteral("touch %1 %2 && chmod 600 %1 %2").arg(quoted(secret), quoted(absolute))));
        const QString entries = "# owner: root\n# group: root\nuser::rwx\nuser:nobody:rwx\ngroup::rwx\nmask::rwx\nother::rwx\n\n";
        const QString backup = "# file: inside\n" + entries + "# file: new\\012line\n" + entries + "# file: back\\\\slash\n" + entries
            + "# file: ../secret\n" + entries + "# file: sub/../../secret\n" + entries + "# file: " + absolute + "\n" + entries;
        QFile file(tmp.path("crafted.acl"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(backup.toUtf8()) > 0);
        file.close();
        const QString secretBefore = facl(secret), absoluteBefore = facl(absolute);

        const QString ours = sh(QStringLiteral("cd %1 && %2 restore %3 2>&1; echo \"status $?\"").arg(quoted(jail), MARROWGATE_ACL_PATH, quoted(file.fileName())));
        QVERIFY2(ours.contains("Not restored: \u201c../secret\u201d") && ours.contains("Not restored: \u201csub/../../secret\u201d")
                     && ours.contains("Not restored: \u201c" + absolute + "\u201d is an absolute path")
                     && ours.endsWith("status 1\n"),
                 qPrintable(ours));
        QCOMPARE(facl(secret), secretBefore);
        QCOMPARE(facl(absolute), absoluteBefore);
        // What was restored is what setfacl --restore makes of the same lines.
        QVERIFY(shOk(QStringLiteral("cd %1 && head -n %2 %3 | setfacl --restore=-").arg(quoted(twin)).arg(3 * 9).arg(quoted(file.fileName()))));
        for (const QString &name : names) {
            QVERIFY2(facl(jail + "/" + name).contains("user:65534:rwx"), qPrintable(name + "\n" + ours));
            QCOMPARE(facl(jail + "/" + name), facl(twin + "/" + name));
        }
        // Asked for, an absolute path is restored; ".." never is.
        const QString asked = sh(QStringLiteral("cd %1 && %2 restore --absolute %3 2>&1").arg(quoted(jail), MARROWGATE_ACL_PATH, quoted(file.fileName())));
        QVERIFY2(!asked.contains(absolute) && asked.contains("../secret"), qPrintable(asked));
        QVERIFY(facl(absolute).contains("user:65534:rwx"));
        QCOMPARE(facl(secret), secretBefore);
    }

    // Restored from a folder whose name is not UTF-8, paths are below that folder, not below
    // another whose name reads the same once decoded.
    void restoreRunsInAFolderOfAnyName()
    {
        const QString root = tmp.path("bytes");
        QVERIFY(shOk(QStringLiteral("mkdir -p %1 && cd %1 && mkdir $'\\xff' $'\\xef\\xbf\\xbd' && touch $'\\xff/x' $'\\xef\\xbf\\xbd/x' && "
                                    "printf '# file: x\\nuser::rw-\\nuser:nobody:rwx\\ngroup::r--\\nmask::rwx\\nother::r--\\n\\n' > backup.acl && "
                                    "cd $'\\xff' && %2 restore ../backup.acl")
                         .arg(quoted(root), MARROWGATE_ACL_PATH)));
        QVERIFY(sh("cd " + quoted(root) + " && getfacl -c $'\\xff/x'").contains("user:nobody:rwx"));
        QVERIFY(!sh("cd " + quoted(root) + " && getfacl -c $'\\xef\\xbf\\xbd/x'").contains("nobody"));
    }

    void aGetfaclBackupRestores()
    {
        const QString root = makeTree("restored");
        QVERIFY(!root.isEmpty());
        const QByteArray saved = getfaclR(root);
        QFile file(tmp.path("getfacl.txt"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(saved) == saved.size());
        file.close();
        // Everything changed, then put back from the text.
        QVERIFY(shOk("cd " + quoted(root) + " && find . ! -type l ! -type p -exec setfacl -b {} + && "
                     "setfacl -m u:bin:rwx a && chown 0:0 sub/b"));
        QProcess restore;
        restore.setWorkingDirectory(root);
        restore.start(MARROWGATE_ACL_PATH, {"restore", file.fileName()});
        QVERIFY(restore.waitForFinished(30000));
        // Everything but the FIFO, which the service does not change, and says so.
        QCOMPARE(restore.exitCode(), 1);
        const QString err = QString::fromUtf8(restore.readAllStandardError());
        QVERIFY2(err.contains("pipe") && err.contains("FIFO"), qPrintable(err));
        QMap<QString, QString> now = items(getfaclR(root), root), before = items(saved, root);
        now.remove("/pipe");
        before.remove("/pipe");
        QCOMPARE(now, before);
    }

    void ourBackupRestoresWithSetfacl()
    {
        const QString root = makeTree("for-setfacl");
        QVERIFY(!root.isEmpty());
        const QByteArray before = getfaclR(root);
        const Run run = acl({"backup", root});
        QCOMPARE(run.status, 0);
        QFile file(tmp.path("ours.txt"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(run.out.toUtf8()) > 0);
        file.close();
        QVERIFY(shOk("cd " + quoted(root) + " && find . ! -type l -exec setfacl -b {} + && chown 0:0 sub/b"));
        QVERIFY(shOk("cd / && setfacl --restore=" + quoted(file.fileName())));
        QCOMPARE(items(getfaclR(root), root), items(before, root));
    }

    void aMalformedBackupChangesNothing()
    {
        const QString item = tmp.path("untouched");
        QVERIFY(shOk("touch " + quoted(item)));
        const QString before = facl(item);
        QFile file(tmp.path("bad.txt"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("# file: " + QFile::encodeName(item) + "\nuser::rw-\ngroup::r--\nother::r--\n\n# file: x\nuser:nobody:rwq\n");
        file.close();
        const Run run = acl({"restore", file.fileName()});
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.contains("line 7:") && run.err.contains("permissions are r, w, x, X or -"), qPrintable(run.err));
        QCOMPARE(facl(item), before);
        QCOMPARE(acl({"restore", tmp.path("no-such-file")}).status, 1);
    }
};

QTEST_GUILESS_MAIN(tst_MGAclBackupCommands)
#include "tst_MGAclBackupCommands.moc"
