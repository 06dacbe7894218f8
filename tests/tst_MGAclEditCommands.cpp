// marrowgate-acl set, remove, copy and inherit, against what setfacl and the kernel do to a
// twin of the item.
#include "CommandLineHelpers.h"
#include "FileSystemHelpers.h"

class tst_MGAclEditCommands : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;
    int m_twins = 0;
    std::map<QString, std::unique_ptr<ScratchFileSystem>> m_mounted;

    // Two items made the same way: one for marrowgate-acl, one for setfacl.
    QStringList twins(const QString &make)
    {
        const QString a = tmp.path(QStringLiteral("ours%1").arg(m_twins));
        const QString b = tmp.path(QStringLiteral("theirs%1").arg(m_twins++));
        for (const QString &path : {a, b})
            if (!shOk(QString(make).replace("ITEM", quoted(path))))
                return {};
        return {a, b};
    }

    static QString acls(const QString &path) { return sh("getfacl -cp " + quoted(path)); }

private slots:
    void setChangesAsSetfaclModifies_data()
    {
        QTest::addColumn<QString>("make");
        QTest::addColumn<QString>("entries");
        QTest::newRow("named user and group") << "touch ITEM && chmod 640 ITEM" << "u:nobody:rw,g:adm:r";
        QTest::newRow("numeric id") << "touch ITEM" << "u:4242:x";
        QTest::newRow("changed permissions") << "touch ITEM && setfacl -m u:nobody:r ITEM" << "u:nobody:rwx";
        QTest::newRow("owner and other") << "touch ITEM && chmod 600 ITEM" << "u::rwx,o::r";
        QTest::newRow("mask given") << "touch ITEM && setfacl -m u:nobody:rwx ITEM" << "m::r";
        QTest::newRow("for new items") << "mkdir ITEM && chmod 750 ITEM" << "d:u:daemon:rwx,d:g:adm:rX";
        QTest::newRow("both") << "mkdir ITEM" << "u:nobody:rx,d:u:nobody:rx";
    }
    void setChangesAsSetfaclModifies()
    {
        QFETCH(QString, make);
        QFETCH(QString, entries);
        const QStringList items = twins(make);
        QVERIFY(!items.isEmpty());
        const Run run = acl(QStringList{"set", items[0]} + entries.split(' '));
        QVERIFY2(run.status == 0, qPrintable(run.err));
        QVERIFY(shOk("setfacl -m " + entries + " " + quoted(items[1])));
        QCOMPARE(acls(items[0]), acls(items[1]));
        QCOMPARE(sh("stat -c %a " + quoted(items[0])), sh("stat -c %a " + quoted(items[1])));
    }

    void removeTakesEntriesAway()
    {
        // One entry, as setfacl -x takes it.
        QStringList items = twins("mkdir ITEM && setfacl -m u:nobody:rx,g:adm:r ITEM && setfacl -d -m u:nobody:rx ITEM");
        Run run = acl({"remove", items[0], "g:adm"});
        QCOMPARE(run.status, 0);
        QVERIFY(shOk("setfacl -x g:adm " + quoted(items[1])));
        QCOMPARE(acls(items[0]), acls(items[1]));
        // A user alone: its entries for the item and for new items.
        run = acl({"remove", items[0], "nobody"});
        QCOMPARE(run.status, 0);
        QVERIFY(!acls(items[0]).contains("nobody"));
        QVERIFY(acls(items[0]).contains("default:user::"));
        // The last named entry gone, no ACL is left. The mask followed the change as setfacl's
        // does (to the group's own rw-), so the group has what setfacl gives it; setfacl keeps
        // the mask entry, which limits nothing then.
        items = twins("touch ITEM && chmod 664 ITEM && setfacl -m u:daemon:rwx,m::r ITEM");
        run = acl({"remove", items[0], "u:daemon"});
        QCOMPARE(run.status, 0);
        QCOMPARE(acls(items[0]), QStringLiteral("user::rw-\ngroup::rw-\nother::r--\n\n"));
        QVERIFY(!sh("ls -l " + quoted(items[0])).section(' ', 0, 0).endsWith('+'));
    }

    void copyGivesTheAclNotTheOwner()
    {
        const QString from = tmp.path("source");
        const QString to = tmp.path("target");
        QVERIFY(shOk(QStringLiteral("mkdir %1 %2 && chown 1:1 %1 && setfacl -m u:nobody:rwx,g:adm:r %1 && "
                                    "setfacl -d -m u:daemon:rx %1 && chown 2:2 %2")
                         .arg(quoted(from), quoted(to))));
        const Run run = acl({"copy", from, to});
        QVERIFY2(run.status == 0, qPrintable(run.err));
        QCOMPARE(acls(to), acls(from));
        QCOMPARE(sh("stat -c %u:%g " + quoted(to)).trimmed(), QStringLiteral("2:2"));
        // A file takes the ACL, not what new items in a folder get.
        const QString file = tmp.path("target-file");
        QVERIFY(shOk("touch " + quoted(file)));
        QCOMPARE(acl({"copy", from, file}).status, 0);
        QVERIFY(!acls(file).contains("default:"));
        QVERIFY(acls(file).contains("user:nobody:rwx"));
    }

    void wrongEntriesSayWhat_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown user") << QStringList{"set", "ITEM", "u:no-such-user-here:r"} << 64
                                      << "\u201cu:no-such-user-here:r\u201d: there is no user \u201cno-such-user-here\u201d";
        QTest::newRow("no permissions") << QStringList{"set", "ITEM", "u:nobody"} << 64
                                        << "\u201cu:nobody\u201d: expected [d:]u|g:[NAME]:PERMISSIONS or [d:]m|o:[:]PERMISSIONS";
        QTest::newRow("default on a file") << QStringList{"set", "ITEM", "d:u:nobody:r"} << 1
                                           << "only folders have entries for new items";
        QTest::newRow("the owner's entry") << QStringList{"remove", "ITEM", "u::"} << 1
                                           << "cannot be removed, only changed";
        QTest::newRow("nothing to set") << QStringList{"set", "ITEM"} << 64 << "set needs ENTRY.";
    }
    void wrongEntriesSayWhat()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, message);
        const QString file = tmp.path("wrong");
        QVERIFY(shOk("touch " + quoted(file)));
        const QString before = acls(file);
        arguments.replaceInStrings("ITEM", file);
        const Run run = acl(arguments);
        QCOMPARE(run.status, status);
        QVERIFY2(run.err.contains(message), qPrintable(run.err));
        QCOMPARE(acls(file), before);
    }

    // As nobody, on an item it does not own, without a privileged service installed: the
    // command says why nothing was changed.
    void withoutTheRightNothingChanges()
    {
        StagedBuild staged;
        REQUIRE_STAGED(staged);
        const QString file = tmp.path("roots");
        QVERIFY(shOk("touch " + quoted(file) + " && chmod 644 " + quoted(file)));
        const Run run = acl({"set", file, "u:nobody:rw"}, AsNobody, &staged);
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.contains("Operation not permitted") || run.err.contains("privileged ACL service"), qPrintable(run.err));
        QVERIFY(!acls(file).contains("nobody"));
    }

    // A file with a second name: root changes nothing through either name (the other may lie
    // anywhere), its owner may change it as ever.
    void aFileWithTwoNamesIsChangedOnlyByItsOwner()
    {
        StagedBuild staged;
        REQUIRE_STAGED(staged);
        const QString file = tmp.path("twice"), second = tmp.path("twice-elsewhere");
        QVERIFY(shOk(QStringLiteral("touch %1 && chown nobody %1 && ln %1 %2").arg(quoted(file), quoted(second))));
        const QString before = acls(second);
        const Run asRoot = acl({"set", file, "u:bin:rw"});
        QCOMPARE(asRoot.status, 1);
        QVERIFY2(asRoot.err.contains("has 2 names"), qPrintable(asRoot.err));
        QCOMPARE(acls(second), before);
        const Run asOwner = acl({"set", file, "u:bin:rw"}, AsNobody, &staged);
        QCOMPARE(asOwner.status, 0);
        QVERIFY(acls(second).contains("user:bin:rw-"));
    }

    // A file system without ACLs: permission bits change, entries are refused before
    // anything is sent, naming the file system.
    void inheritGivesWhatTheKernelGivesANewItem_data()
    {
        QTest::addColumn<QString>("fileSystem");
        QTest::addColumn<QString>("folderAcl"); // setfacl -d arguments, or none
        QTest::addColumn<bool>("folder");
        QTest::addColumn<int>("umask");
        const QString named = QStringLiteral("u:daemon:rwx,g:adm:r-x,u::rwx,g::r-x,o::r--,m::rwx");
        const QString plain = QStringLiteral("u::rw,g::r,o::-");
        for (const QString fs : {"tmpfs", "ext4"}) {
            for (const auto &[name, acl] : {std::pair{"no default ACL", QString()}, std::pair{"named entries", named},
                                            std::pair{"owner group other only", plain}}) {
                for (bool folder : {false, true}) {
                    for (int mask : {022, 077})
                        QTest::addRow("%s, %s, %s, umask %03o", qPrintable(fs), name, folder ? "folder" : "file", mask)
                            << fs << acl << folder << mask;
                }
            }
        }
    }
    void inheritGivesWhatTheKernelGivesANewItem()
    {
        QFETCH(QString, fileSystem);
        QFETCH(QString, folderAcl);
        QFETCH(bool, folder);
        QFETCH(int, umask);
        auto &slot = m_mounted[fileSystem];
        if (!slot)
            slot = std::make_unique<ScratchFileSystem>(fileSystem);
        REQUIRE_MOUNTED(*slot);
        const QString parent = slot->path(QStringLiteral("parent%1").arg(m_twins++));
        QVERIFY(shOk("mkdir " + quoted(parent) + (folderAcl.isEmpty() ? QString() : " && setfacl -d -m " + folderAcl + " " + quoted(parent))));
        // The item had its own, different permissions; the reference is created there now,
        // under the same umask as the command runs with.
        const QString item = parent + "/item";
        const QString fresh = parent + "/fresh";
        const mode_t saved = ::umask(mode_t(umask));
        const bool made = shOk(QStringLiteral("%1 %2 && chmod 701 %2 && setfacl -m u:nobody:rwx %2 && %1 %3")
                                   .arg(folder ? "mkdir" : "touch", quoted(item), quoted(fresh)))
            && (!folder || shOk("setfacl -d -m u:nobody:r " + quoted(item)));
        const Run dry = acl({"inherit", item, "--dry-run"});
        const Run run = acl({"inherit", item});
        ::umask(saved);
        QVERIFY(made);
        QVERIFY2(dry.status == 0 && run.status == 0, qPrintable(dry.err + run.err));
        QCOMPARE(acls(item), acls(fresh));
        QCOMPARE(sh("stat -c %a " + quoted(item)), sh("stat -c %a " + quoted(fresh)));
        // The dry run printed what was then written, as getfacl writes it.
        QCOMPARE(dry.out.section('\n', 3), sh("getfacl -p " + quoted(item)).section('\n', 3));
    }

    void inheritNeedsAFolderAbove()
    {
        const Run run = acl({"inherit", "/"});
        QCOMPARE(run.status, 1);
        QVERIFY2(run.err.contains("no folder above"), qPrintable(run.err));
    }

    void withoutAclsOnlyPermissionBitsChange()
    {
        ScratchFileSystem ramfs("ramfs");
        REQUIRE_MOUNTED(ramfs);
        const QString file = ramfs.path("f");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 600 %1").arg(quoted(file))));
        const Run named = acl({"set", file, "u:nobody:rw"});
        QCOMPARE(named.status, 1);
        QVERIFY2(named.err.contains("keeps no ACLs") && named.err.contains("(ramfs)"), qPrintable(named.err));
        const Run bits = acl({"set", file, "g::r,o::r"});
        QVERIFY2(bits.status == 0, qPrintable(bits.err));
        QCOMPARE(sh("stat -c %a " + quoted(file)).trimmed(), QStringLiteral("644"));
        QCOMPARE(acl({"list", file}).status, 0);
    }
};

QTEST_GUILESS_MAIN(tst_MGAclEditCommands)
#include "tst_MGAclEditCommands.moc"
