#include "CBIdentityAuthority.h"
#include "MGPosixAclStore.h"
#include "ShellHelpers.h"

#include <sys/stat.h>

using Set = MGAclPermissionSet;
using namespace MGAclFlag;

class tst_MGPosixAclStore : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    static MGAclList read(const QString &path)
    {
        MGResult<MGAclList> list = MGPosixAclStore::read(path);
        if (!list)
            qWarning() << list.error().localizedDescription();
        return list ? *list : MGAclList();
    }

    static MGAclEntry *entryFor(const MGAclList &list, const QString &name, quint32 flags)
    {
        for (const MGAclItem &item : list) {
            MGAclEntry *e = MGAclLists::entryOf(item);
            if (e && e->isAcl() && e->identity().posixName() == name && e->flags() == flags)
                return e;
        }
        return nullptr;
    }

private slots:
    void readShowsBothSections()
    {
        const QString dir = tmp.path("shown");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && chown 0:0 %1 && chmod 750 %1 && setfacl -m u:nobody:r-x,g:daemon:rwx %1 && "
                                    "setfacl -d -m u:nobody:r-x,u:daemon:r--,o::--- %1")
                         .arg(quoted(dir))));
        const MGAclList list = read(dir);
        QCOMPARE(std::get<QString>(list.first()), MGPosixLists::aclTitle());
        const auto acl = MGAclLists::aclEntries(list);
        // nobody is in both ACLs: one entry that passes down; daemon (group) applies here only;
        // daemon (user) and the default base entries only pass down.
        QVERIFY(entryFor(list, "nobody", FileInherit | DirectoryInherit));
        QVERIFY(entryFor(list, "daemon", 0)->identity().isGroup());
        QVERIFY(entryFor(list, "daemon", FileInherit | DirectoryInherit | OnlyInherit)->identity().isUser());
        int specials = 0;
        for (const auto &e : acl)
            specials += e->identity().isSpecial() ? 1 : 0;
        QCOMPARE(specials, 4); // owner, group, mask and everyone of the default ACL
        const qsizetype posixTitle = list.indexOf(MGAclItem(MGPosixLists::posixTitle()));
        QCOMPARE(posixTitle, acl.size() + 1);
        QList<MGAclEntry::Kind> kinds;
        for (qsizetype i = posixTitle + 1; i < list.size(); ++i)
            kinds << MGAclLists::entryOf(list[i])->kind();
        QCOMPARE(kinds, (QList<MGAclEntry::Kind>{MGAclEntry::Kind::Owner, MGAclEntry::Kind::OwningGroup,
                                                 MGAclEntry::Kind::Other, MGAclEntry::Kind::Mask}));
        const MGAclEntry *owner = MGAclLists::entryOf(list[posixTitle + 1]);
        QCOMPARE(owner->identity().posixName(), QStringLiteral("root"));
        QCOMPARE(Set::shortText(owner->permissions(), true), QStringLiteral("rwx"));
    }

    // A folder whose ACLs name every account of the database and ids without one: each
    // entry, and the owner and group, named as the database names its id alone.
    void manyNamedEntriesAreNamedAsEachAlone()
    {
        const QString dir = tmp.path("many");
        const QString entries = tmp.path("many-entries");
        QVERIFY(shOk(manyEntriesCommand(entries) + QStringLiteral(" && mkdir %1 && chown 1:2 %1 && setfacl -M %2 %1 && "
                                                                  "sed 's/^/d:/' %2 | setfacl -M - %1")
                                                       .arg(quoted(dir), quoted(entries))));
        const int lines = sh("wc -l < " + quoted(entries)).trimmed().toInt();
        QVERIFY(lines > 80);
        const MGAclList list = read(dir);
        const CBIdentityAuthority &authority = CBIdentityAuthority::defaultIdentityAuthority();
        int named = 0;
        for (const MGAclItem &item : list) {
            const MGAclEntry *e = MGAclLists::entryOf(item);
            if (!e || !e->identity().isUserOrGroup())
                continue;
            const CBIdentity alone = authority.identityForId(e->identity().identityClass(), e->identity().posixID());
            QCOMPARE(e->identity().displayName(), alone.displayName());
            QCOMPARE(e->identity().fullName(), alone.fullName());
            ++named;
        }
        // Each entry is in both ACLs and so shows once, as passing down; then owner and group.
        QCOMPARE(named, lines + 2);
    }

    void writingBackUnchangedChangesNothing_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::newRow("plain file") << "touch F && chmod 640 F";
        QTest::newRow("set-id file") << "touch F && chmod 6755 F";
        QTest::newRow("named entries") << "touch F && setfacl -m u:nobody:rw-,g:daemon:r--,g:0:-w- F";
        QTest::newRow("narrow mask") << "touch F && setfacl -m u:nobody:rwx,m::r-- F";
        QTest::newRow("mask only") << "touch F && setfacl -m m::r-x F";
        QTest::newRow("folder defaults") << "mkdir F && chmod 3775 F && setfacl -m u:nobody:rwx F && "
                                             "setfacl -d -m u:nobody:rwx,g:daemon:r-x,m::r-x,o::--x F";
        QTest::newRow("default base only") << "mkdir F && setfacl -d -m u::rwx,g::---,o::--- F";
    }
    void writingBackUnchangedChangesNothing()
    {
        QFETCH(QString, setup);
        SharedTemporaryDir local;
        QVERIFY(shOk(QStringLiteral("cd %1 && %2").arg(quoted(local.path()), setup)));
        const QString path = local.path("F");
        const QString before = facl(path) + sh("stat -c '%a %u %g %Z' " + quoted(path));
        const MGAclList list = read(path);
        QVERIFY(!list.isEmpty());
        QTest::qSleep(1100); // a write would show in the change time
        QCOMPARE(MGPosixAclStore::write(path, MGAclLists::deepCopy(list)), MGResultError());
        QCOMPARE(facl(path) + sh("stat -c '%a %u %g %Z' " + quoted(path)), before);
    }

    // Removing the last named entry leaves no ACL behind: the group keeps what the mask let
    // it have, in the mode bits, and nothing shows a "+" any more.
    void removingTheLastNamedEntryLeavesPlainBits()
    {
        const QString path = tmp.path("last-named");
        QVERIFY(shOk("touch " + quoted(path) + " && chmod 664 " + quoted(path) + " && setfacl -m u:nobody:rwx,m::r-- "
                     + quoted(path)));
        MGAclList list = read(path);
        list.removeAt(1); // nobody's entry
        QCOMPARE(MGPosixAclStore::write(path, list), MGResultError());
        QCOMPARE(sh("getfacl -cp " + quoted(path)), QStringLiteral("user::rw-\ngroup::r--\nother::r--\n\n"));
        QVERIFY(!sh("ls -l " + quoted(path)).split(' ').first().endsWith('+'));
        QCOMPARE(sh("getfattr -m - -d " + quoted(path) + " 2>/dev/null"), QString());
    }

    void writeStoresWhatTheListSays()
    {
        const QString dir = tmp.path("written");
        QVERIFY(shOk("mkdir " + quoted(dir)));
        MGAclList list = read(dir);
        const auto nobody = CBIdentity::user(65534, "nobody");
        const auto daemon = CBIdentity::group(1, "daemon");
        list.insert(1, MGAclEntry::aclEntry(MGAclEntry::Allow, nobody, Set::groupPermissions(Set::Read, true),
                                            FileInherit | DirectoryInherit, true, true));
        list.insert(2, MGAclEntry::aclEntry(MGAclEntry::Allow, daemon, Set::groupPermissions(Set::Write, true),
                                            FileInherit | DirectoryInherit | OnlyInherit, true, true));
        for (const MGAclItem &item : list) {
            MGAclEntry *e = MGAclLists::entryOf(item);
            if (e && e->kind() == MGAclEntry::Kind::Other)
                e->setPermissions(Set::fromPosixBits(0, true));
            if (e && e->kind() == MGAclEntry::Kind::OwningGroup)
                e->setIdentity(daemon);
        }
        QCOMPARE(MGPosixAclStore::write(dir, list), MGResultError());
        const QString acl = facl(dir);
        QVERIFY2(acl.contains("user:65534:r-x\n") && acl.contains("default:user:65534:r-x\n")
                     && acl.contains("default:group:1:-wx\n") && !acl.contains("\ngroup:1:")
                     && acl.contains("# group: 1\n") && acl.contains("\nother::---\n")
                     && acl.contains("default:mask::rwx\n") && acl.contains("default:other::---"),
                 qPrintable(acl));
        // Reading again finds every entry written, plus the default ACL's four base entries
        // and the access ACL's mask, which ACLs with named entries cannot do without.
        const MGAclList reread = read(dir);
        for (const MGAclItem &item : list)
            QVERIFY(MGAclLists::indexOfItem(reread, item) >= 0);
        QCOMPARE(reread.size(), list.size() + 5);
        // Removing every ACL entry leaves a plain mode.
        MGAclList plain = read(dir);
        for (const auto &e : MGAclLists::aclEntries(plain))
            plain.removeOne(MGAclItem(e));
        plain.removeIf([](const MGAclItem &item) {
            const MGAclEntry *e = MGAclLists::entryOf(item);
            return e && e->kind() == MGAclEntry::Kind::Mask;
        });
        QCOMPARE(MGPosixAclStore::write(dir, plain), MGResultError());
        QCOMPARE(sh("getfacl -c -n " + quoted(dir) + " | grep -c . "), QStringLiteral("3\n"));
    }

    void whatPosixCannotHoldIsRefusedAndNothingWritten_data()
    {
        QTest::addColumn<int>("tag");
        QTest::addColumn<quint32>("permissions");
        QTest::addColumn<quint32>("flags");
        QTest::addColumn<bool>("onFolder");
        QTest::addColumn<QString>("named");
        const quint32 read = Set::groupPermissions(Set::Read, false);
        QTest::newRow("deny") << 2 << read << 0u << false << "Deny";
        QTest::newRow("full control") << 1 << Set::groupPermissions(Set::FullControl, false) << 0u << false
                                      << "read, write and execute";
        QTest::newRow("inheritance on a file") << 1 << read << quint32(FileInherit | DirectoryInherit) << false
                                               << "file";
        QTest::newRow("files only") << 1 << Set::groupPermissions(Set::Read, true) << quint32(FileInherit) << true
                                    << "inheritance";
    }
    void whatPosixCannotHoldIsRefusedAndNothingWritten()
    {
        QFETCH(int, tag);
        QFETCH(quint32, permissions);
        QFETCH(quint32, flags);
        QFETCH(bool, onFolder);
        QFETCH(QString, named);
        SharedTemporaryDir local;
        const QString path = local.path("item");
        QVERIFY(shOk(QStringLiteral("%1 %2 && setfacl -m u:nobody:r-- %2").arg(onFolder ? "mkdir" : "touch", quoted(path))));
        const QString before = facl(path);
        MGAclList list = read(path);
        list.insert(2, MGAclEntry::aclEntry(tag, CBIdentity::user(1, "daemon"), permissions, flags, onFolder, false));
        // Also change the owner's bits: a refused list must not half-apply.
        MGAclLists::entryOf(list[list.size() - 4])->setPermissions(Set::fromPosixBits(0, onFolder));
        const MGResultError error = MGPosixAclStore::write(path, list);
        QVERIFY(error);
        QCOMPARE(error->domain(), QStringLiteral("NSPOSIXErrorDomain"));
        QCOMPARE(error->code(), EINVAL);
        QVERIFY2(error->localizedDescription().contains("entry 2 (") && error->localizedDescription().contains(named)
                     && error->localizedDescription().contains(path),
                 qPrintable(error->localizedDescription()));
        QCOMPARE(facl(path), before);
    }

    void duplicatesAndMissingSectionsAreRefused()
    {
        const QString path = tmp.path("dup");
        QVERIFY(shOk("touch " + quoted(path)));
        MGAclList list = read(path);
        const auto entry = MGAclEntry::aclEntry(1, CBIdentity::user(1), Set::fromPosixBits(4, false), 0, false, true);
        list.insert(1, entry);
        list.insert(2, entry->copy());
        QVERIFY(MGPosixAclStore::write(path, list)->localizedDescription().contains("entry 2"));
        MGAclList noOwner = read(path);
        noOwner.removeAt(noOwner.size() - 3);
        QVERIFY(MGPosixAclStore::write(path, noOwner));
    }

    void errorsNameThePath()
    {
        const QString missing = tmp.path("missing");
        const MGResult<MGAclList> list = MGPosixAclStore::read(missing);
        QVERIFY(!list);
        QCOMPARE(list.error().code(), ENOENT);
        QVERIFY(list.error().localizedDescription().contains(missing));
        QVERIFY(!list.error().isPermissionError());
    }
};

QTEST_GUILESS_MAIN(tst_MGPosixAclStore)
#include "tst_MGPosixAclStore.moc"
