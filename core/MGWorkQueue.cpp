#include "MGWorkQueue.h"

#include <QCoreApplication>
#include <QThread>

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

void MGMainQueue::async(std::function<void()> task)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(task), Qt::QueuedConnection);
}
