#include "MGPosixAclStore.h"
#include "PropagationHelpers.h"
#include "ShellHelpers.h"

#include <QProcess>
#include <QScopeGuard>
#include <sys/mount.h>
#include <unistd.h>

#include <sys/stat.h>

class tst_MGAclPropagator : public QObject
{
    Q_OBJECT

    static QString statLine(const QString &path) { return sh("stat -c '%u:%g %A' " + quoted(path)).trimmed(); }
    static QString lstatLine(const QString &path) { return sh("stat -c '%u:%g' " + quoted(path)).trimmed(); }

    // A folder with the settings to pass down, and a tree below it.
    static void makeTree(const QString &root, const QString &outside)
    {
        // A path longer than PATH_MAX can only be built one folder at a time.
        QString deep = "mkdir deep && cd deep";
        for (int i = 0; i < 24; ++i)
            deep += QStringLiteral(" && mkdir %1 && cd %1").arg(QString(200, QChar('a' + i % 26)));
        deep += " && touch bottom";
        const QString script = QStringLiteral(
            "set -e; cd %1; chown 0:1 .; chmod 750 .; setfacl -m u:nobody:r-x,g:daemon:rwx .; "
            "setfacl -d -m u:nobody:r-x,g:daemon:-wx,o::--- .; "
            "touch plain && chmod 600 plain && chown 65534:65534 plain; "
            "touch tool && chmod 711 tool; mkdir -p sub/inner && touch sub/inner/file; "
            "setfacl -m u:daemon:rwx sub/inner/file; mkfifo pipe; ln -s %2 outlink; ln -s sub inlink; "
            "%3")
                                   .arg(quoted(root), quoted(outside), deep);
        QVERIFY(shOk(script));
        QCOMPARE(sh("cd " + quoted(root) + " && find deep -name bottom | wc -c").trimmed().toInt(), 24 * 201 + 12);
    }

    // A folder of `folders` folders of `files` files each, with settings to pass down.
    static QString wideTree(const SharedTemporaryDir &tmp, int folders, int files)
    {
        const QString root = tmp.path("wide");
        // The settings come last, so that nothing below inherits them when it is made.
        const bool made = makeWideTree(root, folders, files)
            && shOk("cd " + quoted(root) + " && setfacl -m u:nobody:r-x . && setfacl -d -m u:nobody:r-x .");
        return made ? root : QString();
    }

private slots:
    // Items that hold what they should already are counted, not written; a dry run counts
    // what would change and writes nothing.
    void itemsAlreadyRightAndDryRuns()
    {
        SharedTemporaryDir tmp;
        const QString root = wideTree(tmp, 3, 4); // 3 folders, 12 files
        QVERIFY(!root.isEmpty());
        const QString before = sh("cd " + quoted(root) + " && getfacl -R . 2>/dev/null");
        const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(root), "Cannot propagate");
        QVERIFY(item);
        const MGResult<MGAclList> list = MGPosixAclStore::read(*item);
        {
            MGAclPropagator dryRun(*item, *list);
            dryRun.setDryRun(true);
            QCOMPARE(dryRun.run(), MGResultError());
            const MGPropagationProgress summary = dryRun.summary();
            QVERIFY(summary.dryRun);
            QCOMPARE(summary.changed, qint64(15));
            QCOMPARE(summary.alreadyRight, qint64(0));
            QCOMPARE(sh("cd " + quoted(root) + " && getfacl -R . 2>/dev/null"), before);
        }
        MGAclPropagator first(*item, *list);
        QCOMPARE(first.run(), MGResultError());
        QCOMPARE(first.summary().changed, qint64(15));
        // A file made right by hand, and one changed since: only that one is written.
        QVERIFY(shOk("cd " + quoted(root) + " && setfacl -b d3/f3 && chmod 644 d3/f3"));
        const QString ctimeOfRight = sh("stat -c %Z%z " + quoted(root + "/d1/f2"));
        MGAclPropagator again(*item, *list);
        QCOMPARE(again.run(), MGResultError());
        QCOMPARE(again.summary().changed, qint64(1));
        QCOMPARE(again.summary().alreadyRight, qint64(14));
        QCOMPARE(sh("stat -c %Z%z " + quoted(root + "/d1/f2")), ctimeOfRight); // not written at all
        QCOMPARE(again.summary().summaryText(), QStringLiteral("1 changed, 14 already right"));
    }

    // Stopped from its first progress report, the walk ends at the next folder: what was
    // done stays done, the rest is untouched, and the summary says it stopped.
    void aStoppedWalkEndsAtTheNextFolder()
    {
        SharedTemporaryDir tmp;
        const QString root = wideTree(tmp, 40, 5);
        QVERIFY(!root.isEmpty());
        const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(root), "Cannot propagate");
        const MGResult<MGAclList> list = MGPosixAclStore::read(*item);
        MGAclPropagator propagator(*item, *list);
        auto stop = std::make_shared<std::atomic<bool>>(false);
        propagator.setStopFlag(stop);
        int reports = 0;
        propagator.setProgressHandler([&](const MGPropagationProgress &) {
            ++reports;
            stop->store(true);
        }, std::chrono::milliseconds(0));
        QCOMPARE(propagator.run(), MGResultError());
        const MGPropagationProgress summary = propagator.summary();
        QVERIFY(summary.stopped);
        QVERIFY(reports >= 1);
        // Each walking thread finishes the folder it holds, and no more.
        QVERIFY2(summary.changed < 40 * 6 / 2, qPrintable(summary.summaryText()));
        const int untouched = sh("cd " + quoted(root) + " && getfacl -R . 2>/dev/null | grep -c '^# file' ").toInt()
            - sh("cd " + quoted(root) + " && getfacl -R . 2>/dev/null | grep -c '^user:nobody'").toInt();
        QCOMPARE(qint64(untouched), qint64(40 * 6 + 1) - summary.changed - 1);
    }

    void treeGetsTheFolderSettings()
    {
        REQUIRE_ROOT();
        SharedTemporaryDir tmp;
        const QString root = tmp.path("root");
        const QString outside = tmp.path("outside");
        QVERIFY(shOk("mkdir " + quoted(root) + " && touch " + quoted(outside) + " && chmod 604 " + quoted(outside)));
        makeTree(root, outside);
        const QString outsideBefore = statLine(outside) + facl(outside);
        const QString linkBefore = lstatLine(root + "/outlink");
        const QString pipeBefore = statLine(root + "/pipe");

        MGAclPropagator::Summary summary;
        QCOMPARE(propagateOwnSettings(root, &summary), MGResultError());

        // Files: owner, group, the folder's bits and the entries its default ACL passes on
        // (not the folder's access-only group entry); execute only where there was some,
        // which for an ACL means through the mask.
        QCOMPARE(statLine(root + "/plain"), QStringLiteral("0:1 -rw-rw----"));
        QCOMPARE(statLine(root + "/tool"), QStringLiteral("0:1 -rwxrwx---"));
        const QString plainAcl = facl(root + "/plain");
        QVERIFY2(plainAcl.contains("user:65534:r-x\t#effective:r--") && plainAcl.contains("group:1:-wx\t#effective:-w-")
                     && plainAcl.contains("mask::rw-") && !plainAcl.contains("default"),
                 qPrintable(plainAcl));
        // A named rwx entry gave this file execute permission through its mask.
        QCOMPARE(facl(root + "/sub/inner/file"), facl(root + "/tool"));
        // Folders also pass the defaults on.
        const QString subAcl = facl(root + "/sub/inner");
        QVERIFY2(subAcl.contains("user:65534:r-x\n") && subAcl.contains("default:group:1:-wx")
                     && subAcl.contains("default:other::---") && subAcl.contains("\ngroup:1:-wx\n"),
                 qPrintable(subAcl));
        QCOMPARE(statLine(root + "/sub"), QStringLiteral("0:1 drwxrwx---"));
        // The FIFO is left alone (and never opened, which would block the walk).
        QCOMPARE(statLine(root + "/pipe"), pipeBefore);
        // Links are neither followed nor changed.
        QCOMPARE(statLine(outside) + facl(outside), outsideBefore);
        QCOMPARE(lstatLine(root + "/outlink"), linkBefore);
        // Deep paths are no obstacle.
        QCOMPARE(sh("cd " + quoted(root + "/deep") + " && find . -name bottom -printf '%U:%G'").trimmed(),
                 QStringLiteral("0:1"));
        // plain, tool, sub, inner, file; deep, its 24 levels and bottom; not the two links
        // nor the FIFO
        QCOMPARE(summary.changed, qint64(5 + 1 + 24 + 1));
        QCOMPARE(summary.links, qint64(2));
        QCOMPARE(summary.special, qint64(1));
        QVERIFY(shOk("rm -rf " + quoted(root))); // deeper than QDir can remove
    }

    void itemsThatCannotChangeAreReportedAtTheEnd()
    {
        REQUIRE_ROOT();
        SharedTemporaryDir tmp;
        const QString root = tmp.path("root");
        QVERIFY(shOk("mkdir " + quoted(root) + " && cd " + quoted(root) + " && touch a b c && chown 5:5 a b c"));
        if (!shOk("chattr +i " + quoted(root + "/b")))
            QSKIP("this file system has no immutable files");
        const MGResultError error = propagateOwnSettings(root);
        shOk("chattr -i " + quoted(root + "/b"));
        QVERIFY(error);
        QCOMPARE(error->code(), EPERM);
        QVERIFY(error->isPermissionError());
        QVERIFY2(error->localizedDescription().startsWith("1 of the items below")
                     && error->localizedDescription().contains(root + "/b ("),
                 qPrintable(error->localizedDescription()));
        // The walk went on past the failure.
        QCOMPARE(lstatLine(root + "/a"), QStringLiteral("0:0"));
        QCOMPARE(lstatLine(root + "/c"), QStringLiteral("0:0"));
        QCOMPARE(lstatLine(root + "/b"), QStringLiteral("5:5"));
    }

    void otherFileSystemsAreLeftAlone()
    {
        REQUIRE_ROOT();
        SharedTemporaryDir tmp;
        const QString root = tmp.path("root");
        QVERIFY(shOk("mkdir -p " + quoted(root + "/mnt")));
        if (!shOk("mount -t tmpfs none " + quoted(root + "/mnt")))
            QSKIP("cannot mount here");
        shOk("touch " + quoted(root + "/mnt/inside") + " && chown 7:7 " + quoted(root + "/mnt/inside"));
        const MGResultError error = propagateOwnSettings(root);
        const QString inside = lstatLine(root + "/mnt/inside");
        shOk("umount " + quoted(root + "/mnt"));
        QCOMPARE(error, MGResultError());
        QCOMPARE(inside, QStringLiteral("7:7"));
    }

    void whatAMountPointCoversIsLeftAloneEvenWhenTheMountIsUnbindable()
    {
        REQUIRE_ROOT();
        SharedTemporaryDir tmp;
        const QString root = tmp.path("root");
        QVERIFY(shOk(QStringLiteral("mkdir -p %1/mnt && touch %1/plain %1/mnt/covered && chown -R 7:7 %1 && chown 0:0 %1").arg(quoted(root))));
        if (!shOk(QStringLiteral("mount -t tmpfs none %1/mnt && touch %1/mnt/inside && chown 7:7 %1/mnt/inside && "
                                 "mount --make-unbindable %1/mnt")
                      .arg(quoted(root))))
            QSKIP("cannot mount here");
        const MGResultError error = propagateOwnSettings(root);
        const QString inside = lstatLine(root + "/mnt/inside");
        shOk("umount " + quoted(root + "/mnt"));
        QCOMPARE(error, MGResultError());
        QCOMPARE(lstatLine(root + "/plain"), QStringLiteral("0:0"));
        QCOMPARE(inside, QStringLiteral("7:7"));
        QCOMPARE(lstatLine(root + "/mnt/covered"), QStringLiteral("7:7"));
    }

    void onlyFoldersAndSingleNamedFilesAreChanged()
    {
        REQUIRE_ROOT();
        SharedTemporaryDir tmp;
        const QString root = tmp.path("root");
        const QString outside = tmp.path("outside");
        // Special files, a second name of a file outside the tree, and a bind mount of a
        // folder of the same file system: none of them may change.
        QVERIFY(shOk(QStringLiteral("mkdir -p %1/sub %2/bound && touch %2/file %2/bound/inside && cd %1 && "
                                    "mkfifo fifo && mknod chardev c 1 3 && mknod blockdev b 7 200 && "
                                    "python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind(\"sock\")' && "
                                    "ln %2/file hardlink && touch plain sub/plain && mkdir mnt && "
                                    "chown -R 7:7 %1 %2 && chmod 666 %2/file")
                         .arg(quoted(root), quoted(outside))));
        if (!shOk(QStringLiteral("mount --bind %1 %2").arg(quoted(outside + "/bound"), quoted(root + "/mnt"))))
            QSKIP("cannot bind-mount here");
        auto state = [&] {
            return sh(QStringLiteral("cd %1 && stat -c '%n %U:%G %a %h' fifo chardev blockdev sock hardlink mnt mnt/inside && "
                                     "getfacl -n -p fifo chardev blockdev hardlink mnt mnt/inside 2>/dev/null")
                          .arg(quoted(root)));
        };
        const QString before = state();
        QVERIFY(shOk("chown 0:1 " + quoted(root) + " && chmod 750 " + quoted(root)));
        MGAclPropagator::Summary summary;
        const MGResultError error = propagateOwnSettings(root, &summary);
        const QString after = state();
        shOk("umount " + quoted(root + "/mnt"));
        QCOMPARE(error, MGResultError());
        QCOMPARE(after, before);
        QCOMPARE(lstatLine(root + "/plain"), QStringLiteral("0:1"));
        QCOMPARE(lstatLine(root + "/sub/plain"), QStringLiteral("0:1"));
        QCOMPARE(summary.special, qint64(4));
        QCOMPARE(summary.hardLinks, qint64(1));
        QCOMPARE(summary.otherMounts, qint64(1));
        QCOMPARE(summary.changed, qint64(3)); // plain, sub, sub/plain
    }

    void aFileUnderALeaseIsChangedWithoutWaitingForIt()
    {
        REQUIRE_ROOT();
        SharedTemporaryDir tmp;
        const QString root = tmp.path("root");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && touch %1/leased %1/plain && chown -R 5:5 %1 && chown 0:1 %1 && "
                                    "setfacl -m u:bin:rx,d:u:bin:rx %1")
                         .arg(quoted(root))));
        // The file's owner holds a write lease: any other opening of it is held up to the
        // break time (45 s) unless it asks not to wait. The holder never lets go.
        QProcess holder;
        holder.start("python3", {"-c", "import fcntl, os, signal, sys, time\n"
                                       "signal.signal(signal.SIGIO, lambda *a: None)\n"
                                       "fd = os.open(sys.argv[1], os.O_RDWR)\n"
                                       "fcntl.fcntl(fd, 1024, fcntl.F_WRLCK)\n" // F_SETLEASE
                                       "print('held', flush=True)\n"
                                       "time.sleep(600)\n",
                                 root + "/leased"});
        const auto stopHolder = qScopeGuard([&holder] {
            holder.kill();
            holder.waitForFinished();
        });
        QVERIFY(holder.waitForReadyRead(10000));
        if (!holder.readAll().contains("held"))
            QSKIP("this file system grants no leases");
        const auto lease = [] { return sh("grep -o 'LEASE *[A-Z]* *[A-Z]*' /proc/locks").simplified(); };
        QCOMPARE(lease(), QStringLiteral("LEASE ACTIVE WRITE"));
        QCOMPARE(propagateOwnSettings(root), MGResultError());
        // Changed, and the lease not yet given way: being broken by the walk's opening for
        // reading, or untouched where the walk opens O_PATH only. Had the walk waited out
        // the break time, the lease would have become an active read lease.
        QCOMPARE(statLine(root + "/leased").section(' ', 0, 0), QStringLiteral("0:1"));
        QVERIFY(sh("getfacl -c " + quoted(root + "/leased")).contains("user:bin:r-x"));
        // Where this process may copy a mount (nothing is mounted below the folder), the
        // walk must have taken the way through descriptors open for reading.
        const int copy = open_tree(AT_FDCWD, QFile::encodeName(root).constData(), OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC);
        if (copy >= 0)
            close(copy);
        QCOMPARE(lease(), copy >= 0 ? QStringLiteral("LEASE BREAKING READ") : QStringLiteral("LEASE ACTIVE WRITE"));
    }

    void aListPosixCannotHoldIsRefusedBeforeTheWalk()
    {
        SharedTemporaryDir tmp;
        QVERIFY(shOk("touch " + quoted(tmp.path("child")) + " && chmod 604 " + quoted(tmp.path("child"))));
        MGResult<MGAclList> list = MGPosixAclStore::read(tmp.path());
        QVERIFY(list);
        list->insert(1, MGAclEntry::aclEntry(MGAclEntry::Deny, CBIdentity::user(1), MGAclPermissionSet::fromPosixBits(4, true),
                                             0, true, true));
        const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(tmp.path()), "Cannot propagate");
        QVERIFY(item);
        QVERIFY(MGAclPropagator(*item, *list).run());
        QCOMPARE(statLine(tmp.path("child")).section(' ', 1), QStringLiteral("-rw----r--"));
    }
};

QTEST_GUILESS_MAIN(tst_MGAclPropagator)
#include "tst_MGAclPropagator.moc"
