#include "MGError.h"

#include <QCborMap>
#include <QMessageBox>
#include <QWidget>
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

void MGError::showWithWindow(QWidget *window) const
{
    auto *box = new QMessageBox(QMessageBox::Warning, QString(), m_description, QMessageBox::Ok, window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setObjectName(QStringLiteral("MGErrorAlert"));
    QStringList details;
    for (const MGError *e = underlyingError(); e; e = e->underlyingError()) {
        if (!e->m_description.isEmpty() && e->m_description != m_description)
            details << e->m_description;
    }
    box->setInformativeText(details.join(QLatin1Char('\n')));
    box->setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
    box->open();
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
std::optional<MGError> decode(const QCborValue &value, int depth, QString *problem)
{
    auto fail = [problem](const QString &why) -> std::optional<MGError> {
        if (problem)
            *problem = why;
        return std::nullopt;
    };
    if (depth > MaximumWrapDepth)
        return fail(QStringLiteral("error nested too deeply"));
    if (!value.isMap())
        return fail(QStringLiteral("error is not a map"));
    const QCborMap map = value.toMap();
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        const QString key = it.key().toString();
        if (key != QLatin1String("domain") && key != QLatin1String("code")
            && key != QLatin1String("description") && key != QLatin1String("underlying"))
            return fail(QStringLiteral("unknown error field"));
    }
    const QCborValue domain = map.value(QStringLiteral("domain"));
    const QCborValue code = map.value(QStringLiteral("code"));
    const QCborValue description = map.value(QStringLiteral("description"));
    if (!domain.isString() || !code.isInteger() || !description.isString())
        return fail(QStringLiteral("error field of the wrong type"));
    if (code.toInteger() < INT32_MIN || code.toInteger() > INT32_MAX)
        return fail(QStringLiteral("error code out of range"));
    if (domain.toString().size() > MaximumTextLength || description.toString().size() > MaximumTextLength)
        return fail(QStringLiteral("error text too long"));
    MGError error(domain.toString(), int(code.toInteger()), description.toString());
    const QCborValue underlying = map.value(QStringLiteral("underlying"));
    if (!underlying.isUndefined()) {
        auto inner = decode(underlying, depth + 1, problem);
        if (!inner)
            return std::nullopt;
        return MGError::errorWithError(*inner, error.localizedDescription());
    }
    return error;
}
}

std::optional<MGError> MGError::fromCbor(const QCborValue &value, QString *problem)
{
    return decode(value, 0, problem);
}
