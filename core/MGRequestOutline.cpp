#include "MGRequestOutline.h"

#include "MGAclList.h"
#include "MGAclProtocol.h"

#include <QCborArray>
#include <QCborStreamReader>
#include <QCborStreamWriter>
#include <QCborValue>
#include <limits>

namespace {
class Outliner
{
public:
    Outliner(const QByteArray &request, QString *problem) : m_request(request), m_reader(request), m_writer(&m_outline), m_problem(problem)
    {
        const MGAclProtocol::Header header = MGAclProtocol::peek(request);
        if (header.method) {
            for (const MGAclProtocol::Argument &argument : MGAclProtocol::arguments(*header.method)) {
                if (argument.type == MGAclProtocol::ArgumentType::Entries)
                    m_entryLists << QString(argument.name);
                if (argument.type == MGAclProtocol::ArgumentType::Credentials)
                    m_smallMaps << QString(argument.name);
            }
        }
    }

    std::optional<QCborMap> run()
    {
        if (!copy(Level::Request))
            return std::nullopt;
        if (m_reader.lastError() != QCborError::NoError)
            return fail(QStringLiteral("the request is not a CBOR map"));
        QCborParserError error;
        const QCborValue outline = QCborValue::fromCbor(m_outline, &error);
        if (error.error != QCborError::NoError || !outline.isMap())
            return fail(QStringLiteral("the request is not a CBOR map"));
        return outline.toMap();
    }

private:
    // Where a value stands: the request itself, one of its fields, the method's argument
    // record, or one of its arguments (an entry list by the table, or another).
    enum class Level { Request, Field, Arguments, Argument, EntryList, SmallMap };

    std::nullopt_t fail(const QString &why)
    {
        refuse(why);
        return std::nullopt;
    }

    bool refuse(const QString &why)
    {
        if (m_problem)
            *m_problem = why;
        return false;
    }

    bool readable() { return m_reader.lastError() == QCborError::NoError; }

    // A string read whole, in the chunks the reader gives.
    template <typename Value, typename Read>
    static std::optional<Value> whole(Read read)
    {
        Value value;
        auto chunk = read();
        for (; chunk.status == QCborStreamReader::Ok; chunk = read())
            value += chunk.data;
        if (chunk.status == QCborStreamReader::Error)
            return std::nullopt;
        return value;
    }
    std::optional<QString> text() { return whole<QString>([this] { return m_reader.readString(); }); }
    std::optional<QByteArray> bytes() { return whole<QByteArray>([this] { return m_reader.readByteArray(); }); }

    // Copies the value under the reader, as the outline keeps it.
    bool copy(Level level)
    {
        switch (m_reader.type()) {
        case QCborStreamReader::UnsignedInteger:
            m_writer.append(m_reader.toUnsignedInteger());
            return m_reader.next();
        case QCborStreamReader::NegativeInteger: {
            // One no 64-bit integer holds is kept as what it is, a number of another kind.
            // Its magnitude wraps: -2^64 reads as 0 (and QCborValue takes it for 0).
            const quint64 magnitude = quint64(m_reader.toNegativeInteger());
            if (magnitude == 0)
                m_writer.append(-18446744073709551616.0);
            else if (magnitude > quint64(std::numeric_limits<qint64>::max()))
                m_writer.append(-double(magnitude));
            else
                m_writer.append(m_reader.toNegativeInteger());
            return m_reader.next();
        }
        case QCborStreamReader::ByteArray: {
            const std::optional<QByteArray> value = bytes();
            if (value)
                m_writer.append(*value);
            return value.has_value();
        }
        case QCborStreamReader::String: {
            const std::optional<QString> value = text();
            if (value)
                m_writer.append(*value);
            return value.has_value();
        }
        case QCborStreamReader::Tag:
            m_writer.append(m_reader.toTag());
            return m_reader.next() && copy(level);
        case QCborStreamReader::SimpleType:
            m_writer.append(m_reader.toSimpleType());
            return m_reader.next();
        case QCborStreamReader::Float16:
            m_writer.append(double(m_reader.toFloat16()));
            return m_reader.next();
        case QCborStreamReader::Float:
            m_writer.append(double(m_reader.toFloat()));
            return m_reader.next();
        case QCborStreamReader::Double:
            m_writer.append(m_reader.toDouble());
            return m_reader.next();
        case QCborStreamReader::Map:
            if (level == Level::Request || level == Level::Arguments)
                return copyMap(level);
            if (level == Level::SmallMap)
                return copySmall();
            return empty(false);
        case QCborStreamReader::Array:
            if (level == Level::EntryList)
                return checkEntries();
            return empty(true);
        case QCborStreamReader::Invalid:
            break;
        }
        return false;
    }

    // A list or map in the outline's place: empty, of the same kind, and skipped unread.
    bool empty(bool array)
    {
        if (array) {
            m_writer.startArray(0);
            m_writer.endArray();
        } else {
            m_writer.startMap(0);
            m_writer.endMap();
        }
        return m_reader.next();
    }

    bool copyMap(Level level)
    {
        if (!m_reader.enterContainer())
            return false;
        m_writer.startMap();
        while (readable() && m_reader.hasNext()) {
            // A key: text as the request's fields are named, or anything else (refused later).
            QString key;
            if (m_reader.isString()) {
                const std::optional<QString> name = text();
                if (!name)
                    return false;
                key = *name;
                m_writer.append(key);
            } else if (!copy(Level::Field)) {
                return false;
            }
            if (!readable() || !m_reader.hasNext())
                return false;
            Level inner = Level::Field;
            if (level == Level::Request && key == MGAclProtocol::Field::Arguments)
                inner = Level::Arguments;
            else if (level == Level::Arguments)
                inner = m_entryLists.contains(key) ? Level::EntryList : m_smallMaps.contains(key) ? Level::SmallMap : Level::Argument;
            if (!copy(inner))
                return false;
        }
        m_writer.endMap();
        return readable() && m_reader.leaveContainer();
    }

    // A map the method takes whole (a file server's account): copied when it is small, which
    // is all it can be when it is right.
    bool copySmall()
    {
        const qint64 start = m_reader.currentOffset();
        if (!m_reader.next())
            return false;
        const qint64 size = m_reader.currentOffset() - start;
        if (size > MGRequestOutline::MaximumItemBytes)
            return refuse(QStringLiteral("an argument is larger than %1 bytes").arg(MGRequestOutline::MaximumItemBytes));
        QCborValue::fromCbor(m_request.mid(start, size)).toCbor(m_writer);
        return true;
    }

    // An entry list: each entry read alone from its own bytes and checked as a list of one,
    // then let go; the outline holds an empty list.
    bool checkEntries()
    {
        if (!m_reader.enterContainer())
            return false;
        qsizetype count = 0;
        while (readable() && m_reader.hasNext()) {
            if (++count > MGAclLists::MaximumItems)
                return refuse(QStringLiteral("entry list has too many items"));
            const qint64 start = m_reader.currentOffset();
            // A tag is an element of the stream of its own, before the value it tags.
            while (m_reader.isTag() && m_reader.next()) {
            }
            if (!readable() || !m_reader.next())
                return false;
            const qint64 size = m_reader.currentOffset() - start;
            if (size > MGRequestOutline::MaximumItemBytes)
                return refuse(QStringLiteral("an entry of the list is larger than %1 bytes").arg(MGRequestOutline::MaximumItemBytes));
            const QCborValue item = QCborValue::fromCbor(m_request.mid(start, size));
            QString why;
            if (!MGAclLists::fromCbor(QCborArray{item}, &why))
                return refuse(why);
        }
        m_writer.startArray(0);
        m_writer.endArray();
        return readable() && m_reader.leaveContainer();
    }

    const QByteArray &m_request;
    QCborStreamReader m_reader;
    QByteArray m_outline;
    QCborStreamWriter m_writer;
    QString *m_problem;
    QStringList m_entryLists; // the method's arguments that are entry lists
    QStringList m_smallMaps; // the method's arguments that are small maps, copied whole
};
}

namespace MGRequestOutline {
std::optional<QCborMap> of(const QByteArray &request, QString *problem)
{
    QString why;
    Outliner outliner(request, &why);
    const std::optional<QCborMap> outline = outliner.run();
    if (!outline && problem)
        *problem = why.isEmpty() ? QStringLiteral("the request is not a CBOR map") : why;
    return outline;
}
}
