#include "MGPropagationRegistry.h"

QString MGPropagationRegistry::key(const QString &caller, qint64 request)
{
    return caller + QLatin1Char('#') + QString::number(request);
}

MGPropagationRegistry::Registration::Registration(MGPropagationRegistry *registry, QString caller, qint64 request)
    : m_registry(registry), m_key(key(caller, request))
{
    if (!m_registry) {
        m_flag = std::make_shared<std::atomic<bool>>(false);
        return;
    }
    // A request taken in earlier keeps the flag a stop may have set meanwhile.
    QMutexLocker locker(&m_registry->m_lock);
    m_flag = m_registry->m_running.value(m_key);
    if (!m_flag) {
        m_flag = std::make_shared<std::atomic<bool>>(false);
        m_registry->m_running.insert(m_key, m_flag);
    }
}

MGPropagationRegistry::Registration::~Registration()
{
    if (!m_registry)
        return;
    QMutexLocker locker(&m_registry->m_lock);
    if (m_registry->m_running.value(m_key) == m_flag)
        m_registry->m_running.remove(m_key);
}

bool MGPropagationRegistry::stop(const QString &caller, qint64 request)
{
    QMutexLocker locker(&m_lock);
    const StopFlag flag = m_running.value(key(caller, request));
    if (flag)
        flag->store(true);
    return flag != nullptr;
}

void MGPropagationRegistry::stopAll()
{
    QMutexLocker locker(&m_lock);
    for (const StopFlag &flag : std::as_const(m_running))
        flag->store(true);
}

void MGPropagationRegistry::expect(const QString &caller, qint64 request)
{
    QMutexLocker locker(&m_lock);
    const QString k = key(caller, request);
    if (!m_running.contains(k))
        m_running.insert(k, std::make_shared<std::atomic<bool>>(false));
}

void MGPropagationRegistry::forget(const QString &caller, qint64 request)
{
    QMutexLocker locker(&m_lock);
    m_running.remove(key(caller, request));
}
