#include "MGAclPlugin.h"


namespace {
const QString GetEntries = QString::fromLatin1(MGAclRemoteMethods[0].selector);
const QString GetAccess = QString::fromLatin1(MGAclRemoteMethods[3].selector);
}

const char *MGAclPlugin::rightFor(Operation operation)
{
    return MGAclRemoteMethods[int(operation)].right;
}

QString MGAclPlugin::descriptionFor(Operation operation)
{
    switch (operation) {
    case Operation::ReadEntries:
        return QStringLiteral("Error retrieving Acces Control List entries");
    case Operation::WriteEntries:
        return QStringLiteral("Error saving Acces Control List entries");
    case Operation::Propagate:
        return QStringLiteral("Error propagating file Access Control List, POSIX permissions, owner and group");
    case Operation::ReadAccess:
        return QStringLiteral("Error retrieving effective file access permissions");
    }
    return QString();
}

QHash<QString, MGRemoteClasses::Classes> MGAclPlugin::remoteEncodableClasses() const
{
    using namespace MGRemoteClasses;
    static const QHash<QString, Classes> classes = {
        {GetEntries, Classes(Array) | String | TreeNode | AclEntry},
        {GetAccess, Classes(Array) | TreeNode},
    };
    return classes;
}

std::optional<QHash<QString, MGRemoteClasses::Classes>> MGAclPlugin::exportedEncodableClasses() const
{
    return std::nullopt;
}

template <typename Result>
void MGAclPlugin::performRemote(Operation operation, Invoke<Result> invoke, std::function<void(Outcome<Result>)> done)
{
    using Done = Outcome<Result>;
    const Pointer self = shared_from_this();
    const QString description = descriptionFor(operation);
    auto connectionFailed = [done, description](const MGError &error) {
        done(Done{Done::Failed, std::nullopt, MGError::errorWithError(error, description)});
    };
    auto proxy = connection()->remoteObjectProxyWithErrorHandler(connectionFailed);
    invoke(*proxy, [self, operation, invoke, done, description, connectionFailed](std::optional<Result> result,
                                                                                    MGResultError error) {
        if (result)
            return done(Done{Done::Succeeded, std::move(result), std::nullopt});
        if (!error || !error->isPermissionError())
            return done(Done{Done::Failed, std::nullopt, error});
        self->getAuthConnectionForRight(rightFor(operation), [self, invoke, done, description,
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
            invoke(*retry, [self, done](std::optional<Result> result, MGResultError error) {
                if (result)
                    return done(Done{Done::Succeeded, std::move(result), std::nullopt});
                done(Done{Done::Failed, std::nullopt, error, true});
            });
        });
    });
}

template void MGAclPlugin::performRemote<MGAclList>(Operation, Invoke<MGAclList>, std::function<void(Outcome<MGAclList>)>);
template void MGAclPlugin::performRemote<QList<MGTreeNode::Pointer>>(
    Operation, Invoke<QList<MGTreeNode::Pointer>>, std::function<void(Outcome<QList<MGTreeNode::Pointer>>)>);
template void MGAclPlugin::performRemote<std::monostate>(Operation, Invoke<std::monostate>,
                                                         std::function<void(Outcome<std::monostate>)>);

void MGAclPlugin::getEntriesWithUrl(const QUrl &url, MGAclServiceProxy::EntriesReply reply)
{
    performRemote<MGAclList>(
        Operation::ReadEntries,
        [url](MGAclServiceProxy &proxy, auto answer) { proxy.getAclEntriesWithUrl(url, answer); },
        [reply](Outcome<MGAclList> outcome) {
            // A dismissed authorisation answers neither entries nor error.
            reply(outcome.result, outcome.error);
        });
}

void MGAclPlugin::getAccessWithUrl(const QUrl &url, const QUuid &uuid, MGAclServiceProxy::AccessReply reply)
{
    performRemote<QList<MGTreeNode::Pointer>>(
        Operation::ReadAccess,
        [url, uuid](MGAclServiceProxy &proxy, auto answer) { proxy.getAclAccessWithUrl(url, uuid, answer); },
        [reply](Outcome<QList<MGTreeNode::Pointer>> outcome) {
            // The privileged retry's own error is deliberately not shown.
            reply(outcome.result, outcome.fromPrivilegedReply ? MGResultError() : outcome.error);
        });
}

void MGAclPlugin::sendEntries(Operation operation, const MGAclList &entries, const QUrl &url,
                              std::function<void(Outcome<std::monostate>)> done)
{
    const bool propagate = operation == Operation::Propagate;
    performRemote<std::monostate>(
        operation,
        [entries, url, propagate](MGAclServiceProxy &proxy, auto answer) {
            auto reply = [answer](MGResultError error) {
                answer(error ? std::nullopt : std::optional<std::monostate>(std::monostate()), error);
            };
            if (propagate)
                proxy.propagateAclEntries(entries, url, reply);
            else
                proxy.setAclEntries(entries, url, reply);
        },
        std::move(done));
}
