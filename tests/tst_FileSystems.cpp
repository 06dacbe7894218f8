// The ACL store, propagation and the size limit on each Linux file system that keeps ACLs,
// each mounted for the test: tmpfs in memory; ext4, xfs and btrfs on loop images. getfacl
// and setfacl are the reference for what the file system holds. (Effective access against
// the kernel on each is in tst_MGAccessEvaluator.)
#include "FileSystemHelpers.h"
#include "MGAclCapacity.h"
#include "MGPosixAclStore.h"
#include "MGPosixLists.h"
#include "PropagationHelpers.h"

#include <map>
#include <memory>

class tst_FileSystems : public QObject
{
    Q_OBJECT

    SharedTemporaryDir reference;
    std::map<QString, std::unique_ptr<ScratchFileSystem>> mounted;

    // The file system of the current row, mounted once for all the tests.
    ScratchFileSystem &fileSystem()
    {
        QFETCH_GLOBAL(QString, type);
        auto &slot = mounted[type];
        if (!slot)
            slot = std::make_unique<ScratchFileSystem>(type);
        return *slot;
    }

    // getfacl -R's listing, item by item in name order (it lists in each file system's own
    // folder order).
    static QStringList aclsBelow(const QString &folder)
    {
        QStringList items = sh(QStringLiteral("cd %1 && getfacl -R -n -p . 2>&1").arg(quoted(folder))).split("\n\n");
        items.sort();
        return items;
    }

private slots:
    void initTestCase_data()
    {
        QTest::addColumn<QString>("type");
        for (const char *type : {"tmpfs", "ext4", "xfs", "btrfs"})
            QTest::newRow(type) << QString::fromLatin1(type);
    }

    void initTestCase() { REQUIRE_ROOT(); }

    // What the store reads, written to a new item, gives it exactly what getfacl showed.
    void whatIsReadWritesBackAsGetfaclShowsIt()
    {
        ScratchFileSystem &fs = fileSystem();
        REQUIRE_MOUNTED(fs);
        const QString tag = QString::number(QDateTime::currentMSecsSinceEpoch());
        struct Item
        {
            QString make;
            QString acl;
        };
        const QList<Item> items = {
            {"touch ITEM && chmod 640 ITEM", "u:nobody:rw-,g:adm:r--,u:daemon:--x,m::rwx"},
            {"touch ITEM && chmod 2755 ITEM", "g:users:rwx"},
            {"mkdir ITEM && chmod 1770 ITEM", "u:nobody:r-x,d:u:nobody:rwx,d:g:adm:r-x,d:o::---"},
            {"mkdir ITEM", "d:u::rwx,d:g::r-x,d:o::r-x"},
        };
        int n = 0;
        for (const Item &item : items) {
            const QString original = fs.path(QStringLiteral("original-%1-%2").arg(tag).arg(n));
            const QString copy = fs.path(QStringLiteral("copy-%1-%2").arg(tag).arg(n++));
            for (const QString &path : {original, copy})
                QVERIFY(shOk(QString(item.make).replace("ITEM", quoted(path))));
            QVERIFY(shOk(QStringLiteral("setfacl -m %1 %2").arg(item.acl, quoted(original))));
            const MGResult<MGAclList> list = MGPosixAclStore::read(original);
            QVERIFY(list);
            const MGResultError error = MGPosixAclStore::write(copy, *list);
            QVERIFY2(!error, qPrintable(error ? error->fullDescription() : QString()));
            QCOMPARE(facl(copy), facl(original));
        }
    }

    // A propagation leaves every item below with the ACLs it leaves on the reference folder.
    void propagationGivesWhatItGivesElsewhere()
    {
        ScratchFileSystem &fs = fileSystem();
        REQUIRE_MOUNTED(fs);
        const QString make = QStringLiteral(
            "mkdir -p %1/a/b %1/c && touch %1/f %1/a/g %1/a/b/h && chmod 755 %1/a/b/h && ln -s a %1/link && "
            "setfacl -m u:nobody:rwx,g:adm:r-x %1 && setfacl -d -m u:nobody:rwx,g:adm:r-x,o::- %1");
        const QString here = fs.path("tree"), there = reference.path(fs.type() + "-tree");
        for (const QString &root : {here, there}) {
            QVERIFY(shOk(make.arg(quoted(root))));
            const MGResultError error = propagateOwnSettings(root);
            QVERIFY2(!error, qPrintable(error ? error->fullDescription() : QString()));
        }
        const QStringList acls = aclsBelow(here);
        QVERIFY(acls.join("\n").contains("# file: ./a/b/h\n"));
        QCOMPARE(acls, aclsBelow(there));
    }

    // The largest ACL the file system keeps is written and read back whole; one entry more
    // is refused with a message that says how many fit.
    void theLargestAclFitsAndOneMoreIsRefusedSayingHowMany()
    {
        ScratchFileSystem &fs = fileSystem();
        REQUIRE_MOUNTED(fs);
        const QString file = fs.path("large");
        QVERIFY(shOk("touch " + quoted(file)));
        const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(file), QStringLiteral("Cannot open"));
        QVERIFY(item);
        const std::optional<int> fit = MGAclCapacity::namedEntriesThatFit(*item, 20000);
        QVERIFY(fit);
        QVERIFY2(*fit > 20 && *fit < 20000, qPrintable(QString::number(*fit)));
        qInfo("%s keeps %d named entries in one ACL", qPrintable(fs.type()), *fit);
        const MGResult<MGPosixItemState> state = MGPosixAclStore::readState(*item);
        QVERIFY(state);
        const auto withEntries = [&](int count) {
            MGPosixItemState target = *state;
            for (int i = 0; i < count; ++i)
                target.access.set(MGPosixAcl::User, 4, 300000 + i);
            target.access.set(MGPosixAcl::Mask, 4);
            return MGPosixLists::listFromState(target);
        };
        MGResultError error = MGPosixAclStore::write(*item, withEntries(*fit));
        QVERIFY2(!error, qPrintable(error ? error->fullDescription() : QString()));
        QCOMPARE(sh("getfacl -n " + quoted(file) + " | grep -c '^user:[0-9]'").trimmed().toInt(), *fit);
        error = MGPosixAclStore::write(*item, withEntries(*fit + 1));
        QVERIFY(error);
        QVERIFY2(error->localizedDescription().endsWith(QStringLiteral("at most %1 fit there.").arg(*fit)),
                 qPrintable(error->localizedDescription()));
        QCOMPARE(sh("getfacl -n " + quoted(file) + " | grep -c '^user:[0-9]'").trimmed().toInt(), *fit);
    }
};

QTEST_GUILESS_MAIN(tst_FileSystems)
#include "tst_FileSystems.moc"
