#include "MGWalkFailures.h"

#include <QFile>
#include <cstring>

void MGWalkFailures::add(const QByteArray &path, int error)
{
    QMutexLocker locker(&m_lock);
    if (m_count++ == 0)
        m_firstError = error;
    if (m_paths.size() < ReportedPaths)
        m_paths << QStringLiteral("%1 (%2)").arg(QFile::decodeName(path), QString::fromLocal8Bit(strerror(error)));
}

qint64 MGWalkFailures::count() const
{
    QMutexLocker locker(&m_lock);
    return m_count;
}

QStringList MGWalkFailures::reportedPaths() const
{
    QMutexLocker locker(&m_lock);
    return m_paths;
}

int MGWalkFailures::firstError() const
{
    QMutexLocker locker(&m_lock);
    return m_firstError;
}

std::optional<MGError> MGWalkFailures::error(const QString &what, const QString &root) const
{
    QMutexLocker locker(&m_lock);
    if (m_count == 0)
        return std::nullopt;
    return MGError::posixError(m_firstError, QStringLiteral("%1 of the items below \u201c%2\u201d could not be %3: %4%5")
                                                 .arg(m_count)
                                                 .arg(root, what, m_paths.join(QStringLiteral(", ")),
                                                      m_count > m_paths.size() ? QStringLiteral(", \u2026") : QString()));
}
