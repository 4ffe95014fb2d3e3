#pragma once

#include "Clock.h"
#include "StorageChoice.h"
#include "VexoServer.h"

#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// The storage a test program runs on. The server tests run once on each: CTest gives the
// PostgreSQL run VEXO_TEST_BACKEND=postgres, and that run starts a PostgreSQL of its own
// (PostgresCluster).
enum class TestBackend { sqlite, postgres };
TestBackend testBackend();
QString backendName(TestBackend backend);

// vexo-server running inside the test process on 127.0.0.1 with an ephemeral port, a fresh
// storage of its own (a temporary SQLite database, or a new database on the test program's
// PostgreSQL) and a clock the test controls.
class LocalService final {
public:
    explicit LocalService(QDateTime now = QDateTime::currentDateTimeUtc(), const HttpLimits& limits = HttpLimits(),
                          TestBackend backend = testBackend());
    // Another instance on the same storage: a second process of one deployment, with a connection,
    // a port and a clock of its own. The first keeps the storage.
    explicit LocalService(const LocalService& sameStorageAs);
    ~LocalService();

    QString baseUrl() const;
    // ws://127.0.0.1:port/api/events
    QString eventsUrl() const;
    quint16 port() const { return m_port; }
    FixedClock& clock() { return m_clock; }
    Storage& storage() { return *m_storage; }
    VexoServer& server() { return *m_server; }
    TestBackend backend() const { return m_backend; }
    // The SQLite data folder (empty on PostgreSQL, where nothing is kept in it).
    QString dataDir() const { return m_dir.path(); }
    // What the command line needs to reach the same storage: --data DIR or --database URI.
    QStringList storageArguments() const;
    const StorageChoice& storageChoice() const { return m_choice; }

    // Creates a user and returns a login key for them, as `vexo-server user add` does.
    QString addUser(const QString& telegramId, bool admin = false, const QString& firstName = QString());
    qint64 userId(const QString& telegramId);
    // A new session of an existing user, as signing in gives: the bearer token.
    QByteArray signIn(const QString& telegramId);
    // Stops serving, as the process does at SIGTERM; the storage stays.
    void stop() { m_server.reset(); }

private:
    void serve(const HttpLimits& limits);

    QTemporaryDir m_dir;
    TestBackend m_backend;
    QString m_database; // on PostgreSQL, when this instance made it
    StorageChoice m_choice;
    FixedClock m_clock;
    std::unique_ptr<Storage> m_storage;
    std::unique_ptr<VexoServer> m_server;
    quint16 m_port = 0;
};
