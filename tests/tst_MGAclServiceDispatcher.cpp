#include "MGAclServiceDispatcher.h"
#include "MGAclProtocol.h"
#include "ProtocolHelpers.h"
#include "ShellHelpers.h"

#include <QCborArray>
#include <QTemporaryDir>
#include <QtEndian>

namespace {
const QString GetEntries = MGAclProtocol::selector(MGAclRemoteMethod::GetEntries);
const QString SetEntries = MGAclProtocol::selector(MGAclRemoteMethod::SetEntries);
const QString GetAccess = MGAclProtocol::selector(MGAclRemoteMethod::GetAccess);

QCborMap request(const QString &method, const QCborMap &args, const QCborValue &id = 7)
{
    return QCborMap{{"id", id}, {"method", method}, {"locale", "C"}, {"args", args}};
}

QString errorOf(const QCborMap &reply)
{
    const auto error = MGError::fromCbor(reply.value(QStringLiteral("error")), nullptr);
    return error ? error->localizedDescription() : QString();
}

QByteArray frame(const QByteArray &payload)
{
    QByteArray header(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(payload.size()), header.data());
    return header + payload;
}
}

class tst_MGAclServiceDispatcher : public QObject
{
    Q_OBJECT
private slots:
    void malformedRequestsAreAnsweredWithErrors_data()
    {
        QTest::addColumn<QCborMap>("request");
        QTest::addColumn<QString>("why");
        const QString get = GetEntries;
        QTest::newRow("no id") << QCborMap{{"method", get}} << "no request number";
        QTest::newRow("unknown method") << request("rm -rf", QCborMap{{"path", QByteArray("/")}}) << "unknown method";
        QTest::newRow("extra field") << QCborMap{{"id", 1}, {"method", get}, {"args", QCborMap{{"path", QByteArray("/")}}}, {"x", 1}}
                                     << "unknown field";
        QTest::newRow("args not a map") << QCborMap{{"id", 1}, {"method", get}, {"args", 3}} << "not a map";
        const QByteArray tmp("/tmp");
        const QString nobody = CBIdentity::user(65534).uniqueIdentifier().toString(QUuid::WithoutBraces);
        QTest::newRow("relative path") << request(get, {{"path", QByteArray("etc/passwd")}}) << "absolute";
        QTest::newRow("path with NUL") << request(get, {{"path", QByteArray("/tmp\0x", 6)}}) << "absolute";
        QTest::newRow("path as text") << request(get, {{"path", "/tmp"}}) << "not a path";
        QTest::newRow("path not text") << request(get, {{"path", 5}}) << "not a path";
        QTest::newRow("missing argument") << request(SetEntries, {{"path", tmp}}) << "has no field";
        QTest::newRow("unexpected argument") << request(get, {{"path", tmp}, {"uuid", "x"}}) << "unknown field";
        QTest::newRow("bad list") << request(SetEntries, {{"path", tmp}, {"entries", QCborArray{1}}}) << "entry";
        // Optional arguments are checked as strictly: "yes" is not true, and a dry run asked
        // for in a wrong spelling must not become a real change.
        QTest::newRow("dry run as text")
            << request("propagateAclEntries:url:reply:", {{"path", tmp}, {"entries", QCborArray{}}, {"dryRun", "yes"}})
            << "not true or false";
        QTest::newRow("summary as number") << request("auditAclAccessWithUrl:uuid:level:reply:",
                                                      {{"path", tmp}, {"uuid", nobody}, {"level", "write"}, {"summary", 1}})
                                           << "not true or false";
        QTest::newRow("level not a word") << request("auditAclAccessWithUrl:uuid:level:reply:",
                                                     {{"path", tmp}, {"uuid", nobody}, {"level", 3}})
                                          << "not a text";
        QTest::newRow("bad uuid") << request(GetAccess, {{"path", tmp}, {"uuid", "nope"}}) << "UUID";
    }
    void malformedRequestsAreAnsweredWithErrors()
    {
        QFETCH(QCborMap, request);
        QFETCH(QString, why);
        MGAclServiceDispatcher dispatcher;
        const QCborMap reply = dispatcher.handle(request);
        QVERIFY2(errorOf(reply).contains("malformed request") && errorOf(reply).contains(why), qPrintable(errorOf(reply)));
        QVERIFY(!reply.contains(QStringLiteral("entries")));
        // The dispatcher goes on answering.
        QVERIFY(dispatcher.handle(::request(GetEntries, {{"path", QByteArray("/")}}))
                    .contains(QStringLiteral("entries")));
    }

    // Every argument of every method, from the protocol's own table: a value of the wrong
    // type, a missing one and a name the method does not take are refused, and nothing is
    // touched, though every other argument asks for a real change.
    void everyArgumentOfEveryMethodIsCheckedBeforeAnythingIsTouched()
    {
        REQUIRE_ROOT();
        QTemporaryDir dir;
        const QString folder = dir.filePath("folder"), file = dir.filePath("file");
        QVERIFY(shOk(QStringLiteral("mkdir -m 755 %1 && touch %1/inside %2 && chmod 644 %1/inside %2").arg(quoted(folder), quoted(file))));
        auto state = [&] { return facl(folder) + facl(folder + "/inside") + facl(file); };
        const QString before = state();
        int refused = 0;
        for (const MGAclRemoteMethod method : MGAclProtocol::Methods) {
            const QString selector = MGAclProtocol::selector(method);
            const QCborMap valid = ProtocolHelpers::validArguments(method, file, folder);
            QList<QCborMap> wrong;
            for (const MGAclProtocol::Argument &argument : MGAclProtocol::arguments(method)) {
                for (const QCborValue &value : ProtocolHelpers::wrongValues(argument.type)) {
                    QCborMap arguments = valid;
                    arguments.insert(QString(argument.name), value);
                    wrong << arguments;
                }
                if (!argument.optional) {
                    QCborMap arguments = valid;
                    arguments.remove(QString(argument.name));
                    wrong << arguments;
                }
            }
            QCborMap unknown = valid;
            unknown.insert(QStringLiteral("force"), true);
            wrong << unknown;
            for (const QCborMap &arguments : std::as_const(wrong)) {
                const QCborMap reply = MGAclServiceDispatcher::handle(request(selector, arguments));
                QVERIFY2(errorOf(reply).contains("malformed request"),
                         qPrintable(selector + ": " + arguments.toCborValue().toDiagnosticNotation() + " -> " + errorOf(reply)));
                QVERIFY(MGAclServiceDispatcher::refusal(request(selector, arguments)).has_value());
                ++refused;
            }
        }
        QCOMPARE(state(), before);
        qInfo("%d malformed requests refused, nothing changed", refused);
        // The same requests, right, do change the items: the check above is not blind.
        for (const MGAclRemoteMethod method : {MGAclRemoteMethod::SetEntries, MGAclRemoteMethod::PropagateEntries}) {
            const QCborMap reply = MGAclServiceDispatcher::handle(
                request(MGAclProtocol::selector(method), ProtocolHelpers::validArguments(method, file, folder)));
            QVERIFY2(errorOf(reply).isEmpty(), qPrintable(errorOf(reply)));
        }
        QVERIFY(state() != before);
        QVERIFY(sh("stat -c %a " + quoted(folder + "/inside")).trimmed() != "644");
    }

    // A field given twice could be read as one value by one reader and as the other by the
    // next: such a request is refused.
    void fieldsGivenTwiceAreRefused()
    {
        const QByteArray once = request(GetEntries, {{"path", QByteArray("/")}}).toCborValue().toCbor();
        // The same map with "method" twice: one more pair, the count raised by one.
        QByteArray twice = once;
        const QByteArray method = QCborValue(QStringLiteral("method")).toCbor() + QCborValue(GetAccess).toCbor();
        twice[0] = char(twice[0] + 1);
        twice += method;
        const QCborMap map = QCborValue::fromCbor(twice).toMap();
        QCOMPARE(map.size(), 5);
        QVERIFY2(errorOf(MGAclServiceDispatcher::handle(map)).contains("twice"), qPrintable(errorOf(MGAclServiceDispatcher::handle(map))));
    }

    void theProcessSurvivesGarbage()
    {
        QProcess service;
        service.start(QStringLiteral(MARROWGATE_SERVICE_PATH), {"--stdio"});
        QVERIFY(service.waitForStarted());
        // Not CBOR, then a request too large to take, then a good request.
        service.write(frame("\xff\xfe garbage"));
        service.write(frame(QByteArray(2, '\0')).left(4));
        QByteArray oversized(4, Qt::Uninitialized);
        qToBigEndian<quint32>(65u * 1024 * 1024, oversized.data());
        service.write(QByteArray(2, '\0')); // completes the frame of two bytes started above
        service.write(oversized + QByteArray(65 * 1024 * 1024, 'x'));
        service.write(frame(request(GetEntries, {{"path", QByteArray("/")}}).toCborValue().toCbor()));
        QList<QCborMap> replies;
        QByteArray buffer;
        while (replies.size() < 4 && service.waitForReadyRead(20000)) {
            buffer += service.readAllStandardOutput();
            while (buffer.size() >= 4 && buffer.size() >= 4 + qsizetype(qFromBigEndian<quint32>(buffer.constData()))) {
                const qsizetype size = qFromBigEndian<quint32>(buffer.constData());
                replies << QCborValue::fromCbor(buffer.mid(4, size)).toMap();
                buffer.remove(0, 4 + size);
            }
        }
        QCOMPARE(replies.size(), 4);
        QVERIFY(errorOf(replies[0]).contains("not a CBOR map"));
        QVERIFY(errorOf(replies[1]).contains("not a CBOR map"));
        QVERIFY(errorOf(replies[2]).contains("too large"));
        QVERIFY(replies[3].contains(QStringLiteral("entries")));
        service.closeWriteChannel();
        QVERIFY(service.waitForFinished());
        QCOMPARE(service.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_MGAclServiceDispatcher)
#include "tst_MGAclServiceDispatcher.moc"
