#pragma once

#include "MGAclList.h"
#include "MGAclProtocol.h"
#include "MGAuditLog.h"
#include "MGError.h"
#include "MGPropagationRegistry.h"

#include <QCborMap>
#include <QString>
#include <functional>
#include <optional>
#include <variant>

// Answers one request of the ACL service (see MGAclProtocol for its shape). Every field of
// a request is checked before use; a malformed request is answered with an error. Requests
// may be handled on several threads at once; each is answered in its caller's language.
class MGAclServiceDispatcher
{
public:
    // Takes a progress report for a long request ({"id": n, "progress": {...}}, to be sent
    // before the reply); called from any thread, one call at a time.
    using ProgressSink = std::function<void(const QCborMap &report)>;

    // Who asks, and where its running propagations are kept (so it can stop its own).
    struct Caller
    {
        QString name; // the bus name, or the one client of a child service
        MGPropagationRegistry *registry = nullptr;
        ProgressSink progress;
        // Takes a record of every request that may change something (the privileged
        // service keeps them): saves, propagations and dry runs, stops, whether they
        // changed anything or not; none for reads, and none when empty.
        std::function<void(const MGAuditRecord &record)> record;
        // Whether items on file servers are served: only by the ordinary service, which
        // runs as the user; the privileged one refuses them.
        bool serverItems = false;
    };

    static QCborMap handle(const QCborMap &request, const Caller &caller);
    // The answer to a request that is malformed (its shape, its method, any argument's
    // name or type), checked before anyone is asked whether the caller may make it; nothing
    // for a well-formed one.
    static std::optional<QCborMap> refusal(const QCborMap &request);
    static QCborMap handle(const QCborMap &request) { return handle(request, Caller()); }
    // Whether a request is a stop, which must not wait behind the caller's propagation.
    static bool isStop(const QCborMap &request);
    // The reply to a frame that could not be read as a request at all.
    static QCborMap malformedReply(const QString &why, const QCborValue &id = QCborValue());
    static QCborMap errorReply(const QCborValue &id, const MGError &error);
    // The list a save or a propagation sends, and what the item must still hold, decoded;
    // the malformed reply when either cannot be.
    struct SentLists
    {
        MGAclList entries;
        std::optional<MGAclList> expected;
    };
    static std::variant<SentLists, QCborMap> sentLists(const QCborValue &id, const QCborMap &args);

private:
    // The answer to a well-formed request; for a caller that keeps records, what was done is
    // put in `record` (already naming what was asked, for a save or a propagation) where the
    // request got that far.
    static QCborMap answer(const QCborMap &request, const Caller &caller, std::optional<MGAuditRecord> *record);
};
