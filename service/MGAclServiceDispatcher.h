#pragma once

#include "MGAclServiceProxy.h"
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
    static constexpr const char *GetEntries = MGAclRemoteMethods[0].selector;
    static constexpr const char *SetEntries = MGAclRemoteMethods[1].selector;
    static constexpr const char *PropagateEntries = MGAclRemoteMethods[2].selector;
    static constexpr const char *GetAccess = MGAclRemoteMethods[3].selector;

    // The authorisation right a method needs on the privileged service.
    static QString rightForMethod(const QString &method);

    QCborMap handle(const QCborMap &request);
    // The reply to a frame that could not be read as a request at all.
    static QCborMap malformedReply(const QString &why, const QCborValue &id = QCborValue());
    static QCborMap errorReply(const QCborValue &id, const MGError &error);

private:
    QString m_locale;
};
