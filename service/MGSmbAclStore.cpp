#include "MGSmbAclStore.h"

#include "MGNtBinaryDescriptor.h"
#include "MGSmbAuthority.h"

#include <QUrl>
#include <algorithm>
#include <cerrno>

namespace {
constexpr const char *ByName = "system.nt_sec_desc.*+";
// Two readings that do not match were made across a change; one more try each time.
constexpr int ReadAttempts = 3;
const QString Everyone = QStringLiteral("S-1-1-0");

MGError wrapped(const QString &what, const QByteArray &url, const MGError &error)
{
    return MGError::errorWithError(error, QStringLiteral("%1 \u201c%2\u201d").arg(what, MGSmbClient::shown(url)));
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
        const MGResult<QByteArray> binary = m_client.securityDescriptor(url);
        if (!binary)
            return wrapped(ReadFailure, url, binary.error());
        MGResult<MGNtSecurityDescriptor> descriptor = MGNtBinaryDescriptor::parse(*binary);
        if (!descriptor)
            return wrapped(ReadFailure, url, descriptor.error());
        // A share that keeps no ACLs answers with Everyone as owner and group, and no list (read
        // as the one entry that lets Everyone do everything) or an empty one.
        const bool noList = descriptor->aces.isEmpty()
            || (descriptor->aces.size() == 1 && descriptor->aces[0].sid == Everyone
                && descriptor->aces[0].mask == MGNtBinaryDescriptor::FullControl);
        if (noList && descriptor->ownerSid == Everyone && descriptor->groupSid == Everyone)
            return MGError::posixError(ENOTSUP, QStringLiteral("%1 \u201c%2\u201d: the share it is on does not keep "
                                                               "access control lists.")
                                                    .arg(ReadFailure, MGSmbClient::shown(url)));
        if (!names)
            return descriptor;
        // The server's names come with the text form; two readings that do not match were made
        // across a change.
        const MGResult<QByteArray> byName = m_client.getAttribute(url, ByName);
        if (!byName)
            return wrapped(ReadFailure, url, byName.error());
        const MGResultError unnamed = descriptor->takeNames(*byName);
        if (!unnamed)
            return descriptor;
        if (attempt == ReadAttempts)
            return wrapped(ReadFailure, url, *unnamed);
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
    MGResult<MGNtSecurityDescriptor> wanted = MGNtSecurityDescriptor::fromList(list);
    if (!wanted)
        return wrapped(WriteFailure, url, wanted.error());
    if (wanted->binarySize() > MGNtSecurityDescriptor::MaximumBinarySize)
        return MGError::posixError(EFBIG, QStringLiteral("%1 \u201c%2\u201d: its %3 entries take about %4 bytes, and a "
                                                         "server keeps at most %5. Nothing was changed.")
                                              .arg(WriteFailure, MGSmbClient::shown(url))
                                              .arg(wanted->aces.size())
                                              .arg(wanted->binarySize())
                                              .arg(MGNtSecurityDescriptor::MaximumBinarySize));
    if (const MGResultError unknown = lookUpNames(url, *wanted))
        return unknown;
    const MGResult<MGNtSecurityDescriptor> current = readDescriptor(url, false);
    if (!current)
        return current.error();
    if (expected) {
        // What the caller read, as the server would hold it: the same SIDs, kinds, flags and
        // masks in the same order, owner and group.
        const MGResult<MGNtSecurityDescriptor> read = MGNtSecurityDescriptor::fromList(*expected);
        if (!read || !(*read == current->shown()))
            return MGAclLists::changedElsewhere(WriteFailure, MGSmbClient::shown(url));
    }
    return writeDescriptor(url, *wanted, *current);
}

MGResultError MGSmbAclStore::lookUpNames(const QByteArray &url, MGNtSecurityDescriptor &descriptor) const
{
    QStringList names;
    if (descriptor.ownerSid.isEmpty() && !descriptor.ownerName.isEmpty())
        names << descriptor.ownerName;
    for (const MGNtAce &ace : descriptor.aces) {
        if (ace.sid.isEmpty() && !names.contains(ace.name))
            names << ace.name;
    }
    if (names.isEmpty())
        return std::nullopt;
    const MGResult<QHash<QString, QString>> sids = MGSmbAuthority(m_client).sidsOf(QUrl::fromEncoded(url).host(), names);
    if (!sids)
        return wrapped(WriteFailure, url, sids.error());
    for (const QString &name : names) {
        if (!sids->contains(name))
            return MGError::posixError(ENOENT, QStringLiteral("%1 \u201c%2\u201d: the server knows no account "
                                                              "\u201c%3\u201d. Nothing was changed.")
                                                   .arg(WriteFailure, MGSmbClient::shown(url), name));
    }
    if (descriptor.ownerSid.isEmpty() && !descriptor.ownerName.isEmpty())
        descriptor.ownerSid = sids->value(descriptor.ownerName);
    for (MGNtAce &ace : descriptor.aces) {
        if (ace.sid.isEmpty())
            ace.sid = sids->value(ace.name);
    }
    return std::nullopt;
}

MGResultError MGSmbAclStore::send(const QByteArray &url, const MGNtSecurityDescriptor &descriptor,
                                  const MGNtSecurityDescriptor &current) const
{
    // Owner and group go only when they change: taking ownership is a right of its own. The
    // control flags stay as the server keeps them (a protection from inheritance above all).
    MGNtSecurityDescriptor sent = descriptor;
    sent.control = current.control;
    quint32 parts = MGSmbClient::AclPart;
    if (sent.ownerSid.isEmpty() || sent.ownerSid == current.ownerSid)
        sent.ownerSid.clear();
    else
        parts |= MGSmbClient::OwnerPart;
    if (sent.groupSid.isEmpty() || sent.groupSid == current.groupSid)
        sent.groupSid.clear();
    else
        parts |= MGSmbClient::GroupPart;
    const MGResult<QByteArray> bytes = MGNtBinaryDescriptor::encode(sent);
    if (!bytes)
        return bytes.error();
    return m_client.setSecurityDescriptor(url, *bytes, parts);
}

MGResultError MGSmbAclStore::writeDescriptor(const QByteArray &url, const MGNtSecurityDescriptor &edited,
                                             const MGNtSecurityDescriptor &current) const
{
    // Entries the list cannot hold stay where they were among the others.
    const MGNtSecurityDescriptor wanted = edited.keepingOtherKinds(current);
    MGNtSecurityDescriptor expected = wanted;
    if (expected.ownerSid.isEmpty())
        expected.ownerSid = current.ownerSid;
    if (expected.groupSid.isEmpty())
        expected.groupSid = current.groupSid;
    const auto holds = [&](const MGNtSecurityDescriptor &now, const MGNtSecurityDescriptor &what) {
        return now.holdsSameAs(what) && now.isProtected() == current.isProtected();
    };
    if (const MGResultError error = send(url, wanted, current)) {
        if (error->code() != ECONNRESET)
            return wrapped(WriteFailure, url, *error);
        // The server went away while it took the change (a server fault: Samba 4.17 does so
        // for some lists it maps to POSIX ACLs): what it holds now says whether it took it.
        const MGResult<MGNtSecurityDescriptor> now = readDescriptor(url, false);
        if (now && holds(*now, expected))
            return std::nullopt;
        return MGError::posixError(ECONNRESET, QStringLiteral("%1 \u201c%2\u201d: the server closed the connection while "
                                                              "it took the change; %3")
                                                   .arg(WriteFailure, MGSmbClient::shown(url))
                                                   .arg(!now ? QStringLiteral("what it holds now could not be read: %1")
                                                                   .arg(now.error().localizedDescription())
                                                       : holds(*now, current) ? QStringLiteral("it still holds what it held before, "
                                                                                               "and nothing was changed.")
                                                                              : QStringLiteral("it now holds other entries than "
                                                                                               "were sent or were there before.")));
    }
    const MGResult<MGNtSecurityDescriptor> now = readDescriptor(url, false);
    if (!now)
        return MGError::errorWithError(now.error(), QStringLiteral("%1 \u201c%2\u201d: the change was sent, but what the "
                                                                   "server holds now could not be read back")
                                                        .arg(WriteFailure, MGSmbClient::shown(url)));
    if (holds(*now, expected))
        return std::nullopt;
    // The server kept something else than was sent (a permission it maps away, an entry it
    // drops or moves): what it held before goes back, and the difference is said.
    const MGResultError undo = send(url, current, *now);
    return MGError::posixError(EIO, QStringLiteral("%1 \u201c%2\u201d: the server kept other entries than were sent (%3 "
                                                   "sent, %4 kept); %5")
                                        .arg(WriteFailure, MGSmbClient::shown(url))
                                        .arg(wanted.aces.size())
                                        .arg(now->aces.size())
                                        .arg(undo ? QStringLiteral("putting back what it held before failed too: %1")
                                                        .arg(undo->localizedDescription())
                                                  : QStringLiteral("what it held before was put back.")));
}
