// Descriptors in the binary form servers keep for items and shares: what is written reads
// back the same; entries read in order with
// their kind, flags, rights and SIDs; an absent list read as the everyone-may-do-all it
// means; and every kind of damage (cut short anywhere, sizes pointing past the end, SIDs
// too long, unknown entry kinds) an error rather than a read past the bytes.
#include "MGNtBinaryDescriptor.h"

#include <QRandomGenerator>
#include <QTest>
#include <QtEndian>

namespace {
void put16(QByteArray &b, quint16 v)
{
    char le[2];
    qToLittleEndian(v, le);
    b.append(le, 2);
}
void put32(QByteArray &b, quint32 v)
{
    char le[4];
    qToLittleEndian(v, le);
    b.append(le, 4);
}
QByteArray sid(quint8 authority, const QList<quint32> &subs)
{
    QByteArray b;
    b.append(char(1)).append(char(subs.size())).append(5, '\0').append(char(authority));
    for (const quint32 sub : subs)
        put32(b, sub);
    return b;
}
QByteArray ace(quint8 type, quint8 flags, quint32 mask, const QByteArray &who)
{
    QByteArray b;
    b.append(char(type)).append(char(flags));
    put16(b, quint16(8 + who.size()));
    put32(b, mask);
    return b + who;
}
// Self-relative: header, owner, then the list (or none).
QByteArray descriptor(const QByteArray &owner, const QList<QByteArray> &aces, bool withList = true)
{
    QByteArray list;
    for (const QByteArray &a : aces)
        list += a;
    QByteArray b;
    b.append(char(1)).append(char(0));
    put16(b, withList ? 0x8004 : 0x8000);
    put32(b, owner.isEmpty() ? 0 : 20);
    put32(b, 0);
    put32(b, 0);
    put32(b, withList ? quint32(20 + owner.size()) : 0);
    b += owner;
    if (withList) {
        b.append(char(2)).append(char(0));
        put16(b, quint16(8 + list.size()));
        put16(b, quint16(aces.size()));
        put16(b, 0);
        b += list;
    }
    return b;
}
}

class tst_MGNtBinaryDescriptor : public QObject
{
    Q_OBJECT

private slots:
    void entriesAreReadInOrder()
    {
        const QByteArray bob = sid(5, {21, 1, 2, 3, 1001});
        const auto parsed = MGNtBinaryDescriptor::parse(descriptor(
            sid(5, {32, 544}), {ace(1, 0x0, 0x00010006, bob), ace(0, 0x13, 0x1200a9, sid(1, {0})), ace(0, 0, 0x1f01ff, sid(5, {11}))}));
        QVERIFY(parsed);
        QCOMPARE(parsed->ownerSid, QStringLiteral("S-1-5-32-544"));
        QCOMPARE(parsed->aces.size(), 3);
        QCOMPARE(parsed->aces[0].type, int(MGNtAce::Denied));
        QCOMPARE(parsed->aces[0].sid, QStringLiteral("S-1-5-21-1-2-3-1001"));
        QCOMPARE(parsed->aces[0].mask, 0x00010006u);
        QCOMPARE(parsed->aces[1].flags, 0x13u);
        QCOMPARE(parsed->aces[1].sid, QStringLiteral("S-1-1-0"));
        QCOMPARE(parsed->aces[2].sid, QStringLiteral("S-1-5-11"));
        QVERIFY(parsed->aces[2].name.isEmpty());

        // No list lets everyone do everything; an empty one no one anything.
        const auto open = MGNtBinaryDescriptor::parse(descriptor({}, {}, false));
        QVERIFY(open);
        QCOMPARE(open->aces.size(), 1);
        QCOMPARE(open->aces[0].sid, QStringLiteral("S-1-1-0"));
        QCOMPARE(open->aces[0].mask, MGNtBinaryDescriptor::FullControl);
        const auto closed = MGNtBinaryDescriptor::parse(descriptor({}, {}));
        QVERIFY(closed);
        QVERIFY(closed->aces.isEmpty());
    }

    // What a write sends reads back the same: entries in their order, owner and group, the
    // control flags but those of the audit list (which is not sent).
    void whatIsEncodedReadsBackTheSame()
    {
        QRandomGenerator random(7);
        const auto randomSid = [&] {
            QString sid = QStringLiteral("S-1-%1").arg(random.bounded(6));
            for (int i = random.bounded(16); i > 0; --i)
                sid += QStringLiteral("-%1").arg(random.generate());
            return sid;
        };
        for (int round = 0; round < 2000; ++round) {
            MGNtSecurityDescriptor descriptor;
            descriptor.ownerSid = random.bounded(4) ? randomSid() : QString();
            descriptor.groupSid = random.bounded(4) ? randomSid() : QString();
            descriptor.control = quint16(random.generate());
            for (int i = random.bounded(40); i > 0; --i)
                descriptor.aces << MGNtAce{int(random.bounded(2)), quint32(random.bounded(256)), random.generate(), randomSid(), {}};
            const MGResult<QByteArray> bytes = MGNtBinaryDescriptor::encode(descriptor);
            QVERIFY(bytes);
            const MGResult<MGNtSecurityDescriptor> back = MGNtBinaryDescriptor::parse(*bytes);
            QVERIFY2(back, qPrintable(back ? QString() : back.error().localizedDescription()));
            QVERIFY(*back == descriptor);
            QCOMPARE(back->control, quint16((descriptor.control & ~0x2830) | 0x8004));
        }
        MGNtSecurityDescriptor bad;
        bad.aces << MGNtAce{0, 0, 1, QStringLiteral("S-1-5-x"), {}};
        QVERIFY(!MGNtBinaryDescriptor::encode(bad));
        bad.aces = QList<MGNtAce>(2000, MGNtAce{0, 0, 1, QStringLiteral("S-1-5-21-1-2-3-4"), {}});
        QCOMPARE(MGNtBinaryDescriptor::encode(bad).error().code(), EFBIG);
    }

    void damageIsAnError()
    {
        const QByteArray whole = descriptor(sid(5, {32, 544}), {ace(0, 0, 0x1f01ff, sid(5, {21, 1, 2, 3, 1001})), ace(1, 0, 2, sid(1, {0}))});
        QVERIFY(MGNtBinaryDescriptor::parse(whole));
        for (qsizetype n = 0; n < whole.size(); ++n)
            QVERIFY2(!MGNtBinaryDescriptor::parse(whole.left(n)), qPrintable(QString::number(n)));

        QByteArray longSid = whole;
        longSid[20 + 1] = char(16); // sixteen parts: more than a SID holds
        QVERIFY(!MGNtBinaryDescriptor::parse(longSid));
        QByteArray longList = whole;
        qToLittleEndian<quint16>(0xffff, longList.data() + 20 + 16 + 2);
        QVERIFY(!MGNtBinaryDescriptor::parse(longList));
        // An entry of another kind (here an object entry) is kept whole, and written back as
        // it was; the list leaves it out and says so.
        const QByteArray withObject = descriptor(sid(5, {18}), {ace(0, 0, 1, sid(1, {0})), ace(5, 0x3, 1, sid(1, {0}))});
        const auto objectEntry = MGNtBinaryDescriptor::parse(withObject);
        QVERIFY(objectEntry && objectEntry->aces.size() == 2 && objectEntry->aces[1].isOtherKind());
        QCOMPARE(*MGNtBinaryDescriptor::encode(*objectEntry), withObject);
        const MGAclList shown = objectEntry->list(false);
        QCOMPARE(MGAclLists::aclEntries(shown).size(), 1);
        QVERIFY(shown.contains(MGAclItem(MGNtSecurityDescriptor::ownerTitle(false, 1))));
        QVERIFY(MGNtSecurityDescriptor::ownerTitle(false, 1).contains(QLatin1String("1 entry of a kind not shown")));
        // Edited without it, it goes back after as many of the others as came before it.
        MGNtSecurityDescriptor edited = objectEntry->shown();
        edited.aces.prepend(MGNtAce{1, 0, 2, QStringLiteral("S-1-1-0"), {}});
        edited.aces << MGNtAce{0, 0, 4, QStringLiteral("S-1-5-11"), {}};
        const MGNtSecurityDescriptor kept = edited.keepingOtherKinds(*objectEntry);
        QCOMPARE(kept.aces.size(), 4);
        QVERIFY(kept.aces[2].isOtherKind());
        QVERIFY(kept.keepingOtherKinds(*objectEntry) == kept);

        // Whatever the bytes, an answer and no read past them (the sanitizer builds watch).
        QRandomGenerator random(7);
        for (int i = 0; i < 20000; ++i) {
            QByteArray bytes = whole;
            for (int k = 0, n = 1 + random.bounded(4); k < n; ++k)
                bytes[random.bounded(int(bytes.size()))] = char(random.bounded(256));
            (void)MGNtBinaryDescriptor::parse(bytes.left(random.bounded(int(bytes.size()) + 1)));
        }
    }
};

QTEST_GUILESS_MAIN(tst_MGNtBinaryDescriptor)
#include "tst_MGNtBinaryDescriptor.moc"
