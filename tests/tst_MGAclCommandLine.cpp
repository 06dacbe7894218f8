#include "MGAclCommandLine.h"
#include "CommandLineHelpers.h"

#include <QDir>
#include <QElapsedTimer>
#include <QImage>

class tst_MGAclCommandLine : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

private slots:
    void listShowsEveryItem()
    {
        REQUIRE_ROOT();
        const QString file = tmp.path("file");
        QVERIFY(shOk(QStringLiteral("touch %1 && chown 0:0 %1 && chmod 640 %1 && setfacl -m u:nobody:rw-,g:daemon:r-- %1")
                         .arg(quoted(file))));
        const Run run = acl({"list", file});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out, QStringLiteral("## Access Control List\n"
                                         "1\tAllow\tnobody\tRead & Write\tNo\trw-\n"
                                         "2\tAllow\tdaemon\tRead\tNo\tr--\n"
                                         "## POSIX Permissions\n"
                                         "4\tAllow\tOwner: root\tRead & Write\tNo\trw-\n"
                                         "5\tAllow\tGroup: root\tRead\tNo\tr--\n"
                                         "6\tAllow\tEveryone\tNo Access\tNo\t---\n"
                                         "7\tAllow\tMask\tRead & Write\tNo\trw-\n"));
        QVERIFY(run.err.isEmpty());
    }

    void folderEntriesShowTheirInheritance()
    {
        const QString folder = tmp.path("folder");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && setfacl -m u:nobody:r-x %1 && setfacl -d -m u:nobody:r-x %1").arg(quoted(folder))));
        const Run run = acl({"list", folder});
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.contains("1\tAllow\tnobody\tRead\tNo\tr-x/fd\n"), qPrintable(run.out));
        QVERIFY2(run.out.contains("\tAllow\tOwner\tRead & Write\tNo\trwx/fdo\n"), qPrintable(run.out));
    }

    void accessShowsTheTree()
    {
        const QString file = tmp.path("exe");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 750 %1 && setfacl -m u:nobody:r-x %1").arg(quoted(file))));
        const Run run = acl({"access", "nobody", file});
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.startsWith("Read\n  Read Data\tyes\n"), qPrintable(run.out));
        QVERIFY(run.out.contains("Write\n  Write Data\tno\n"));
        QVERIFY(run.out.contains("Execute\n  Execute\tyes\n"));
        QVERIFY(run.out.contains("  Take Ownership\tno\n"));
    }

    // What the item allows is not what the identity can reach: a closed folder above says so.
    void accessNamesTheFolderThatKeepsTheIdentityOut()
    {
        REQUIRE_ROOT();
        const QString closed = tmp.path("closed"), file = closed + "/inside";
        QVERIFY(shOk(QStringLiteral("mkdir %1 && chmod 700 %1 && touch %2 && setfacl -m u:nobody:rw %2")
                         .arg(quoted(closed), quoted(file))));
        const Run run = acl({"access", "nobody", file});
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.startsWith(QStringLiteral("# \u201cnobody\u201d cannot enter the folder \u201c%1\u201d").arg(closed)),
                 qPrintable(run.out));
        QVERIFY(run.out.contains("  Read Data\tyes\n"));
        QVERIFY(acl({"access", "root", file}).out.startsWith("Read\n"));
        QVERIFY(shOk(QStringLiteral("setfacl -m u:nobody:x %1").arg(quoted(closed))));
        QVERIFY(acl({"access", "nobody", file}).out.startsWith("Read\n"));
    }

    void failuresExitWithOneAndSayWhy()
    {
        const Run missing = acl({"list", tmp.path("missing")});
        QCOMPARE(missing.status, 1);
        QVERIFY(missing.out.isEmpty());
        QVERIFY(missing.err.contains(tmp.path("missing")) && missing.err.contains("No such file"));
        const Run unknown = acl({"access", "no-such-account-here", tmp.path()});
        QCOMPARE(unknown.status, 1);
        QVERIFY(unknown.err.contains("no-such-account-here"));
        QCOMPARE(acl({"list"}).status, 64);
    }

    void identitiesThatLookAlikeAreToldApart()
    {
        REQUIRE_ROOT();
        // An account named "5000" (uid 7000), and an id 5000 that has no account.
        const QString file = tmp.path("alike");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 600 %1 && setfacl -m u:5000:r--,u:7000:rw- %1").arg(quoted(file))));
        if (!shOk("useradd --badname -M -u 7000 5000"))
            QSKIP("cannot add an account named 5000 here");
        const Run list = acl({"list", file});
        const Run named = acl({"access", "5000", file});
        const Run byId = acl({"access", "uid:5000", file});
        const Run byAccount = acl({"access", "user:5000", file});
        shOk("userdel 5000");
        QVERIFY2(list.out.contains("\tuid:5000\tRead\t") && list.out.contains("\t5000\tRead & Write\t"), qPrintable(list.out));
        QVERIFY(named.out.contains("  Write Data\tyes\n"));
        QVERIFY(byAccount.out.contains("  Write Data\tyes\n"));
        QVERIFY2(byId.out.contains("  Write Data\tno\n") && byId.out.contains("  Read Data\tyes\n"), qPrintable(byId.out));
        QCOMPARE(acl({"access", "uid:x", file}).status, 1);
    }

    void pathsAreBytesAndLinksAreNamed()
    {
        // A name that is not UTF-8, and a link to it.
        const QString folder = tmp.path("bytes");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && cd %1 && name=$(printf 'caf\\351') && touch \"$name\" && "
                                    "setfacl -m u:nobody:r-- \"$name\" && ln -s \"$name\" link")
                         .arg(quoted(folder))));
        const QString list = sh(QStringLiteral("%1 list \"%2/$(printf 'caf\\351')\"").arg(MARROWGATE_ACL_PATH, folder));
        QVERIFY2(list.contains("\tnobody\tRead\t"), qPrintable(list));
        const Run viaLink = acl({"list", folder + "/link"});
        QCOMPARE(viaLink.status, 0);
        QVERIFY(viaLink.out.contains("\tnobody\tRead\t"));
        QVERIFY2(viaLink.err.contains("leads through a link"), qPrintable(viaLink.err));
        // A path longer than the system takes is called that.
        const Run tooLong = acl({"list", "/" + QString(4234, 'a')});
        QCOMPARE(tooLong.status, 1);
        QVERIFY2(tooLong.err.contains("longer than"), qPrintable(tooLong.err));
    }

    void windowCommandsSayWhatIsWrong()
    {
        const Run help = acl({"--help"});
        QCOMPARE(help.status, 0);
        QVERIFY(help.out.startsWith("usage: marrowgate-acl PATH") && help.out.contains("Exit status"));
        for (const QStringList &paths : {QStringList(), QStringList{tmp.path(), tmp.path()}}) {
            const Run run = acl(paths);
            QCOMPARE(run.status, 64);
            QVERIFY(run.err.contains("usage:"));
        }
        // A mistyped command is named as such, with the usage.
        const Run unknown = acl({"frobnicate", tmp.path()});
        QCOMPARE(unknown.status, 64);
        QVERIFY2(unknown.err.startsWith("Unknown command \u201cfrobnicate\u201d.") && unknown.err.contains("usage:"),
                 qPrintable(unknown.err));
        QVERIFY(unknown.out.isEmpty());
        // Paths that cannot be opened, where there is no display (with one, the window host
        // says it in a window too: its own suite shows that).
        const Run missing = acl({tmp.path("not-here")}, {}, nullptr, false);
        QCOMPARE(missing.status, 1);
        QVERIFY2(missing.err.contains("No such file"), qPrintable(missing.err));
        QVERIFY(shOk("ln -sfn " + quoted(tmp.path("not-here")) + " " + quoted(tmp.path("dangling"))));
        const Run dangling = acl({tmp.path("dangling")}, {}, nullptr, false);
        QCOMPARE(dangling.status, 1);
        QVERIFY2(dangling.err.contains("link to something that is not there"), qPrintable(dangling.err));
        // No display: no crash, a word on what works instead.
        const Run headless = acl({tmp.path()}, {}, nullptr, false);
        QCOMPARE(headless.status, 1);
        QVERIFY2(headless.err.contains("no display") && headless.err.contains("screenshot"), qPrintable(headless.err));
        const Run nowhere = acl({"screenshot", tmp.path(), "/no-such-folder/window.png"});
        QCOMPARE(nowhere.status, 1);
        QVERIFY2(nowhere.err.contains("/no-such-folder") && nowhere.err.contains("does not exist"), qPrintable(nowhere.err));
        QCOMPARE(acl({"screenshot", tmp.path(), "x.png", "--tab", "7"}).status, 64);
    }

    void screenshotsShowTheWindow()
    {
        const QString out = tmp.path("window.png");
        for (const QString &tab : {QStringLiteral("0"), QStringLiteral("1")}) {
            QFile::remove(out);
            const Run run = acl({"screenshot", tmp.path(), out, "--tab", tab});
            QCOMPARE(run.status, 0);
            const QImage image(out);
            QVERIFY(!image.isNull());
            QVERIFY(image.width() >= 300 && image.height() >= 180);
        }
        QCOMPARE(acl({"screenshot", tmp.path("missing"), out}).status, 1);
    }

    void aReadThatNeedsPrivilegeSaysSoWithoutThePrivilegedService()
    {
        REQUIRE_ROOT();
        QVERIFY(shOk(QStringLiteral("mkdir -m 700 %1 && touch %1/secret").arg(quoted(tmp.path("private")))));
        StagedBuild staged;
        REQUIRE_STAGED(staged);
        const Run run = acl({"list", tmp.path("private/secret")}, AsNobody, &staged);
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.startsWith("Error retrieving Acces Control List entries\n") && run.err.contains("privileged ACL service"),
                 qPrintable(run.err));
    }
};

QTEST_GUILESS_MAIN(tst_MGAclCommandLine)
#include "tst_MGAclCommandLine.moc"
