#pragma once

#include <QByteArray>
#include <QString>

// The privileged service's record of what it did for whom: one line per change it made and
// per authorisation it refused, never for reads, sent to the system log under the name
// "marrowgate-aclservice" (facility authpriv), where the journal takes it in as well:
//   journalctl -t marrowgate-aclservice
// Lines are "WHAT: caller uid U pid P, action A, ..." with the item as path, device and
// inode and states as MGAclTextFormat::oneLine writes them.
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

    // Sends one record; safe from any thread. A record that cannot be sent is said on
    // standard error, which the journal keeps too.
    void record(const QString &text);

    static constexpr const char *Name = "marrowgate-aclservice";
    // A path or name as records write it, in double quotes: every byte that is not printable
    // ASCII, and the quote and backslash themselves, as \ooo. A caller chooses the paths it
    // asks about; it must not be able to write a line that reads as another record.
    static QString quoted(const QByteArray &bytes);

private:
    int m_socket = -1;
    QByteArray m_path;
};
