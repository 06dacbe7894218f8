#include "ProtocolHelpers.h"
#include "RequestFuzzing.h"
#include "ShellHelpers.h"

#include <QCborStreamWriter>
#include <QRandomGenerator>
#include <QtEndian>
#include <cmath>
#include <grp.h>

namespace {
QByteArray framed(const QByteArray &payload)
{
    QByteArray frame(4, '\0');
    qToBigEndian(quint32(payload.size()), frame.data());
    return frame + payload;
}

// Bytes CBOR gives meaning to: the heads of wide numbers, doubles, indefinite lengths, tags,
// breaks; and the edges of a byte.
constexpr uchar Interesting[] = {0x00, 0x01, 0x17, 0x18, 0x1a, 0x1b, 0x1f, 0x3b, 0x5f, 0x7f, 0x80, 0x9f, 0xa0,
                                 0xbf, 0xc0, 0xd8, 0xd9, 0xf4, 0xf5, 0xf6, 0xf7, 0xf9, 0xfa, 0xfb, 0xff};
}

// Hostile bytes down the service's connection, as long as time allows
// (MARROWGATE_FUZZ_SECONDS, 5 by default; MARROWGATE_FUZZ_SEED repeats a run;
// MARROWGATE_FUZZ_CORPUS=FOLDER writes the seeds there for the libFuzzer target): every frame
// read by both frame readers, checked before polkit (its outline) and after (the
// dispatcher's check), which must agree, and answered when both let it through. A build with
// MARROWGATE_SANITIZE=undefined (or address) turns undefined behaviour into a failure.
class tst_RequestFuzzing : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;
    QByteArray sandbox;
    QList<QByteArray> seeds;

private slots:
    void initTestCase()
    {
        sandbox = QFile::encodeName(tmp.path()) + "/sandbox";
        QVERIFY(RequestFuzzing::makeSandbox(sandbox));
        const QString file = QFile::decodeName(sandbox + "/file"), folder = QFile::decodeName(sandbox + "/folder");
        for (int m = 0; m <= int(MGAclRemoteMethod::AuditAccess); ++m) {
            const auto method = MGAclRemoteMethod(m);
            const QCborMap valid = ProtocolHelpers::validArguments(method, file, folder);
            seeds << MGAclProtocol::request(1, method, "de", valid).toCborValue().toCbor();
            for (const MGAclProtocol::Argument &argument : MGAclProtocol::arguments(method)) {
                for (const QCborValue &wrong : ProtocolHelpers::wrongValues(argument.type)) {
                    QCborMap arguments = valid;
                    arguments.insert(QString(argument.name), wrong);
                    seeds << MGAclProtocol::request(2, method, "C", arguments).toCborValue().toCbor();
                }
            }
            // Request numbers that are numbers of other kinds: none may be taken as an integer.
            for (const QCborValue &id : {QCborValue(1e30), QCborValue(std::nan("")), QCborValue(-1e300), QCborValue(-1),
                                         QCborValue(std::numeric_limits<qint64>::min()), QCborValue(QStringLiteral("1"))}) {
                QCborMap request = MGAclProtocol::request(3, method, "C", valid);
                request.insert(QStringLiteral("id"), id);
                seeds << request.toCborValue().toCbor();
            }
            // Whole numbers no 64-bit signed integer holds: 2^64 - 1 and -2^64.
            for (const bool negative : {false, true}) {
                QByteArray encoded;
                QCborStreamWriter writer(&encoded);
                const QCborMap request = MGAclProtocol::request(3, method, "C", valid);
                writer.startMap();
                for (auto it = request.constBegin(); it != request.constEnd(); ++it) {
                    writer.append(it.key().toString());
                    if (it.key().toString() == QLatin1String("id") && negative)
                        writer.append(QCborNegativeInteger(~0ull));
                    else if (it.key().toString() == QLatin1String("id"))
                        writer.append(quint64(~0ull));
                    else
                        it.value().toCbor(writer);
                }
                writer.endMap();
                seeds << encoded;
            }
        }
        QCborMap stop = MGAclProtocol::request(4, MGAclRemoteMethod::StopPropagation, "C", {{"request", 1e30}});
        seeds << stop.toCborValue().toCbor();
        for (QByteArray &seed : seeds)
            seed = framed(seed);
        // The seeds as a corpus for the libFuzzer target (tests/fuzz).
        if (const QString corpus = qEnvironmentVariable("MARROWGATE_FUZZ_CORPUS"); !corpus.isEmpty()) {
            for (qsizetype i = 0; i < seeds.size(); ++i) {
                QFile file(QStringLiteral("%1/seed-%2").arg(corpus).arg(i));
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write(seeds[i]) == seeds[i].size());
            }
        }
    }

    // The service itself, reading frames as it does from its client: every seed (request
    // numbers of every other kind among them) answered or refused, and the service still
    // there to answer the next.
    void theServiceTakesEverySeed()
    {
        QProcess service;
        service.start(QStringLiteral(MARROWGATE_SERVICE_PATH), {QStringLiteral("--stdio")});
        QVERIFY(service.waitForStarted());
        for (const QByteArray &seed : std::as_const(seeds))
            service.write(seed);
        const QString file = QFile::decodeName(sandbox + "/file");
        service.write(framed(MGAclProtocol::request(99, MGAclRemoteMethod::GetEntries, "C",
                                                    ProtocolHelpers::validArguments(MGAclRemoteMethod::GetEntries, file, file))
                                 .toCborValue()
                                 .toCbor()));
        QByteArray replies;
        int answered = 0;
        const bool last = QTest::qWaitFor([&] {
            replies += service.readAllStandardOutput();
            while (replies.size() >= 4 && replies.size() >= 4 + qFromBigEndian<quint32>(replies.constData())) {
                const quint32 length = qFromBigEndian<quint32>(replies.constData());
                const QCborMap reply = QCborValue::fromCbor(replies.mid(4, length)).toMap();
                replies.remove(0, 4 + length);
                if (!reply.contains(QStringLiteral("progress")))
                    ++answered;
                if (reply.value(QStringLiteral("id")).toInteger() == 99 && reply.contains(QStringLiteral("entries")))
                    return true;
            }
            return service.state() != QProcess::Running;
        }, 60000) && service.state() == QProcess::Running;
        QVERIFY2(last, qPrintable(service.readAllStandardError()));
        QCOMPARE(answered, seeds.size() + 1);
        service.closeWriteChannel();
        QVERIFY(service.waitForFinished(10000));
        QCOMPARE(service.exitCode(), 0);
    }

    void theCheckedPathAgreesAndNothingBreaks()
    {
        // As nobody, whatever a fuzzed request names: it can change nothing of anyone's.
        if (geteuid() == 0) {
            QVERIFY(shOk(QStringLiteral("chown -R 65534:65534 %1").arg(quoted(tmp.path()))));
            QVERIFY(setgroups(0, nullptr) == 0 && setresgid(65534, 65534, 65534) == 0 && setresuid(65534, 65534, 65534) == 0);
        }

        bool ok = false;
        const int seconds = qEnvironmentVariableIntValue("MARROWGATE_FUZZ_SECONDS", &ok);
        const quint32 seedNumber = qEnvironmentVariableIsSet("MARROWGATE_FUZZ_SEED")
            ? qEnvironmentVariable("MARROWGATE_FUZZ_SEED").toUInt()
            : QRandomGenerator::global()->generate();
        qInfo("seed %u (MARROWGATE_FUZZ_SEED repeats this run)", seedNumber);
        QRandomGenerator random(seedNumber);
        QList<QByteArray> pool = seeds;
        MGPropagationRegistry registry;
        QElapsedTimer clock;
        clock.start();
        qint64 runs = 0;
        for (const QByteArray &seed : std::as_const(seeds))
            QVERIFY(RequestFuzzing::fuzzOne(seed, sandbox, registry));
        while (clock.elapsed() < qint64(ok ? seconds : 5) * 1000) {
            QByteArray input = pool[random.bounded(qsizetype(pool.size()))];
            const int mutations = 1 + random.bounded(4);
            for (int i = 0; i < mutations; ++i)
                mutate(input, random, pool);
            const bool agreed = RequestFuzzing::fuzzOne(input, sandbox, registry);
            QVERIFY2(agreed, input.toHex().left(4000).constData());
            if (random.bounded(50) == 0)
                pool << input; // a mutant to mutate further
            if (pool.size() > 2000)
                pool.remove(seeds.size(), 1000);
            ++runs;
        }
        qInfo("%lld inputs in %lld s: %lld frames read, %lld of them answered", runs, clock.elapsed() / 1000,
              RequestFuzzing::framesRead.load(), RequestFuzzing::answered.load());
    }

private:
    static void mutate(QByteArray &input, QRandomGenerator &random, const QList<QByteArray> &pool)
    {
        const auto at = [&](qsizetype size) { return size > 0 ? random.bounded(size) : 0; };
        switch (random.bounded(8)) {
        case 0:
            if (!input.isEmpty())
                input[at(input.size())] ^= char(1 << random.bounded(8));
            break;
        case 1:
            if (!input.isEmpty())
                input[at(input.size())] = char(Interesting[random.bounded(int(sizeof Interesting))]);
            break;
        case 2: {
            QByteArray bytes(1 + random.bounded(8), '\0');
            for (char &byte : bytes)
                byte = char(random.bounded(256));
            input.insert(at(input.size() + 1), bytes);
            break;
        }
        case 3:
            if (!input.isEmpty()) {
                const qsizetype from = at(input.size());
                input.remove(from, 1 + random.bounded(std::min<qsizetype>(64, input.size() - from)));
            }
            break;
        case 4:
            if (!input.isEmpty()) {
                const qsizetype from = at(input.size());
                input.insert(at(input.size() + 1), input.mid(from, 1 + random.bounded(64)));
            }
            break;
        case 5: {
            const QByteArray &other = pool[random.bounded(qsizetype(pool.size()))];
            const qsizetype from = at(other.size());
            input.insert(at(input.size() + 1), other.mid(from, 1 + random.bounded(256)));
            break;
        }
        case 6:
            // The frame's length: off by a little, or anything.
            if (input.size() >= 4) {
                const quint32 length = qFromBigEndian<quint32>(input.constData());
                qToBigEndian(random.bounded(2) ? length + quint32(random.bounded(9)) - 4 : random.generate(), input.data());
            }
            break;
        case 7:
            input += pool[random.bounded(qsizetype(pool.size()))];
            break;
        }
    }
};

QTEST_GUILESS_MAIN(tst_RequestFuzzing)
#include "tst_RequestFuzzing.moc"
