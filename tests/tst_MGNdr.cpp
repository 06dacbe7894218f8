// The encoding of remote calls to file servers: what the writer makes the reader reads back
// (aligned integers, counted strings, SIDs), and a reader given too few bytes, counts past
// its end or a SID claiming more parts than it has answers nothing from then on instead of
// reading past the bytes.
#include "MGNdr.h"

#include <QRandomGenerator>
#include <QTest>

class tst_MGNdr : public QObject
{
    Q_OBJECT

private slots:
    void whatIsWrittenIsRead()
    {
        MGNdrWriter w;
        w.u16(7);
        w.u32(0x01020304); // after two bytes of padding
        w.string(QStringLiteral("MGSERVER\\jürgen"));
        QVERIFY(w.sid(QStringLiteral("S-1-5-21-1-2-3-1001")));
        QVERIFY(!w.sid(QStringLiteral("S-1-x")));
        QCOMPARE(w.data().size() % 4, 0);
        MGNdrReader r(w.data());
        QCOMPARE(r.u16(), std::optional<quint16>(7));
        QCOMPARE(r.u32(), std::optional<quint32>(0x01020304));
        QCOMPARE(r.string(), std::optional<QString>(QStringLiteral("MGSERVER\\jürgen")));
        QCOMPARE(r.sid(), std::optional<QString>(QStringLiteral("S-1-5-21-1-2-3-1001")));
        QVERIFY(!r.failed());
        QVERIFY(!r.u32());
        QVERIFY(r.failed());
    }

    void shortOrLyingBytesAnswerNothing()
    {
        MGNdrWriter w;
        w.string(QStringLiteral("share"));
        w.sid(QStringLiteral("S-1-1-0"));
        const QByteArray whole = w.data();
        for (qsizetype n = 0; n < whole.size(); ++n) {
            const QByteArray part = whole.left(n);
            MGNdrReader r(part);
            const bool both = r.string() && r.sid();
            QVERIFY2(!both && r.failed(), qPrintable(QString::number(n)));
        }
        // A count past the end, and a SID that says more parts than its count.
        QByteArray lying = whole;
        lying[8] = char(0x7f);
        MGNdrReader counts(lying);
        QVERIFY(!counts.string());
        QVERIFY(!counts.u32()); // nothing after a failure
        QByteArray parts = whole;
        parts[parts.size() - 4 - 8 + 1] = char(9);
        MGNdrReader sids(parts);
        QVERIFY(sids.string());
        QVERIFY(!sids.sid());

        QRandomGenerator random(11);
        for (int i = 0; i < 20000; ++i) {
            QByteArray bytes = whole;
            bytes[random.bounded(int(bytes.size()))] = char(random.bounded(256));
            MGNdrReader r(bytes);
            (void)r.string();
            (void)r.sid();
        }
    }
};

QTEST_GUILESS_MAIN(tst_MGNdr)
#include "tst_MGNdr.moc"
