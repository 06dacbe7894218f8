#pragma once

#include "MGError.h"

#include <QCborMap>
#include <QString>

// Answers one request of the ACL service. A request is a CBOR map
//   {"id": n, "method": selector, "locale": "de_DE", "args": {...}}
// and its reply {"id": n} plus "entries", "access" or "error". Every field of a request is
// checked before use; a malformed request is answered with an error.
class MGAclServiceDispatcher
{
public:
    static constexpr const char *GetEntries = "getAclEntriesWithUrl:reply:";
    static constexpr const char *SetEntries = "setAclEntries:url:reply:";
    static constexpr const char *PropagateEntries = "propagateAclEntries:url:reply:";
    static constexpr const char *GetAccess = "getAclAccessWithUrl:uuid:reply:";

    // The authorisation right a method needs on the privileged service.
    static QString rightForMethod(const QString &method);

    QCborMap handle(const QCborMap &request);
    // The reply to a frame that could not be read as a request at all.
    static QCborMap malformedReply(const QString &why, const QCborValue &id = QCborValue());
    static QCborMap errorReply(const QCborValue &id, const MGError &error);

private:
    QString m_locale;
};
