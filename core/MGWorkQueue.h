#pragma once

#include <QObject>
#include <QString>
#include <functional>

class QThread;

// A serial queue: one thread that runs posted tasks one at a time, in posting order.
class MGWorkQueue
{
public:
    explicit MGWorkQueue(const QString &label);
    ~MGWorkQueue(); // finishes the task that is running; later tasks are dropped

    const QString &label() const { return m_label; }
    void async(std::function<void()> task);
    // Runs a task on the queue and waits for it (at once when called on the queue).
    void sync(std::function<void()> task);
    // The object living on the queue's thread: timers and notifiers made with it as
    // parent fire on the queue.
    QObject *context() const { return m_context; }
    bool isCurrent() const;

private:
    QString m_label;
    QThread *m_thread;
    QObject *m_context;
};

// Runs a task on the main thread's event loop.
namespace MGMainQueue {
void async(std::function<void()> task);
}
