#pragma once

#include "ChangeWatch.h"

#include <QTimer>

#include <functional>

// Commits of other connections show in SQLite's data_version, which changes only when another
// connection commits; this process's own commits are announced by the storage directly.
class SqliteChangeWatch final : public ChangeWatch {
    Q_OBJECT

public:
    // `dataVersion` reads PRAGMA data_version on the storage's connection.
    SqliteChangeWatch(std::function<qint64()> dataVersion, int pollIntervalMs, QObject* parent = nullptr);

    void setActive(bool active) override;
    // Called by the storage after each of its own commits that logged a change.
    void announce() { Q_EMIT changed(); }

private:
    void poll();

    std::function<qint64()> m_dataVersion;
    QTimer m_timer;
    qint64 m_lastVersion = -1;
};
