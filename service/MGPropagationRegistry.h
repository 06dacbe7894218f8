#pragma once

#include <QHash>
#include <QMutex>
#include <QString>
#include <atomic>
#include <memory>

// The propagations running or waiting to run, by caller and request number, so that a
// caller can stop its own and nobody else's, even one that has not begun yet. Bounded by
// what the service holds: an entry lives from when its request is taken in (expect) to
// when it has been answered (forget).
class MGPropagationRegistry
{
public:
    using StopFlag = std::shared_ptr<std::atomic<bool>>;

    // Registers a walk; the flag it answers stops it. Unregistered when the returned
    // registration is destroyed.
    class Registration
    {
    public:
        Registration(MGPropagationRegistry *registry, QString caller, qint64 request);
        ~Registration();
        Registration(const Registration &) = delete;
        Registration &operator=(const Registration &) = delete;
        StopFlag flag() const { return m_flag; }

    private:
        MGPropagationRegistry *m_registry;
        QString m_key;
        StopFlag m_flag;
    };

    // A propagation request was taken in and will run: a stop from now on reaches it.
    void expect(const QString &caller, qint64 request);
    // Its request was answered.
    void forget(const QString &caller, qint64 request);
    // Stops the caller's walk with that request number; answers whether one was running
    // or waiting.
    bool stop(const QString &caller, qint64 request);
    // Stops every walk (the service is going away).
    void stopAll();

private:
    static QString key(const QString &caller, qint64 request);

    QMutex m_lock;
    QHash<QString, StopFlag> m_running;
};
