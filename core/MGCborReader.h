#pragma once

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QString>
#include <QStringList>
#include <optional>

// Reads CBOR that came from elsewhere and may be hostile. Every read checks type and range
// and says what was wrong in the words of the value being read ("entry field “tag” is out
// of range"). The first problem is kept; reads after it fail too, so a decoder can read
// all its fields and look at ok() once.
class MGCborReader
{
public:
    // `problem` (optional) receives the first problem found.
    explicit MGCborReader(QString *problem = nullptr) : m_problem(problem) {}

    bool ok() const { return m_ok; }
    // Records `why` unless a problem was recorded already; answers false.
    bool fail(const QString &why);

    // `value` as a map whose keys are all of `required` and any of `optional`, nothing else.
    // `what` names the value in problems ("entry", "error").
    std::optional<QCborMap> map(const QCborValue &value, const QString &what, const QStringList &required,
                                const QStringList &optional = {});
    // `value` as a list of at most `maximumItems` elements.
    std::optional<QCborArray> array(const QCborValue &value, const QString &what, qsizetype maximumItems);

    // Fields of a map read with map(): `what` names the map, `key` the field.
    std::optional<qint64> integer(const QCborMap &map, const QString &what, const QString &key, qint64 minimum,
                                  qint64 maximum);
    // An integer that may only hold the bits of `allowed`.
    std::optional<quint32> bits(const QCborMap &map, const QString &what, const QString &key, quint32 allowed);
    std::optional<bool> boolean(const QCborMap &map, const QString &what, const QString &key);
    std::optional<QString> text(const QCborMap &map, const QString &what, const QString &key, qsizetype maximumLength);
    std::optional<QByteArray> bytes(const QCborMap &map, const QString &what, const QString &key,
                                    qsizetype maximumLength);
    // A field that may be absent: nothing without a problem when it is.
    bool has(const QCborMap &map, const QString &key) const { return map.contains(key); }

    // Values standing alone (list elements). `what` names the value in problems; the words
    // are put together only for a problem, as lists of thousands of values are read here.
    struct Field
    {
        const QString &name;
        const QString *key = nullptr; // the field of the map `name`, if any
        QString text() const;
    };
    std::optional<qint64> integer(const QCborValue &value, const Field &what, qint64 minimum, qint64 maximum);
    std::optional<quint32> bits(const QCborValue &value, const Field &what, quint32 allowed);
    std::optional<bool> boolean(const QCborValue &value, const Field &what);
    std::optional<QString> text(const QCborValue &value, const QString &what, qsizetype maximumLength);

private:
    QString *m_problem;
    bool m_ok = true;
};
