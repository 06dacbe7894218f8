#include "MGSmbRequests.h"

#include "MGAclList.h"
#include "MGAclServiceDispatcher.h"
#include "MGServerCredentials.h"
#include "MGSmbAccess.h"
#include "MGSmbAclStore.h"
#include "MGSmbAudit.h"
#include "MGSmbPropagator.h"

#include <QCryptographicHash>
#include <QMutex>
#include <QUrl>
#include <cerrno>

namespace Key = MGAclProtocol::Key;

namespace {
// A URL that carries a password would put it where URLs go (records, messages, lists of
// open windows); accounts travel apart from URLs.
std::optional<MGError> urlProblem(const QByteArray &path, MGAclRemoteMethod method)
{
    const QUrl url = QUrl::fromEncoded(path, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty() || url.path().count(QLatin1Char('/')) < 1)
        return MGError::posixError(EINVAL, QStringLiteral("%1: \u201c%2\u201d is not the URL of an item on a file "
                                                          "server (smb://SERVER/SHARE/PATH).")
                                               .arg(MGAclProtocol::description(method), QString::fromUtf8(path.left(200))));
    if (!url.password().isEmpty())
        return MGError::posixError(EINVAL, QStringLiteral("%1: the URL holds a password; give the account apart from "
                                                          "it, and nothing was done.")
                                               .arg(MGAclProtocol::description(method)));
    return std::nullopt;
}

// The last connection, kept for the next request with the same account: reading a list and
// then saving it is two requests, and a connection costs the server a login each time. The
// ordinary service answers one request at a time, and serves one program of one user.
class ConnectionCache
{
public:
    std::shared_ptr<MGSmbClient> connection(const MGServerCredentials &credentials)
    {
        const QMutexLocker locker(&m_lock);
        const QByteArray key = keyOf(credentials);
        if (!m_client || key != m_key) {
            m_client = std::make_shared<MGSmbClient>(credentials);
            m_key = key;
        }
        return m_client;
    }
    // After a failure that may be the connection's own (a server gone and back), the next
    // request makes a new one.
    void forget()
    {
        const QMutexLocker locker(&m_lock);
        m_client.reset();
        m_key.clear();
    }

private:
    static QByteArray keyOf(const MGServerCredentials &credentials)
    {
        QCryptographicHash hash(QCryptographicHash::Sha256);
        hash.addData(credentials.user().toUtf8() + '\0' + credentials.domain().toUtf8() + '\0');
        hash.addData(credentials.password());
        return hash.result();
    }
    QMutex m_lock;
    std::shared_ptr<MGSmbClient> m_client;
    QByteArray m_key;
};

// Never destroyed: at exit the library and its lock may be gone before it; the connection
// ends with the process.
ConnectionCache &cache()
{
    static ConnectionCache *connections = new ConnectionCache;
    return *connections;
}

QCborMap noAccount(const QCborValue &id, MGAclRemoteMethod method)
{
    return MGAclServiceDispatcher::errorReply(id, MGError::posixError(EINVAL, QStringLiteral("%1: name the file server's "
                                                                                             "account to ask about.")
                                                                                  .arg(MGAclProtocol::description(method))));
}

QCborMap failed(ConnectionCache &connections, const QCborValue &id, const MGError &error)
{
    connections.forget();
    return MGAclServiceDispatcher::errorReply(id, error);
}
}

QCborMap MGSmbRequests::answer(const QCborValue &id, MGAclRemoteMethod method, const QCborMap &args,
                               const MGAclServiceDispatcher::Caller &caller)
{
    const QByteArray url = args.value(QString(Key::Path)).toByteArray();
    if (const std::optional<MGError> problem = urlProblem(url, method))
        return MGAclServiceDispatcher::errorReply(id, *problem);
    const std::shared_ptr<MGSmbClient> client =
        cache().connection(MGServerCredentials::fromCbor(args.value(QString(Key::Credentials)).toMap()));
    const MGSmbAclStore store(*client);
    QCborMap reply{{MGAclProtocol::Field::Id, id}};
    switch (method) {
    case MGAclRemoteMethod::GetEntries: {
        const MGResult<MGAclList> list = store.read(url);
        if (!list)
            return failed(cache(), id, list.error());
        reply.insert(MGAclProtocol::Field::Entries, MGAclLists::toCbor(*list));
        return reply;
    }
    case MGAclRemoteMethod::SetEntries: {
        const auto sent = MGAclServiceDispatcher::sentLists(id, args);
        if (const QCborMap *malformed = std::get_if<QCborMap>(&sent))
            return *malformed;
        const MGAclList *list = &std::get<MGAclServiceDispatcher::SentLists>(sent).entries;
        const std::optional<MGAclList> &expected = std::get<MGAclServiceDispatcher::SentLists>(sent).expected;
        if (args.contains(QString(Key::SpecialBits)))
            return MGAclServiceDispatcher::errorReply(id, MGError::posixError(EINVAL, QStringLiteral("%1: items on file "
                                                                                                     "servers have no set-id "
                                                                                                     "or sticky bits.")
                                                                                          .arg(MGAclProtocol::description(method))));
        if (const MGResultError error = store.write(url, *list, expected))
            return failed(cache(), id, *error);
        return reply;
    }
    case MGAclRemoteMethod::PropagateEntries: {
        const auto sent = MGAclServiceDispatcher::sentLists(id, args);
        if (const QCborMap *malformed = std::get_if<QCborMap>(&sent))
            return *malformed;
        const MGAclList *list = &std::get<MGAclServiceDispatcher::SentLists>(sent).entries;
        const std::optional<MGAclList> &expected = std::get<MGAclServiceDispatcher::SentLists>(sent).expected;
        const MGPropagationRegistry::Registration running(caller.registry, caller.name, id.toInteger());
        MGSmbPropagator propagator(store, url, *list);
        propagator.setExpected(expected);
        propagator.setDryRun(args.value(QString(Key::DryRun)).toBool());
        propagator.setStopFlag(running.flag());
        const auto progress = [&](const MGPropagationProgress &sofar) {
            if (caller.progress)
                caller.progress(QCborMap{{MGAclProtocol::Field::Id, id}, {MGAclProtocol::Field::Progress, sofar.toCbor()}});
        };
        propagator.setProgressHandler(progress, std::chrono::milliseconds(250));
        const MGResultError error = propagator.run();
        // The whole summary, before the reply: what was done, whatever the outcome.
        MGPropagationProgress summary = propagator.summary();
        summary.finished = true;
        progress(summary);
        if (error)
            return failed(cache(), id, *error);
        return reply;
    }
    case MGAclRemoteMethod::AuditAccess: {
        const QString account = args.value(QString(Key::Account)).toString();
        if (account.isEmpty())
            return noAccount(id, method);
        const MGSmbAccounts accounts(MGServerCredentials::fromCbor(args.value(QString(Key::Credentials)).toMap()));
        const MGResult<MGNtToken> token = accounts.tokenFor(QUrl::fromEncoded(url).host(), account);
        if (!token)
            return failed(cache(), id, token.error());
        const QHash<QString, MGSmbAudit::Level> levels = {{QStringLiteral("read"), MGSmbAudit::Level::Read},
                                                          {QStringLiteral("write"), MGSmbAudit::Level::Write},
                                                          {QStringLiteral("any"), MGSmbAudit::Level::Any}};
        MGSmbAudit audit(store, *token, levels.value(args.value(QString(Key::Level)).toString()),
                         args.value(QString(Key::Summary)).toBool(), [&](const QByteArray &text) {
                             if (caller.progress)
                                 caller.progress(QCborMap{{MGAclProtocol::Field::Id, id},
                                                          {MGAclProtocol::Field::Progress, QCborMap{{MGAclProtocol::Field::Text, text}}}});
                         });
        audit.setIdentityName(account);
        const MGResult<qint64> items = audit.run(url);
        if (!items)
            return failed(cache(), id, items.error());
        reply.insert(MGAclProtocol::Field::Items, *items);
        return reply;
    }
    case MGAclRemoteMethod::GetAccess: {
        const QString account = args.value(QString(Key::Account)).toString();
        if (account.isEmpty())
            return noAccount(id, method);
        std::optional<MGAclList> edited;
        if (args.contains(QString(Key::Entries))) {
            QString why;
            if (!(edited = MGAclLists::fromCbor(args.value(QString(Key::Entries)), &why)))
                return MGAclServiceDispatcher::errorReply(id, MGError::posixError(EINVAL, why));
        }
        const MGSmbAccounts accounts(MGServerCredentials::fromCbor(args.value(QString(Key::Credentials)).toMap()));
        const auto tree = MGSmbAccess(store, accounts).accessTree(url, account, edited);
        if (!tree)
            return failed(cache(), id, tree.error());
        reply.insert(MGAclProtocol::Field::Access, MGTreeNode::forestToCbor(tree->nodes));
        if (!tree->caveat.isEmpty())
            reply.insert(MGAclProtocol::Field::Caveat, tree->caveat);
        return reply;
    }
    default:
        return MGAclServiceDispatcher::errorReply(
            id, MGError::posixError(ENOTSUP, QStringLiteral("%1: this is not available for items on file servers yet.")
                                                 .arg(MGAclProtocol::description(method))));
    }
}
