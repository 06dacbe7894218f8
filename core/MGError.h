#pragma once

#include <QCborValue>
#include <QString>
#include <memory>
#include <optional>

// A failure as a value. Errors are passed around, wrapped and shown; never thrown.
class MGError
{
public:
    static constexpr const char *POSIXDomain = "NSPOSIXErrorDomain";
    static constexpr const char *OSStatusDomain = "NSOSStatusErrorDomain";
    static constexpr const char *ServiceDomain = "com.quillwork.Marrowgate.ErrorDomain";
    static constexpr int AuthorizationCanceled = -60006;
    static constexpr int AuthorizationDenied = -60005;
    // In ServiceDomain: an item nobody may change as it stands (immutable, append-only), so
    // no authorisation is asked for.
    static constexpr int UnchangeableItem = 4608;

    MGError() = default;
    MGError(QString domain, int code, QString description);

    static MGError posixError(int errnoValue, const QString &description);
    // "<what> “<path>”: <system message>", the form of every error about a file.
    static MGError posixError(int errnoValue, const QString &what, const QString &path);
    // A new error that wraps `error` under `description`; domain and code are kept so
    // callers can still tell what lies underneath.
    static MGError errorWithError(const MGError &error, const QString &description);

    const QString &domain() const { return m_domain; }
    int code() const { return m_code; }
    const QString &localizedDescription() const { return m_description; }
    const MGError *underlyingError() const { return m_underlying.get(); }

    bool isPermissionError() const;
    bool isAuthorizationCanceled() const;
    bool operator==(const MGError &other) const;

    // Every description in the chain, outermost first, one per line.
    QString fullDescription() const;

    QCborValue toCbor() const;
    static std::optional<MGError> fromCbor(const QCborValue &value, QString *problem);

private:
    QString m_domain;
    int m_code = 0;
    QString m_description;
    std::shared_ptr<const MGError> m_underlying;
};

using MGResultError = std::optional<MGError>;

// A value or the error that prevented it.
template <typename T>
class MGResult
{
public:
    MGResult(T value) : m_value(std::move(value)) {}
    MGResult(MGError error) : m_error(std::move(error)) {}

    bool ok() const { return m_value.has_value(); }
    explicit operator bool() const { return ok(); }
    T &value() { return *m_value; }
    const T &value() const { return *m_value; }
    T &operator*() { return *m_value; }
    const T &operator*() const { return *m_value; }
    T *operator->() { return &*m_value; }
    const T *operator->() const { return &*m_value; }
    const MGError &error() const { return *m_error; }

private:
    std::optional<T> m_value;
    std::optional<MGError> m_error;
};
