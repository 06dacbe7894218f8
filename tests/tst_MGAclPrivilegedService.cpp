#include "MGAclPlugin.h"
#include "MGAuditLog.h"
#include "MGChildServiceConnection.h"
#include "MGPrivateSystemBus.h"
#include "MGSystemBusServiceConnection.h"
#include "PluginHelpers.h"
#include "ProtocolHelpers.h"
#include "QueueHelpers.h"
#include "StagedBuild.h"

#include <QDBusArgument>
#include <QDir>
#include <QDBusPendingCall>
#include <atomic>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <thread>
#include <sys/socket.h>
#include <sys/un.h>

namespace {
const QStringList AllActions = {"com.quillwork.marrowgate.getfileacl", "com.quillwork.marrowgate.setfileacl",
                                "com.quillwork.marrowgate.propagatefileacl", "com.quillwork.marrowgate.getfileaccess"};

using Op = MGAclRemoteMethod;
}

// Counts the service's progress signals that reach a connection.
class SignalCounter : public QObject
{
    Q_OBJECT
public:
    int count = 0;
public slots:
    void Progress(const QByteArray &) { ++count; }
};

// A private syslog socket: the records the service sends there, as the journal would get them.
// Read as they come, as the journal reads them, whatever the test waits on: a sender finds
// the socket's queue full after a few records and waits.
class LogSocket
{
public:
    ~LogSocket()
    {
        m_stop = true;
        if (m_reader.joinable())
            m_reader.join();
        if (m_fd >= 0)
            close(m_fd);
    }
    bool bind(const QString &path)
    {
        m_fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray name = QFile::encodeName(path);
        std::memcpy(address.sun_path, name.constData(), size_t(name.size()));
        if (m_fd < 0 || ::bind(m_fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
            return false;
        m_reader = std::thread([this] {
            char buffer[65536];
            while (!m_stop) {
                pollfd ready = {m_fd, POLLIN, 0};
                if (poll(&ready, 1, 100) <= 0)
                    continue;
                const ssize_t n = recv(m_fd, buffer, sizeof buffer, MSG_DONTWAIT);
                if (n > 0) {
                    std::lock_guard<std::mutex> locker(m_lock);
                    m_records << QString::fromUtf8(buffer, n);
                }
            }
        });
        return true;
    }
    // The records that came since the last call.
    QStringList take()
    {
        std::lock_guard<std::mutex> locker(m_lock);
        return std::exchange(m_records, {});
    }

private:
    int m_fd = -1;
    std::atomic<bool> m_stop = false;
    std::thread m_reader;
    std::mutex m_lock;
    QStringList m_records;
};

// How much memory a process holds now (VmRSS) or held at most (VmHWM), in KiB.
qint64 memoryOf(qint64 pid, const char *field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = status.readAll();
    const qsizetype at = text.indexOf(field);
    return at < 0 ? -1 : text.mid(at + qsizetype(strlen(field)) + 1).trimmed().split(' ').first().toLongLong();
}

class tst_MGAclPrivilegedService : public QObject
{
    Q_OBJECT

    LogSocket log;

    SharedTemporaryDir tmp;
    StagedBuild staged;
    MGPrivateSystemBus bus;
    QString privateFolder, secret, rootFile;

    // Runs one of the four operations on a new plug-in object whose ordinary service runs as
    // nobody, so that each needs the privileged service. Writes go to `path` when given.
    std::shared_ptr<OperationResult> run(Op operation, MGAclPlugin::Pointer *keep = nullptr, const QString &path = {})
    {
        auto plugin = MGAclPlugin::plugin();
        if (keep)
            *keep = plugin;
        auto result = std::make_shared<OperationResult>();
        const QUrl secretUrl = QUrl::fromLocalFile(secret);
        const QString folder = path.isEmpty() ? privateFolder : path, file = path.isEmpty() ? rootFile : path;
        plugin->queue()->async([=] {
            switch (operation) {
            case Op::GetEntries:
                return plugin->getEntriesWithUrl(secretUrl, [result](auto e, MGResultError error) { result->set(bool(e), error); });
            case Op::GetAccess:
                return plugin->getAccessWithUrl(secretUrl, CBIdentity::user(65534).uniqueIdentifier(),
                                                [result](auto t, MGResultError error, const auto &) { result->set(bool(t), error); });
            case Op::SetEntries:
            case Op::PropagateEntries: {
                const QString path = operation == Op::SetEntries ? file : folder;
                return plugin->sendEntries(operation, posixListFor(path), QUrl::fromLocalFile(path), [result](auto outcome) {
                    result->set(outcome.kind == outcome.Succeeded, outcome.error);
                });
            }
            case Op::BackupEntries:
                return plugin->backupWithUrl(QUrl::fromLocalFile(folder), [](const QByteArray &) {}, [result](auto outcome) {
                    result->set(outcome.kind == outcome.Succeeded, outcome.error);
                });
            case Op::StopPropagation:
            case Op::AuditAccess:
                break;
            }
        });
        return result;
    }

    static QByteArray readRequest(const QString &path)
    {
        return MGAclProtocol::request(1, MGAclRemoteMethod::GetEntries, "C", {{"path", QFile::encodeName(path)}})
            .toCborValue()
            .toCbor();
    }

    static QDBusMessage serviceCall(const QByteArray &request)
    {
        QDBusMessage call = QDBusMessage::createMethodCall(MGAclProtocol::ServiceName, MGAclProtocol::ObjectPath,
                                                           MGAclProtocol::Interface, "Call");
        call << request;
        return call;
    }

    // `each` calls of `request` from each of `callers` programs of their own on the bus, named
    // NAME0, NAME1, ...
    QList<QDBusPendingCall> flood(const QString &name, int callers, int each, const QByteArray &request)
    {
        QList<QDBusPendingCall> calls;
        for (int caller = 0; caller < callers; ++caller) {
            QDBusConnection connection = QDBusConnection::connectToBus(bus.address, name + QString::number(caller));
            for (int i = 0; i < each; ++i)
                calls << connection.asyncCall(serviceCall(request), 120000);
        }
        return calls;
    }

    static void unflood(const QString &name, int callers)
    {
        for (int caller = 0; caller < callers; ++caller)
            QDBusConnection::disconnectFromBus(name + QString::number(caller));
    }

    static std::optional<MGError> errorOf(const QDBusMessage &reply)
    {
        return MGError::fromCbor(
            QCborValue::fromCbor(reply.arguments().value(0).toByteArray()).toMap().value(QStringLiteral("error")), nullptr);
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
        // The service records to a socket of this test's, not to the machine's log.
        const QString logSocket = tmp.path("log.socket");
        QVERIFY(log.bind(logSocket));
        qputenv("MARROWGATE_LOG_SOCKET", QFile::encodeName(logSocket));
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

    // Every method of the protocol, every argument wrong in every way the table knows, and a
    // name no method takes: over the bus, from a caller allowed everything and from one allowed
    // nothing, each is refused as malformed before polkit is asked, and nothing changes.
    void hostileCallsAreRefusedBeforeAnyCheck()
    {
        const QString folder = tmp.path("hostile"), file = tmp.path("hostile-file");
        QVERIFY(shOk(QStringLiteral("mkdir -m 755 %1 && touch %1/inside %2 && chmod 644 %1/inside %2").arg(quoted(folder), quoted(file))));
        auto state = [&] { return facl(folder) + facl(folder + "/inside") + facl(file); };
        const QString before = state();
        for (const QStringList &allowed : {AllActions, QStringList()}) {
            bus.allow(allowed);
            int refused = 0;
            for (const MGAclRemoteMethod method : MGAclProtocol::Methods) {
                const QCborMap valid = ProtocolHelpers::validArguments(method, file, folder);
                QList<QCborMap> hostile;
                for (const MGAclProtocol::Argument &argument : MGAclProtocol::arguments(method)) {
                    for (const QCborValue &value : ProtocolHelpers::wrongValues(argument.type)) {
                        QCborMap arguments = valid;
                        arguments.insert(QString(argument.name), value);
                        hostile << arguments;
                    }
                }
                QCborMap unknown = valid;
                unknown.insert(QStringLiteral("force"), true);
                hostile << unknown;
                for (const QCborMap &arguments : std::as_const(hostile)) {
                    const QByteArray request = MGAclProtocol::request(1, method, "C", arguments).toCborValue().toCbor();
                    const QDBusMessage answer = QDBusConnection::systemBus().call(serviceCall(request), QDBus::Block, 30000);
                    const QCborMap reply = QCborValue::fromCbor(answer.arguments().value(0).toByteArray()).toMap();
                    const auto error = MGError::fromCbor(reply.value(QStringLiteral("error")), nullptr);
                    QVERIFY2(error && error->localizedDescription().contains("malformed request"),
                             qPrintable(QString(MGAclProtocol::selector(method)) + " "
                                        + arguments.toCborValue().toDiagnosticNotation()));
                    ++refused;
                }
            }
            QVERIFY2(checks().isEmpty(), "polkit was asked about a malformed request");
            QCOMPARE(state(), before);
            qInfo("%d hostile calls refused (%s)", refused, allowed.isEmpty() ? "caller allowed nothing" : "caller allowed all");
        }
    }

    // A tag before the method once made the service read the method wrongly and die on the
    // way to polkit: what is asked is taken from the request as checked.
    void aTaggedFieldBeforeTheMethodIsReadAsTheRequestSaysIt()
    {
        const QCborMap tagged{{"locale", QCborValue(QCborTag(1000), QStringLiteral("method"))},
                              {"method", "getAclEntriesWithUrl:reply:"},
                              {"args", QCborMap{{"path", QFile::encodeName(rootFile)}}},
                              {"id", 2}};
        for (const QStringList &allowed : {QStringList(), AllActions}) {
            bus.allow(allowed);
            const QDBusMessage reply =
                QDBusConnection::systemBus().call(serviceCall(tagged.toCborValue().toCbor()), QDBus::Block, 30000);
            QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
            const std::optional<MGError> error = errorOf(reply);
            if (allowed.isEmpty())
                QVERIFY(error && error->code() == EACCES);
            else
                QVERIFY2(!error, qPrintable(error ? error->fullDescription() : QString()));
        }
        QCOMPARE(checks().size(), 2);
    }

    // Every change root makes, and every authorisation refused, is on record with who asked
    // and what the item was and became; reads are not.
    void changesAndRefusalsAreRecorded()
    {
        auto waitFor = [](const std::shared_ptr<OperationResult> &result) {
            return QTest::qWaitFor([&] { return result->count() == 1; }, 15000);
        };
        bus.allow(AllActions);
        log.take();
        QVERIFY(waitFor(run(Op::GetEntries)));
        QVERIFY(waitFor(run(Op::GetAccess)));
        const QString inode = sh("stat -c %i " + quoted(rootFile)).trimmed();
        auto set = run(Op::SetEntries);
        QVERIFY(waitFor(set) && set->hasValue);
        QStringList records;
        QVERIFY(QTest::qWaitFor([&] { return !(records += log.take()).isEmpty(); }, 5000));
        QVERIFY2(records.size() == 1, qPrintable(records.join('\n'))); // the reads before left none
        const QString who = QStringLiteral("marrowgate-aclservice[%1]: caller uid 0 pid %2, action ")
                                .arg(bus.service().processId())
                                .arg(QCoreApplication::applicationPid());
        QVERIFY2(records[0].startsWith("<85>") && records[0].contains(who + "com.quillwork.marrowgate.setfileacl: set \"" + rootFile
                                                                      + "\" (device ")
                     && records[0].contains(", inode " + inode + "): owner 0 group 0 mode 0644 acl user::rw-,group::r--,other::r-- -> "
                                            "owner 0 group 0 mode 0640 acl user::rw-,group::r--,other::---"),
                 qPrintable(records[0]));
        auto propagate = run(Op::PropagateEntries);
        QVERIFY(waitFor(propagate) && propagate->hasValue);
        QVERIFY(QTest::qWaitFor([&] { return !(records = log.take()).isEmpty(); }, 5000));
        QVERIFY2(records.value(0).contains(who + "com.quillwork.marrowgate.propagatefileacl: propagate \"" + privateFolder + "\"")
                     && records.value(0).contains(" changed, ") && records.value(0).endsWith(" failed, finished"),
                 qPrintable(records.value(0)));
        // A caller that skips its own check reaches the service, which refuses it.
        bus.allow({});
        const QByteArray request = MGAclProtocol::request(1, Op::SetEntries, "C", ProtocolHelpers::validArguments(Op::SetEntries, rootFile, privateFolder))
                                       .toCborValue()
                                       .toCbor();
        QVERIFY(QDBusConnection::systemBus().call(serviceCall(request), QDBus::Block, 30000).arguments().value(0).toByteArray().contains("not authorised"));
        QVERIFY(QTest::qWaitFor([&] { return !(records = log.take()).isEmpty(); }, 5000));
        QVERIFY2(records.value(0).contains(who + "com.quillwork.marrowgate.setfileacl: refused setAclEntries:url:reply: for \""
                                           + rootFile + "\""),
                 qPrintable(records.value(0)));
        // A path chosen to read as another record is written so that it cannot: its quote,
        // its line break and what is not ASCII are escaped.
        const QByteArray forged = "/tmp/x\" : caller uid 0 pid 1, action all: set \"/etc/shadow\"\n\xe2\x80\xae";
        QVERIFY(QDBusConnection::systemBus().call(serviceCall(MGAclProtocol::request(2, Op::SetEntries, "C", {{"path", forged}, {"entries", ProtocolHelpers::closingList(false)}})
                                                                  .toCborValue()
                                                                  .toCbor()), QDBus::Block, 30000).type() == QDBusMessage::ReplyMessage);
        QVERIFY(QTest::qWaitFor([&] { return !(records = log.take()).isEmpty(); }, 5000));
        QVERIFY2(records.value(0).endsWith("for \"/tmp/x\\042 : caller uid 0 pid 1, action all: set \\042/etc/shadow\\042\\012\\342\\200\\256\""),
                 qPrintable(records.value(0)));
    }

    // Whatever a request made of its own, and whatever came of it, is on record: malformed
    // requests, dry runs, saves that failed and changed nothing, stops of nothing running.
    void everyRequestThatMayChangeSomethingIsRecorded()
    {
        bus.allow(AllActions);
        log.take();
        const auto call = [&](const QCborMap &request) {
            return QDBusConnection::systemBus().call(serviceCall(request.toCborValue().toCbor()), QDBus::Block, 30000);
        };
        const auto recorded = [&](const QString &text) {
            QStringList records;
            return QTest::qWaitFor([&] {
                records += log.take();
                return records.size() == 1 && records[0].contains(text);
            }, 5000) ? QString() : records.join('\n');
        };
        QCborMap malformed = MGAclProtocol::request(3, Op::SetEntries, "C", {{"path", QFile::encodeName(rootFile)}, {"entries", "all"}});
        call(malformed);
        QCOMPARE(recorded(QStringLiteral("action com.quillwork.marrowgate.setfileacl: malformed request \"%1\": The ACL service "
                                         "received a malformed request: ").arg(rootFile)), QString());
        QCborMap dryRun = MGAclProtocol::request(4, Op::PropagateEntries, "C",
                                                 ProtocolHelpers::validArguments(Op::PropagateEntries, rootFile, privateFolder));
        QCborMap arguments = dryRun.value(QStringLiteral("args")).toMap();
        arguments.insert(QStringLiteral("dryRun"), true);
        dryRun.insert(QStringLiteral("args"), arguments);
        call(dryRun);
        QCOMPARE(recorded(QStringLiteral("propagate (dry run) \"%1\" (device ").arg(privateFolder)), QString());
        const QString missing = tmp.path("missing");
        call(MGAclProtocol::request(5, Op::SetEntries, "C", ProtocolHelpers::validArguments(Op::SetEntries, missing, privateFolder)));
        QCOMPARE(recorded(QStringLiteral("set \"%1\": nothing changed: ").arg(missing)), QString());
        call(MGAclProtocol::request(6, Op::StopPropagation, "C", {{"request", 77}}));
        QCOMPARE(recorded(QStringLiteral("stop propagation 77: no such propagation is running")), QString());
    }

    // A record longer than the log takes in one line is sent as a head that says who, what,
    // which item and the digests of before and after, then the whole text in parts.
    void aRecordTooLongForOneLineIsSplitNotLost()
    {
        const QString roomy = tmp.path("roomy");
        QVERIFY(shOk(QStringLiteral("mkdir %1 && mount -t tmpfs -o size=16m tmpfs %1 && touch %1/f").arg(quoted(roomy))));
        const auto unmount = qScopeGuard([&] { shOk("umount " + quoted(roomy)); });
        // 8,000 ten-digit user ids on the file, and 8,000 others over them.
        const QString file = roomy + "/f";
        QVERIFY(shOk(QStringLiteral("seq 1000000000 1000007999 | sed 's/.*/u:&:r/' > %1.acl && setfacl -M %1.acl %1").arg(quoted(file))));
        MGPosixItemState state;
        state.mode = S_IFREG | 0640;
        state.access = MGPosixAcl::fromMode(0640);
        for (quint32 id = 2000000000; id < 2000008000; ++id)
            state.access.set(MGPosixAcl::User, 4, id);
        state.access.set(MGPosixAcl::Mask, 4);
        bus.allow(AllActions);
        log.take();
        const QDBusMessage reply = QDBusConnection::systemBus().call(
            serviceCall(MGAclProtocol::request(7, Op::SetEntries, "C",
                                               {{"path", QFile::encodeName(file)},
                                                {"entries", MGAclLists::toCbor(MGPosixLists::listFromState(state))}})
                            .toCborValue()
                            .toCbor()),
            QDBus::Block, 60000);
        QVERIFY2(!QCborValue::fromCbor(reply.arguments().value(0).toByteArray()).toMap().contains(QStringLiteral("error")),
                 qPrintable(reply.arguments().value(0).toByteArray()));
        QVERIFY(sh("getfacl -cn " + quoted(file)).contains("user:2000007999:r--"));
        // A refused read of a path of 300,000 bytes.
        bus.allow({});
        const QByteArray longPath = '/' + QByteArray(300000, 'p');
        QDBusConnection::systemBus().call(serviceCall(readRequest(QFile::decodeName(longPath))), QDBus::Block, 30000);
        // Each record a head, then its parts: by the record's number.
        QMap<int, QStringList> split;
        QMap<int, int> parts;
        const QRegularExpression headForm(": (.*) \\[record (\\d+) in (\\d+) parts follows\\]$");
        const QRegularExpression partForm(": \\[record (\\d+) part (\\d+)/(\\d+)\\] (.*)$",
                                          QRegularExpression::DotMatchesEverythingOption);
        bool fits = true;
        QVERIFY(QTest::qWaitFor([&] {
            for (const QString &line : log.take()) {
                fits = fits && line.toUtf8().size() <= MGAuditLog::MaximumLineBytes + 64;
                const QRegularExpressionMatch head = headForm.match(line), part = partForm.match(line);
                if (head.hasMatch()) {
                    split[head.captured(2).toInt()].prepend(head.captured(1));
                    parts[head.captured(2).toInt()] = head.captured(3).toInt();
                } else if (part.hasMatch()) {
                    fits = fits && part.captured(2).toInt() == split[part.captured(1).toInt()].size();
                    split[part.captured(1).toInt()] << part.captured(4);
                }
            }
            return parts.size() == 2 && split.first().size() == parts.first() + 1 && split.last().size() == parts.last() + 1;
        }, 30000));
        QVERIFY(fits);
        const QStringList save = split.first(), refusal = split.last();
        // The save: who, what, the item, and the digests of both states in the head; all of it
        // in the parts.
        QVERIFY2(save[0].contains("action com.quillwork.marrowgate.setfileacl: set \"" + file + "\" (device ")
                     && save[0].contains("): sha256 ") && save[0].contains(" bytes -> sha256 "),
                 qPrintable(save[0]));
        const QString whole = save.mid(1).join(QString());
        QVERIFY(whole.startsWith(save[0].section(": set", 0, 0) + ": set \"" + file + "\" (device "));
        QVERIFY(whole.contains("user:1000007999:r--") && whole.contains("user:2000007999:r--"));
        // The refusal: its path shortened in the head, whole in the parts.
        QVERIFY2(refusal[0].contains("refused getAclEntriesWithUrl:reply: for \"/ppp") && refusal[0].contains("\u2026 (sha256 "),
                 qPrintable(refusal[0].left(1000)));
        QVERIFY(refusal.mid(1).join(QString()).endsWith(QString::fromLatin1(longPath) + '"'));
    }

    // A caller polkit refuses can make the service hold nothing of what it sent: the
    // request is checked a piece at a time before polkit is asked, and decoded only after.
    void whatARefusedCallerSendsIsNotKept()
    {
        bus.allow({});
        const qint64 pid = bus.service().processId();
        QDBusConnection::systemBus().call(serviceCall(readRequest(rootFile)), QDBus::Block, 30000);
        const qint64 base = memoryOf(pid, "VmRSS:");
        MGAclList list;
        for (uid_t id = 100000; id < 100000 + 65536; ++id)
            list << MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(id), MGAclPermissionSet::fromPosixBits(4, false), 0, false, true);
        QCborMap arguments = ProtocolHelpers::validArguments(Op::GetAccess, rootFile, privateFolder);
        arguments.insert(QStringLiteral("entries"), MGAclLists::toCbor(list));
        const QByteArray request = MGAclProtocol::request(1, Op::GetAccess, "C", arguments).toCborValue().toCbor();
        QList<QDBusPendingCall> calls = flood(QStringLiteral("refused"), 8, 3, request);
        int refused = 0;
        for (QDBusPendingCall &call : calls) {
            QVERIFY(QTest::qWaitFor([&] { return call.isFinished(); }, 120000));
            const std::optional<MGError> error = errorOf(call.reply());
            QVERIFY(error && (error->code() == EACCES || error->code() == EBUSY));
            refused += error->code() == EACCES;
        }
        const qint64 after = memoryOf(pid, "VmRSS:"), peak = memoryOf(pid, "VmHWM:");
        qInfo("%d requests of %lld KiB refused by polkit: the service held %lld KiB before, %lld KiB after, %lld KiB at most",
              refused, qint64(request.size() / 1024), base, after, peak);
        QVERIFY(refused > 0);
#if !defined(__SANITIZE_ADDRESS__)
        QVERIFY2(after <= 2 * base, qPrintable(QString::number(after)));
#endif
        unflood(QStringLiteral("refused"), 8);
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
        QVERIFY(cli.readAllStandardOutput().contains("read\tread-data\tno\t"));
        // An audit of a folder nobody may not read is walked by the privileged service,
        // checked against the read right.
        checks();
        start({"audit", "root", privateFolder, "--summary"});
        QVERIFY(cli.waitForFinished(20000));
        QCOMPARE(cli.exitCode(), 0);
        const QByteArray summary = cli.readAllStandardOutput();
        QVERIFY2(summary.contains("read-write\t3\n"), summary.constData());
        bool audited = false;
        for (const QStringList &check : checks())
            audited = audited || check[2] == "com.quillwork.marrowgate.getfileacl";
        QVERIFY(audited);
        bus.allow({});
        bus.polkit("SetDismissed", {true});
        start({"list", secret});
        QVERIFY(cli.waitForFinished(20000));
        QCOMPARE(cli.exitCode(), 2);
        QVERIFY(cli.readAllStandardOutput().isEmpty() && cli.readAllStandardError().isEmpty());
    }

    // A privileged propagation reports to its caller alone, in signals nobody else
    // receives; another caller cannot stop it; its caller can, and that stop is checked.
    void propagationReportsToItsCallerAndOnlyItsCallerStopsIt()
    {
        bus.allow(AllActions);
        const QString root = privateFolder + "/wide";
        // Wide enough that the walk outlasts the stranger's twenty checked calls even on a
        // busy machine: 1,000 folders of 50 files.
        QVERIFY(makeWideTree(root, 1000, 50));
        // Another program on the bus, listening for the service's signals.
        QDBusConnection other = QDBusConnection::connectToBus(bus.address, "other-caller");
        QVERIFY(other.isConnected());
        SignalCounter overheard;
        QVERIFY(other.connect(MGAclProtocol::ServiceName, MGAclProtocol::ObjectPath, MGAclProtocol::Interface,
                              "Progress", &overheard, SLOT(Progress(QByteArray))));

        MGAclPlugin::Pointer plugin = MGAclPlugin::plugin();
        std::atomic<int> reports = 0;
        std::shared_ptr<MGPropagationWatch> watch;
        QList<QDBusMessage> strangerStops;
        auto last = std::make_shared<std::optional<MGPropagationProgress>>();
        watch = std::make_shared<MGPropagationWatch>([&, last](const MGPropagationProgress &progress) {
            if (progress.finished)
                *last = progress;
            if (progress.finished || reports++ > 0)
                return;
            // On the first report: a stranger tries every request number, then the caller stops.
            MGMainQueue::async([&] {
                for (int id = 0; id < 20; ++id)
                    strangerStops << other.call(serviceCall(
                        MGAclProtocol::request(id, MGAclRemoteMethod::StopPropagation, "C", {{"request", id}})
                            .toCborValue()
                            .toCbor()));
                watch->stop();
            });
        });
        auto result = std::make_shared<OperationResult>();
        plugin->queue()->async([=] {
            plugin->sendEntries(Op::PropagateEntries, posixListFor(root), QUrl::fromLocalFile(root),
                                [result](auto outcome) { result->set(outcome.kind == outcome.Succeeded, outcome.error); },
                                std::nullopt, watch);
        });
        QTRY_COMPARE_WITH_TIMEOUT(result->count(), 1, 30000);
        QVERIFY2(result->hasValue, qPrintable(result->error ? result->error->fullDescription() : QString()));
        QCOMPARE(strangerStops.size(), 20);
        for (const QDBusMessage &reply : std::as_const(strangerStops)) {
            const QCborMap map = QCborValue::fromCbor(reply.arguments().value(0).toByteArray()).toMap();
            const auto error = MGError::fromCbor(map.value("error"), nullptr);
            QVERIFY2(error && error->code() == ESRCH,
                     qPrintable(error ? error->fullDescription() : reply.errorMessage()));
        }
        QVERIFY(reports >= 1);
        QCOMPARE(overheard.count, 0);
        // Stopped early, with its summary before the reply: far from all 51,000 items.
        QTRY_VERIFY(last->has_value());
        QVERIFY((*last)->stopped);
        QVERIFY2((*last)->items() < 51000, qPrintable((*last)->summaryText()));
        // The stop was a checked call of the caller, against the propagation right.
        bool stopChecked = false;
        for (const QStringList &check : checks())
            stopChecked = stopChecked || (check[1] == QDBusConnection::systemBus().baseService()
                                          && check[2] == "com.quillwork.marrowgate.propagatefileacl" && check[3] == "0");
        QVERIFY(stopChecked);
        QDBusConnection::disconnectFromBus("other-caller");
    }

    // Nobody can change an immutable or append-only item, or one on a read-only file system,
    // an administrator neither: the change is refused with what blocks it and how to lift it,
    // and no authorisation is asked for.
    void whatNobodyMayChangeIsRefusedWithoutAskingForAuthorisation()
    {
        bus.allow(AllActions);
        const QString marked = tmp.path("marked");
        QVERIFY(shOk(QStringLiteral("touch %1 && chmod 644 %1").arg(quoted(marked))));
        for (const QString flag : {"i", "a"}) {
            if (!shOk(QStringLiteral("chattr +%1 %2").arg(flag, quoted(marked))))
                QSKIP("the file system of the temporary folder keeps no immutable or append-only marks");
            auto result = run(Op::SetEntries, nullptr, marked);
            QTRY_COMPARE_WITH_TIMEOUT(result->count(), 1, 15000);
            QVERIFY(shOk(QStringLiteral("chattr -%1 %2").arg(flag, quoted(marked))));
            QVERIFY(!result->hasValue && result->error);
            QCOMPARE(result->error->code(), MGError::UnchangeableItem);
            QVERIFY2(result->error->fullDescription().contains(QStringLiteral("\u201cchattr -%1 %2\u201d").arg(flag, marked)),
                     qPrintable(result->error->fullDescription()));
        }
        QCOMPARE(sh("stat -c %a " + quoted(marked)).trimmed(), QStringLiteral("644"));

        const QString readOnly = tmp.path("read-only");
        QVERIFY(QDir().mkpath(readOnly));
        if (!shOk(QStringLiteral("mount -t tmpfs -o size=1m,mode=755 marrowgate-test %1").arg(quoted(readOnly))))
            QSKIP("cannot mount a file system here");
        const auto unmount = qScopeGuard([&] { shOk("umount " + quoted(readOnly)); });
        QVERIFY(shOk(QStringLiteral("touch %1/f && chmod 644 %1/f && mount -o remount,ro %1").arg(quoted(readOnly))));
        for (const auto &[operation, path] : {std::pair{Op::SetEntries, readOnly + "/f"}, std::pair{Op::PropagateEntries, readOnly}}) {
            auto result = run(operation, nullptr, path);
            QTRY_COMPARE_WITH_TIMEOUT(result->count(), 1, 15000);
            QVERIFY(!result->hasValue && result->error);
            QCOMPARE(result->error->code(), EROFS);
            QVERIFY2(result->error->fullDescription().contains("mount -o remount,rw " + readOnly),
                     qPrintable(result->error->fullDescription()));
        }
        QCOMPARE(checks(), QList<QStringList>());
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

    void aCallerStuckInItsCheckDoesNotHoldOthers()
    {
        bus.allow(AllActions);
        QDBusConnection stuck = QDBusConnection::connectToBus(bus.address, "stuck-caller");
        bus.polkit("SetHangCaller", {stuck.baseService()});
        const QDBusPendingCall held = stuck.asyncCall(serviceCall(readRequest(secret)), 120000);
        QTRY_COMPARE_WITH_TIMEOUT(bus.polkit("HangingCount").arguments().value(0).toUInt(), 1u, 15000);
        // Another caller is answered while the first still waits for polkit.
        auto other = run(Op::GetEntries);
        QTRY_COMPARE_WITH_TIMEOUT(other->count(), 1, 15000);
        QVERIFY(other->hasValue);
        QVERIFY(!held.isFinished());
        bus.polkit("SetHangService", {false});
        QDBusConnection::disconnectFromBus("stuck-caller");
        // The service is restarted so the stuck check holds nothing in the next cases.
        bus.stopService();
        QVERIFY(bus.startService());
    }

    void aFloodIsRefusedAtOnceNotHeld()
    {
        bus.allow(AllActions);
        bus.polkit("SetHangService", {true}); // every request admitted stays in its check
        const QByteArray large = MGAclProtocol::request(1, MGAclRemoteMethod::GetEntries, "C",
                                                        {{"path", QByteArray(3 * 1024 * 1024, '/')}})
                                     .toCborValue()
                                     .toCbor();
        QList<QDBusPendingCall> calls = flood(QStringLiteral("flood"), 4, 12, large);
        // Each caller has one request in its check and one waiting behind it (what fits in
        // its share); everything else is refused at once.
        int refused = 0;
        for (QDBusPendingCall &call : calls) {
            if (!QTest::qWaitFor([&] { return call.isFinished(); }, 1000))
                continue;
            const std::optional<MGError> error = errorOf(call.reply());
            QVERIFY(error && error->code() == EBUSY);
            ++refused;
        }
        QCOMPARE(refused, 4 * 10);
        QTRY_COMPARE_WITH_TIMEOUT(bus.polkit("HangingCount").arguments().value(0).toUInt(), 4u, 15000);
        const qint64 residentKiB = memoryOf(bus.service().processId(), "VmRSS:");
        qInfo("the service holds %lld KiB", residentKiB);
        // 144 MiB were sent; what is kept is what fits the callers' shares. (An address
        // sanitizer build keeps freed memory in quarantine, so its size says nothing.)
#if !defined(__SANITIZE_ADDRESS__)
        QVERIFY2(residentKiB < 100 * 1024, qPrintable(QString::number(residentKiB)));
#endif
        bus.polkit("SetHangService", {false});
        unflood(QStringLiteral("flood"), 4);
        bus.stopService();
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
