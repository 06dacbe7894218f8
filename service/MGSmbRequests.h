#pragma once

#include "MGAclProtocol.h"
#include "MGAclServiceDispatcher.h"

#include <QCborMap>

// Answers a request for an item on an SMB file server (its path is the item's smb:// URL),
// over a connection with the account the request carries, or the user's own.
namespace MGSmbRequests {
QCborMap answer(const QCborValue &id, MGAclRemoteMethod method, const QCborMap &args,
                const MGAclServiceDispatcher::Caller &caller);
}
