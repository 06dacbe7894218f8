#include "MGNtBinaryDescriptor.h"

#include <QtEndian>
#include <cerrno>

namespace {
constexpr quint16 DaclPresent = 0x0004;
constexpr qsizetype HeaderSize = 20;

MGError unreadable(const QString &why)
{
    return MGError::posixError(EPROTO, QStringLiteral("The server sent permissions in a form that cannot be read: %1.").arg(why));
}

// Reads within the bytes only: every read says whether it fit.
class Reader
{
public:
    explicit Reader(const QByteArray &bytes) : m_bytes(bytes) {}
    bool fits(qsizetype at, qsizetype size) const { return at >= 0 && size >= 0 && at <= m_bytes.size() - size; }
    quint8 u8(qsizetype at) const { return quint8(m_bytes[at]); }
    quint16 u16(qsizetype at) const { return qFromLittleEndian<quint16>(m_bytes.constData() + at); }
    quint32 u32(qsizetype at) const { return qFromLittleEndian<quint32>(m_bytes.constData() + at); }

    // A SID at `at`, no further than `end`.
    std::optional<QString> sid(qsizetype at, qsizetype end) const
    {
        if (!fits(at, 8) || at + 8 > end)
            return std::nullopt;
        const int count = u8(at + 1);
        if (u8(at) != 1 || count > 15 || !fits(at, 8 + 4 * count) || at + 8 + 4 * count > end)
            return std::nullopt;
        quint64 authority = 0;
        for (int i = 0; i < 6; ++i)
            authority = authority << 8 | u8(at + 2 + i);
        QString text = QStringLiteral("S-1-%1").arg(authority);
        for (int i = 0; i < count; ++i)
            text += QStringLiteral("-%1").arg(u32(at + 8 + 4 * i));
        return text;
    }
    qsizetype size() const { return m_bytes.size(); }

private:
    const QByteArray &m_bytes;
};
}

MGResult<MGNtSecurityDescriptor> MGNtBinaryDescriptor::parse(const QByteArray &bytes)
{
    const Reader r(bytes);
    if (!r.fits(0, HeaderSize) || r.u8(0) != 1)
        return unreadable(QStringLiteral("it is no security descriptor"));
    MGNtSecurityDescriptor descriptor;
    const quint16 control = r.u16(2);
    const quint32 owner = r.u32(4), group = r.u32(8), dacl = r.u32(16);
    if (owner) {
        const std::optional<QString> sid = r.sid(owner, r.size());
        if (!sid)
            return unreadable(QStringLiteral("its owner is no SID"));
        descriptor.ownerSid = *sid;
    }
    if (group) {
        const std::optional<QString> sid = r.sid(group, r.size());
        if (!sid)
            return unreadable(QStringLiteral("its group is no SID"));
        descriptor.groupSid = *sid;
    }
    // No list at all lets everyone do everything; an empty one lets no one do anything.
    if (!(control & DaclPresent) || !dacl) {
        descriptor.aces << MGNtAce{MGNtAce::Allowed, 0, FullControl, QStringLiteral("S-1-1-0"), QString()};
        return descriptor;
    }
    if (!r.fits(dacl, 8))
        return unreadable(QStringLiteral("its access control list lies outside it"));
    const qsizetype listEnd = dacl + r.u16(dacl + 2);
    const int count = r.u16(dacl + 4);
    if (listEnd > r.size() || listEnd < dacl + 8)
        return unreadable(QStringLiteral("its access control list is longer than it"));
    qsizetype at = dacl + 8;
    for (int i = 0; i < count; ++i) {
        if (!r.fits(at, 8) || at + 8 > listEnd)
            return unreadable(QStringLiteral("entry %1 lies outside its list").arg(i + 1));
        const int type = r.u8(at);
        const quint32 flags = r.u8(at + 1);
        const qsizetype size = r.u16(at + 2);
        if (size < 16 || at + size > listEnd)
            return unreadable(QStringLiteral("entry %1 has a wrong size").arg(i + 1));
        if (type != MGNtAce::Allowed && type != MGNtAce::Denied)
            return unreadable(QStringLiteral("entry %1 is of kind %2 (only allow and deny entries are known)").arg(i + 1).arg(type));
        const std::optional<QString> sid = r.sid(at + 8, at + size);
        if (!sid)
            return unreadable(QStringLiteral("entry %1 names no SID").arg(i + 1));
        descriptor.aces << MGNtAce{type, flags, r.u32(at + 4), *sid, QString()};
        at += size;
    }
    return descriptor;
}
