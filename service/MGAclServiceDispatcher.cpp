#include "MGAclServiceDispatcher.h"

#include "MGAccessEvaluator.h"
#include "MGAclList.h"
#include "MGAclPropagator.h"
#include "MGCborReader.h"
#include "MGPosixAclStore.h"
#include "NTLocalizedString.h"

#include <QUuid>
#include <cerrno>
#include <climits>

namespace {
constexpr qsizetype MaximumPathLength = PATH_MAX;
constexpr qsizetype MaximumLocaleLength = 64;

MGError requestError(const QString &why)
{
    return MGError::posixError(EINVAL, QStringLiteral("The ACL service received a malformed request: %1").arg(why));
}

// The arguments each method takes.
QStringList argumentsOf(MGAclRemoteMethod method)
{
    switch (method) {
    case MGAclRemoteMethod::GetEntries:
        return {QStringLiteral("url")};
    case MGAclRemoteMethod::SetEntries:
    case MGAclRemoteMethod::PropagateEntries:
        return {QStringLiteral("url"), QStringLiteral("entries")};
    case MGAclRemoteMethod::GetAccess:
        return {QStringLiteral("url"), QStringLiteral("uuid")};
    }
    return {};
}

std::optional<QString> pathArgument(const QCborMap &args, MGCborReader &read)
{
    const QCborValue value = args.value(QStringLiteral("url"));
    if (!value.isString()) {
        read.fail(QStringLiteral("the item is not a path"));
        return std::nullopt;
    }
    const QString path = value.toString();
    if (!path.startsWith(QLatin1Char('/')) || path.contains(QChar(0)) || path.size() > MaximumPathLength) {
        read.fail(QStringLiteral("the item is not an absolute path"));
        return std::nullopt;
    }
    return path;
}
}

QCborMap MGAclServiceDispatcher::errorReply(const QCborValue &id, const MGError &error)
{
    QCborMap reply;
    if (id.isInteger())
        reply.insert(QStringLiteral("id"), id);
    reply.insert(QStringLiteral("error"), error.toCbor());
    return reply;
}

QCborMap MGAclServiceDispatcher::malformedReply(const QString &why, const QCborValue &id)
{
    return errorReply(id, requestError(why));
}

QCborMap MGAclServiceDispatcher::handle(const QCborMap &request)
{
    const QCborValue id = request.value(QStringLiteral("id"));
    if (!id.isInteger() || id.toInteger() < 0)
        return malformedReply(QStringLiteral("no request number"));
    QString why;
    MGCborReader read(&why);
    if (!read.map(request, QStringLiteral("request"), {QStringLiteral("id"), QStringLiteral("method"), QStringLiteral("args")},
                  {QStringLiteral("locale")}))
        return malformedReply(why, id);
    const auto method = MGAclProtocol::methodForSelector(request.value(QStringLiteral("method")).toString());
    if (!method)
        return malformedReply(QStringLiteral("unknown method"), id);
    const QCborValue locale = request.value(QStringLiteral("locale"));
    if (locale.isString() && locale.toString().size() < MaximumLocaleLength && locale.toString() != m_locale) {
        // Titles and row names are in the caller's language.
        m_locale = locale.toString();
        NTLocalizedString::installTranslation(m_locale);
    }
    const auto args = read.map(request.value(QStringLiteral("args")), QStringLiteral("argument record"), argumentsOf(*method));
    const auto path = args ? pathArgument(*args, read) : std::nullopt;
    if (!path)
        return malformedReply(why, id);

    QCborMap reply;
    reply.insert(QStringLiteral("id"), id);
    switch (*method) {
    case MGAclRemoteMethod::GetEntries: {
        const MGResult<MGAclList> list = MGPosixAclStore::read(*path);
        if (!list)
            return errorReply(id, list.error());
        reply.insert(QStringLiteral("entries"), MGAclLists::toCbor(*list));
        return reply;
    }
    case MGAclRemoteMethod::SetEntries:
    case MGAclRemoteMethod::PropagateEntries: {
        const auto list = MGAclLists::fromCbor(args->value(QStringLiteral("entries")), &why);
        if (!list)
            return malformedReply(why, id);
        const MGResultError error = *method == MGAclRemoteMethod::SetEntries ? MGPosixAclStore::write(*path, *list)
                                                                             : MGAclPropagator(*path, *list).run();
        if (error)
            return errorReply(id, *error);
        return reply;
    }
    case MGAclRemoteMethod::GetAccess: {
        const QCborValue uuidValue = args->value(QStringLiteral("uuid"));
        const QUuid uuid = uuidValue.isString() ? QUuid(uuidValue.toString()) : QUuid();
        if (uuid.isNull())
            return malformedReply(QStringLiteral("the identity is not a UUID"), id);
        const auto tree = MGAccessEvaluator::accessTree(*path, uuid);
        if (!tree)
            return errorReply(id, tree.error());
        reply.insert(QStringLiteral("access"), MGTreeNode::forestToCbor(*tree));
        return reply;
    }
    }
    return malformedReply(QStringLiteral("unknown method"), id);
}
