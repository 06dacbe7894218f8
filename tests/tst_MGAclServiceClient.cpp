#include "MGAclServiceClient.h"
#include "MGChildServiceConnection.h"
#include "PluginHelpers.h"
#include "QueueHelpers.h"
#include "StagedBuild.h"

#include <csignal>

namespace {
using Op = MGAclRemoteMethod;

// A client with its authorisation step scripted: it grants (and connects the privileged
// connection to a service running as root, or under `privilegedLauncher`), or answers the
// given error. The ordinary connection runs `ordinary`.
class ScriptedClient : public MGAclServiceClient
{
public:
    static std::shared_ptr<ScriptedClient> make()
    {
        return std::shared_ptr<ScriptedClient>(new ScriptedClient, [](ScriptedClient *c) { release(c); });
    }

    MGResultError authorization;
    QStringList privilegedLauncher;
    QString service;
    QStringList askedRights;

    void getAuthConnectionForRight(const char *right, AuthorizationReply reply) override
    {
        askedRights << QString::fromLatin1(right);
        if (!authorization && !authConnection())
            setAuthConnection(std::make_unique<MGChildServiceConnection>(privilegedLauncher + QStringList{service, "--stdio"}));
        connection()->replyQueue().async([reply, answer = authorization] { reply(answer); });
    }

private:
    ScriptedClient() : MGAclServiceClient(QStringLiteral("tst_MGAclServiceClient")) {}
};

}

class tst_MGAclServiceClient : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;
    StagedBuild staged;
    QString secret;
    QString rootFile;
    QString privateFolder;

    // A client whose ordinary service runs under `launcher` (the staged copy, so that it
    // can run as another user).
    std::shared_ptr<ScriptedClient> plugin(const QStringList &launcher, MGResultError authorization = {},
                                           QStringList privileged = {})
    {
        MGChildServiceConnection::setDefaultCommand(launcher + QStringList{staged.service(), "--stdio"});
        auto p = ScriptedClient::make();
        p->authorization = authorization;
        p->privilegedLauncher = privileged;
        p->service = staged.service();
        return p;
    }

    static std::shared_ptr<OperationResult> readEntries(const std::shared_ptr<ScriptedClient> &p, const QString &path)
    {
        auto result = std::make_shared<OperationResult>();
        p->queue()->async([p, path, result] {
            p->getEntriesWithUrl(QUrl::fromLocalFile(path),
                                 [result](auto entries, MGResultError error) { result->set(bool(entries), error); });
        });
        return result;
    }

    static std::shared_ptr<OperationResult> readAccess(const std::shared_ptr<ScriptedClient> &p, const QString &path)
    {
        auto result = std::make_shared<OperationResult>();
        p->queue()->async([p, path, result] {
            p->getAccessWithUrl(QUrl::fromLocalFile(path), CBIdentity::user(0).uniqueIdentifier(),
                                [result](auto tree, MGResultError error, const auto &) { result->set(bool(tree), error); });
        });
        return result;
    }

    // Writes (or propagates) the item's list with its "other" permissions cleared.
    static std::shared_ptr<OperationResult> send(const std::shared_ptr<ScriptedClient> &p, MGAclRemoteMethod operation,
                                        const QString &path)
    {
        auto list = posixListFor(path);
        auto result = std::make_shared<OperationResult>();
        p->queue()->async([p, operation, path, list, result] {
            p->sendEntries(operation, list, QUrl::fromLocalFile(path), [result](auto outcome) {
                result->set(outcome.kind == outcome.Succeeded, outcome.error, outcome.kind, outcome.fromPrivilegedReply);
            });
        });
        return result;
    }


private slots:
    void initTestCase()
    {
        REQUIRE_ROOT();
        REQUIRE_STAGED(staged);
        privateFolder = tmp.path("private");
        secret = privateFolder + "/secret";
        rootFile = tmp.path("rootfile");
        QVERIFY(shOk(QStringLiteral("mkdir -m 700 %1 && touch %2 %1/other && chmod 644 %2 && touch %3")
                         .arg(quoted(privateFolder), quoted(rootFile), quoted(secret))));
    }

    void cleanup() { shOk("chmod 644 " + quoted(rootFile)); }

    void repliesMayHoldOnlyWhatTheirMethodReturns()
    {
        using namespace MGRemoteClasses;
        auto p = ScriptedClient::make();
        QCOMPARE(p->remoteEncodableClasses().value("getAclEntriesWithUrl:reply:"), Classes(Array) | String | TreeNode | AclEntry);
        QCOMPARE(p->remoteEncodableClasses().value("getAclAccessWithUrl:uuid:reply:"), Classes(Array) | TreeNode | String);
        QVERIFY(!p->exportedEncodableClasses());
    }

    void grantedRetryAnswersFromThePrivilegedConnection()
    {
        auto p = plugin(AsNobody);
        auto entries = readEntries(p, secret);
        QTRY_COMPARE(entries->count(), 1);
        QVERIFY(entries->hasValue);
        QVERIFY(!entries->error);
        auto written = send(p, Op::SetEntries, rootFile);
        QTRY_COMPARE(written->count(), 1);
        QVERIFY2(written->hasValue, qPrintable(written->error ? written->error->localizedDescription() : ""));
        QCOMPARE(sh("stat -c %a " + quoted(rootFile)).trimmed(), QStringLiteral("640"));
        QCOMPARE(p->askedRights, (QStringList{"com.quillwork.Marrowgate.GetFileAcl", "com.quillwork.Marrowgate.SetFileAcl"}));
        // Every call starts on the ordinary connection again.
        auto again = readEntries(p, secret);
        QTRY_COMPARE(again->count(), 1);
        QCOMPARE(p->askedRights.size(), 3);
    }

    void dismissedAuthorisationIsSilentForAllFour()
    {
        auto p = plugin(AsNobody, MGError(MGError::OSStatusDomain, -60006, "cancelled"));
        auto entries = readEntries(p, secret);
        auto access = readAccess(p, secret);
        auto written = send(p, Op::SetEntries, rootFile);
        auto propagated = send(p, Op::PropagateEntries, privateFolder);
        for (const auto &r : {entries, access, written, propagated}) {
            QTRY_COMPARE(r->count(), 1);
            QVERIFY(!r->hasValue);
            QVERIFY(!r->error);
        }
        QCOMPARE(written->kind, int(MGAclServiceClient::Outcome<std::monostate>::Cancelled));
        QCOMPARE(propagated->kind, int(MGAclServiceClient::Outcome<std::monostate>::Cancelled));
        QCOMPARE(sh("stat -c %a " + quoted(rootFile)).trimmed(), QStringLiteral("644"));
        QCOMPARE(p->askedRights.size(), 4);
        QVERIFY(p->askedRights.contains("com.quillwork.Marrowgate.GetFileAccess"));
        QVERIFY(p->askedRights.contains("com.quillwork.Marrowgate.PropagateFileAcl"));
    }

    void refusedAuthorisationIsWrapped()
    {
        const MGError refused(MGError::OSStatusDomain, -60005, "not allowed");
        auto p = plugin(AsNobody, refused);
        auto entries = readEntries(p, secret);
        auto written = send(p, Op::SetEntries, rootFile);
        QTRY_COMPARE(entries->count(), 1);
        QTRY_COMPARE(written->count(), 1);
        QCOMPARE(entries->error->localizedDescription(), QStringLiteral("Error retrieving Acces Control List entries"));
        QCOMPARE(*entries->error->underlyingError(), refused);
        QCOMPARE(written->error->localizedDescription(), QStringLiteral("Error saving Acces Control List entries"));
        QCOMPARE(written->kind, int(MGAclServiceClient::Outcome<std::monostate>::Failed));
    }

    void serviceErrorsArePassedOnUnwrapped()
    {
        auto p = plugin(AsNobody);
        auto entries = readEntries(p, tmp.path("missing"));
        QTRY_COMPARE(entries->count(), 1);
        QCOMPARE(entries->error->code(), ENOENT);
        QVERIFY(entries->error->localizedDescription().contains(tmp.path("missing")));
        QVERIFY(!entries->error->underlyingError());
        QVERIFY(p->askedRights.isEmpty());
    }

    void noSecondRetry()
    {
        // The privileged connection runs as nobody too, so the retry fails the same way.
        auto p = plugin(AsNobody, {}, AsNobody);
        auto entries = readEntries(p, secret);
        auto access = readAccess(p, secret);
        QTRY_COMPARE(entries->count(), 1);
        QTRY_COMPARE(access->count(), 1);
        QVERIFY(entries->error);
        QVERIFY2(entries->error->isPermissionError() && !entries->error->underlyingError(),
                 qPrintable(entries->error->fullDescription()));
        // The access read shows nothing after a failed privileged retry.
        QVERIFY(!access->hasValue && !access->error);
        QCOMPARE(p->askedRights.size(), 2);
    }

    void brokenConnectionIsWrappedAndTheNextCallWorks()
    {
        // Each service starts a moment late, so the read is still waiting when it is killed.
        auto p = plugin({"sh", "-c", "sleep 1; exec \"$0\" \"$@\""});
        auto entries = readEntries(p, rootFile);
        auto *child = static_cast<MGChildServiceConnection *>(p->connection());
        QTRY_VERIFY(child->processId() > 0);
        QCOMPARE(kill(child->processId(), SIGKILL), 0);
        QTRY_COMPARE(entries->count(), 1);
        QCOMPARE(entries->error->localizedDescription(), QStringLiteral("Error retrieving Acces Control List entries"));
        QCOMPARE(entries->error->underlyingError()->code(), int(MGServiceConnection::Interrupted));
        QVERIFY(flushQueue(child->replyQueue())); // nothing more is on its way
        QCOMPARE(entries->count(), 1);
        auto next = readEntries(p, rootFile);
        QTRY_COMPARE_WITH_TIMEOUT(next->count(), 1, 10000);
        QVERIFY(next->hasValue);
    }
};

QTEST_MAIN(tst_MGAclServiceClient)
#include "tst_MGAclServiceClient.moc"
