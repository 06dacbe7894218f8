#include "MGWorkQueue.h"

#include <QCoreApplication>
#include <QMutex>
#include <QThread>
#include <deque>

MGWorkQueue::MGWorkQueue(const QString &label) : m_label(label), m_thread(new QThread), m_context(new QObject)
{
    m_thread->setObjectName(label);
    m_context->moveToThread(m_thread);
    // What lives on the queue (timers, watchers) is destroyed there, as its thread ends.
    QObject::connect(m_thread, &QThread::finished, m_context, &QObject::deleteLater);
    m_thread->start();
}

MGWorkQueue::~MGWorkQueue()
{
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
}

void MGWorkQueue::async(std::function<void()> task)
{
    QMetaObject::invokeMethod(m_context, std::move(task), Qt::QueuedConnection);
}

void MGWorkQueue::sync(std::function<void()> task)
{
    if (isCurrent())
        task();
    else
        QMetaObject::invokeMethod(m_context, std::move(task), Qt::BlockingQueuedConnection);
}

bool MGWorkQueue::isCurrent() const
{
    return QThread::currentThread() == m_thread;
}

namespace {
// Tasks wait here, not inside Qt's posted events. A task may hold the last reference to an
// object with widgets; Qt deletes the posted events still waiting when the application ends
// while it holds the lock that deleting a widget takes, and the program would hang there.
// What is left is dropped earlier, from a post routine, with no lock held.
struct MainTasks
{
    QMutex lock;
    std::deque<std::function<void()>> tasks;
    bool dropsWhenEnding = false;
};

MainTasks &mainTasks()
{
    static MainTasks tasks;
    return tasks;
}

void runNextMainTask()
{
    std::function<void()> task;
    {
        QMutexLocker locker(&mainTasks().lock);
        if (mainTasks().tasks.empty())
            return;
        task = std::move(mainTasks().tasks.front());
        mainTasks().tasks.pop_front();
    }
    task();
}

void dropMainTasks()
{
    std::deque<std::function<void()>> left;
    {
        QMutexLocker locker(&mainTasks().lock);
        left.swap(mainTasks().tasks);
        mainTasks().dropsWhenEnding = false;
    }
    left.clear();
}
}

void MGMainQueue::async(std::function<void()> task)
{
    {
        QMutexLocker locker(&mainTasks().lock);
        mainTasks().tasks.push_back(std::move(task));
        if (!mainTasks().dropsWhenEnding) {
            qAddPostRoutine(dropMainTasks);
            mainTasks().dropsWhenEnding = true;
        }
    }
    // One posted call per task, in the order the tasks were queued.
    QMetaObject::invokeMethod(QCoreApplication::instance(), &runNextMainTask, Qt::QueuedConnection);
}
