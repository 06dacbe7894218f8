#include "MGAclServiceDispatcher.h"

#include "MGAccessEvaluator.h"
#include "MGAclList.h"
#include "CBIdentityAuthority.h"
#include "MGAclAudit.h"
#include "MGAclBackup.h"
#include "MGAclPropagator.h"
#include "MGAclTextFormat.h"
#include "MGAuditLog.h"
#include "MGCborReader.h"
#include "MGItemPaths.h"
#include "MGPosixAclStore.h"
#include "MGSmbRequests.h"
#include "NTLocalizedString.h"

#include <QUuid>
#include <cerrno>
#include <climits>
#include <limits>
#include <sys/sysmacros.h>

namespace {
constexpr qsizetype MaximumPathLength = PATH_MAX;
constexpr qsizetype MaximumLocaleLength = 64;

MGError requestError(const QString &why)
{
    return MGError::posixError(EINVAL, QStringLiteral("The ACL service received a malformed request: %1").arg(why));
}

namespace Key = MGAclProtocol::Key;

// The identity's UUID (checked when the request was).
QUuid uuidArgument(const QCborMap &args)
{
    return QUuid(args.value(QString(Key::Identity)).toString());
}

// What the item was when the request resolved it, as records name it beside its path.
QString itemText(const MGFileItem &item)
{
    struct statx status = {};
    if (item.status(&status) != 0)
        return QString();
    return QStringLiteral("device %1:%2, inode %3").arg(status.stx_dev_major).arg(status.stx_dev_minor).arg(status.stx_ino);
}

// An error when the request says which file it expects (its device and inode) and the item
// its path leads to now is another one.
MGResultError otherFile(const MGFileItem &item, const QCborMap &args)
{
    if (!args.contains(QString(Key::Device)) || !args.contains(QString(Key::Inode)))
        return std::nullopt;
    struct statx status = {};
    if (const int error = item.status(&status))
        return item.error(error, MGPosixAclStore::WriteFailure);
    const qint64 born = (status.stx_mask & STATX_BTIME) ? status.stx_btime.tv_sec * 1000000000 + status.stx_btime.tv_nsec : 0;
    const bool sameBirth = !args.contains(QString(Key::Born)) || born == 0 || born == args.value(QString(Key::Born)).toInteger();
    if (quint64(makedev(status.stx_dev_major, status.stx_dev_minor)) == quint64(args.value(QString(Key::Device)).toInteger())
        && status.stx_ino == quint64(args.value(QString(Key::Inode)).toInteger()) && sameBirth)
        return std::nullopt;
    return MGError::posixError(ESTALE, QStringLiteral("%1 \u201c%2\u201d: it is another file than the one that was read, "
                                                      "and nothing was changed.")
                                           .arg(MGPosixAclStore::WriteFailure, item.shownPath()));
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
        reply.insert(MGAclProtocol::Field::Id, id);
    reply.insert(MGAclProtocol::Field::Error, error.toCbor());
    return reply;
}

QCborMap MGAclServiceDispatcher::malformedReply(const QString &why, const QCborValue &id)
{
    return errorReply(id, requestError(why));
}

std::variant<MGAclServiceDispatcher::SentLists, QCborMap> MGAclServiceDispatcher::sentLists(const QCborValue &id,
                                                                                             const QCborMap &args)
{
    QString why;
    auto list = MGAclLists::fromCbor(args.value(QString(Key::Entries)), &why);
    if (!list)
        return malformedReply(why, id);
    std::optional<MGAclList> expected;
    if (args.contains(QString(Key::Expected)) && !(expected = MGAclLists::fromCbor(args.value(QString(Key::Expected)), &why)))
        return malformedReply(why, id);
    return SentLists{std::move(*list), std::move(expected)};
}

namespace {
// How often a long request reports; well within the time its caller waits for a word.
constexpr std::chrono::milliseconds ProgressInterval(250);

QCborMap progressReport(const QCborValue &id, const QCborMap &progress)
{
    return QCborMap{{MGAclProtocol::Field::Id, id}, {MGAclProtocol::Field::Progress, progress}};
}
}

bool MGAclServiceDispatcher::isStop(const QCborMap &request)
{
    return request.value(MGAclProtocol::Field::Method).toString()
        == QLatin1String(MGAclProtocol::selector(MGAclRemoteMethod::StopPropagation));
}

std::optional<QCborMap> MGAclServiceDispatcher::refusal(const QCborMap &request)
{
    const QCborValue id = request.value(MGAclProtocol::Field::Id);
    if (!MGAclProtocol::requestNumber(id))
        return malformedReply(QStringLiteral("no request number"));
    QString why;
    MGCborReader read(&why);
    if (!read.map(request, QStringLiteral("request"), {MGAclProtocol::Field::Id, MGAclProtocol::Field::Method, MGAclProtocol::Field::Arguments},
                  {MGAclProtocol::Field::Locale}))
        return malformedReply(why, id);
    const auto method = MGAclProtocol::methodForSelector(request.value(MGAclProtocol::Field::Method).toString());
    if (!method)
        return malformedReply(QStringLiteral("unknown method"), id);
    // Every argument, optional ones included, is of its type before anything is touched: a
    // request meaning "dry run" in some other spelling must never make a real change.
    if (const std::optional<QString> problem = MGAclProtocol::argumentProblem(*method, request.value(MGAclProtocol::Field::Arguments)))
        return malformedReply(*problem, id);
    return std::nullopt;
}

QCborMap MGAclServiceDispatcher::handle(const QCborMap &request, const Caller &caller)
{
    if (const std::optional<QCborMap> refused = refusal(request))
        return *refused;
    // A request that may change something is on record whatever came of it: what it asked
    // for here, what came of it as far as it got.
    std::optional<MGAuditRecord> record;
    const auto method = MGAclProtocol::methodForSelector(request.value(MGAclProtocol::Field::Method).toString());
    const QCborMap args = request.value(MGAclProtocol::Field::Arguments).toMap();
    if (caller.record && (*method == MGAclRemoteMethod::SetEntries || *method == MGAclRemoteMethod::PropagateEntries)) {
        record = MGAuditRecord();
        record->what = *method == MGAclRemoteMethod::SetEntries ? QStringLiteral("set")
            : args.value(QString(Key::DryRun)).toBool()          ? QStringLiteral("propagate (dry run)")
                                                                 : QStringLiteral("propagate");
        record->path = args.value(QString(Key::Path)).toByteArray();
    }
    const QCborMap reply = answer(request, caller, caller.record ? &record : nullptr);
    if (record) {
        if (record->outcome.isEmpty() && reply.contains(MGAclProtocol::Field::Error)) {
            QString why;
            const std::optional<MGError> error = MGError::fromCbor(reply.value(MGAclProtocol::Field::Error), &why);
            record->outcome = QStringLiteral("nothing changed: %1").arg(error ? error->localizedDescription() : why);
        }
        caller.record(*record);
    }
    return reply;
}

QCborMap MGAclServiceDispatcher::answer(const QCborMap &request, const Caller &caller, std::optional<MGAuditRecord> *record)
{
    const ProgressSink &progress = caller.progress;
    const QCborValue id = request.value(MGAclProtocol::Field::Id);
    const auto method = MGAclProtocol::methodForSelector(request.value(MGAclProtocol::Field::Method).toString());
    const QCborMap args = request.value(MGAclProtocol::Field::Arguments).toMap();
    const QCborValue locale = request.value(MGAclProtocol::Field::Locale);
    // Titles and row names are in the caller's language.
    const NTLocalizedString::ThreadLanguage language(
        locale.isString() && locale.toString().size() < MaximumLocaleLength ? locale.toString() : QStringLiteral("C"));
    if (*method == MGAclRemoteMethod::StopPropagation) {
        // Only the caller's own walk, by its request number.
        const qint64 number = args.value(QString(Key::Request)).toInteger();
        const bool stopped = caller.registry && caller.registry->stop(caller.name, number);
        if (record) {
            *record = MGAuditRecord();
            (*record)->what = QStringLiteral("stop propagation %1").arg(number);
            (*record)->outcome = stopped ? QStringLiteral("stopping") : QStringLiteral("no such propagation is running");
        }
        if (!stopped)
            return errorReply(id, MGError::posixError(ESRCH, QStringLiteral("%1: this program has no propagation %2 "
                                                                            "running.")
                                                                 .arg(MGAclProtocol::description(*method))
                                                                 .arg(number)));
        return QCborMap{{MGAclProtocol::Field::Id, id}};
    }
    const QByteArray path = args.value(QString(Key::Path)).toByteArray();
    if (path.size() >= MaximumPathLength)
        return errorReply(id, MGError::posixError(ENAMETOOLONG, QStringLiteral("%1 \u201c%2\u2026\u201d: the path is "
                                                                               "longer than %3 bytes")
                                                                    .arg(failureFor(*method),
                                                                         QFile::decodeName(path.left(64)))
                                                                    .arg(MaximumPathLength - 1)));
    if (MGItemPaths::isServerPath(path)) {
        if (!caller.serverItems)
            return errorReply(id, MGError::posixError(EPERM, QStringLiteral("%1: items on file servers are reached as "
                                                                            "the user, never by the privileged service.")
                                                                 .arg(MGAclProtocol::description(*method))));
        return MGSmbRequests::answer(id, *method, args, caller);
    }
    // The item is resolved once, here; everything after goes through its descriptor.
    const MGResult<MGFileItem> item = MGFileItem::open(path, failureFor(*method));
    if (!item)
        return errorReply(id, item.error());

    QCborMap reply;
    reply.insert(MGAclProtocol::Field::Id, id);
    // Backups and audits send their text as it comes, in progress reports.
    const auto textReport = [&](const QByteArray &text) {
        if (progress)
            progress(progressReport(id, QCborMap{{MGAclProtocol::Field::Text, text}}));
    };
    switch (*method) {
    case MGAclRemoteMethod::GetEntries: {
        const MGResult<MGAclList> list = MGPosixAclStore::read(*item);
        if (!list)
            return errorReply(id, list.error());
        reply.insert(MGAclProtocol::Field::Entries, MGAclLists::toCbor(*list));
        return reply;
    }
    case MGAclRemoteMethod::SetEntries:
    case MGAclRemoteMethod::PropagateEntries: {
        if (const MGResultError other = otherFile(*item, args))
            return errorReply(id, *other);
        const auto sent = sentLists(id, args);
        if (const QCborMap *malformed = std::get_if<QCborMap>(&sent))
            return *malformed;
        const MGAclList *list = &std::get<SentLists>(sent).entries;
        const std::optional<MGAclList> &expected = std::get<SentLists>(sent).expected;
        MGResultError error;
        if (*method == MGAclRemoteMethod::SetEntries) {
            const MGResult<MGPosixItemState> before = record ? MGPosixAclStore::readState(*item)
                                                             : MGResult<MGPosixItemState>(MGPosixItemState());
            const QCborValue special = args.value(QString(Key::SpecialBits));
            error = MGPosixAclStore::write(*item, *list, expected,
                                           special.isInteger() ? std::optional<mode_t>(mode_t(special.toInteger())) : std::nullopt);
            // A write that failed part way may have changed something: what is there is said.
            if (record) {
                const MGResult<MGPosixItemState> after = MGPosixAclStore::readState(*item);
                const QByteArray was = before ? MGAclTextFormat::oneLine(*before) : QByteArray("(unread)");
                const QByteArray now = after ? MGAclTextFormat::oneLine(*after) : QByteArray("(unread)");
                (*record)->item = itemText(*item);
                if (was != now) {
                    (*record)->before = was;
                    (*record)->after = now;
                    if (error)
                        (*record)->outcome = QStringLiteral("then failed: %1").arg(error->localizedDescription());
                } else if (!error) {
                    (*record)->outcome = QStringLiteral("nothing to change");
                } // a failure that changed nothing is said as any other
            }
        } else {
            const MGPropagationRegistry::Registration running(caller.registry, caller.name, id.toInteger());
            MGAclPropagator propagator(*item, *list);
            propagator.setExpected(expected);
            propagator.setDryRun(args.value(QString(Key::DryRun)).toBool());
            propagator.setStopFlag(running.flag());
            if (progress)
                propagator.setProgressHandler(
                    [&](const MGPropagationProgress &sofar) { progress(progressReport(id, sofar.toCbor())); },
                    ProgressInterval);
            error = propagator.run();
            MGPropagationProgress summary = propagator.summary();
            if (record) {
                (*record)->item = itemText(*item);
                (*record)->outcome = QStringLiteral("%1 %2, %3 already right, %4 skipped, %5 failed, %6")
                                         .arg(summary.changed)
                                         .arg(summary.dryRun ? QStringLiteral("would change") : QStringLiteral("changed"))
                                         .arg(summary.alreadyRight)
                                         .arg(summary.skipped())
                                         .arg(summary.failed)
                                         .arg(summary.stopped ? QStringLiteral("stopped")
                                                  : error     ? QStringLiteral("ended by an error: %1").arg(error->localizedDescription())
                                                              : QStringLiteral("finished"));
            }
            // The whole summary, before the reply: what was done, whatever the outcome.
            if (progress) {
                summary.finished = true;
                progress(progressReport(id, summary.toCbor()));
            }
        }
        if (error)
            return errorReply(id, *error);
        return reply;
    }
    case MGAclRemoteMethod::BackupEntries: {
        MGAclBackup backup(*item, textReport, args.value(QString(Key::ItemOnly)).toBool());
        const MGResult<qint64> items = backup.run();
        if (!items)
            return errorReply(id, items.error());
        reply.insert(MGAclProtocol::Field::Items, *items);
        return reply;
    }
    case MGAclRemoteMethod::AuditAccess: {
        const QUuid uuid = uuidArgument(args);
        const QString levelName = args.value(QString(Key::Level)).toString();
        const QHash<QString, MGAclAudit::Level> levels = {{QStringLiteral("read"), MGAclAudit::Level::Read},
                                                          {QStringLiteral("write"), MGAclAudit::Level::Write},
                                                          {QStringLiteral("any"), MGAclAudit::Level::Any}};
        const MGResult<MGAccessSubject> subject = MGAccessSubject::forIdentity(uuid);
        if (!subject)
            return errorReply(id, subject.error());
        const auto identity = CBIdentityAuthority::defaultIdentityAuthority().identityWithUniqueIdentifier(uuid);
        MGAclAudit audit(*item, *subject, levels.value(levelName), args.value(QString(Key::Summary)).toBool(),
                         textReport);
        audit.setIdentityName(identity ? identity->displayName() : uuid.toString(QUuid::WithoutBraces));
        audit.setBlockedAbove(MGAccessEvaluator::blockingFolder(*item, uuid));
        const MGResult<qint64> items = audit.run();
        if (!items)
            return errorReply(id, items.error());
        reply.insert(MGAclProtocol::Field::Items, *items);
        return reply;
    }
    case MGAclRemoteMethod::StopPropagation:
        break; // answered above
    case MGAclRemoteMethod::GetAccess: {
        const QUuid uuid = uuidArgument(args);
        // With an edited list, the access it would give: the item is read, not changed.
        std::optional<MGAclList> edited;
        if (args.contains(QString(Key::Entries))) {
            QString why;
            if (!(edited = MGAclLists::fromCbor(args.value(QString(Key::Entries)), &why)))
                return malformedReply(why, id);
        }
        const auto tree = MGAccessEvaluator::accessTree(*item, uuid, edited);
        if (!tree)
            return errorReply(id, tree.error());
        reply.insert(MGAclProtocol::Field::Access, MGTreeNode::forestToCbor(*tree));
        // The item's own answer stands; a folder on the way that keeps the identity out is
        // named beside it.
        if (const QByteArray blocked = MGAccessEvaluator::blockingFolder(*item, uuid); !blocked.isEmpty())
            reply.insert(MGAclProtocol::Field::BlockedBy, QString::fromUtf8(blocked));
        return reply;
    }
    }
    return malformedReply(QStringLiteral("unknown method"), id);
}
