#pragma once

#include <QByteArray>
#include <QString>
#include <atomic>

// One record: what was asked and done, about which item.
struct MGAuditRecord
{
    QString what; // "set", "propagate (dry run)", "refused getAclEntriesWithUrl:reply: for", ...
    QByteArray path; // the item as the caller named it; none when the request named none
    QString item; // what the item was when it was resolved ("device 8:1, inode 12")
    QByteArray before, after; // its state before and after; none when nothing was read
    QString outcome; // counts, or what failed
};

// The privileged service's record of what it did for whom: one per request that may change
// something, per malformed request and per authorisation it refused, never for reads, sent
// to the system log under the name
// "marrowgate-aclservice" (facility authpriv), where the journal takes it in as well:
//   journalctl -t marrowgate-aclservice
// Lines are "caller uid U pid P, action A: WHAT \"PATH\" (device D, inode I): BEFORE ->
// AFTER (OUTCOME)", the states as MGAclTextFormat::oneLine writes them.
//
// No record is lost to its size: a line longer than MaximumLineBytes (what syslog daemons
// take whole) is sent as a head line that fits, with who, what, the item (a long path
// shortened, with its digest), the digests and sizes of the states before and after and the
// outcome, followed by the whole line in numbered parts that each fit.
//
// The socket is /dev/log; MARROWGATE_LOG_SOCKET names another one (for tests). The service
// is started by the system bus with an environment of the bus's making, so a caller cannot
// point it elsewhere.
class MGAuditLog
{
public:
    MGAuditLog();
    ~MGAuditLog();
    MGAuditLog(const MGAuditLog &) = delete;
    MGAuditLog &operator=(const MGAuditLog &) = delete;

    // Sends one record of what was done for `who`; safe from any thread. A line that
    // cannot be sent is said on standard error, which the journal keeps too.
    void record(const QString &who, const MGAuditRecord &record);

    static constexpr qsizetype MaximumLineBytes = 8000;

    static constexpr const char *Name = "marrowgate-aclservice";
    // A path or name as records write it, in double quotes: every byte that is not printable
    // ASCII, and the quote and backslash themselves, as \ooo. A caller chooses the paths it
    // asks about; it must not be able to write a line that reads as another record.
    static QString quoted(const QByteArray &bytes);

private:
    // Sends one line to the log, or (not `toLog`, or the log did not take it) to standard
    // error; whether the log took it.
    bool send(const QByteArray &line, bool toLog = true);

    int m_socket = -1;
    QByteArray m_path;
    std::atomic<quint64> m_split = 0; // records sent in parts so far
};
