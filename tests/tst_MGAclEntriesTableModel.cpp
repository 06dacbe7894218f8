#include "MGAclEntriesTableModel.h"
#include "MGAclValueTransformers.h"

#include <QAbstractItemModelTester>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QtTest>

namespace {
MGAclEntry::Pointer entry(quint32 uid, int rwx = 4, bool inherited = false)
{
    auto e = MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(uid), MGAclPermissionSet::fromPosixBits(rwx, false),
                                  inherited ? quint32(MGAclFlag::Inherited) : 0u, false, true);
    return e;
}

// A list of the given users' entries under a title; the same users give equal lists.
MGAclList list(std::initializer_list<quint32> users)
{
    MGAclList result{QStringLiteral("Access Control List")};
    for (quint32 uid : users)
        result << entry(uid);
    result << QStringLiteral("POSIX Permissions");
    return result;
}

QList<quint32> usersShown(const MGAclEntriesTableModel &model)
{
    QList<quint32> users;
    for (const MGAclItem &item : model.list()) {
        if (const MGAclEntry *e = MGAclLists::entryOf(item))
            users << e->identity().posixID();
    }
    return users;
}
}

class tst_MGAclEntriesTableModel : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { MGAclValueTransformers::loadTransformers(); }

    void newListsArriveAsRowChangesThatKeepPersistentRows_data()
    {
        QTest::addColumn<QList<quint32>>("before");
        QTest::addColumn<QList<quint32>>("after");
        QTest::addColumn<QString>("signal");
        QTest::newRow("insert") << QList<quint32>{1, 2, 3} << QList<quint32>{1, 9, 2, 3} << "rowsInserted";
        QTest::newRow("remove") << QList<quint32>{1, 2, 3} << QList<quint32>{1, 3} << "rowsRemoved";
        QTest::newRow("move down") << QList<quint32>{1, 2, 3, 4} << QList<quint32>{2, 3, 1, 4} << "rowsMoved";
        QTest::newRow("move up") << QList<quint32>{1, 2, 3, 4} << QList<quint32>{1, 4, 2, 3} << "rowsMoved";
        QTest::newRow("sort") << QList<quint32>{1, 2, 3, 4} << QList<quint32>{4, 2, 3, 1} << "layoutChanged";
        QTest::newRow("replace") << QList<quint32>{1, 2, 3} << QList<quint32>{1, 7, 8, 9, 3} << "rowsInserted";
    }
    void newListsArriveAsRowChangesThatKeepPersistentRows()
    {
        QFETCH(QList<quint32>, before);
        QFETCH(QList<quint32>, after);
        QFETCH(QString, signal);
        MGAclEntriesTableModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        auto make = [](const QList<quint32> &users) {
            MGAclList result{QStringLiteral("Access Control List")};
            for (quint32 uid : users)
                result << entry(uid);
            return result << QStringLiteral("POSIX Permissions");
        };
        model.setList(make(before));
        // A row the view holds on to (a selection) follows its entry when it is still there.
        const int followedUser = 3;
        const QPersistentModelIndex held = model.index(int(before.indexOf(followedUser)) + 1, 1);
        QStringList seen;
        connect(&model, &QAbstractItemModel::modelReset, this, [&] { seen << "modelReset"; });
        connect(&model, &QAbstractItemModel::rowsInserted, this, [&] { seen << "rowsInserted"; });
        connect(&model, &QAbstractItemModel::rowsRemoved, this, [&] { seen << "rowsRemoved"; });
        connect(&model, &QAbstractItemModel::rowsMoved, this, [&] { seen << "rowsMoved"; });
        connect(&model, &QAbstractItemModel::layoutChanged, this, [&] { seen << "layoutChanged"; });
        model.setList(make(after)); // new objects, equal where the users are the same
        QCOMPARE(usersShown(model), after);
        QVERIFY2(seen.contains(signal) && !seen.contains("modelReset"), qPrintable(seen.join(", ")));
        QCOMPARE(held.isValid(), after.contains(followedUser));
        if (held.isValid())
            QCOMPARE(held.row(), int(after.indexOf(followedUser)) + 1);
    }

    void anEqualListChangesNoRow()
    {
        MGAclEntriesTableModel model;
        model.setList(list({1, 2}));
        QSignalSpy any(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy layout(&model, &QAbstractItemModel::layoutChanged);
        model.setList(list({1, 2}));
        QCOMPARE(any.count() + layout.count(), 0);
    }

    void anEntryEditedInPlaceUpdatesItsRow()
    {
        MGAclEntriesTableModel model;
        MGAclList shown{QStringLiteral("t"), entry(1), entry(2, 4, true)};
        model.setList(shown);
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        MGAclLists::entryOf(shown[2])->setInherited(false); // "Make Inherited Entries Explicit"
        QVERIFY(changed.count() >= 1);
        for (const QList<QVariant> &signal : std::as_const(changed))
            QCOMPARE(signal[0].toModelIndex().row(), 2);
        QCOMPARE(model.data(model.index(2, MGAclEntriesTableModel::InheritedColumn)).toString(), QStringLiteral("No"));
        // Entries no longer shown are no longer watched.
        model.setList(list({5}));
        changed.clear();
        MGAclLists::entryOf(shown[1])->setPermissions(0);
        QCOMPARE(changed.count(), 0);
    }

    void titlesAreGroupRowsThatCannotBeSelected()
    {
        MGAclEntriesTableModel model;
        model.setList(list({1}));
        QVERIFY(model.isGroupRow(0) && !model.isGroupRow(1) && model.isGroupRow(2));
        QVERIFY(!(model.flags(model.index(0, 0)) & Qt::ItemIsSelectable));
        QVERIFY(model.flags(model.index(1, 0)) & Qt::ItemIsSelectable);
        QCOMPARE(model.data(model.index(2, 0), MGAclEntriesTableModel::TitleRole).toString(),
                 QStringLiteral("POSIX Permissions"));
        QVERIFY(!model.data(model.index(2, 0)).isValid());
        QVERIFY(!model.isGroupRow(-1) && !model.isGroupRow(3));
    }

    void aTableKeepsItsSelectionAndScrollPositionAcrossEdits()
    {
        MGAclEntriesTableModel model;
        QList<quint32> users;
        for (quint32 uid = 1; uid <= 60; ++uid)
            users << uid;
        auto make = [](const QList<quint32> &ids) {
            MGAclList result{QStringLiteral("t")};
            for (quint32 uid : ids)
                result << entry(uid);
            return result;
        };
        model.setList(make(users));
        QTableView table;
        table.setModel(&model);
        table.resize(300, 200);
        table.show();
        QVERIFY(QTest::qWaitForWindowExposed(&table));
        table.selectRow(40);
        table.verticalScrollBar()->setValue(30);
        users.insert(50, 99); // below the selection
        model.setList(make(users));
        QCOMPARE(table.selectionModel()->selectedRows().value(0).row(), 40);
        QCOMPARE(table.verticalScrollBar()->value(), 30);
        users.removeAt(0); // above it: the selected entry moves up one row and stays selected
        model.setList(make(users));
        QCOMPARE(table.selectionModel()->selectedRows().value(0).row(), 39);
    }
};

QTEST_MAIN(tst_MGAclEntriesTableModel)
#include "tst_MGAclEntriesTableModel.moc"
