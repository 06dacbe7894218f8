#include "MGTextPieces.h"

void MGTextPieces::add(const QByteArray &text)
{
    QMutexLocker locker(&m_lock);
    m_pending += text;
    if (m_pending.size() >= PieceSize) {
        m_sink(m_pending);
        m_pending.clear();
    }
}

void MGTextPieces::flush(bool evenEmpty)
{
    QMutexLocker locker(&m_lock);
    if (m_pending.isEmpty() && !evenEmpty)
        return;
    m_sink(m_pending);
    m_pending.clear();
}
