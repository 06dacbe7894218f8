#include "MGSmbAclStore.h"

#include <QUrl>
#include <algorithm>
#include <cerrno>

namespace {
constexpr const char *BySid = "system.nt_sec_desc.*";
constexpr const char *ByName = "system.nt_sec_desc.*+";
// Two readings that do not match were made across a change; one more try each time.
constexpr int ReadAttempts = 3;
const QString Everyone = QStringLiteral("S-1-1-0");

QString shown(const QByteArray &url)
{
    return QUrl::fromEncoded(url).toDisplayString(QUrl::RemovePassword);
}

MGError wrapped(const QString &what, const QByteArray &url, const MGError &error)
{
    return MGError::errorWithError(error, QStringLiteral("%1 \u201c%2\u201d").arg(what, shown(url)));
}
}

MGResult<bool> MGSmbAclStore::isDirectory(const QByteArray &url) const
{
    const MGResult<struct stat> status = m_client.status(url);
    if (!status)
        return status.error();
    return S_ISDIR(status->st_mode);
}

MGResult<MGNtSecurityDescriptor> MGSmbAclStore::readDescriptor(const QByteArray &url, bool names) const
{
    for (int attempt = 1;; ++attempt) {
        const MGResult<QByteArray> bySid = m_client.getAttribute(url, BySid);
        if (!bySid)
            return wrapped(ReadFailure, url, bySid.error());
        const MGResult<QByteArray> byName = names ? m_client.getAttribute(url, ByName) : bySid;
        if (!byName)
            return wrapped(ReadFailure, url, byName.error());
        MGResult<MGNtSecurityDescriptor> descriptor = MGNtSecurityDescriptor::parse(*bySid, *byName);
        if (!descriptor) {
            if (names && attempt < ReadAttempts)
                continue;
            return wrapped(ReadFailure, url, descriptor.error());
        }
        // A share that keeps no ACLs answers with Everyone as owner and group, and nothing else.
        if (descriptor->aces.isEmpty() && descriptor->ownerSid == Everyone && descriptor->groupSid == Everyone)
            return MGError::posixError(ENOTSUP, QStringLiteral("%1 \u201c%2\u201d: the share it is on does not keep "
                                                               "access control lists.")
                                                    .arg(ReadFailure, shown(url)));
        return descriptor;
    }
}

MGResult<MGAclList> MGSmbAclStore::read(const QByteArray &url) const
{
    const MGResult<bool> directory = isDirectory(url);
    if (!directory)
        return wrapped(ReadFailure, url, directory.error());
    const MGResult<MGNtSecurityDescriptor> descriptor = readDescriptor(url);
    if (!descriptor)
        return descriptor.error();
    return descriptor->list(*directory);
}

MGResultError MGSmbAclStore::write(const QByteArray &url, const MGAclList &list, const std::optional<MGAclList> &expected) const
{
    const MGResult<MGNtSecurityDescriptor> wanted = MGNtSecurityDescriptor::fromList(list);
    if (!wanted)
        return wrapped(WriteFailure, url, wanted.error());
    if (wanted->binarySize() > MGNtSecurityDescriptor::MaximumBinarySize)
        return MGError::posixError(EFBIG, QStringLiteral("%1 \u201c%2\u201d: its %3 entries take about %4 bytes, and a "
                                                         "server keeps at most %5. Nothing was changed.")
                                              .arg(WriteFailure, shown(url))
                                              .arg(wanted->aces.size())
                                              .arg(wanted->binarySize())
                                              .arg(MGNtSecurityDescriptor::MaximumBinarySize));
    if (!wanted->isCanonical())
        return MGError::posixError(EINVAL, QStringLiteral("%1 \u201c%2\u201d: the entries are not in canonical order "
                                                          "(explicit Deny, explicit Allow, then inherited entries), and "
                                                          "a file server keeps them only in that order. Sort them first; "
                                                          "nothing was changed.")
                                               .arg(WriteFailure, shown(url)));
    const MGResult<MGNtSecurityDescriptor> current = readDescriptor(url, false);
    if (!current)
        return current.error();
    if (expected) {
        // What the caller read, as the server would hold it: the same SIDs, kinds, flags and
        // masks in the same order, owner and group.
        const MGResult<MGNtSecurityDescriptor> read = MGNtSecurityDescriptor::fromList(*expected);
        if (!read || !(*read == *current))
            return MGAclLists::changedElsewhere(WriteFailure, shown(url));
    }
    return writeDescriptor(url, *wanted, *current);
}

MGResultError MGSmbAclStore::writeDescriptor(const QByteArray &url, const MGNtSecurityDescriptor &wanted,
                                             const MGNtSecurityDescriptor &current) const
{
    // Owner and group go only when they change: taking ownership is a right of its own.
    MGNtSecurityDescriptor sent = wanted;
    if (sent.ownerSid == current.ownerSid && !sent.ownerSid.isEmpty()) {
        sent.ownerSid.clear();
        sent.ownerName.clear();
    }
    if (sent.groupSid == current.groupSid)
        sent.groupSid.clear();
    if (const MGResultError error = m_client.setAttribute(url, BySid, sent.text()))
        return wrapped(WriteFailure, url, *error);
    const MGResult<MGNtSecurityDescriptor> now = readDescriptor(url, false);
    if (!now)
        return MGError::errorWithError(now.error(), QStringLiteral("%1 \u201c%2\u201d: the change was sent, but what the "
                                                                   "server holds now could not be read back")
                                                        .arg(WriteFailure, shown(url)));
    // Entries known by name only were looked up by the server: their SIDs are what it found,
    // so only their number can be compared (equal entries are kept once).
    const bool byName = wanted.ownerSid.isEmpty()
        || std::any_of(wanted.aces.begin(), wanted.aces.end(), [](const MGNtAce &ace) { return ace.sid.isEmpty(); });
    if (byName ? now->aces.size() <= wanted.aces.size() : now->holdsSameAs(wanted))
        return std::nullopt;
    // The server kept something else than was sent (a permission it maps away, an entry it
    // drops): what it held before goes back, and the difference is said.
    const MGResultError undo = m_client.setAttribute(url, BySid, current.text());
    return MGError::posixError(EIO, QStringLiteral("%1 \u201c%2\u201d: the server kept other entries than were sent (%3 "
                                                   "sent, %4 kept); %5")
                                        .arg(WriteFailure, shown(url))
                                        .arg(wanted.aces.size())
                                        .arg(now->aces.size())
                                        .arg(undo ? QStringLiteral("putting back what it held before failed too: %1")
                                                        .arg(undo->localizedDescription())
                                                  : QStringLiteral("what it held before was put back.")));
}
