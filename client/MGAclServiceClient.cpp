#include "MGAclServiceClient.h"

#include "MGItemPaths.h"
#include "MGServerLogins.h"

#include <QCoreApplication>
#include <QThread>

MGAclServiceClient::MGAclServiceClient(const QString &queueLabel) : MGConnector(queueLabel)
{
}

MGAclServiceClient::~MGAclServiceClient() = default;

std::shared_ptr<MGAclServiceClient> MGAclServiceClient::client(const QString &queueLabel)
{
    return std::shared_ptr<MGAclServiceClient>(new MGAclServiceClient(queueLabel), &release);
}

void MGAclServiceClient::release(MGAclServiceClient *client)
{
    const QCoreApplication *app = QCoreApplication::instance();
    if (!app || QThread::currentThread() == app->thread())
        delete client;
    else
        MGMainQueue::async([client] { delete client; });
}

QHash<QString, MGRemoteClasses::Classes> MGAclServiceClient::remoteEncodableClasses() const
{
    using namespace MGRemoteClasses;
    static const QHash<QString, Classes> classes = {
        {QString::fromLatin1(MGAclProtocol::selector(MGAclRemoteMethod::GetEntries)),
         Classes(Array) | String | TreeNode | AclEntry},
        {QString::fromLatin1(MGAclProtocol::selector(MGAclRemoteMethod::GetAccess)), Classes(Array) | TreeNode | String},
        {QString::fromLatin1(MGAclProtocol::selector(MGAclRemoteMethod::BackupEntries)), Classes(Number)},
        {QString::fromLatin1(MGAclProtocol::selector(MGAclRemoteMethod::AuditAccess)), Classes(Number)},
    };
    return classes;
}

namespace {
// A refusal on a file server: the retry goes with another account of that server over the
// ordinary connection. An account from the keyring that is refused as well leads to the
// user's own answer; that one is the last try.
template <typename Result>
void retryWithServerLogin(const std::shared_ptr<MGAclServiceClient> &self, MGAclServiceClient::Invoke<Result> invoke,
                          std::function<void(MGAclServiceClient::Outcome<Result>)> done, const QUrl &item,
                          const MGError &refusal, bool retried)
{
    using Done = MGAclServiceClient::Outcome<Result>;
    MGServerLogins::ask(item, refusal, [self, invoke, done, item, refusal, retried](MGServerLogins::Answer answer) {
        if (answer == MGServerLogins::Answer::CannotAsk)
            return done(Done{Done::Failed, std::nullopt, refusal, retried});
        if (answer == MGServerLogins::Answer::Cancelled)
            return done(Done{Done::Cancelled, std::nullopt, std::nullopt});
        auto retry = self->connection()->remoteObjectProxyWithErrorHandler([done](const MGError &error) {
            done(Done{Done::Failed, std::nullopt, error});
        });
        invoke(*retry, [self, invoke, done, item, answer](std::optional<Result> result, MGResultError error) {
            if (result)
                return done(Done{Done::Succeeded, std::move(result), std::nullopt});
            if (answer == MGServerLogins::Answer::FromKeyring && error && error->isPermissionError())
                return retryWithServerLogin(self, invoke, done, item, *error, true);
            done(Done{Done::Failed, std::nullopt, error, true});
        });
    });
}
}

template <typename Result>
void MGAclServiceClient::performRemote(MGAclRemoteMethod method, Invoke<Result> invoke,
                                       std::function<void(Outcome<Result>)> done, const QUrl &item)
{
    using Done = Outcome<Result>;
    // The client lives as long as any of its calls.
    const std::shared_ptr<MGAclServiceClient> self = shared_from_this();
    const QString description = MGAclProtocol::description(method);
    auto connectionFailed = [done, description](const MGError &error) {
        done(Done{Done::Failed, std::nullopt, MGError::errorWithError(error, description)});
    };
    auto proxy = connection()->remoteObjectProxyWithErrorHandler(connectionFailed);
    invoke(*proxy, [self, method, invoke, done, description, connectionFailed, item](std::optional<Result> result,
                                                                                 MGResultError error) {
        if (result)
            return done(Done{Done::Succeeded, std::move(result), std::nullopt});
        if (!error || !error->isPermissionError())
            return done(Done{Done::Failed, std::nullopt, error});
        if (MGItemPaths::isServerUrl(item))
            return retryWithServerLogin(self, invoke, done, item, *error, false);
        self->getAuthConnectionForRight(MGAclProtocol::right(method), [self, invoke, done, description,
                                                                       connectionFailed](MGResultError authError) {
            if (authError && authError->isAuthorizationCanceled())
                return done(Done{Done::Cancelled, std::nullopt, std::nullopt});
            MGServiceConnection *privileged = self->authConnection();
            if (authError || !privileged) {
                const MGError cause = authError.value_or(MGServiceConnection::connectionError(
                    MGServiceConnection::Invalid, QStringLiteral("No privileged connection is available.")));
                return done(Done{Done::Failed, std::nullopt, MGError::errorWithError(cause, description)});
            }
            auto retry = privileged->remoteObjectProxyWithErrorHandler(connectionFailed);
            invoke(*retry, [done](std::optional<Result> result, MGResultError error) {
                if (result)
                    return done(Done{Done::Succeeded, std::move(result), std::nullopt});
                done(Done{Done::Failed, std::nullopt, error, true});
            });
        });
    });
}

template void MGAclServiceClient::performRemote<MGAclList>(MGAclRemoteMethod, Invoke<MGAclList>,
                                                           std::function<void(Outcome<MGAclList>)>, const QUrl &);
template void MGAclServiceClient::performRemote<QList<MGTreeNode::Pointer>>(
    MGAclRemoteMethod, Invoke<QList<MGTreeNode::Pointer>>, std::function<void(Outcome<QList<MGTreeNode::Pointer>>)>,
    const QUrl &);
template void MGAclServiceClient::performRemote<std::monostate>(MGAclRemoteMethod, Invoke<std::monostate>,
                                                                std::function<void(Outcome<std::monostate>)>, const QUrl &);

void MGAclServiceClient::getEntriesWithUrl(const QUrl &url, MGAclServiceProxy::EntriesReply reply)
{
    performRemote<MGAclList>(
        MGAclRemoteMethod::GetEntries,
        [url](MGAclServiceProxy &proxy, auto answer) { proxy.getAclEntriesWithUrl(url, answer); },
        [reply](Outcome<MGAclList> outcome) { reply(outcome.result, outcome.error); }, url);
}

void MGAclServiceClient::getAccessWithUrl(const QUrl &url, const QUuid &uuid, MGAclServiceProxy::AccessReply reply,
                                          const std::optional<MGAclList> &edited)
{
    // The notes come from whichever call answered last: the one whose tree is shown.
    const auto notes = std::make_shared<MGAclServiceProxy::AccessNotes>();
    performRemote<QList<MGTreeNode::Pointer>>(
        MGAclRemoteMethod::GetAccess,
        [url, uuid, notes, edited](MGAclServiceProxy &proxy, auto answer) {
            proxy.getAclAccessWithUrl(url, uuid, [answer, notes](auto tree, MGResultError error, const auto &said) {
                *notes = said;
                answer(tree, error);
            }, edited);
        },
        [reply, notes](Outcome<QList<MGTreeNode::Pointer>> outcome) {
            reply(outcome.result, outcome.fromPrivilegedReply ? MGResultError() : outcome.error, *notes);
        },
        url);
}

void MGAclServiceClient::sendEntries(MGAclRemoteMethod method, const MGAclList &entries, const QUrl &url,
                                     std::function<void(Outcome<std::monostate>)> done, MGAclExpectation expected,
                                     std::shared_ptr<MGPropagationWatch> watch)
{
    const bool propagate = method == MGAclRemoteMethod::PropagateEntries;
    performRemote<std::monostate>(
        method,
        [entries, url, propagate, expected, watch](MGAclServiceProxy &proxy, auto answer) {
            auto reply = [answer](MGResultError error) {
                answer(error ? std::nullopt : std::optional<std::monostate>(std::monostate()), error);
            };
            if (propagate)
                proxy.propagateAclEntries(entries, url, reply, expected, watch);
            else
                proxy.setAclEntries(entries, url, reply, expected);
        },
        std::move(done), url);
}

void MGAclServiceClient::restoreEntries(const MGAclList &entries, mode_t specialBits, const QUrl &url,
                                        std::function<void(Outcome<std::monostate>)> done, MGAclExpectation expected)
{
    performRemote<std::monostate>(
        MGAclRemoteMethod::SetEntries,
        [entries, url, expected, specialBits](MGAclServiceProxy &proxy, auto answer) {
            proxy.setAclEntries(
                entries, url,
                [answer](MGResultError error) {
                    answer(error ? std::nullopt : std::optional<std::monostate>(std::monostate()), error);
                },
                expected, specialBits);
        },
        std::move(done), url);
}

void MGAclServiceClient::backupWithUrl(const QUrl &url, MGAclServiceProxy::TextHandler text,
                                       std::function<void(Outcome<std::monostate>)> done, bool itemOnly)
{
    const auto wrote = std::make_shared<std::atomic<bool>>(false);
    performRemote<std::monostate>(
        MGAclRemoteMethod::BackupEntries,
        [url, text, wrote, itemOnly](MGAclServiceProxy &proxy, auto answer) {
            proxy.backupAclEntriesWithUrl(
                url,
                [text, wrote](const QByteArray &piece) {
                    *wrote = true;
                    text(piece);
                },
                [answer, wrote](MGResultError error) {
                    // What was written stays written: a second, privileged walk would write
                    // it again, so items below that could not be read end the backup here.
                    if (error && *wrote && error->isPermissionError())
                        error = MGError::errorWithError(MGError::posixError(EIO, error->localizedDescription()),
                                                        error->localizedDescription());
                    answer(error ? std::nullopt : std::optional<std::monostate>(std::monostate()), error);
                },
                itemOnly);
        },
        std::move(done), url);
}

void MGAclServiceClient::auditWithUrl(const QUrl &url, const QUuid &uuid, const QString &level, bool summary,
                                      std::function<void(Outcome<QByteArray>)> done)
{
    performRemote<QByteArray>(
        MGAclRemoteMethod::AuditAccess,
        [url, uuid, level, summary](MGAclServiceProxy &proxy, auto answer) {
            // Each attempt collects its own answer: one that could not read every folder is
            // dropped whole when the privileged service walks again.
            auto text = std::make_shared<QByteArray>();
            proxy.auditAclAccessWithUrl(
                url, uuid, level, summary, [text](const QByteArray &piece) { *text += piece; },
                [answer, text](MGResultError error) {
                    answer(error ? std::nullopt : std::optional<QByteArray>(*text), error);
                });
        },
        std::move(done), url);
}
