#include "MGNdr.h"

#include "MGNtBinaryDescriptor.h"

#include <QStringList>

void MGNdrWriter::string(const QString &text)
{
    const quint32 count = quint32(text.size() + 1);
    u32(count);
    u32(0);
    u32(count);
    for (const QChar c : text)
        u16(c.unicode());
    u16(0);
}

void MGNdrWriter::uuid(const QUuid &id)
{
    u32(id.data1);
    u16(id.data2);
    u16(id.data3);
    m_bytes.append(reinterpret_cast<const char *>(id.data4), 8);
}

bool MGNdrWriter::sid(const QString &text)
{
    const std::optional<QByteArray> bytes = MGNtBinaryDescriptor::sidBytes(text);
    if (!bytes)
        return false;
    u32(quint32(quint8(bytes->at(1))));
    m_bytes += *bytes;
    return true;
}

bool MGNdrReader::take(qsizetype size, int alignment)
{
    if (m_failed)
        return false;
    m_at = (m_at + alignment - 1) / alignment * alignment;
    if (m_at > m_bytes.size() - size) {
        m_failed = true;
        return false;
    }
    return true;
}

std::optional<QString> MGNdrReader::string()
{
    const auto max = u32(), offset = u32(), count = u32();
    if (!max || !offset || !count || *offset || *count > *max || !take(qsizetype(*count) * 2, 2)) {
        m_failed = true;
        return std::nullopt;
    }
    QString text(qsizetype(*count), Qt::Uninitialized);
    for (quint32 i = 0; i < *count; ++i)
        text[i] = QChar(qFromLittleEndian<quint16>(m_bytes.constData() + m_at + 2 * i));
    m_at += qsizetype(*count) * 2;
    while (text.endsWith(QChar(0)))
        text.chop(1);
    return text;
}

std::optional<QByteArray> MGNdrReader::bytes(quint32 size)
{
    if (!take(size, 1))
        return std::nullopt;
    const QByteArray b = m_bytes.mid(m_at, size);
    m_at += size;
    return b;
}

std::optional<QString> MGNdrReader::sid()
{
    const auto count = u32();
    if (!count || *count > 15 || !take(8 + 4 * qsizetype(*count), 4)) {
        m_failed = true;
        return std::nullopt;
    }
    const auto *b = reinterpret_cast<const uchar *>(m_bytes.constData() + m_at);
    if (b[0] != 1 || b[1] != *count) {
        m_failed = true;
        return std::nullopt;
    }
    quint64 authority = 0;
    for (int i = 0; i < 6; ++i)
        authority = authority << 8 | b[2 + i];
    QString text = QStringLiteral("S-1-%1").arg(authority);
    for (quint32 i = 0; i < *count; ++i)
        text += QStringLiteral("-%1").arg(qFromLittleEndian<quint32>(b + 8 + 4 * i));
    m_at += 8 + 4 * qsizetype(*count);
    return text;
}
