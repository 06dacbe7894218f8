#pragma once

#include <QLibrary>
#include <QString>
#include <type_traits>

// A system library loaded when it is first needed, its functions resolved by name. The error
// is the load's failure, or the first function the library lacks; empty when all is there.
class MGLoadedLibrary
{
public:
    MGLoadedLibrary(const QString &name, int version, QString description) : m_library(name, version), m_description(std::move(description))
    {
        if (!m_library.load())
            m_error = m_library.errorString();
    }

    template <typename Function>
    void resolve(Function &function, const char *symbol)
    {
        if (!m_error.isEmpty())
            return;
        function = reinterpret_cast<std::remove_reference_t<Function>>(m_library.resolve(symbol));
        if (!function)
            m_error = QStringLiteral("%1 has no %2").arg(m_description, QLatin1String(symbol));
    }
    const QString &error() const { return m_error; }

private:
    QLibrary m_library;
    QString m_description;
    QString m_error;
};
