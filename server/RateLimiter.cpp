#include "RateLimiter.h"

bool RateLimiter::allow(const QString& client) {
    const qint64 now = m_clock.now().toMSecsSinceEpoch();
    // Forget clients whose window has passed, so the table cannot grow without bound.
    for (auto it = m_attempts.begin(); it != m_attempts.end();) {
        if (it->isEmpty() || it->last() <= now - m_windowMs)
            it = m_attempts.erase(it);
        else
            ++it;
    }
    QList<qint64>& attempts = m_attempts[client];
    while (!attempts.isEmpty() && attempts.first() <= now - m_windowMs)
        attempts.removeFirst();
    if (attempts.size() >= m_limit)
        return false;
    attempts.append(now);
    return true;
}
