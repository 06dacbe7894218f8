#include "MGAclList.h"

#include <QCborArray>
#include <QCborMap>
#include <QRandomGenerator>
#include <QtTest>

using Set = MGAclPermissionSet;

class tst_MGAclList : public QObject
{
    Q_OBJECT

    static MGAclList sampleList()
    {
        return {QStringLiteral("Access Control List"),
                MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(1000, "alice", "Alice A."),
                                     Set::fromPosixBits(5, true), MGAclFlag::FileInherit | MGAclFlag::DirectoryInherit,
                                     true, true),
                MGAclEntry::aclEntry(MGAclEntry::Deny, CBIdentity::group(50, "staff"),
                                     Set::groupPermissions(Set::FullControl, true), MGAclFlag::Inherited, true, false),
                QStringLiteral("POSIX Permissions"),
                MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, CBIdentity::user(0, "root"), 7, true),
                MGAclEntry::posixEntry(MGAclEntry::Kind::OwningGroup, CBIdentity::group(0, "root"), 5, true),
                MGAclEntry::posixEntry(MGAclEntry::Kind::Other, CBIdentity(), 0, true)};
    }

    static QCborArray encodedSample() { return MGAclLists::toCbor(sampleList()).toArray(); }

    static void expectRefused(const QCborValue &value)
    {
        QString problem;
        QVERIFY(!MGAclLists::fromCbor(value, &problem));
        QVERIFY(!problem.isEmpty());
    }

private slots:
    void deepCopyIsEqualAndIndependent()
    {
        const MGAclList list = sampleList();
        const MGAclList copy = MGAclLists::deepCopy(list);
        QVERIFY(MGAclLists::isEqualToList(list, copy));
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (const MGAclEntry *entry = MGAclLists::entryOf(list[i])) {
                const MGAclEntry *copied = MGAclLists::entryOf(copy[i]);
                QVERIFY(copied && copied != entry);
                QCOMPARE(copied->identity().posixName(), entry->identity().posixName());
                QCOMPARE(copied->identity().fullName(), entry->identity().fullName());
                QCOMPARE(copied->isDirectory(), entry->isDirectory());
                QCOMPARE(copied->isPosix(), entry->isPosix());
                QCOMPARE(copied->kind(), entry->kind());
            }
        }
        MGAclEntry *edited = MGAclLists::entryOf(list[1]);
        edited->setPermission(MGAclPermission::Execute, false);
        QVERIFY(!MGAclLists::isEqualToList(list, copy));
        edited->setPermission(MGAclPermission::Execute, true);
        QVERIFY(MGAclLists::isEqualToList(list, copy));
    }

    void listEqualityComparesTitlesAndLength()
    {
        MGAclList list = sampleList();
        MGAclList other = MGAclLists::deepCopy(list);
        other[3] = QStringLiteral("Other title");
        QVERIFY(!MGAclLists::isEqualToList(list, other));
        other = MGAclLists::deepCopy(list);
        other.removeLast();
        QVERIFY(!MGAclLists::isEqualToList(list, other));
        // A title never equals an entry, whatever it says.
        QVERIFY(!MGAclLists::itemsEqual(QStringLiteral("x"), list[1]));
        QCOMPARE(MGAclLists::indexOfItem(list, MGAclLists::entryOf(list[2])->copy()), 2);
        QCOMPARE(MGAclLists::indexOfItem(list, MGAclEntry::newEntryForDirectory(false)), -1);
    }

    void aclEntriesAreTheLeadingRun()
    {
        MGAclList list = sampleList();
        QCOMPARE(MGAclLists::aclEntries(list).size(), 2);
        // An ACL entry after the POSIX section does not belong to the run.
        list << MGAclEntry::newEntryForDirectory(true);
        QCOMPARE(MGAclLists::aclEntries(list).size(), 2);
        // A list that starts with a POSIX entry has no ACL run at all.
        MGAclList posixFirst = {QStringLiteral("t"), MGAclLists::entryPointerOf(list[4]),
                                MGAclLists::entryPointerOf(list[1])};
        QVERIFY(MGAclLists::aclEntries(posixFirst).isEmpty());
        QVERIFY(MGAclLists::aclEntries({}).isEmpty());
    }

    void hostileFieldsAreRefused()
    {
        const QCborArray good = encodedSample();
        QVERIFY(MGAclLists::fromCbor(good, nullptr));
        auto withEntryField = [&](const QString &field, const QCborValue &value) {
            QCborArray bad = good;
            QCborMap entry = bad.at(1).toMap();
            entry.insert(field, value);
            bad[1] = entry;
            return bad;
        };
        expectRefused(withEntryField("unknown", 1));
        expectRefused(withEntryField("tag", QStringLiteral("allow")));
        expectRefused(withEntryField("tag", qint64(1) << 40));
        expectRefused(withEntryField("kind", 5));
        expectRefused(withEntryField("kind", -1));
        expectRefused(withEntryField("permissions", qint64(0x800000)));
        expectRefused(withEntryField("permissions", -1));
        expectRefused(withEntryField("flags", 0x10));
        expectRefused(withEntryField("directory", 1));
        expectRefused(withEntryField("identity", QCborMap{{"class", 1}, {"id", 5}}));
        expectRefused(withEntryField("identity", QCborMap{{"class", CBIdentity::LastClass + 1}, {"id", 5}, {"name", ""}, {"fullName", ""}}));
        expectRefused(withEntryField("identity", QCborMap{{"class", 1}, {"id", qint64(1) << 33}, {"name", ""},
                                                          {"fullName", ""}}));
        expectRefused(withEntryField("identity", QCborMap{{"class", 1}, {"id", 5}, {"name", QString(5000, 'a')},
                                                          {"fullName", ""}}));
        QCborArray missing = good;
        QCborMap entry = missing.at(1).toMap();
        entry.remove(QStringLiteral("flags"));
        missing[1] = entry;
        expectRefused(missing);
        expectRefused(QCborArray{1});
        expectRefused(QCborArray{QCborArray{}});
        expectRefused(QCborMap{});
        expectRefused(QCborArray{QString(MGAclLists::MaximumTitleLength + 1, 'x')});
    }

    void oversizedListIsRefused()
    {
        QCborArray huge;
        for (qsizetype i = 0; i <= MGAclLists::MaximumItems; ++i)
            huge.append(QStringLiteral("t"));
        expectRefused(huge);
    }

    void randomBytesNeverCrash()
    {
        // Mutations of a valid encoding reach deep into the decoder; whatever decodes must
        // be a list that encodes again.
        const QByteArray valid = encodedSample().toCborValue().toCbor();
        QRandomGenerator random(20261122);
        int decoded = 0;
        for (int round = 0; round < 20000; ++round) {
            QByteArray bytes = valid;
            const int flips = 1 + random.bounded(4);
            for (int i = 0; i < flips; ++i)
                bytes[random.bounded(int(bytes.size()))] = char(random.bounded(256));
            if (random.bounded(8) == 0)
                bytes.truncate(random.bounded(int(bytes.size())));
            QCborParserError error;
            const QCborValue value = QCborValue::fromCbor(bytes, &error);
            if (error.error != QCborError::NoError)
                continue;
            if (auto list = MGAclLists::fromCbor(value, nullptr)) {
                ++decoded;
                QVERIFY(MGAclLists::isEqualToList(*list, MGAclLists::deepCopy(*list)));
            }
        }
        QVERIFY(decoded > 0);
    }
};

QTEST_GUILESS_MAIN(tst_MGAclList)
#include "tst_MGAclList.moc"
