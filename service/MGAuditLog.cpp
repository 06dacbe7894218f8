#include "MGAuditLog.h"

#include "MGAclTextFormat.h"

#include <QDateTime>
#include <QLocale>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

MGAuditLog::MGAuditLog()
    : m_path(qEnvironmentVariableIsSet("MARROWGATE_LOG_SOCKET") ? qgetenv("MARROWGATE_LOG_SOCKET") : QByteArray("/dev/log"))
{
    m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

MGAuditLog::~MGAuditLog()
{
    if (m_socket >= 0)
        close(m_socket);
}

QString MGAuditLog::quoted(const QByteArray &bytes)
{
    const QByteArray escaped = MGAclTextFormat::octalEscaped(
        bytes, [](unsigned char byte) { return byte < 0x20 || byte >= 0x7f || byte == '"' || byte == '\\'; });
    return QLatin1Char('"') + QString::fromLatin1(escaped) + QLatin1Char('"');
}

void MGAuditLog::record(const QString &text)
{
    // The syslog form the journal and syslog daemons read: priority, time, name[pid], text.
    // Control characters in paths would break the line; they are written as \ooo.
    const QByteArray line =
        MGAclTextFormat::octalEscaped(text.toUtf8(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; });
    const QByteArray stamp = QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("MMM d HH:mm:ss")).toLatin1();
    const QByteArray message = '<' + QByteArray::number(LOG_AUTHPRIV | LOG_NOTICE) + '>' + stamp + ' ' + Name + '['
        + QByteArray::number(getpid()) + "]: " + line;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (m_socket < 0 || size_t(m_path.size()) >= sizeof address.sun_path) {
        std::fprintf(stderr, "%s: cannot record: %s\n", Name, line.constData());
        return;
    }
    std::memcpy(address.sun_path, m_path.constData(), size_t(m_path.size()));
    if (sendto(m_socket, message.constData(), size_t(message.size()), MSG_NOSIGNAL, reinterpret_cast<sockaddr *>(&address),
               sizeof address) < 0)
        std::fprintf(stderr, "%s: cannot record (%s): %s\n", Name, std::strerror(errno), line.constData());
}
