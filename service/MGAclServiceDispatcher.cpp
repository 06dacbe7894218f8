#include "MGAclServiceDispatcher.h"

#include "MGAccessEvaluator.h"
#include "MGAclList.h"
#include "CBIdentityAuthority.h"
#include "MGAclAudit.h"
#include "MGAclBackup.h"
#include "MGAclPropagator.h"
#include "MGCborReader.h"
#include "MGPosixAclStore.h"
#include "NTLocalizedString.h"

#include <QUuid>
#include <cerrno>
#include <climits>
#include <limits>

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
        return {QStringLiteral("path")};
    case MGAclRemoteMethod::SetEntries:
    case MGAclRemoteMethod::PropagateEntries:
        return {QStringLiteral("path"), QStringLiteral("entries")};
    case MGAclRemoteMethod::GetAccess:
        return {QStringLiteral("path"), QStringLiteral("uuid")};
    case MGAclRemoteMethod::StopPropagation:
        return {QStringLiteral("request")};
    case MGAclRemoteMethod::BackupEntries:
        return {QStringLiteral("path")};
    case MGAclRemoteMethod::AuditAccess:
        return {QStringLiteral("path"), QStringLiteral("uuid"), QStringLiteral("level")};
    }
    return {};
}

// The identity's UUID; a null one when there is none.
QUuid uuidArgument(const QCborMap &args)
{
    const QCborValue value = args.value(QStringLiteral("uuid"));
    return value.isString() ? QUuid(value.toString()) : QUuid();
}

// The item's path: the bytes the file system uses, absolute. A path the system would refuse
// as too long is refused here with the same error, so the caller learns what is wrong.
std::optional<QByteArray> pathArgument(const QCborMap &args, MGCborReader &read)
{
    const QCborValue value = args.value(QStringLiteral("path"));
    if (!value.isByteArray()) {
        read.fail(QStringLiteral("the item is not a path"));
        return std::nullopt;
    }
    const QByteArray path = value.toByteArray();
    if (!path.startsWith('/') || path.contains('\0')) {
        read.fail(QStringLiteral("the item is not an absolute path"));
        return std::nullopt;
    }
    return path;
}

const QString &failureFor(MGAclRemoteMethod method)
{
    return method == MGAclRemoteMethod::SetEntries || method == MGAclRemoteMethod::PropagateEntries
        ? MGPosixAclStore::WriteFailure
        : MGPosixAclStore::ReadFailure;
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

namespace {
// How often a long request reports; well within the time its caller waits for a word.
constexpr std::chrono::milliseconds ProgressInterval(250);

QCborMap progressReport(const QCborValue &id, const QCborMap &progress)
{
    return QCborMap{{QStringLiteral("id"), id}, {QStringLiteral("progress"), progress}};
}
}

bool MGAclServiceDispatcher::isStop(const QCborMap &request)
{
    return request.value(QStringLiteral("method")).toString()
        == QLatin1String(MGAclProtocol::selector(MGAclRemoteMethod::StopPropagation));
}

QCborMap MGAclServiceDispatcher::handle(const QCborMap &request, const Caller &caller)
{
    const ProgressSink &progress = caller.progress;
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
    // Titles and row names are in the caller's language.
    const NTLocalizedString::ThreadLanguage language(
        locale.isString() && locale.toString().size() < MaximumLocaleLength ? locale.toString() : QStringLiteral("C"));
    const bool writes = *method == MGAclRemoteMethod::SetEntries || *method == MGAclRemoteMethod::PropagateEntries;
    QStringList optional;
    if (writes)
        optional << QStringLiteral("expected");
    if (*method == MGAclRemoteMethod::PropagateEntries)
        optional << QStringLiteral("dryRun");
    if (*method == MGAclRemoteMethod::AuditAccess)
        optional << QStringLiteral("summary");
    if (*method == MGAclRemoteMethod::GetAccess)
        optional << QStringLiteral("entries"); // an edited list to evaluate instead of the item's
    const auto args = read.map(request.value(QStringLiteral("args")), QStringLiteral("argument record"), argumentsOf(*method),
                               optional);
    // Flags are true or false and a level is a word, nothing else, checked before anything is
    // touched: a request meaning "dry run" in some other spelling must never make a real change.
    if (args) {
        for (const QString &flag : {QStringLiteral("dryRun"), QStringLiteral("summary")}) {
            if (args->contains(flag) && !read.boolean(*args, QStringLiteral("argument record"), flag))
                return malformedReply(why, id);
        }
        if (args->contains(QStringLiteral("level"))
            && !read.text(*args, QStringLiteral("argument record"), QStringLiteral("level"), 16))
            return malformedReply(why, id);
    }
    if (args && *method == MGAclRemoteMethod::StopPropagation) {
        // Only the caller's own walk, by its request number.
        const auto number = read.integer(*args, QStringLiteral("argument record"), QStringLiteral("request"), 0,
                                         std::numeric_limits<qint64>::max());
        if (!number)
            return malformedReply(why, id);
        if (!caller.registry || !caller.registry->stop(caller.name, *number))
            return errorReply(id, MGError::posixError(ESRCH, QStringLiteral("%1: this program has no propagation %2 "
                                                                            "running.")
                                                                 .arg(MGAclProtocol::description(*method))
                                                                 .arg(*number)));
        return QCborMap{{QStringLiteral("id"), id}};
    }
    const auto path = args ? pathArgument(*args, read) : std::nullopt;
    if (!path)
        return malformedReply(why, id);

    if (path->size() >= MaximumPathLength)
        return errorReply(id, MGError::posixError(ENAMETOOLONG, QStringLiteral("%1 \u201c%2\u2026\u201d: the path is "
                                                                               "longer than %3 bytes")
                                                                    .arg(failureFor(*method),
                                                                         QFile::decodeName(path->left(64)))
                                                                    .arg(MaximumPathLength - 1)));
    // The item is resolved once, here; everything after goes through its descriptor.
    const MGResult<MGFileItem> item = MGFileItem::open(*path, failureFor(*method));
    if (!item)
        return errorReply(id, item.error());

    QCborMap reply;
    reply.insert(QStringLiteral("id"), id);
    // Backups and audits send their text as it comes, in progress reports.
    const auto textReport = [&](const QByteArray &text) {
        if (progress)
            progress(progressReport(id, QCborMap{{QStringLiteral("text"), text}}));
    };
    switch (*method) {
    case MGAclRemoteMethod::GetEntries: {
        const MGResult<MGAclList> list = MGPosixAclStore::read(*item);
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
        std::optional<MGAclList> expected;
        if (args->contains(QStringLiteral("expected")) && !(expected = MGAclLists::fromCbor(args->value(QStringLiteral("expected")), &why)))
            return malformedReply(why, id);
        MGResultError error;
        if (*method == MGAclRemoteMethod::SetEntries) {
            error = MGPosixAclStore::write(*item, *list, expected);
        } else {
            const MGPropagationRegistry::Registration running(caller.registry, caller.name, id.toInteger());
            MGAclPropagator propagator(*item, *list);
            propagator.setExpected(expected);
            propagator.setDryRun(args->value(QStringLiteral("dryRun")).toBool());
            propagator.setStopFlag(running.flag());
            if (progress)
                propagator.setProgressHandler(
                    [&](const MGPropagationProgress &sofar) { progress(progressReport(id, sofar.toCbor())); },
                    ProgressInterval);
            error = propagator.run();
            // The whole summary, before the reply: what was done, whatever the outcome.
            if (progress) {
                MGPropagationProgress summary = propagator.summary();
                summary.finished = true;
                progress(progressReport(id, summary.toCbor()));
            }
        }
        if (error)
            return errorReply(id, *error);
        return reply;
    }
    case MGAclRemoteMethod::BackupEntries: {
        MGAclBackup backup(*item, textReport);
        const MGResult<qint64> items = backup.run();
        if (!items)
            return errorReply(id, items.error());
        reply.insert(QStringLiteral("items"), *items);
        return reply;
    }
    case MGAclRemoteMethod::AuditAccess: {
        const QUuid uuid = uuidArgument(*args);
        const QString levelName = args->value(QStringLiteral("level")).toString();
        const QHash<QString, MGAclAudit::Level> levels = {{QStringLiteral("read"), MGAclAudit::Level::Read},
                                                          {QStringLiteral("write"), MGAclAudit::Level::Write},
                                                          {QStringLiteral("any"), MGAclAudit::Level::Any}};
        if (uuid.isNull())
            return malformedReply(QStringLiteral("the identity is not a UUID"), id);
        if (!levels.contains(levelName))
            return malformedReply(QStringLiteral("the access level is not read, write or any"), id);
        const MGResult<MGAccessSubject> subject = MGAccessSubject::forIdentity(uuid);
        if (!subject)
            return errorReply(id, subject.error());
        const auto identity = CBIdentityAuthority::defaultIdentityAuthority().identityWithUniqueIdentifier(uuid);
        MGAclAudit audit(*item, *subject, levels.value(levelName), args->value(QStringLiteral("summary")).toBool(),
                         textReport);
        audit.setIdentityName(identity ? identity->displayName() : uuid.toString(QUuid::WithoutBraces));
        audit.setBlockedAbove(MGAccessEvaluator::blockingFolder(*item, uuid));
        const MGResult<qint64> items = audit.run();
        if (!items)
            return errorReply(id, items.error());
        reply.insert(QStringLiteral("items"), *items);
        return reply;
    }
    case MGAclRemoteMethod::StopPropagation:
        break; // answered above
    case MGAclRemoteMethod::GetAccess: {
        const QUuid uuid = uuidArgument(*args);
        if (uuid.isNull())
            return malformedReply(QStringLiteral("the identity is not a UUID"), id);
        // With an edited list, the access it would give: the item is read, not changed.
        std::optional<MGAclList> edited;
        if (args->contains(QStringLiteral("entries"))) {
            QString why;
            if (!(edited = MGAclLists::fromCbor(args->value(QStringLiteral("entries")), &why)))
                return malformedReply(why, id);
        }
        const auto tree = MGAccessEvaluator::accessTree(*item, uuid, edited);
        if (!tree)
            return errorReply(id, tree.error());
        reply.insert(QStringLiteral("access"), MGTreeNode::forestToCbor(*tree));
        // The item's own answer stands; a folder on the way that keeps the identity out is
        // named beside it.
        if (const QByteArray blocked = MGAccessEvaluator::blockingFolder(*item, uuid); !blocked.isEmpty())
            reply.insert(QStringLiteral("blockedBy"), QString::fromUtf8(blocked));
        return reply;
    }
    }
    return malformedReply(QStringLiteral("unknown method"), id);
}
