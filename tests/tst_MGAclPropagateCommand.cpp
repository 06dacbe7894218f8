// marrowgate-acl propagate: its summary, a dry run, and Ctrl+C.
#include "CommandLineHelpers.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>

class tst_MGAclPropagateCommand : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    // `folders` folders of `files` files, the settings to pass down set on the top last.
    QString tree(const QString &name, int folders, int files)
    {
        const QString root = tmp.path(name);
        const bool made = makeWideTree(root, folders, files)
            && shOk("cd " + quoted(root) + " && ln -s /etc link && mkfifo pipe && setfacl -m u:nobody:rx . && "
                    "setfacl -d -m u:nobody:rx .");
        return made ? root : QString();
    }

    static int withNobody(const QString &root)
    {
        return sh("cd " + quoted(root) + " && getfacl -R . 2>/dev/null | grep -c '^user:nobody:r-x'").toInt();
    }

    // The pid of a child of `parent`, once it has one.
    static qint64 childOf(qint64 parent)
    {
        qint64 found = 0;
        (void)QTest::qWaitFor([&] {
            found = sh(QStringLiteral("pgrep -P %1 | head -1").arg(parent)).trimmed().toLongLong();
            return found > 0;
        }, 10000);
        return found;
    }

private slots:
    void dryRunThenPropagationThenNothingLeft()
    {
        const QString root = tree("small", 3, 4);
        QVERIFY(!root.isEmpty());
        Run run = acl({"propagate", "--dry-run", root});
        QVERIFY2(run.status == 0, qPrintable(run.err));
        QCOMPARE(run.out, QStringLiteral("Dry run: 15 would change, 0 already right, 2 skipped (1 link, 1 special file)\n"));
        const QJsonObject counts = QJsonDocument::fromJson(acl({"propagate", "--dry-run", "--json", root}).out.toUtf8()).object();
        QCOMPARE(counts["dryRun"].toBool(), true);
        QCOMPARE(counts["changed"].toInt(), 15);
        QCOMPARE(counts["skipped"].toInt(), 2);
        QCOMPARE(counts["links"].toInt(), 1);
        QCOMPARE(counts["special"].toInt(), 1);
        QCOMPARE(counts["folder"].toString(), root);
        QCOMPARE(withNobody(root), 1);
        run = acl({"propagate", root});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out, QStringLiteral("Propagated: 15 changed, 0 already right, 2 skipped (1 link, 1 special file)\n"));
        QCOMPARE(withNobody(root), 16);
        QCOMPARE(run.err, QString()); // a walk over in a moment shows no progress lines
        run = acl({"propagate", root});
        QCOMPARE(run.out, QStringLiteral("Propagated: 0 changed, 15 already right, 2 skipped (1 link, 1 special file)\n"));
        // Not a folder, and wrong arguments.
        QCOMPARE(acl({"propagate", root + "/d1/f1"}).status, 64);
        QCOMPARE(acl({"propagate", root, "--everything"}).status, 64);
    }

    // Ctrl+C while it runs stops the walk at the next folder: what was done stays done,
    // the rest is untouched, and it ends with the summary and status 130.
    void aFileIsAMistakeOfUse()
    {
        // A file has nothing below it: the mistake is named, with the usage, and nothing else.
        const QString file = tmp.path("not-a-folder");
        QVERIFY(shOk("touch " + quoted(file)));
        const Run run = acl({"propagate", file});
        QCOMPARE(run.status, 64);
        QVERIFY(run.out.isEmpty());
        QVERIFY2(run.err.startsWith("propagate needs a folder") && run.err.contains("usage:"), qPrintable(run.err));
        QVERIFY(!run.err.contains("Propagated"));
    }

    // Names are bytes all the way to the service: a folder whose name is not UTF-8 is a
    // folder, and so are its parent for inherit and the items set and remove change.
    void namesThatAreNotUtf8AreTheItemsTheyName()
    {
        const QString command = QStringLiteral("cd %1 && mkdir $'odd\\xff' && touch $'odd\\xff/f\\xfe' && "
                                               "setfacl -m u:nobody:rx,d:u:nobody:rx $'odd\\xff' && %2 ")
                                    .arg(quoted(tmp.path()), quoted(QStringLiteral(MARROWGATE_ACL_PATH)));
        QVERIFY2(shOk(command + QStringLiteral("propagate $'odd\\xff'")), qPrintable(command));
        QVERIFY(sh(QStringLiteral("cd %1 && getfacl -c $'odd\\xff/f\\xfe'").arg(quoted(tmp.path()))).contains("user:nobody:r"));
        QVERIFY(shOk(QStringLiteral("cd %1 && %2 set $'odd\\xff/f\\xfe' u:bin:rw && %2 inherit $'odd\\xff/f\\xfe' && "
                                    "getfacl -c $'odd\\xff/f\\xfe' | grep -q user:nobody:r && ! getfacl -c $'odd\\xff/f\\xfe' | grep -q bin")
                         .arg(quoted(tmp.path()), quoted(QStringLiteral(MARROWGATE_ACL_PATH)))));
    }

    void ctrlCStopsAtTheNextFolder()
    {
        const QString root = tree("large", 400, 50);
        QVERIFY(!root.isEmpty());
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("LANG", "C.UTF-8");
        process.setProcessEnvironment(env);
        process.start(MARROWGATE_ACL_PATH, {"propagate", root});
        QVERIFY(process.waitForStarted());
        // Its service running means it listens for Ctrl+C, and the walk has not begun.
        QVERIFY(childOf(process.processId()) > 0);
        ::kill(pid_t(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished(60000));
        const QString err = QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(process.exitStatus() == QProcess::NormalExit, qPrintable(err));
        QCOMPARE(process.exitCode(), 130);
        const QString out = QString::fromUtf8(process.readAllStandardOutput());
        QVERIFY2(out.startsWith("Stopped: "), qPrintable(out));
        QVERIFY2(err.contains("Stopping at the next folder"), qPrintable(err));
        const int changed = out.section(' ', 1, 1).remove(',').toInt();
        QVERIFY2(changed < 400 * 51, qPrintable(out));
        QCOMPARE(withNobody(root), changed + 1);
    }
};

QTEST_GUILESS_MAIN(tst_MGAclPropagateCommand)
#include "tst_MGAclPropagateCommand.moc"
