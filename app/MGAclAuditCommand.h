#pragma once

#include <QByteArray>
#include <QString>

// marrowgate-acl audit: where below a folder a user or group has an access, walked by the
// service (as the user, or as root with the read right where the user cannot read). The
// text is the service's; with `json` each line becomes one JSON object:
//   {"permissions": "rw-", "grantedBy": "user:NAME", "path": ...}  one per item
//   {"readWrite": N, "readOnly": N, "writeOnly": N, "neither": N, "notEntered": N}  (summary)
//   {"note": "..."}  a heading, in the user's language
namespace MGAclAuditCommand {
int run(const QByteArray &who, const QByteArray &path, const QString &level, bool summary, bool json);
// The service's text as JSON lines, as above.
QByteArray jsonOf(const QByteArray &text);
}
