#include "MGAclPlugin.h"
#include "MGChildServiceConnection.h"
#include "MGPrivateSystemBus.h"
#include "MGSystemBusServiceConnection.h"
#include "PluginHelpers.h"
#include "QueueHelpers.h"
#include "StagedBuild.h"

#include <QDBusArgument>

namespace {
const QStringList AllActions = {"com.quillwork.marrowgate.getfileacl", "com.quillwork.marrowgate.setfileacl",
                                "com.quillwork.marrowgate.propagatefileacl", "com.quillwork.marrowgate.getfileaccess"};

using Op = MGAclRemoteMethod;
}

class tst_MGAclPrivilegedService : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;
    StagedBuild staged;
    MGPrivateSystemBus bus;
    QString privateFolder, secret, rootFile;

    // Runs one of the four operations on a new plug-in object whose ordinary service runs as
    // nobody, so that each needs the privileged service.
    std::shared_ptr<OperationResult> run(Op operation, MGAclPlugin::Pointer *keep = nullptr)
    {
        auto plugin = MGAclPlugin::plugin();
        if (keep)
            *keep = plugin;
        auto result = std::make_shared<OperationResult>();
        const QUrl secretUrl = QUrl::fromLocalFile(secret);
        const QString folder = privateFolder, file = rootFile;
        plugin->queue()->async([=] {
            switch (operation) {
            case Op::GetEntries:
                return plugin->getEntriesWithUrl(secretUrl, [result](auto e, MGResultError error) { result->set(bool(e), error); });
            case Op::GetAccess:
                return plugin->getAccessWithUrl(secretUrl, CBIdentity::user(65534).uniqueIdentifier(),
                                                [result](auto t, MGResultError error) { result->set(bool(t), error); });
            case Op::SetEntries:
            case Op::PropagateEntries: {
                const QString path = operation == Op::SetEntries ? file : folder;
                return plugin->sendEntries(operation, posixListFor(path), QUrl::fromLocalFile(path), [result](auto outcome) {
                    result->set(outcome.kind == outcome.Succeeded, outcome.error);
                });
            }
            }
        });
        return result;
    }

    QList<QStringList> checks()
    {
        QList<QStringList> out;
        const QDBusArgument argument = bus.polkit("TakeChecks").arguments().value(0).value<QDBusArgument>();
        argument.beginArray();
        while (!argument.atEnd()) {
            QString kind, name, action;
            uint flags = 0;
            argument.beginStructure();
            argument >> kind >> name >> action >> flags;
            argument.endStructure();
            out << QStringList{kind, name, action, QString::number(flags)};
        }
        argument.endArray();
        return out;
    }

private slots:
    void initTestCase()
    {
        REQUIRE_ROOT();
        QString why;
        QVERIFY2(bus.start(&why), qPrintable(why));
        REQUIRE_STAGED(staged);
        // The ordinary service runs as nobody, so that every operation needs the privileged one.
        MGChildServiceConnection::setDefaultCommand(AsNobody + QStringList{staged.service(), "--stdio"});
        privateFolder = tmp.path("private");
        secret = privateFolder + "/secret";
        rootFile = tmp.path("rootfile");
        QVERIFY(shOk(QStringLiteral("mkdir -m 700 %1 && touch %2 && chmod 644 %2 && touch %3 && touch %1/inside && chown 9:9 %1/inside")
                         .arg(quoted(privateFolder), quoted(rootFile), quoted(secret))));
    }

    void init()
    {
        bus.allow({});
        bus.polkit("SetDismissed", {false});
        bus.polkit("SetHangService", {false});
        checks();
        shOk("chmod 644 " + quoted(rootFile));
    }

    void grantedOperationsSucceedAndEveryCallIsChecked()
    {
        bus.allow(AllActions);
        for (Op operation : {Op::GetEntries, Op::SetEntries, Op::PropagateEntries, Op::GetAccess}) {
            auto result = run(operation);
            QTRY_COMPARE_WITH_TIMEOUT(result->count(), 1, 15000);
            QVERIFY2(result->hasValue && !result->error,
                     qPrintable(result->error ? result->error->fullDescription() : QString()));
        }
        QCOMPARE(sh("stat -c %a " + quoted(rootFile)).trimmed(), QStringLiteral("640"));
        QCOMPARE(sh("stat -c %u " + quoted(privateFolder + "/inside")).trimmed(), QStringLiteral("0"));
        // Each operation: the editor asks interactively, then the service checks the same
        // caller, named by the bus, without interaction.
        const QList<QStringList> seen = checks();
        QCOMPARE(seen.size(), 8);
        for (int i = 0; i < 8; i += 2) {
            QCOMPARE(seen[i][3], QStringLiteral("1"));
            QCOMPARE(seen[i + 1][3], QStringLiteral("0"));
            QCOMPARE(seen[i + 1][2], seen[i][2]);
            QCOMPARE(seen[i + 1][1], QDBusConnection::systemBus().baseService());
            QCOMPARE(seen[i][0], QStringLiteral("system-bus-name"));
        }
        QCOMPARE(seen[2][2], QStringLiteral("com.quillwork.marrowgate.setfileacl"));
    }

    void refusedOperationsShowTheirWrappedError()
    {
        const QMap<Op, QString> descriptions = {
            {Op::GetEntries, "Error retrieving Acces Control List entries"},
            {Op::SetEntries, "Error saving Acces Control List entries"},
            {Op::PropagateEntries, "Error propagating file Access Control List, POSIX permissions, owner and group"},
            {Op::GetAccess, "Error retrieving effective file access permissions"}};
        for (auto it = descriptions.begin(); it != descriptions.end(); ++it) {
            auto result = run(it.key());
            QTRY_COMPARE_WITH_TIMEOUT(result->count(), 1, 15000);
            QVERIFY(result->error);
            QCOMPARE(result->error->localizedDescription(), it.value());
            QCOMPARE(result->error->underlyingError()->code(), -60005);
        }
        QCOMPARE(sh("stat -c %a " + quoted(rootFile)).trimmed(), QStringLiteral("644"));
    }

    void dismissedDialogsAreSilent()
    {
        bus.polkit("SetDismissed", {true});
        for (Op operation : {Op::GetEntries, Op::SetEntries, Op::PropagateEntries, Op::GetAccess}) {
            auto result = run(operation);
            QTRY_COMPARE_WITH_TIMEOUT(result->count(), 1, 15000);
            QVERIFY(!result->hasValue);
            QVERIFY2(!result->error, qPrintable(result->error ? result->error->fullDescription() : QString()));
        }
    }

    void theServiceRefusesWhatTheCallerMayNotDo()
    {
        bus.allow({"com.quillwork.marrowgate.getfileacl"});
        MGAclPlugin::Pointer plugin;
        auto read = run(Op::GetEntries, &plugin);
        QTRY_COMPARE_WITH_TIMEOUT(read->count(), 1, 15000);
        QVERIFY(read->hasValue);
        // Past its own check, the caller writes straight to the privileged connection.
        MGServiceConnection *privileged = plugin->authConnection();
        QVERIFY(privileged);
        OperationResult write;
        const MGAclList list = {QStringLiteral("t"),
                                MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, CBIdentity::user(0), 0, false),
                                MGAclEntry::posixEntry(MGAclEntry::Kind::OwningGroup, CBIdentity::group(0), 0, false),
                                MGAclEntry::posixEntry(MGAclEntry::Kind::Other, CBIdentity::special(CBIdentity::Class::EveryoneSpecial), 0, false)};
        privileged->remoteObjectProxyWithErrorHandler([&](const MGError &e) { write.set(false, e); })
            ->setAclEntries(list, QUrl::fromLocalFile(rootFile), [&](MGResultError e) { write.set(!e, e); });
        QTRY_COMPARE_WITH_TIMEOUT(write.count(), 1, 15000);
        QVERIFY(write.error && write.error->isPermissionError());
        QVERIFY(write.error->localizedDescription().contains("com.quillwork.marrowgate.setfileacl"));
        QCOMPARE(sh("stat -c %a " + quoted(rootFile)).trimmed(), QStringLiteral("644"));
    }

    void theCommandLineWorksEndToEnd()
    {
        // The command line runs as nobody and reaches the privileged service on the bus.
        bus.allow(AllActions);
        QProcess cli;
        cli.setProgram(AsNobody.first());
        auto start = [&](const QStringList &arguments) {
            cli.setArguments(AsNobody.mid(1) + QStringList{staged.commandLine()} + arguments);
            cli.start();
        };
        start({"list", secret});
        QVERIFY(cli.waitForFinished(20000));
        QCOMPARE(cli.exitCode(), 0);
        QVERIFY(cli.readAllStandardOutput().contains("## POSIX Permissions"));
        start({"access", "nobody", secret});
        QVERIFY(cli.waitForFinished(20000));
        QCOMPARE(cli.exitCode(), 0);
        QVERIFY(cli.readAllStandardOutput().contains("  Read Data\tno\n"));
        bus.allow({});
        bus.polkit("SetDismissed", {true});
        start({"list", secret});
        QVERIFY(cli.waitForFinished(20000));
        QCOMPARE(cli.exitCode(), 2);
        QVERIFY(cli.readAllStandardOutput().isEmpty() && cli.readAllStandardError().isEmpty());
    }

    void aServiceKilledMidCallGivesOneWrappedError()
    {
        bus.allow(AllActions);
        bus.polkit("SetHangService", {true});
        MGAclPlugin::Pointer plugin;
        auto result = run(Op::GetEntries, &plugin);
        QTRY_VERIFY_WITH_TIMEOUT(bus.polkit("HangingCount").arguments().value(0).toUInt() == 1, 15000);
        bus.stopService();
        QTRY_COMPARE_WITH_TIMEOUT(result->count(), 1, 15000);
        QCOMPARE(result->error->localizedDescription(), QStringLiteral("Error retrieving Acces Control List entries"));
        QVERIFY(flushQueue(plugin->authConnection()->replyQueue())); // nothing more is on its way
        QCOMPARE(result->count(), 1);
        // Without the service (and nothing to start it), the editor says so before asking anyone.
        bus.polkit("SetHangService", {false});
        auto missing = run(Op::GetEntries);
        QTRY_COMPARE_WITH_TIMEOUT(missing->count(), 1, 15000);
        QVERIFY(missing->error->fullDescription().contains("not installed"));
        QVERIFY(bus.startService());
    }

    void theServiceQuitsWhenIdle()
    {
        bus.stopService();
        QVERIFY(bus.startService(nullptr, 1));
        QVERIFY(bus.service().waitForFinished(10000));
        QCOMPARE(bus.service().exitCode(), 0);
        QVERIFY(bus.startService());
    }
};

QTEST_MAIN(tst_MGAclPrivilegedService)
#include "tst_MGAclPrivilegedService.moc"
