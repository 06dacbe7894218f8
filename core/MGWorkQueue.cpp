#include "MGWorkQueue.h"

#include <QCoreApplication>
#include <QThread>

MGWorkQueue::MGWorkQueue(const QString &label) : m_label(label), m_thread(new QThread), m_context(new QObject)
{
    m_thread->setObjectName(label);
    m_context->moveToThread(m_thread);
    m_thread->start();
}

MGWorkQueue::~MGWorkQueue()
{
    m_thread->quit();
    m_thread->wait();
    delete m_context; // safe from here: its thread has ended
    delete m_thread;
}

void MGWorkQueue::async(std::function<void()> task)
{
    QMetaObject::invokeMethod(m_context, std::move(task), Qt::QueuedConnection);
}

bool MGWorkQueue::isCurrent() const
{
    return QThread::currentThread() == m_thread;
}

void MGMainQueue::async(std::function<void()> task)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(task), Qt::QueuedConnection);
}
