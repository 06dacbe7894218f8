#include "MGAclServiceDispatcher.h"

#include "MGAccessEvaluator.h"
#include "MGAclList.h"
#include "MGAclPropagator.h"
#include "MGPosixAclStore.h"
#include "NTLocalizedString.h"

#include <QCborArray>
#include <QUuid>
#include <cerrno>
#include <climits>

namespace {
constexpr qsizetype MaximumPathLength = PATH_MAX;

MGError requestError(const QString &why)
{
    return MGError::posixError(EINVAL, QStringLiteral("The ACL service received a malformed request: %1").arg(why));
}

// The request's arguments, with exactly the fields named.
std::optional<QCborMap> arguments(const QCborMap &request, QStringList fields, QString *why)
{
    const QCborValue args = request.value(QStringLiteral("args"));
    if (!args.isMap()) {
        *why = QStringLiteral("the arguments are not a map");
        return std::nullopt;
    }
    const QCborMap map = args.toMap();
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        if (!fields.removeOne(it.key().toString())) {
            *why = QStringLiteral("unexpected argument");
            return std::nullopt;
        }
    }
    if (!fields.isEmpty()) {
        *why = QStringLiteral("missing argument \"%1\"").arg(fields.first());
        return std::nullopt;
    }
    return map;
}

std::optional<QString> pathArgument(const QCborMap &args, QString *why)
{
    const QCborValue value = args.value(QStringLiteral("url"));
    if (!value.isString()) {
        *why = QStringLiteral("the item is not a path");
        return std::nullopt;
    }
    const QString path = value.toString();
    if (!path.startsWith(QLatin1Char('/')) || path.contains(QChar(0)) || path.size() > MaximumPathLength) {
        *why = QStringLiteral("the item is not an absolute path");
        return std::nullopt;
    }
    return path;
}
}

QString MGAclServiceDispatcher::rightForMethod(const QString &method)
{
    for (const MGAclRemoteMethod &remote : MGAclRemoteMethods) {
        if (method == QLatin1String(remote.selector))
            return QString::fromLatin1(remote.right);
    }
    return QString();
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
    for (auto it = request.constBegin(); it != request.constEnd(); ++it) {
        const QString key = it.key().toString();
        if (key != QLatin1String("id") && key != QLatin1String("method") && key != QLatin1String("locale")
            && key != QLatin1String("args"))
            return malformedReply(QStringLiteral("unknown field"), id);
    }
    const QCborValue locale = request.value(QStringLiteral("locale"));
    if (locale.isString() && locale.toString().size() < 64 && locale.toString() != m_locale) {
        // Titles and row names are in the caller's language.
        m_locale = locale.toString();
        NTLocalizedString::installTranslation(m_locale);
    }
    const QString method = request.value(QStringLiteral("method")).toString();
    QString why;
    QCborMap reply;
    reply.insert(QStringLiteral("id"), id);

    if (method == QLatin1String(GetEntries)) {
        const auto args = arguments(request, {QStringLiteral("url")}, &why);
        const auto path = args ? pathArgument(*args, &why) : std::nullopt;
        if (!path)
            return malformedReply(why, id);
        const MGResult<MGAclList> list = MGPosixAclStore::read(*path);
        if (!list)
            return errorReply(id, list.error());
        reply.insert(QStringLiteral("entries"), MGAclLists::toCbor(*list));
        return reply;
    }
    if (method == QLatin1String(SetEntries) || method == QLatin1String(PropagateEntries)) {
        const auto args = arguments(request, {QStringLiteral("url"), QStringLiteral("entries")}, &why);
        const auto path = args ? pathArgument(*args, &why) : std::nullopt;
        if (!path)
            return malformedReply(why, id);
        const auto list = MGAclLists::fromCbor(args->value(QStringLiteral("entries")), &why);
        if (!list)
            return malformedReply(why, id);
        const MGResultError error = method == QLatin1String(SetEntries) ? MGPosixAclStore::write(*path, *list)
                                                                        : MGAclPropagator(*path, *list).run();
        if (error)
            return errorReply(id, *error);
        return reply;
    }
    if (method == QLatin1String(GetAccess)) {
        const auto args = arguments(request, {QStringLiteral("url"), QStringLiteral("uuid")}, &why);
        const auto path = args ? pathArgument(*args, &why) : std::nullopt;
        if (!path)
            return malformedReply(why, id);
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
    return malformedReply(QStringLiteral("unknown method"), id);
}
