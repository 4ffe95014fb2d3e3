#pragma once

#include "Clock.h"
#include "Storage.h"

#include <QStringList>

// At most `limit` attempts in any window of `windowSeconds` per bucket (a client address, a key
// prefix). The attempts are counted in the storage, so every process serving one database holds the
// same limit together.
class RateLimiter final {
public:
    RateLimiter(Storage& storage, const Clock& clock, int limit, int windowSeconds)
        : m_storage(storage)
        , m_clock(clock)
        , m_limit(limit)
        , m_windowMs(qint64(windowSeconds) * 1000) {}

    // Records the attempt against every bucket; false, recording nothing, when one of them is over
    // its limit.
    bool allow(const QStringList& buckets) {
        return m_storage.admitAttempt(buckets, m_clock.now().toMSecsSinceEpoch(), m_windowMs, m_limit);
    }

private:
    Storage& m_storage;
    const Clock& m_clock;
    int m_limit;
    qint64 m_windowMs;
};
