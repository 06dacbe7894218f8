#include "MGAclEditSession.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QtTest>

namespace {
MGAclEntry::Pointer entry(quint32 uid, int rwx = 4, bool inherited = false)
{
    return MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(uid), MGAclPermissionSet::fromPosixBits(rwx, false),
                                inherited ? quint32(MGAclFlag::Inherited) : 0u, false, true);
}

// The given users' entries under a title, and a POSIX section with a mask.
MGAclList list(const QList<quint32> &users, int mask = 7)
{
    MGAclList result{QStringLiteral("Access Control List")};
    for (quint32 uid : users)
        result << entry(uid);
    result << QStringLiteral("POSIX Permissions")
           << MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, CBIdentity::user(0), 6, false)
           << MGAclEntry::posixEntry(MGAclEntry::Kind::OwningGroup, CBIdentity::group(0), 4, false)
           << MGAclEntry::posixEntry(MGAclEntry::Kind::Mask, CBIdentity::special(CBIdentity::Class::MaskSpecial), mask, false)
           << MGAclEntry::posixEntry(MGAclEntry::Kind::Other, CBIdentity::special(CBIdentity::Class::EveryoneSpecial), 0, false);
    return result;
}

QList<quint32> usersShown(const MGAclEditSession &session)
{
    QList<quint32> users;
    for (const MGAclEntry::Pointer &e : session.aclEntries())
        users << e->identity().posixID();
    return users;
}

int maskBits(const MGAclEditSession &session)
{
    const MGAclEntry *mask = MGPosixRules::maskEntry(session.entries(), false);
    return mask ? MGAclPermissionSet::toPosixBits(mask->permissions(), false).value_or(-1) : -1;
}
}

// The edit session, the one model of an item's list while it is edited: how each way of
// editing reaches the rows, the edited mark, the masks, and what a blocked or replaced item
// allows.
class tst_MGAclEditSession : public QObject
{
    Q_OBJECT
private slots:
    // A list operation arrives as the row change it is: nothing is found by comparing.
    void listOperationsArriveAsTheirRowChanges_data()
    {
        QTest::addColumn<int>("operation");
        QTest::addColumn<QList<quint32>>("after");
        QTest::addColumn<QString>("signal");
        QTest::newRow("insert") << 0 << QList<quint32>{1, 9, 2, 3} << "rowsInserted";
        QTest::newRow("remove") << 1 << QList<quint32>{1, 3} << "rowsRemoved";
        QTest::newRow("move down") << 2 << QList<quint32>{2, 3, 1} << "rowsMoved";
        QTest::newRow("move up") << 3 << QList<quint32>{3, 1, 2} << "rowsMoved";
        QTest::newRow("sort") << 4 << QList<quint32>{3, 1, 2} << "layoutChanged";
    }
    void listOperationsArriveAsTheirRowChanges()
    {
        QFETCH(int, operation);
        QFETCH(QList<quint32>, after);
        QFETCH(QString, signal);
        MGAclEditSession session;
        QAbstractItemModelTester tester(&session, QAbstractItemModelTester::FailureReportingMode::QtTest);
        // The mask limits none of the entries, as it would after any of these edits.
        session.installRead(list({1, 2, 3}, 4), {});
        // A row the view holds on to (a selection) follows its entry while it is there.
        const QPersistentModelIndex held = session.index(3, 1);
        const MGAclEntry *third = session.entryAt(3);
        QStringList seen;
        connect(&session, &QAbstractItemModel::modelReset, this, [&] { seen << "modelReset"; });
        connect(&session, &QAbstractItemModel::rowsInserted, this, [&] { seen << "rowsInserted"; });
        connect(&session, &QAbstractItemModel::rowsRemoved, this, [&] { seen << "rowsRemoved"; });
        connect(&session, &QAbstractItemModel::rowsMoved, this, [&] { seen << "rowsMoved"; });
        connect(&session, &QAbstractItemModel::layoutChanged, this, [&] { seen << "layoutChanged"; });
        MGAclListOperations::Result result;
        const MGAclList copy = session.snapshot();
        switch (operation) {
        case 0: result = MGAclListOperations::inserted(copy, 2, entry(9)); break;
        case 1: result = MGAclListOperations::removed(copy, 2); break;
        case 2: result = *MGAclListOperations::moved(copy, 1, 4); break;
        case 3: result = *MGAclListOperations::moved(copy, 3, 1); break;
        case 4: {
            MGAclList marked = copy;
            MGAclLists::entryOf(marked[1])->setInherited(true);
            MGAclLists::entryOf(marked[2])->setInherited(true);
            session.apply(marked, MGAclListChange::replaced());
            seen.clear();
            result = MGAclListOperations::sortedCanonically(session.snapshot());
            break;
        }
        }
        session.apply(result.list, result.change);
        QCOMPARE(usersShown(session), after);
        QVERIFY2(seen.contains(signal) && !seen.contains("modelReset"), qPrintable(seen.join(", ")));
        // The entries that stayed are the same objects, wherever they went.
        QVERIFY(held.isValid());
        QCOMPARE(session.entryAt(held.row()), third);
        QVERIFY(MGAclLists::isEqualToList(session.entries(), result.list));
        QVERIFY(MGAclLists::isEqualToList(session.snapshot(), result.list));
    }

    // A list read again replaces only what differs; the same list changes no row.
    void aListReadAgainChangesOnlyWhatDiffers()
    {
        MGAclEditSession session;
        QAbstractItemModelTester tester(&session, QAbstractItemModelTester::FailureReportingMode::QtTest);
        session.installRead(list({1, 2, 3}), {});
        const MGAclEntry *first = session.entryAt(1);
        QSignalSpy inserted(&session, &QAbstractItemModel::rowsInserted), removed(&session, &QAbstractItemModel::rowsRemoved);
        session.installRead(list({1, 2, 3}), {});
        QCOMPARE(inserted.count() + removed.count(), 0);
        session.installRead(list({1, 7, 3}), {});
        QCOMPARE(usersShown(session), (QList<quint32>{1, 7, 3}));
        QCOMPARE(session.entryAt(1), first);
        QCOMPARE(inserted.count(), 1);
        QCOMPARE(inserted.first().at(1).toInt(), 2);
        QVERIFY(!session.isEdited());
    }

    // Every edit reaches the list through the session; the edited mark is "the list differs
    // from what was read", whatever the way back.
    void theEditedMarkIsWhetherTheListDiffersFromWhatWasRead()
    {
        MGAclEditSession session;
        session.installRead(list({1, 2}), {});
        QSignalSpy edited(&session, &MGAclEditSession::editedChanged);
        QSignalSpy changed(&session, &QAbstractItemModel::dataChanged);
        QVERIFY(session.setData(session.index(1, MGAclEditSession::PermissionGroupColumn),
                                MGAclPermissionSet::fromPosixBits(7, false), MGAclEditSession::PermissionsRole));
        QVERIFY(session.isEdited());
        QCOMPARE(edited.count(), 1);
        QVERIFY(changed.count() >= 1);
        // Other threads read the edit in the session's copy.
        QCOMPARE(MGAclLists::entryOf(session.snapshot()[1])->permissions(), MGAclPermissionSet::fromPosixBits(7, false));
        QVERIFY(session.setData(session.index(1, MGAclEditSession::PermissionGroupColumn), MGAclPermissionSet::fromPosixBits(4, false),
                                MGAclEditSession::PermissionsRole));
        QVERIFY(!session.isEdited());
        QCOMPARE(edited.count(), 2);
        QVERIFY(session.insertRows(1, 1));
        QVERIFY(session.isEdited());
        QVERIFY(session.removeRows(1, 1));
        QVERIFY(!session.isEdited());
        // An entry no longer in the list is not heard.
        const MGAclEntry::Pointer gone = session.entryPointerAt(2);
        QVERIFY(session.removeRows(2, 1));
        changed.clear();
        gone->setPermissions(0);
        QCOMPARE(changed.count(), 0);
    }

    // The masks follow the entries they limit only when one is edited, added or removed:
    // never when a list is read or put in whole, so that a list copied from another item
    // keeps its masks exactly.
    void masksFollowOnlyEditsOfTheEntriesTheyLimit()
    {
        QRandomGenerator random(3111);
        for (int round = 0; round < 300; ++round) {
            QList<quint32> users;
            for (int i = random.bounded(4); i > 0; --i)
                users << 1000 + quint32(random.bounded(50));
            users.removeIf([&, seen = QSet<quint32>()](quint32 uid) mutable {
                const bool again = seen.contains(uid);
                seen.insert(uid);
                return again;
            });
            MGAclList placed = list(users, random.bounded(8));
            for (const MGAclEntry::Pointer &e : MGAclLists::aclEntries(placed))
                e->setPermissions(MGAclPermissionSet::fromPosixBits(random.bounded(8), false));
            const int mask = MGAclPermissionSet::toPosixBits(MGPosixRules::maskEntry(placed, false)->permissions(), false).value();
            MGAclEditSession session;
            session.installRead(list({}, 7), {});
            session.place(placed);
            QCOMPARE(maskBits(session), mask);
            session.installRead(placed, {});
            QCOMPARE(maskBits(session), mask);
        }
        // Edited, a limited entry raises the mask to what limits none of them.
        MGAclEditSession session;
        session.installRead(list({1, 2}, 4), {});
        session.setData(session.index(1, 0), MGAclPermissionSet::fromPosixBits(7, false), MGAclEditSession::PermissionsRole);
        QCOMPARE(maskBits(session), 7);
        // Kept as it is when asked to, and as set by hand.
        session.installRead(list({1, 2}, 4), {});
        session.setKeepsMask(true);
        session.setData(session.index(1, 0), MGAclPermissionSet::fromPosixBits(7, false), MGAclEditSession::PermissionsRole);
        QCOMPARE(maskBits(session), 4);
    }

    // Nothing is edited while the item cannot be changed, or is another item or none.
    void aBlockedOrReplacedItemTakesNoEdit_data()
    {
        QTest::addColumn<bool>("blocked");
        QTest::newRow("blocked") << true;
        QTest::newRow("replaced") << false;
    }
    void aBlockedOrReplacedItemTakesNoEdit()
    {
        QFETCH(bool, blocked);
        MGAclEditSession session;
        session.installRead(list({1, 2}), {});
        if (blocked)
            session.setItemNotices(QStringLiteral("immutable"), {}, {});
        else
            session.setDiskChange(MGAclItemStamp::Difference::Replaced);
        QVERIFY(session.isReadOnly());
        QCOMPARE(session.notice().kind, blocked ? MGAclEditSession::Notice::Blocked : MGAclEditSession::Notice::Replaced);
        for (int column = 0; column < MGAclEditSession::ColumnCount; ++column)
            QVERIFY(!(session.flags(session.index(1, column)) & (Qt::ItemIsEditable | Qt::ItemIsDragEnabled)));
        QVERIFY(!session.setData(session.index(1, 0), 7, MGAclEditSession::PermissionsRole));
        QVERIFY(!session.setData(session.index(1, MGAclEditSession::TagColumn), int(MGAclEntry::Deny)));
        QVERIFY(!session.insertRows(1, 1) && !session.removeRows(1, 1) && !session.moveRows({}, 1, 1, {}, 3));
        QVERIFY(!session.isEdited());
        // Lifted, and read again: editing is back.
        session.setItemNotices({}, {}, {});
        session.installRead(list({1, 2}), {});
        QVERIFY(!session.isReadOnly());
        QVERIFY(session.setData(session.index(1, 0), 7, MGAclEditSession::PermissionsRole));
    }

    // A refused save leaves the edits aside until they are asked back or saved.
    void editsARefusedSaveLeftCanBeHadBack()
    {
        MGAclEditSession session;
        session.installRead(list({1}), {});
        session.setData(session.index(1, 0), MGAclPermissionSet::fromPosixBits(6, false), MGAclEditSession::PermissionsRole);
        const MGAclList edits = session.snapshot();
        session.keepDiscardedEdits(edits);
        session.installRead(list({1}), {}); // read again, as the refused save does
        QVERIFY(!session.isEdited());
        QCOMPARE(session.notice().kind, MGAclEditSession::Notice::EditsDiscarded);
        session.restoreDiscardedEdits();
        QVERIFY(session.isEdited());
        QVERIFY(MGAclLists::isEqualToList(session.entries(), edits));
        QCOMPARE(session.notice().kind, MGAclEditSession::Notice::None);
        // Edits for an item replaced under its name are kept aside too when what is there is read.
        session.setDiskChange(MGAclItemStamp::Difference::Replaced);
        session.installRead(list({2}), {});
        QCOMPARE(session.notice().kind, MGAclEditSession::Notice::EditsDiscarded);
        session.restoreDiscardedEdits();
        QVERIFY(MGAclLists::isEqualToList(session.entries(), edits));
    }

    // Entries marked inherited in a store that keeps no such mark: said before a save.
    void whatASaveWillNotKeepIsSaid()
    {
        MGAclEditSession session;
        session.installRead(list({1}), {});
        MGAclList inherited = list({4, 5});
        for (const MGAclEntry::Pointer &e : MGAclLists::aclEntries(inherited))
            e->setInherited(true);
        session.place(inherited);
        QCOMPARE(session.notice().kind, MGAclEditSession::Notice::InheritedNotKept);
        QVERIFY(session.notice().text.contains("2"));
        session.setKeepsInheritedMark(true);
        QCOMPARE(session.notice().kind, MGAclEditSession::Notice::None);
    }

    // Selection and scroll position stay across edits above and below them.
    void aTableKeepsItsSelectionAndScrollPositionAcrossEdits()
    {
        MGAclEditSession session;
        QList<quint32> users;
        for (quint32 uid = 1; uid <= 60; ++uid)
            users << uid;
        session.installRead(list(users), {});
        QTableView table;
        table.setModel(&session);
        table.resize(300, 200);
        table.show();
        QVERIFY(QTest::qWaitForWindowExposed(&table));
        table.selectRow(40);
        table.verticalScrollBar()->setValue(30);
        const auto below = MGAclListOperations::inserted(session.snapshot(), 50, entry(99));
        session.apply(below.list, below.change);
        QCOMPARE(table.selectionModel()->selectedRows().value(0).row(), 40);
        QCOMPARE(table.verticalScrollBar()->value(), 30);
        const auto above = MGAclListOperations::removed(session.snapshot(), 1);
        session.apply(above.list, above.change);
        QCOMPARE(table.selectionModel()->selectedRows().value(0).row(), 39);
    }
};

QTEST_MAIN(tst_MGAclEditSession)
#include "tst_MGAclEditSession.moc"
