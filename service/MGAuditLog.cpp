#include "MGAuditLog.h"

#include "MGAclTextFormat.h"

#include <QCryptographicHash>
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
    // A log that does not read for this long gets the record on standard error instead, so
    // that a stuck log holds no request.
    const timeval patience = {2, 0};
    if (m_socket >= 0)
        setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
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

namespace {
// Control characters in paths would break the line; they are written as \ooo.
QByteArray lineOf(const QString &text)
{
    return MGAclTextFormat::octalEscaped(text.toUtf8(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; });
}

QString digestOf(const QByteArray &bytes)
{
    return QStringLiteral("sha256 %1, %2 bytes")
        .arg(QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()))
        .arg(bytes.size());
}

// The record as one line, written with `path`, `before`, `after` and `outcome` as given.
QString text(const QString &who, const MGAuditRecord &record, const QString &path, const QString &before,
             const QString &after, const QString &outcome)
{
    QString line = who + QStringLiteral(": ") + record.what;
    if (!record.path.isNull())
        line += QLatin1Char(' ') + path;
    if (!record.item.isEmpty())
        line += QStringLiteral(" (%1)").arg(record.item);
    const bool states = !record.before.isNull() || !record.after.isNull();
    if (states)
        line += QStringLiteral(": %1 -> %2").arg(before, after);
    if (!record.outcome.isEmpty())
        line += states ? QStringLiteral(" (%1)").arg(outcome) : QStringLiteral(": %1").arg(outcome);
    return line;
}

// The first `bytes` bytes of `line` or fewer, ending before a character's last byte.
qsizetype cut(const QByteArray &line, qsizetype from, qsizetype bytes)
{
    qsizetype end = std::min(line.size(), from + bytes);
    while (end < line.size() && end > from + 1 && (uchar(line[end]) & 0xc0) == 0x80)
        --end;
    return end;
}
}

void MGAuditLog::record(const QString &who, const MGAuditRecord &record)
{
    const QByteArray whole = lineOf(text(who, record, quoted(record.path), QString::fromUtf8(record.before),
                                         QString::fromUtf8(record.after), record.outcome));
    if (whole.size() <= MaximumLineBytes) {
        send(whole);
        return;
    }
    // A head that fits, then the whole line in parts.
    constexpr qsizetype Shown = 600;
    const QString path = record.path.size() <= Shown
        ? quoted(record.path)
        : QStringLiteral("%1\u2026 (%2)").arg(quoted(record.path.left(Shown)), digestOf(record.path));
    const QString outcome = record.outcome.size() <= Shown ? record.outcome : record.outcome.left(Shown) + QChar(0x2026);
    const quint64 number = ++m_split;
    constexpr qsizetype PartBytes = MaximumLineBytes - 64;
    QList<qsizetype> ends;
    for (qsizetype from = 0; from < whole.size(); from = ends.last())
        ends << cut(whole, from, PartBytes);
    send(lineOf(text(who, record, path, digestOf(record.before), digestOf(record.after), outcome)
                + QStringLiteral(" [record %1 in %2 parts follows]").arg(number).arg(ends.size())));
    // A log that did not take a part takes the rest on standard error at once: a stuck log
    // holds the request once, not once per part.
    bool taken = true;
    for (qsizetype part = 0, from = 0; part < ends.size(); from = ends[part++]) {
        taken = send("[record " + QByteArray::number(number) + " part " + QByteArray::number(part + 1) + '/'
                         + QByteArray::number(ends.size()) + "] " + whole.mid(from, ends[part] - from),
                     taken);
    }
}

bool MGAuditLog::send(const QByteArray &line, bool toLog)
{
    // The syslog form the journal and syslog daemons read: priority, time, name[pid], text.
    const QByteArray stamp = QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("MMM d HH:mm:ss")).toLatin1();
    const QByteArray message = '<' + QByteArray::number(LOG_AUTHPRIV | LOG_NOTICE) + '>' + stamp + ' ' + Name + '['
        + QByteArray::number(getpid()) + "]: " + line;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (!toLog || m_socket < 0 || size_t(m_path.size()) >= sizeof address.sun_path) {
        std::fprintf(stderr, "%s: cannot record: %s\n", Name, line.constData());
        return false;
    }
    std::memcpy(address.sun_path, m_path.constData(), size_t(m_path.size()));
    if (sendto(m_socket, message.constData(), size_t(message.size()), MSG_NOSIGNAL, reinterpret_cast<sockaddr *>(&address),
               sizeof address) < 0) {
        std::fprintf(stderr, "%s: cannot record (%s): %s\n", Name, std::strerror(errno), line.constData());
        return false;
    }
    return true;
}
