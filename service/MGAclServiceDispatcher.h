#pragma once

#include "MGAclProtocol.h"
#include "MGError.h"

#include <QCborMap>
#include <QString>

// Answers one request of the ACL service (see MGAclProtocol for its shape). Every field of
// a request is checked before use; a malformed request is answered with an error.
class MGAclServiceDispatcher
{
public:
    QCborMap handle(const QCborMap &request);
    // The reply to a frame that could not be read as a request at all.
    static QCborMap malformedReply(const QString &why, const QCborValue &id = QCborValue());
    static QCborMap errorReply(const QCborValue &id, const MGError &error);

private:
    QString m_locale;
};
