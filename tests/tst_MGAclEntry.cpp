#include "CBIdentityAuthority.h"
#include "KeyPathRecorder.h"
#include "MGAclEntry.h"

#include <QtTest>

using namespace MGAclFlag;
using Set = MGAclPermissionSet;

class tst_MGAclEntry : public QObject
{
    Q_OBJECT

    static MGAclEntry::Pointer entry(bool directory, bool posix, quint32 flags = 0, int tag = MGAclEntry::Allow)
    {
        return MGAclEntry::aclEntry(tag, CBIdentity::user(1000, "alice"), Set::groupPermissions(Set::Read, directory),
                                    flags, directory, posix);
    }

private slots:
    void namedGroupsRoundTrip_data()
    {
        QTest::addColumn<bool>("directory");
        QTest::addColumn<bool>("posix");
        QTest::newRow("file") << false << false;
        QTest::newRow("folder") << true << false;
        QTest::newRow("posix file") << false << true;
        QTest::newRow("posix folder") << true << true;
    }
    void namedGroupsRoundTrip()
    {
        QFETCH(bool, directory);
        QFETCH(bool, posix);
        auto e = entry(directory, posix);
        const QList<int> groups = e->availablePermissionGroups();
        QCOMPARE(groups.contains(Set::FullControl), !posix);
        for (int group : groups) {
            QVERIFY(e->setProperty("permissionGroup", group));
            QCOMPARE(e->permissionGroup(), group);
            if (posix)
                QVERIFY2(e->posixProblem().isEmpty(), qPrintable(e->posixProblem()));
        }
        // Every named group has its own set, and none is empty.
        QSet<quint32> sets;
        for (int group = 1; group <= 5; ++group)
            sets << Set::groupPermissions(group, directory);
        QCOMPARE(sets.size(), 5);
        QVERIFY(!sets.contains(0));
    }

    void posixBitsMapToGroups()
    {
        auto file = [](int rwx) { return Set::groupForPermissions(Set::fromPosixBits(rwx, false), false, true); };
        auto folder = [](int rwx) { return Set::groupForPermissions(Set::fromPosixBits(rwx, true), true, true); };
        QCOMPARE(file(6), int(Set::ReadWrite));
        QCOMPARE(file(4), int(Set::Read));
        QCOMPARE(file(2), int(Set::Write));
        QCOMPARE(file(0), int(Set::NoAccess));
        QCOMPARE(file(7), int(Set::Custom));
        QCOMPARE(folder(7), int(Set::ReadWrite));
        QCOMPARE(folder(5), int(Set::Read));
        QCOMPARE(folder(3), int(Set::Write));
        QCOMPARE(folder(0), int(Set::NoAccess));
        QCOMPARE(folder(4), int(Set::Custom));
        for (int rwx = 0; rwx < 8; ++rwx) {
            QCOMPARE(Set::toPosixBits(Set::fromPosixBits(rwx, false), false), std::optional<int>(rwx));
            QCOMPARE(Set::toPosixBits(Set::fromPosixBits(rwx, true), true), std::optional<int>(rwx));
        }
        // Half a bundle, a bit POSIX cannot hold, or a folder's bit on a file are not r/w/x.
        QVERIFY(!Set::isPosixRepresentable(Set::Always | MGAclPermission::ReadData, false));
        QVERIFY(!Set::isPosixRepresentable(Set::fromPosixBits(7, false) | MGAclPermission::WriteAcl, false));
        QVERIFY(!Set::isPosixRepresentable(Set::fromPosixBits(2, false) | MGAclPermission::DeleteChild, false));
        QCOMPARE(Set::shortText(Set::fromPosixBits(5, true), true), QStringLiteral("r-x"));
    }

    void shallowOnlyWhenEmpty()
    {
        auto e = entry(false, false);
        QVERIFY(!e->isShallow());
        e->setPermissionGroup(Set::NoAccess);
        QVERIFY(!e->isShallow()); // "No Access" still lets people see the item exists
        e->setPermissions(0);
        QVERIFY(e->isShallow());
        QCOMPARE(e->permissionGroup(), int(Set::Custom));
        e->setPermission(MGAclPermission::Execute, true);
        QVERIFY(!e->isShallow());
    }

    void customChoiceReadsCustomUntilPermissionsChange()
    {
        auto e = entry(false, true);
        KeyPathRecorder recorder;
        e->addObserver(&recorder);
        e->setPermissionGroup(Set::Custom);
        QCOMPARE(e->permissionGroup(), int(Set::Custom));
        QCOMPARE(recorder.keyPaths, QStringList{"permissionGroup"});
        e->setPermission(Set::writeBundle(false), true);
        QCOMPARE(e->permissionGroup(), int(Set::ReadWrite));
        e->setPermissionGroup(Set::Custom);
        e->setPermissionGroup(Set::Read);
        QCOMPARE(e->permissionGroup(), int(Set::Read));
        // A code the entry cannot take changes nothing.
        recorder.keyPaths.clear();
        e->setPermissionGroup(Set::FullControl);
        e->setPermissionGroup(9);
        QCOMPARE(e->permissionGroup(), int(Set::Read));
        QVERIFY(recorder.keyPaths.isEmpty());
    }

    void permissionStates()
    {
        auto e = entry(true, false);
        QCOMPARE(e->permissionState(Set::readBundle()), 1);
        QCOMPARE(e->permissionState(Set::writeBundle(true)), 0);
        e->setPermission(MGAclPermission::WriteData, true);
        QCOMPARE(e->permissionState(Set::writeBundle(true)), -1);
        QCOMPARE(e->editablePermissions().size(), 14);
        QCOMPARE(entry(false, true)->editablePermissions().size(), 3);
    }

    void canonicalScoresOrderTheFourKinds()
    {
        auto explicitDeny = entry(false, false, 0, MGAclEntry::Deny);
        auto explicitAllow = entry(false, false);
        auto inheritedDeny = entry(false, false, Inherited, MGAclEntry::Deny);
        auto inheritedAllow = entry(false, false, Inherited);
        QVERIFY(explicitDeny->canonicalScore() > explicitAllow->canonicalScore());
        QVERIFY(explicitAllow->canonicalScore() > inheritedDeny->canonicalScore());
        QVERIFY(inheritedDeny->canonicalScore() > inheritedAllow->canonicalScore());
        QCOMPARE(explicitAllow->property("canonicalScore").toLongLong(), explicitAllow->canonicalScore());
        // Flags other than the inherited mark leave the order free.
        QCOMPARE(entry(true, false, FileInherit | OnlyInherit)->canonicalScore(), explicitAllow->canonicalScore());
    }

    void inheritanceToChildren_data()
    {
        QTest::addColumn<quint32>("flags");
        QTest::addColumn<bool>("toFolder");
        QTest::addColumn<quint32>("folderFlags");
        QTest::addColumn<bool>("toFile");
        QTest::addColumn<quint32>("fileFlags");
        const quint32 none = 0;
        QTest::newRow("not inheritable") << none << false << none << false << none;
        QTest::newRow("both") << (FileInherit | DirectoryInherit) << true << (FileInherit | DirectoryInherit | Inherited)
                              << true << quint32(Inherited);
        QTest::newRow("both, only inherit") << (FileInherit | DirectoryInherit | OnlyInherit) << true
                                            << (FileInherit | DirectoryInherit | Inherited) << true << quint32(Inherited);
        QTest::newRow("folders only") << quint32(DirectoryInherit) << true << (DirectoryInherit | Inherited) << false
                                      << none;
        QTest::newRow("files only") << quint32(FileInherit) << true << (FileInherit | OnlyInherit | Inherited) << true
                                    << quint32(Inherited);
        QTest::newRow("files only, one level") << (FileInherit | LimitInherit) << false << none << true
                                               << quint32(Inherited);
        QTest::newRow("both, one level") << (FileInherit | DirectoryInherit | LimitInherit) << true
                                         << quint32(Inherited) << true << quint32(Inherited);
        QTest::newRow("already inherited") << (DirectoryInherit | Inherited) << true << (DirectoryInherit | Inherited)
                                           << false << none;
    }
    void inheritanceToChildren()
    {
        QFETCH(quint32, flags);
        QFETCH(bool, toFolder);
        QFETCH(quint32, folderFlags);
        QFETCH(bool, toFile);
        QFETCH(quint32, fileFlags);
        auto forFolder = entry(true, false, flags);
        auto forFile = entry(true, false, flags);
        QCOMPARE(forFolder->convertInheritedToDirectoryEntry(), toFolder);
        QCOMPARE(forFolder->flags(), toFolder ? folderFlags : flags);
        QCOMPARE(forFile->convertInheritedToFileEntry(), toFile);
        QCOMPARE(forFile->flags(), toFile ? fileFlags : flags);
        if (toFolder)
            QVERIFY(forFolder->inherited());
    }

    void posixEntriesNeverPassDown()
    {
        auto owner = MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, CBIdentity::user(0, "root"), 7, true);
        QVERIFY(!owner->isAcl());
        QVERIFY(!owner->convertInheritedToDirectoryEntry());
        QVERIFY(!owner->convertInheritedToFileEntry());
    }

    // Each edit reaches an observer with its key and every key derived from it, the key that
    // was set first.
    void observersHearEveryKeyAnEditChanges()
    {
        auto e = entry(true, false);
        KeyPathRecorder recorder;
        e->addObserver(&recorder);
        e->addObserver(&recorder); // a second registration must not double the notices
        e->setTag(MGAclEntry::Deny);
        e->setIdentity(CBIdentity::group(100, "users"));
        e->setPermissionGroup(Set::Write);
        e->setFlags(FileInherit);
        e->setInherited(true);
        e->setProperty("tag", 2); // unchanged: no notice
        QCOMPARE(recorder.keyPaths,
                 (QStringList{"tag", "canonicalScore", "identity", "permissions", "permissionGroup", "isShallow", "flags",
                              "appliesTo", "flags", "inherited", "canonicalScore", "appliesTo"}));
        // The key that was set is told from those derived from it while it is announced.
        QStringList set;
        QObject::connect(e.get(), &MGAclEntry::changed, e.get(), [&](const QString &key) {
            if (e->isEditKey(key))
                set << key;
        });
        e->setPermissions(0);
        QCOMPARE(set, QStringList{"permissions"});
        QVERIFY(!e->isEditKey(QStringLiteral("permissions")));
        QVERIFY(std::all_of(recorder.objects.begin(), recorder.objects.end(), [&](QObject *o) { return o == e.get(); }));
        e->removeObserver(&recorder);
        recorder.keyPaths.clear();
        e->setInherited(false);
        QVERIFY(recorder.keyPaths.isEmpty());
    }

    void observerThatGoesAwayIsForgotten()
    {
        auto e = entry(true, false);
        {
            KeyPathRecorder recorder;
            e->addObserver(&recorder);
        }
        e->setTag(MGAclEntry::Deny); // must not reach the destroyed recorder
        QCOMPARE(e->tag(), int(MGAclEntry::Deny));
    }

    void equalityIsByValue()
    {
        auto a = entry(true, true, FileInherit | DirectoryInherit);
        QVERIFY(a->isEqual(*a->copy()));
        // Names and storage do not take part: the same account under another name is equal.
        auto renamed = a->copy();
        renamed->setIdentity(CBIdentity::user(1000, "alice2"));
        QVERIFY(a->isEqual(*renamed));
        QList<std::function<void(MGAclEntry &)>> edits = {
            [](MGAclEntry &e) { e.setTag(MGAclEntry::Deny); },
            [](MGAclEntry &e) { e.setIdentity(CBIdentity::user(1001)); },
            [](MGAclEntry &e) { e.setIdentity(CBIdentity::group(1000)); },
            [](MGAclEntry &e) { e.setPermission(MGAclPermission::Execute, false); },
            [](MGAclEntry &e) { e.setFlags(FileInherit); },
            [](MGAclEntry &e) { e.setInherited(true); },
        };
        for (const auto &edit : edits) {
            auto b = a->copy();
            edit(*b);
            QVERIFY(!a->isEqual(*b));
        }
        auto posixOwner = MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, CBIdentity::user(1000), 5, true);
        auto aclUser = MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(1000), Set::fromPosixBits(5, true), 0,
                                            true, true);
        QVERIFY(!posixOwner->isEqual(*aclUser));
    }

    void posixProblemsNameWhatCannotBeStored()
    {
        QVERIFY(entry(true, true, FileInherit | DirectoryInherit)->posixProblem().isEmpty());
        QVERIFY(entry(true, true, FileInherit | DirectoryInherit | OnlyInherit)->posixProblem().isEmpty());
        QVERIFY(entry(false, true)->posixProblem().isEmpty());
        QVERIFY(entry(true, true, 0, MGAclEntry::Deny)->posixProblem().contains("Deny"));
        QVERIFY(entry(false, true, FileInherit)->posixProblem().contains("file"));
        QVERIFY(!entry(true, true, FileInherit)->posixProblem().isEmpty());
        QVERIFY(!entry(true, true, FileInherit | DirectoryInherit | LimitInherit)->posixProblem().isEmpty());
        auto fullControl = entry(false, false);
        fullControl->setPermissionGroup(Set::FullControl);
        QVERIFY(fullControl->posixProblem().contains("read, write and execute"));
    }

    void newEntries()
    {
        auto folder = MGAclEntry::newEntryForDirectory(true);
        auto file = MGAclEntry::newEntryForDirectory(false);
        QVERIFY(folder->isAcl() && !folder->inherited() && folder->tag() == MGAclEntry::Allow);
        QCOMPARE(folder->flags(), quint32(FileInherit | DirectoryInherit));
        QCOMPARE(file->flags(), 0u);
        QCOMPARE(folder->permissionGroup(), int(Set::Read));
        QCOMPARE(file->permissionGroup(), int(Set::Read));
        QVERIFY(folder->posixProblem().isEmpty() && file->posixProblem().isEmpty());
        QCOMPARE(folder->identity(), CBIdentityAuthority::defaultIdentityAuthority().currentUser());
        QVERIFY(!folder->isEqual(*file));
    }
};

QTEST_GUILESS_MAIN(tst_MGAclEntry)
#include "tst_MGAclEntry.moc"
