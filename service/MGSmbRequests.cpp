#include "MGSmbRequests.h"

#include "MGAclList.h"
#include "MGAclServiceDispatcher.h"
#include "MGServerCredentials.h"
#include "MGSmbAclStore.h"

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
}

QCborMap MGSmbRequests::answer(const QCborValue &id, MGAclRemoteMethod method, const QCborMap &args)
{
    const QByteArray url = args.value(QString(Key::Path)).toByteArray();
    if (const std::optional<MGError> problem = urlProblem(url, method))
        return MGAclServiceDispatcher::errorReply(id, *problem);
    const MGSmbClient client(MGServerCredentials::fromCbor(args.value(QString(Key::Credentials)).toMap()));
    const MGSmbAclStore store(client);
    QCborMap reply{{MGAclProtocol::Field::Id, id}};
    switch (method) {
    case MGAclRemoteMethod::GetEntries: {
        const MGResult<MGAclList> list = store.read(url);
        if (!list)
            return MGAclServiceDispatcher::errorReply(id, list.error());
        reply.insert(MGAclProtocol::Field::Entries, MGAclLists::toCbor(*list));
        return reply;
    }
    case MGAclRemoteMethod::SetEntries: {
        QString why;
        const auto list = MGAclLists::fromCbor(args.value(QString(Key::Entries)), &why);
        if (!list)
            return MGAclServiceDispatcher::malformedReply(why, id);
        std::optional<MGAclList> expected;
        if (args.contains(QString(Key::Expected)) && !(expected = MGAclLists::fromCbor(args.value(QString(Key::Expected)), &why)))
            return MGAclServiceDispatcher::malformedReply(why, id);
        if (args.contains(QString(Key::SpecialBits)))
            return MGAclServiceDispatcher::errorReply(id, MGError::posixError(EINVAL, QStringLiteral("%1: items on file "
                                                                                                     "servers have no set-id "
                                                                                                     "or sticky bits.")
                                                                                          .arg(MGAclProtocol::description(method))));
        if (const MGResultError error = store.write(url, *list, expected))
            return MGAclServiceDispatcher::errorReply(id, *error);
        return reply;
    }
    default:
        return MGAclServiceDispatcher::errorReply(
            id, MGError::posixError(ENOTSUP, QStringLiteral("%1: this is not available for items on file servers yet.")
                                                 .arg(MGAclProtocol::description(method))));
    }
}
