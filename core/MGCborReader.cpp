#include "MGCborReader.h"

bool MGCborReader::fail(const QString &why)
{
    if (m_ok && m_problem)
        *m_problem = why;
    m_ok = false;
    return false;
}

std::optional<QCborMap> MGCborReader::map(const QCborValue &value, const QString &what, const QStringList &required,
                                          const QStringList &optional)
{
    if (!m_ok)
        return std::nullopt;
    if (!value.isMap()) {
        fail(QStringLiteral("%1 is not a map").arg(what));
        return std::nullopt;
    }
    const QCborMap map = value.toMap();
    // A field given twice would be read as one value here and as the other elsewhere.
    QStringList seen;
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        const QString key = it.key().isString() ? it.key().toString() : QString();
        if (key.isEmpty() || (!required.contains(key) && !optional.contains(key))) {
            fail(QStringLiteral("%1 has an unknown field").arg(what));
            return std::nullopt;
        }
        if (seen.contains(key)) {
            fail(QStringLiteral("%1 has the field \u201c%2\u201d twice").arg(what, key));
            return std::nullopt;
        }
        seen << key;
    }
    for (const QString &key : required) {
        if (!map.contains(key)) {
            fail(QStringLiteral("%1 has no field \u201c%2\u201d").arg(what, key));
            return std::nullopt;
        }
    }
    return map;
}

std::optional<QCborArray> MGCborReader::array(const QCborValue &value, const QString &what, qsizetype maximumItems)
{
    if (!m_ok)
        return std::nullopt;
    if (!value.isArray()) {
        fail(QStringLiteral("%1 is not a list").arg(what));
        return std::nullopt;
    }
    QCborArray array = value.toArray();
    if (array.size() > maximumItems) {
        fail(QStringLiteral("%1 has too many items").arg(what));
        return std::nullopt;
    }
    return array;
}

std::optional<qint64> MGCborReader::integer(const QCborMap &map, const QString &what, const QString &key,
                                            qint64 minimum, qint64 maximum)
{
    return integer(map.value(key), Field{what, &key}, minimum, maximum);
}

std::optional<quint32> MGCborReader::bits(const QCborMap &map, const QString &what, const QString &key,
                                          quint32 allowed)
{
    return bits(map.value(key), Field{what, &key}, allowed);
}

std::optional<bool> MGCborReader::boolean(const QCborMap &map, const QString &what, const QString &key)
{
    return boolean(map.value(key), Field{what, &key});
}

std::optional<qint64> MGCborReader::integer(const QCborValue &value, const Field &what, qint64 minimum, qint64 maximum)
{
    if (!m_ok)
        return std::nullopt;
    if (!value.isInteger()) {
        fail(what.text() + QStringLiteral(" is not a whole number"));
        return std::nullopt;
    }
    const qint64 number = value.toInteger();
    if (number < minimum || number > maximum) {
        fail(what.text() + QStringLiteral(" is out of range"));
        return std::nullopt;
    }
    return number;
}

std::optional<quint32> MGCborReader::bits(const QCborValue &value, const Field &what, quint32 allowed)
{
    const std::optional<qint64> number = integer(value, what, 0, allowed);
    if (!number)
        return std::nullopt;
    if (quint64(*number) & ~quint64(allowed)) {
        fail(what.text() + QStringLiteral(" holds unknown bits"));
        return std::nullopt;
    }
    return quint32(*number);
}

std::optional<bool> MGCborReader::boolean(const QCborValue &value, const Field &what)
{
    if (!m_ok)
        return std::nullopt;
    if (!value.isBool()) {
        fail(what.text() + QStringLiteral(" is not true or false"));
        return std::nullopt;
    }
    return value.toBool();
}

QString MGCborReader::Field::text() const
{
    return key ? QStringLiteral("%1 field \u201c%2\u201d").arg(name, *key) : name;
}

std::optional<QString> MGCborReader::text(const QCborMap &map, const QString &what, const QString &key,
                                          qsizetype maximumLength)
{
    if (!m_ok)
        return std::nullopt;
    // The field's name is put together only for a failure: lists of thousands of entries
    // are read through here.
    const QCborValue value = map.value(key);
    if (value.isString() && value.toString().size() <= maximumLength)
        return value.toString();
    return text(value, Field{what, &key}.text(), maximumLength);
}

std::optional<QString> MGCborReader::text(const QCborValue &value, const QString &what, qsizetype maximumLength)
{
    if (!m_ok)
        return std::nullopt;
    if (!value.isString()) {
        fail(what + QStringLiteral(" is not a text"));
        return std::nullopt;
    }
    QString string = value.toString();
    if (string.size() > maximumLength) {
        fail(what + QStringLiteral(" is too long"));
        return std::nullopt;
    }
    return string;
}

std::optional<QByteArray> MGCborReader::bytes(const QCborMap &map, const QString &what, const QString &key,
                                              qsizetype maximumLength)
{
    if (!m_ok)
        return std::nullopt;
    const QCborValue value = map.value(key);
    if (!value.isByteArray()) {
        fail(Field{what, &key}.text() + QStringLiteral(" is not a byte string"));
        return std::nullopt;
    }
    QByteArray data = value.toByteArray();
    if (data.size() > maximumLength) {
        fail(Field{what, &key}.text() + QStringLiteral(" is too long"));
        return std::nullopt;
    }
    return data;
}
