#include "MGPropagationWatch.h"

MGPropagationWatch::MGPropagationWatch(ProgressHandler onProgress, bool dryRun)
    : m_onProgress(std::move(onProgress)), m_dryRun(dryRun)
{
}

void MGPropagationWatch::stop()
{
    std::function<void()> send;
    {
        QMutexLocker locker(&m_lock);
        m_stopRequested = true;
        if (m_sendStop && !m_stopSent) {
            m_stopSent = true;
            send = m_sendStop;
        }
    }
    if (send)
        send();
}

bool MGPropagationWatch::stopRequested() const
{
    QMutexLocker locker(&m_lock);
    return m_stopRequested;
}

void MGPropagationWatch::report(const MGPropagationProgress &progress) const
{
    if (m_onProgress)
        m_onProgress(progress);
}

void MGPropagationWatch::bind(std::function<void()> sendStop)
{
    std::function<void()> send;
    {
        QMutexLocker locker(&m_lock);
        m_sendStop = std::move(sendStop);
        m_stopSent = m_stopRequested;
        if (m_stopRequested)
            send = m_sendStop;
    }
    if (send)
        send();
}

void MGPropagationWatch::unbind()
{
    QMutexLocker locker(&m_lock);
    m_sendStop = nullptr;
}
