#include "MGNtBinaryDescriptor.h"

#include <QStringList>
#include <QtEndian>
#include <cerrno>

namespace {
constexpr quint16 DaclPresent = 0x0004, SelfRelative = 0x8000;
// The flags of the audit list (present, defaulted, auto-inherited, protected).
constexpr quint16 AuditFlags = 0x0010 | 0x0020 | 0x0800 | 0x2000;
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
    descriptor.control = control;
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
        if (type != MGNtAce::Allowed && type != MGNtAce::Denied) {
            // Kept whole, by its bytes alone: in object kinds the SID does not follow the rights.
            descriptor.aces << MGNtAce{type, flags, r.u32(at + 4), QString(), QString(), bytes.mid(at, size)};
            at += size;
            continue;
        }
        const std::optional<QString> sid = r.sid(at + 8, at + size);
        if (!sid)
            return unreadable(QStringLiteral("entry %1 names no SID").arg(i + 1));
        descriptor.aces << MGNtAce{type, flags, r.u32(at + 4), *sid, QString()};
        at += size;
    }
    return descriptor;
}

namespace {
void append16(QByteArray &bytes, quint16 v)
{
    char le[2];
    qToLittleEndian(v, le);
    bytes.append(le, 2);
}

void append32(QByteArray &bytes, quint32 v)
{
    char le[4];
    qToLittleEndian(v, le);
    bytes.append(le, 4);
}

}

std::optional<QByteArray> MGNtBinaryDescriptor::sidBytes(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char('-'));
    if (parts.size() < 3 || parts.size() > 18 || parts[0].compare(QLatin1String("S"), Qt::CaseInsensitive) != 0 || parts[1] != QLatin1String("1"))
        return std::nullopt;
    bool ok = false;
    const quint64 authority = parts[2].toULongLong(&ok);
    if (!ok || authority >> 48)
        return std::nullopt;
    QByteArray bytes;
    bytes.append(char(1)).append(char(parts.size() - 3));
    for (int i = 5; i >= 0; --i)
        bytes.append(char((authority >> (8 * i)) & 0xff));
    for (qsizetype i = 3; i < parts.size(); ++i) {
        append32(bytes, parts[i].toUInt(&ok));
        if (!ok)
            return std::nullopt;
    }
    return bytes;
}

namespace {
MGError unwritable(const QString &why)
{
    return MGError::posixError(EINVAL, QStringLiteral("The permissions cannot be written: %1.").arg(why));
}
}

MGResult<QByteArray> MGNtBinaryDescriptor::encode(const MGNtSecurityDescriptor &descriptor)
{
    QByteArray owner, group, entries;
    if (!descriptor.ownerSid.isEmpty()) {
        const std::optional<QByteArray> sid = sidBytes(descriptor.ownerSid);
        if (!sid)
            return unwritable(QStringLiteral("the owner \u201c%1\u201d is no SID").arg(descriptor.ownerSid));
        owner = *sid;
    }
    if (!descriptor.groupSid.isEmpty()) {
        const std::optional<QByteArray> sid = sidBytes(descriptor.groupSid);
        if (!sid)
            return unwritable(QStringLiteral("the group \u201c%1\u201d is no SID").arg(descriptor.groupSid));
        group = *sid;
    }
    for (const MGNtAce &ace : descriptor.aces) {
        if (ace.isOtherKind()) {
            entries += ace.raw;
            continue;
        }
        const std::optional<QByteArray> sid = sidBytes(ace.sid);
        if (!sid)
            return unwritable(QStringLiteral("the entry for \u201c%1\u201d names no SID").arg(ace.name.isEmpty() ? ace.sid : ace.name));
        entries.append(char(ace.type)).append(char(ace.flags));
        append16(entries, quint16(8 + sid->size()));
        append32(entries, ace.mask);
        entries += *sid;
    }
    if (8 + entries.size() > 0xFFFF)
        return MGError::posixError(EFBIG, QStringLiteral("The permissions cannot be written: the list takes %1 bytes, "
                                                         "and a server keeps at most %2.")
                                              .arg(8 + entries.size())
                                              .arg(0xFFFF));
    QByteArray bytes;
    bytes.append(char(1)).append(char(0));
    append16(bytes, quint16((descriptor.control & ~AuditFlags) | SelfRelative | DaclPresent));
    const quint32 ownerAt = owner.isEmpty() ? 0 : quint32(HeaderSize);
    const quint32 groupAt = group.isEmpty() ? 0 : quint32(HeaderSize + owner.size());
    append32(bytes, ownerAt);
    append32(bytes, groupAt);
    append32(bytes, 0); // no audit list
    append32(bytes, quint32(HeaderSize + owner.size() + group.size()));
    bytes += owner + group;
    bytes.append(char(2)).append(char(0));
    append16(bytes, quint16(8 + entries.size()));
    append16(bytes, quint16(descriptor.aces.size()));
    append16(bytes, 0);
    return bytes + entries;
}
