#pragma once

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <QtEndian>
#include <optional>

// The network data representation of remote procedure calls, for the few types the calls
// made here use: integers aligned to their size, strings with their counts, SIDs. The reader
// never reads past the bytes it was given: a read that does not fit answers nothing, and so
// does every read after it.
class MGNdrWriter
{
public:
    void u8(quint8 v) { m_bytes.append(char(v)); }
    void u16(quint16 v) { integer(v); }
    void u32(quint32 v) { integer(v); }
    // A UUID as calls take it: its first three fields as integers, the rest as bytes.
    void uuid(const QUuid &id);
    // A string with its counts, in UTF-16 with its terminating zero.
    void string(const QString &text);
    // A SID with its count of parts first, as calls take it; false for text that is no SID.
    bool sid(const QString &text);
    void bytes(const QByteArray &b) { m_bytes += b; }
    const QByteArray &data() const { return m_bytes; }

private:
    template <typename T>
    void integer(T v)
    {
        while (m_bytes.size() % qsizetype(sizeof(T)))
            m_bytes.append('\0');
        char le[sizeof(T)];
        qToLittleEndian(v, le);
        m_bytes.append(le, sizeof(T));
    }
    QByteArray m_bytes;
};

class MGNdrReader
{
public:
    explicit MGNdrReader(const QByteArray &bytes) : m_bytes(bytes) {}
    std::optional<quint16> u16() { return integer<quint16>(); }
    std::optional<quint32> u32() { return integer<quint32>(); }
    // A string with its counts (conformant and varying), in UTF-16.
    std::optional<QString> string();
    std::optional<QByteArray> bytes(quint32 size);
    // A SID with its count of parts first.
    std::optional<QString> sid();
    bool failed() const { return m_failed; }

private:
    bool take(qsizetype size, int alignment);
    template <typename T>
    std::optional<T> integer()
    {
        if (!take(sizeof(T), sizeof(T)))
            return std::nullopt;
        const T v = qFromLittleEndian<T>(m_bytes.constData() + m_at);
        m_at += sizeof(T);
        return v;
    }
    const QByteArray &m_bytes;
    qsizetype m_at = 0;
    bool m_failed = false;
};
