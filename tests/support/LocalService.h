#pragma once

#include "Clock.h"
#include "SqliteStorage.h"
#include "VexoServer.h"

#include <QTemporaryDir>

#include <memory>

// vexo-server running inside the test process on 127.0.0.1 with an ephemeral port, a fresh
// temporary database and a clock the test controls.
class LocalService final {
public:
    explicit LocalService(QDateTime now = QDateTime::currentDateTimeUtc(), const HttpLimits& limits = HttpLimits());

    QString baseUrl() const;
    // ws://127.0.0.1:port/api/events
    QString eventsUrl() const;
    quint16 port() const { return m_port; }
    FixedClock& clock() { return m_clock; }
    Storage& storage() { return *m_storage; }
    SqliteStorage& sqlite() { return *m_storage; }
    VexoServer& server() { return *m_server; }
    QString dataDir() const { return m_dir.path(); }

    // Creates a user and returns a login key for them, as `vexo-server user add` does.
    QString addUser(const QString& telegramId, bool admin = false, const QString& firstName = QString());
    qint64 userId(const QString& telegramId);
    // A new session of an existing user, as signing in gives: the bearer token.
    QByteArray signIn(const QString& telegramId);
    // Stops serving, as the process does at SIGTERM; the storage stays.
    void stop() { m_server.reset(); }

private:
    QTemporaryDir m_dir;
    FixedClock m_clock;
    std::unique_ptr<SqliteStorage> m_storage;
    std::unique_ptr<VexoServer> m_server;
    quint16 m_port = 0;
};
