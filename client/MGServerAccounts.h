#pragma once

#include "CBIdentity.h"

#include <QString>
#include <QUuid>
#include <optional>

// The file servers' accounts whose access is asked about. A request names the identity it
// asks about by UUID; an account of a file server has none of the local kind, so it gets
// one made from its SID (or name) here, and the request carries the account beside it.
namespace MGServerAccounts {
QUuid uuidFor(const CBIdentity &principal);
// What the server's account database is asked with: the account's name ("DOMAIN\name"),
// or its SID when it has none.
std::optional<QString> accountFor(const QUuid &uuid);
}
