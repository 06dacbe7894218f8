#include "MGAclServiceClient.h"
#include "MGChildServiceConnection.h"
#include "QueueHelpers.h"
#include "StagedBuild.h"

#include <QElapsedTimer>
#include <QThread>
#include <csignal>

namespace {
const QString ServicePath = QStringLiteral(MARROWGATE_SERVICE_PATH);

// Collects what a call answered, on whichever thread it arrives.
struct Answer
{
    QMutex lock;
    int replies = 0;
    int errors = 0;
    std::optional<MGAclList> entries;
    MGResultError error;
    MGError connectionError;
    bool onReplyThread = false;

    int total()
    {
        QMutexLocker locker(&lock);
        return replies + errors;
    }
};

std::shared_ptr<Answer> read(MGServiceConnection &connection, const QString &path)
{
    auto answer = std::make_shared<Answer>();
    MGWorkQueue *replies = &connection.replyQueue();
    auto proxy = connection.remoteObjectProxyWithErrorHandler([answer, replies](const MGError &error) {
        QMutexLocker locker(&answer->lock);
        ++answer->errors;
        answer->connectionError = error;
        answer->onReplyThread = replies->isCurrent();
    });
    proxy->getAclEntriesWithUrl(QUrl::fromLocalFile(path), [answer, replies](auto entries, MGResultError error) {
        QMutexLocker locker(&answer->lock);
        ++answer->replies;
        answer->entries = entries;
        answer->error = error;
        answer->onReplyThread = replies->isCurrent();
    });
    return answer;
}

QHash<QString, MGRemoteClasses::Classes> pluginClasses()
{
    return MGAclServiceClient::client(QStringLiteral("classes"))->remoteEncodableClasses();
}
}

class tst_MGChildServiceConnection : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

private slots:
    void repliesArriveOnTheConnectionThread()
    {
        MGChildServiceConnection connection({ServicePath, "--stdio"});
        connection.setRemoteEncodableClasses(pluginClasses());
        auto answer = read(connection, tmp.path());
        QTRY_COMPARE(answer->total(), 1);
        QVERIFY(answer->entries && !answer->error);
        QVERIFY(answer->onReplyThread);
        // Replies to many calls in flight at once each reach their own caller.
        QList<std::shared_ptr<Answer>> answers;
        for (int i = 0; i < 20; ++i)
            answers << read(connection, i % 2 ? tmp.path() : tmp.path("missing"));
        for (int i = 0; i < 20; ++i) {
            QTRY_COMPARE(answers[i]->total(), 1);
            QCOMPARE(bool(answers[i]->entries), i % 2 == 1);
        }
    }

    void realPermissionErrorsAsAnUnprivilegedUser()
    {
        REQUIRE_ROOT();
        QVERIFY(shOk(QStringLiteral("mkdir -m 700 %1 && touch %1/secret && touch %2 && chmod 644 %2")
                         .arg(quoted(tmp.path("private")), quoted(tmp.path("rootfile")))));
        StagedBuild staged;
        REQUIRE_STAGED(staged);
        MGChildServiceConnection connection(AsNobody + QStringList{staged.service(), "--stdio"});
        connection.setRemoteEncodableClasses(pluginClasses());
        auto denied = read(connection, tmp.path("private/secret"));
        QTRY_COMPARE(denied->total(), 1);
        QVERIFY(!denied->entries);
        QVERIFY(denied->error && denied->error->isPermissionError());
        QCOMPARE(denied->error->code(), EACCES);
        QVERIFY(denied->error->localizedDescription().contains(tmp.path("private/secret")));
        // Reading a root-owned file works; changing it does not.
        auto readable = read(connection, tmp.path("rootfile"));
        QTRY_COMPARE(readable->total(), 1);
        QVERIFY(readable->entries);
        MGAclLists::entryOf(readable->entries->last())->setPermissions(MGAclPermissionSet::fromPosixBits(0, false));
        std::atomic<int> done = 0;
        MGResultError writeError;
        connection.remoteObjectProxyWithErrorHandler([](const MGError &) {})
            ->setAclEntries(*readable->entries, QUrl::fromLocalFile(tmp.path("rootfile")), [&](MGResultError error) {
                writeError = error;
                done = 1;
            });
        QTRY_COMPARE(done.load(), 1);
        QVERIFY(writeError && writeError->isPermissionError());
        QCOMPARE(writeError->code(), EPERM);
    }

    void aKilledServiceFailsEachWaitingCallOnceAndIsRestarted()
    {
        // The launcher holds each new service back for a moment, so calls are still
        // waiting when it is killed.
        MGChildServiceConnection connection({"sh", "-c", "sleep 1; exec \"$0\" \"$@\"", ServicePath, "--stdio"});
        connection.setRemoteEncodableClasses(pluginClasses());
        auto first = read(connection, tmp.path());
        auto second = read(connection, tmp.path());
        QTRY_VERIFY(connection.processId() > 0);
        QCOMPARE(kill(connection.processId(), SIGKILL), 0);
        QTRY_COMPARE(first->total(), 1);
        QTRY_COMPARE(second->total(), 1);
        QVERIFY(flushQueue(connection.replyQueue())); // nothing more is on its way
        for (const auto &answer : {first, second}) {
            QCOMPARE(answer->errors, 1);
            QCOMPARE(answer->replies, 0);
            QCOMPARE(answer->connectionError.code(), int(MGServiceConnection::Interrupted));
            QVERIFY(answer->onReplyThread);
        }
        auto next = read(connection, tmp.path());
        QTRY_COMPARE_WITH_TIMEOUT(next->total(), 1, 10000);
        QVERIFY(next->entries);
    }

    void malformedRepliesBreakTheConnection()
    {
        // A reply that is not CBOR, then one whose payload this call does not accept.
        MGChildServiceConnection garbage({"sh", "-c", "head -c 4 >/dev/null; printf '\\000\\000\\000\\002ab'; sleep 5"});
        auto broken = read(garbage, tmp.path());
        QTRY_COMPARE(broken->total(), 1);
        QCOMPARE(broken->connectionError.code(), int(MGServiceConnection::MalformedReply));

        // {"id": 1, "entries": [{"title": "t", "state": 0}]}: a tree node may be part of a
        // reply to this call, but not where entries belong; decoding the list refuses it.
        MGChildServiceConnection wrongClass(
            {"sh", "-c",
             "head -c 4 >/dev/null; printf '\\000\\000\\000\\036\\242\\142id\\001\\147entries\\201\\242\\145title"
             "\\141t\\145state\\000'; sleep 5"});
        wrongClass.setRemoteEncodableClasses(pluginClasses());
        auto refused = read(wrongClass, tmp.path());
        QTRY_COMPARE(refused->total(), 1);
        QCOMPARE(refused->errors, 1);
        QCOMPARE(refused->connectionError.code(), int(MGServiceConnection::MalformedReply));
    }

    void aStoppedServiceRunsOutOfTimeAndIsReplaced()
    {
        MGChildServiceConnection connection({ServicePath, "--stdio"});
        connection.setRemoteEncodableClasses(pluginClasses());
        connection.setTimeLimit(std::chrono::milliseconds(600));
        auto first = read(connection, tmp.path());
        QTRY_COMPARE(first->total(), 1);
        QVERIFY(first->entries);
        const pid_t stopped = connection.processId();
        QCOMPARE(kill(stopped, SIGSTOP), 0);
        QElapsedTimer clock;
        clock.start();
        auto stuck = read(connection, tmp.path());
        QTRY_COMPARE_WITH_TIMEOUT(stuck->total(), 1, 10000);
        QCOMPARE(stuck->errors, 1);
        QCOMPARE(stuck->connectionError.code(), int(MGServiceConnection::TimedOut));
        QVERIFY(stuck->connectionError.localizedDescription().contains("did not answer"));
        QVERIFY(clock.elapsed() >= 500);
        // The stuck service is gone, and the next call has a new one.
        QTRY_VERIFY(kill(stopped, 0) != 0);
        auto next = read(connection, tmp.path());
        QTRY_COMPARE_WITH_TIMEOUT(next->total(), 1, 10000);
        QVERIFY(next->entries);
        QVERIFY(connection.processId() != stopped);
    }

    void aServiceSilentInTheMiddleOfAReplyRunsOutOfTime()
    {
        // A header that promises 256 bytes, and nothing after it.
        MGChildServiceConnection silent({"sh", "-c", "head -c 4 >/dev/null; printf '\\000\\000\\001\\000'; exec sleep 60"});
        silent.setTimeLimit(std::chrono::milliseconds(400));
        auto answer = read(silent, tmp.path());
        QTRY_COMPARE_WITH_TIMEOUT(answer->total(), 1, 10000);
        QCOMPARE(answer->connectionError.code(), int(MGServiceConnection::TimedOut));
    }

    void aServiceThatStopsReadingCannotHoldTheCaller()
    {
        // It never reads: a large request fills the socket and cannot all be written.
        MGChildServiceConnection deaf({"sleep", "60"});
        deaf.setTimeLimit(std::chrono::milliseconds(400));
        MGAclList big;
        for (int i = 0; i < 3000; ++i)
            big << QString(4000, QLatin1Char('t'));
        QElapsedTimer clock;
        clock.start();
        std::atomic<int> answers = 0;
        MGResultError failure;
        deaf.remoteObjectProxyWithErrorHandler([&](const MGError &error) {
                failure = error;
                ++answers;
            })
            ->setAclEntries(big, QUrl::fromLocalFile(tmp.path()), [&](MGResultError) { ++answers; });
        QVERIFY(clock.elapsed() < 5000); // the caller was not held
        QTRY_COMPARE_WITH_TIMEOUT(answers.load(), 1, 10000);
        QCOMPARE(failure->code(), int(MGServiceConnection::TimedOut));
    }

    void aServiceThatCannotStartFailsTheCall()
    {
        MGChildServiceConnection connection({"/nonexistent/marrowgate-aclservice", "--stdio"});
        auto answer = read(connection, tmp.path());
        QTRY_COMPARE(answer->total(), 1);
        QCOMPARE(answer->errors, 1);
        QVERIFY(answer->connectionError.localizedDescription().contains("could not be started"));
    }
};

QTEST_MAIN(tst_MGChildServiceConnection)
#include "tst_MGChildServiceConnection.moc"
