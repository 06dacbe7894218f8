#pragma once

#include "MGError.h"

#include <QByteArray>
#include <QMutex>
#include <QStringList>

// The items a walk could not handle: how many, the first few with their error, and the
// first error; safe to add to from several threads.
class MGWalkFailures
{
public:
    static constexpr int ReportedPaths = 5;

    void add(const QByteArray &path, int error);
    qint64 count() const;
    QStringList reportedPaths() const; // the first ReportedPaths, each with its error
    int firstError() const;
    // No error when every item was handled; otherwise one that says how many items below
    // `root` could not be `what` ("read", "changed"), the first few of them, and the first
    // error's errno.
    std::optional<MGError> error(const QString &what, const QString &root) const;

private:
    mutable QMutex m_lock;
    qint64 m_count = 0;
    int m_firstError = 0;
    QStringList m_paths;
};
