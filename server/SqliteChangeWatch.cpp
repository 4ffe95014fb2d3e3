#include "SqliteChangeWatch.h"

#include "ServerLog.h"

SqliteChangeWatch::SqliteChangeWatch(std::function<qint64()> dataVersion, int pollIntervalMs, QObject* parent)
    : ChangeWatch(parent)
    , m_dataVersion(std::move(dataVersion)) {
    m_timer.setInterval(pollIntervalMs);
    // Precise: the default coarse timer may stretch a 50 ms interval well beyond it.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &SqliteChangeWatch::poll);
}

void SqliteChangeWatch::setActive(bool active) {
    if (active == m_timer.isActive())
        return;
    if (!active) {
        m_timer.stop();
        return;
    }
    m_lastVersion = -1;
    poll();
    m_timer.start();
}

void SqliteChangeWatch::poll() {
    qint64 version = -1;
    try {
        version = m_dataVersion();
    } catch (const std::exception& error) {
        qCWarning(lcServer) << "watching the change log failed:" << error.what();
        return;
    }
    if (version == m_lastVersion)
        return;
    const bool first = m_lastVersion < 0;
    m_lastVersion = version;
    if (!first)
        Q_EMIT changed();
}
