#pragma once

#include "ChangeWatch.h"
#include "PostgresAddress.h"

#include <QSqlDatabase>
#include <QTimer>

// Hears commits to the change log from every process on the database through PostgreSQL's
// LISTEN/NOTIFY, on a connection of its own: each transaction that appends to the log notifies the
// channel vexo_changes. A notification is only a wake-up; whoever listens reads the log after the
// last revision it has seen. While active, the connection is checked every `checkIntervalMs`; one
// that was lost (the server restarted) is opened again, and, since notifications may have been
// missed meanwhile, the watch then says the log may have changed.
class PostgresChangeWatch final : public ChangeWatch {
    Q_OBJECT

public:
    static inline const QString channel = QStringLiteral("vexo_changes");

    PostgresChangeWatch(const PostgresAddress& address, int checkIntervalMs, QObject* parent = nullptr);
    ~PostgresChangeWatch() override;

    void setActive(bool active) override;
    // Called by the storage after each of its own commits that logged a change.
    void announce() { Q_EMIT changed(); }
    // Whether the channel is listened to now.
    bool isListening() const { return m_listening; }

private:
    void check();
    void listen();
    void stopListening();

    QString m_connectionName;
    QSqlDatabase m_db;
    QTimer m_timer;
    int m_checksSinceQuery = 0;
    bool m_listening = false;
    bool m_warned = false;
};
