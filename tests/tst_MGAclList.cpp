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
        // An entry is the list of its fields: kind, tag, identity class, id, name, full name,
        // permissions, flags, directory mark, POSIX mark, SID.
        auto withEntryField = [&](int field, const QCborValue &value) {
            QCborArray bad = good;
            QCborArray entry = bad.at(1).taggedValue().toArray();
            entry[field] = value;
            bad[1] = QCborValue(QCborTag(MGAclEntry::CborTag), entry);
            return bad;
        };
        expectRefused(withEntryField(1, QStringLiteral("allow")));
        expectRefused(withEntryField(1, qint64(1) << 40));
        expectRefused(withEntryField(0, 5));
        expectRefused(withEntryField(0, -1));
        expectRefused(withEntryField(2, CBIdentity::LastClass + 1));
        expectRefused(withEntryField(3, qint64(1) << 33));
        expectRefused(withEntryField(4, QString(5000, 'a')));
        expectRefused(withEntryField(5, 7));
        expectRefused(withEntryField(6, qint64(0x800000)));
        expectRefused(withEntryField(6, -1));
        expectRefused(withEntryField(7, 0x10));
        expectRefused(withEntryField(8, 1));
        expectRefused(withEntryField(9, QCborValue()));
        expectRefused(withEntryField(10, 7));
        expectRefused(withEntryField(10, QString(5000, 'S')));
        QCborArray missing = good;
        QCborArray entry = missing.at(1).taggedValue().toArray();
        entry.removeLast();
        missing[1] = QCborValue(QCborTag(MGAclEntry::CborTag), entry);
        expectRefused(missing);
        QCborArray longer = good;
        entry = longer.at(1).taggedValue().toArray();
        entry.append(1);
        longer[1] = QCborValue(QCborTag(MGAclEntry::CborTag), entry);
        expectRefused(longer);
        // The fields without the entry's tag, and a tag on something else.
        QCborArray untagged = good;
        untagged[1] = good.at(1).taggedValue();
        expectRefused(untagged);
        expectRefused(QCborArray{QCborValue(QCborTag(MGAclEntry::CborTag), QCborMap{{"kind", 0}})});
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
