#include "MGCborReader.h"

#include <QtTest>

class tst_MGCborReader : public QObject
{
    Q_OBJECT
private slots:
    void mapsHoldExactlyTheirFields()
    {
        const QStringList required = {"a", "b"};
        QString problem;
        QVERIFY(MGCborReader(&problem).map(QCborMap{{"a", 1}, {"b", 2}}, "thing", required));
        QVERIFY(MGCborReader(&problem).map(QCborMap{{"a", 1}, {"b", 2}, {"c", 3}}, "thing", required, {"c"}));
        QVERIFY(!MGCborReader(&problem).map(QCborMap{{"a", 1}}, "thing", required));
        QCOMPARE(problem, QStringLiteral("thing has no field \u201cb\u201d"));
        QVERIFY(!MGCborReader(&problem).map(QCborMap{{"a", 1}, {"b", 2}, {"c", 3}}, "thing", required));
        QCOMPARE(problem, QStringLiteral("thing has an unknown field"));
        QVERIFY(!MGCborReader(&problem).map(QCborMap{{1, 1}, {"a", 1}, {"b", 2}}, "thing", required));
        QVERIFY(!MGCborReader(&problem).map(QCborArray{}, "thing", required));
        QCOMPARE(problem, QStringLiteral("thing is not a map"));
    }

    void fieldsAreCheckedForTypeAndRange()
    {
        const QCborMap map{{"n", 7}, {"big", qint64(1) << 40}, {"t", "text"}, {"b", true}, {"d", QByteArray("xy")},
                           {"f", 1.5}};
        QString problem;
        MGCborReader read(&problem);
        QCOMPARE(read.integer(map, "m", "n", 0, 10), 7);
        QCOMPARE(read.bits(map, "m", "n", 0xF), 7u);
        QCOMPARE(read.text(map, "m", "t", 4), QStringLiteral("text"));
        QCOMPARE(read.boolean(map, "m", "b"), true);
        QCOMPARE(read.bytes(map, "m", "d", 2), QByteArray("xy"));
        QVERIFY(read.ok());
        QVERIFY(!MGCborReader(&problem).integer(map, "m", "big", INT32_MIN, INT32_MAX));
        QCOMPARE(problem, QStringLiteral("m field \u201cbig\u201d is out of range"));
        QVERIFY(!MGCborReader(&problem).integer(map, "m", "f", 0, 10));
        QVERIFY(problem.contains("not a whole number"));
        QVERIFY(!MGCborReader(&problem).bits(map, "m", "n", 0x5));
        QVERIFY(!MGCborReader(&problem).text(map, "m", "t", 3));
        QVERIFY(problem.contains("too long"));
        QVERIFY(!MGCborReader(&problem).text(map, "m", "n", 10));
        QVERIFY(!MGCborReader(&problem).boolean(map, "m", "n"));
        QVERIFY(!MGCborReader(&problem).bytes(map, "m", "t", 10));
        QVERIFY(!MGCborReader(&problem).array(QCborArray{1, 2, 3}, "list", 2));
        QCOMPARE(problem, QStringLiteral("list has too many items"));
    }

    void theFirstProblemIsKeptAndLaterReadsFail()
    {
        QString problem;
        MGCborReader read(&problem);
        const QCborMap map{{"n", "not a number"}, {"t", "fine"}};
        QVERIFY(!read.integer(map, "m", "n", 0, 1));
        const QString first = problem;
        QVERIFY(!read.text(map, "m", "t", 10)); // would succeed on its own
        QVERIFY(!read.map(map, "m", {"x"}));
        QCOMPARE(problem, first);
        QVERIFY(!read.ok());
        MGCborReader silent; // no place for the problem
        QVERIFY(!silent.integer(map, "m", "n", 0, 1));
        QVERIFY(!silent.ok());
    }
};

QTEST_GUILESS_MAIN(tst_MGCborReader)
#include "tst_MGCborReader.moc"
