#pragma once

#include "Clock.h"

#include <QHash>
#include <QList>
#include <QString>

// At most `limit` attempts per client in any window of `windowSeconds`.
class RateLimiter final {
public:
    RateLimiter(const Clock& clock, int limit, int windowSeconds)
        : m_clock(clock)
        , m_limit(limit)
        , m_windowMs(qint64(windowSeconds) * 1000) {}

    // Records the attempt; false when the client is over its limit.
    bool allow(const QString& client);

private:
    const Clock& m_clock;
    int m_limit;
    qint64 m_windowMs;
    QHash<QString, QList<qint64>> m_attempts;
};
