#include "MGError.h"

#include "MGCborReader.h"

#include <QCborMap>
#include <cerrno>
#include <cstring>

namespace {
constexpr int MaximumWrapDepth = 8;
constexpr qsizetype MaximumTextLength = 64 * 1024;
}

MGError::MGError(QString domain, int code, QString description)
    : m_domain(std::move(domain)), m_code(code), m_description(std::move(description))
{
}

MGError MGError::posixError(int errnoValue, const QString &description)
{
    return MGError(QString::fromLatin1(POSIXDomain), errnoValue, description);
}

MGError MGError::posixError(int errnoValue, const QString &what, const QString &path)
{
    return posixError(errnoValue, QStringLiteral("%1 \u201c%2\u201d: %3")
                                      .arg(what, path, QString::fromLocal8Bit(std::strerror(errnoValue))));
}

MGError MGError::errorWithError(const MGError &error, const QString &description)
{
    MGError wrapped(error.m_domain, error.m_code, description);
    wrapped.m_underlying = std::make_shared<const MGError>(error);
    return wrapped;
}

bool MGError::isPermissionError() const
{
    return m_domain == QLatin1String(POSIXDomain) && (m_code == EPERM || m_code == EACCES);
}

bool MGError::isAuthorizationCanceled() const
{
    return m_domain == QLatin1String(OSStatusDomain) && m_code == AuthorizationCanceled;
}

bool MGError::operator==(const MGError &other) const
{
    if (m_domain != other.m_domain || m_code != other.m_code || m_description != other.m_description)
        return false;
    if (!m_underlying || !other.m_underlying)
        return !m_underlying && !other.m_underlying;
    return *m_underlying == *other.m_underlying;
}

QString MGError::fullDescription() const
{
    QStringList lines;
    for (const MGError *e = this; e; e = e->underlyingError()) {
        if (!e->m_description.isEmpty() && !lines.contains(e->m_description))
            lines << e->m_description;
    }
    return lines.join(QLatin1Char('\n'));
}

QCborValue MGError::toCbor() const
{
    QCborMap map;
    map.insert(QStringLiteral("domain"), m_domain);
    map.insert(QStringLiteral("code"), m_code);
    map.insert(QStringLiteral("description"), m_description);
    if (m_underlying)
        map.insert(QStringLiteral("underlying"), m_underlying->toCbor());
    return map;
}

namespace {
std::optional<MGError> decode(const QCborValue &value, int depth, MGCborReader &read)
{
    if (depth > MaximumWrapDepth) {
        read.fail(QStringLiteral("error nested too deeply"));
        return std::nullopt;
    }
    const QString what = QStringLiteral("error");
    const auto map = read.map(value, what, {QStringLiteral("domain"), QStringLiteral("code"), QStringLiteral("description")},
                              {QStringLiteral("underlying")});
    if (!map)
        return std::nullopt;
    const auto domain = read.text(*map, what, QStringLiteral("domain"), MaximumTextLength);
    const auto code = read.integer(*map, what, QStringLiteral("code"), INT32_MIN, INT32_MAX);
    const auto description = read.text(*map, what, QStringLiteral("description"), MaximumTextLength);
    if (!read.ok())
        return std::nullopt;
    MGError error(*domain, int(*code), *description);
    if (map->contains(QStringLiteral("underlying"))) {
        auto inner = decode(map->value(QStringLiteral("underlying")), depth + 1, read);
        if (!inner)
            return std::nullopt;
        return MGError::errorWithError(*inner, error.localizedDescription());
    }
    return error;
}
}

std::optional<MGError> MGError::fromCbor(const QCborValue &value, QString *problem)
{
    MGCborReader read(problem);
    return decode(value, 0, read);
}
