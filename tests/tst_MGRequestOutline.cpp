#include "MGAclServiceDispatcher.h"
#include "MGRequestOutline.h"
#include "ProtocolHelpers.h"

#include <QCborArray>
#include <QCborStreamWriter>
#include <QtTest>

namespace {
// What the dispatcher says of a request: nothing, or the malformed request's words.
QString verdict(const QCborMap &request)
{
    const std::optional<QCborMap> refused = MGAclServiceDispatcher::refusal(request);
    if (!refused)
        return QString();
    QString why;
    const std::optional<MGError> error = MGError::fromCbor(refused->value(QStringLiteral("error")), &why);
    return error ? error->localizedDescription() : why;
}

// The same, of the request's outline; an outline that cannot be made says why.
QString outlineVerdict(const QByteArray &request, qsizetype *outlineSize = nullptr)
{
    QString why;
    const std::optional<QCborMap> outline = MGRequestOutline::of(request, &why);
    if (!outline)
        return QStringLiteral("The ACL service received a malformed request: ") + why;
    if (outlineSize)
        *outlineSize = outline->toCborValue().toCbor().size();
    return verdict(*outline);
}

QCborValue entries(int count)
{
    MGAclList list;
    for (int i = 0; i < count; ++i)
        list << MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(uid_t(100000 + i)), MGAclPermissionSet::fromPosixBits(4, false),
                                     0, false, true);
    return MGAclLists::toCbor(list);
}
}

// The outline a request is checked on before polkit is asked must say what the request
// itself would: the same refusal in the same words, or none; and it must stay small however
// large the request.
class tst_MGRequestOutline : public QObject
{
    Q_OBJECT

private slots:
    void saysWhatTheRequestSays_data()
    {
        QTest::addColumn<QCborMap>("request");
        for (int m = 0; m <= int(MGAclRemoteMethod::AuditAccess); ++m) {
            const auto method = MGAclRemoteMethod(m);
            const QCborMap valid = ProtocolHelpers::validArguments(method, "/tmp/file", "/tmp");
            QTest::addRow("%s valid", MGAclProtocol::selector(method)) << MGAclProtocol::request(1, method, "C", valid);
            for (const MGAclProtocol::Argument &argument : MGAclProtocol::arguments(method)) {
                int n = 0;
                for (const QCborValue &wrong : ProtocolHelpers::wrongValues(argument.type)) {
                    QCborMap arguments = valid;
                    arguments.insert(QString(argument.name), wrong);
                    QTest::addRow("%s %s wrong %d", MGAclProtocol::selector(method), argument.name.data(), n++)
                        << MGAclProtocol::request(1, method, "C", arguments);
                }
                // A list or map where a value of another kind belongs.
                QCborMap arguments = valid;
                arguments.insert(QString(argument.name), QCborArray{1, 2, 3});
                QTest::addRow("%s %s as a list", MGAclProtocol::selector(method), argument.name.data())
                    << MGAclProtocol::request(1, method, "C", arguments);
            }
            QCborMap unknown = valid;
            unknown.insert(QStringLiteral("force"), true);
            QTest::addRow("%s unknown argument", MGAclProtocol::selector(method)) << MGAclProtocol::request(1, method, "C", unknown);
            QCborMap noArguments = MGAclProtocol::request(1, method, "C", valid);
            noArguments.insert(QStringLiteral("args"), QCborArray());
            QTest::addRow("%s arguments as a list", MGAclProtocol::selector(method)) << noArguments;
            QCborMap locale = MGAclProtocol::request(1, method, "C", valid);
            locale.insert(QStringLiteral("locale"), QCborMap{{1, 2}});
            QTest::addRow("%s locale as a map", MGAclProtocol::selector(method)) << locale;
            QCborMap id = MGAclProtocol::request(1, method, "C", valid);
            id.insert(QStringLiteral("id"), 1e30);
            QTest::addRow("%s number as a double", MGAclProtocol::selector(method)) << id;
        }
        QCborMap badEntry = MGAclProtocol::request(1, MGAclRemoteMethod::SetEntries, "C",
                                                   ProtocolHelpers::validArguments(MGAclRemoteMethod::SetEntries, "/tmp/f", "/tmp"));
        QCborMap arguments = badEntry.value(QStringLiteral("args")).toMap();
        QCborArray list = arguments.value(QStringLiteral("entries")).toArray();
        list.append(QCborValue(QCborKnownTags(0xe0e0), QCborArray{1, 2}));
        arguments.insert(QStringLiteral("entries"), list);
        badEntry.insert(QStringLiteral("args"), arguments);
        QTest::addRow("an entry of the list malformed") << badEntry;
    }

    void saysWhatTheRequestSays()
    {
        QFETCH(QCborMap, request);
        QCOMPARE(outlineVerdict(request.toCborValue().toCbor()), verdict(request));
    }

    // A field given twice is seen in the outline as it is in the request.
    void fieldsGivenTwiceStayTwice()
    {
        QByteArray encoded;
        QCborStreamWriter writer(&encoded);
        writer.startMap();
        writer.append(QLatin1String("id"));
        writer.append(1);
        writer.append(QLatin1String("method"));
        writer.append(QLatin1String(MGAclProtocol::selector(MGAclRemoteMethod::GetEntries)));
        for (int i = 0; i < 2; ++i) {
            writer.append(QLatin1String("args"));
            writer.startMap();
            writer.append(QLatin1String("path"));
            writer.append(QByteArray(i ? "/etc" : "/tmp"));
            writer.endMap();
        }
        writer.endMap();
        const QString said = outlineVerdict(encoded);
        QCOMPARE(said, verdict(QCborValue::fromCbor(encoded).toMap()));
        QVERIFY2(said.contains("twice"), qPrintable(said));
    }

    // However many entries a request carries, its outline holds none of them.
    void theOutlineOfALargeRequestIsSmall()
    {
        QCborMap arguments = ProtocolHelpers::validArguments(MGAclRemoteMethod::GetAccess, "/tmp/file", "/tmp");
        arguments.insert(QStringLiteral("entries"), entries(int(MGAclLists::MaximumItems)));
        const QByteArray request = MGAclProtocol::request(1, MGAclRemoteMethod::GetAccess, "C", arguments).toCborValue().toCbor();
        qsizetype size = -1;
        QCOMPARE(outlineVerdict(request, &size), QString());
        QVERIFY2(size > 0 && size < 512, qPrintable(QString::number(size)));
        // One more entry than a list may have, or one entry larger than any real one.
        arguments.insert(QStringLiteral("entries"), entries(int(MGAclLists::MaximumItems) + 1));
        QVERIFY(outlineVerdict(MGAclProtocol::request(1, MGAclRemoteMethod::GetAccess, "C", arguments).toCborValue().toCbor())
                    .endsWith("entry list has too many items"));
        arguments.insert(QStringLiteral("entries"), QCborArray{QString(40000, QChar(0x2603))});
        QVERIFY(outlineVerdict(MGAclProtocol::request(1, MGAclRemoteMethod::GetAccess, "C", arguments).toCborValue().toCbor())
                    .contains("larger than 65536 bytes"));
    }

    void bytesThatAreNoRequestAreRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("a number") << QByteArray("\x01", 1);
        QTest::newRow("a map cut short") << QByteArray("\xa3\x62id\x01", 5);
        QTest::newRow("a string longer than the bytes") << QByteArray("\xa1\x7b\xff\xff\xff\xff\xff\xff\xff\xff", 10);
        QTest::newRow("a list of a billion") << QByteArray("\xa1\x64" "args\xa1\x67" "entries\x9a\x40\x00\x00\x00", 19);
        // A request number of -2^64, which QCborValue reads as 0.
        QByteArray minus;
        QCborStreamWriter writer(&minus);
        writer.startMap();
        writer.append(QLatin1String("id"));
        writer.append(QCborNegativeInteger(0));
        writer.append(QLatin1String("method"));
        writer.append(QLatin1String(MGAclProtocol::selector(MGAclRemoteMethod::GetEntries)));
        writer.append(QLatin1String("args"));
        writer.startMap();
        writer.append(QLatin1String("path"));
        writer.append(QByteArray("/tmp"));
        writer.endMap();
        writer.endMap();
        QTest::newRow("a number of -2^64") << minus;
    }

    void bytesThatAreNoRequestAreRefused()
    {
        QFETCH(QByteArray, bytes);
        QString why;
        const std::optional<QCborMap> outline = MGRequestOutline::of(bytes, &why);
        QVERIFY(!outline || MGAclServiceDispatcher::refusal(*outline));
    }
};

QTEST_GUILESS_MAIN(tst_MGRequestOutline)
#include "tst_MGRequestOutline.moc"
