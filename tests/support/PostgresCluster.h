#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// A throwaway PostgreSQL server for the tests: initdb and pg_ctl on a temporary folder, listening on
// a Unix socket inside it and on no TCP port. Started once per test program, on first use, and
// stopped (immediately) when the program ends; a watchdog process stops it too when the program
// dies without ending (a crash, a time-out). initdb and postgres refuse to run as root: as root,
// they run as the postgres system user, in a folder it owns.
//
// PostgreSQL missing or failing to start is a fatal error, never a skip: a run that claims to have
// tested on PostgreSQL has.
class PostgresCluster final {
public:
    // The program's cluster, started on first call; fatal when it cannot be.
    static PostgresCluster& shared();
    // A cluster of its own. `durable`: every commit is synced, as a production server has it (the
    // tests' cluster does not sync, which is much faster and all they need), with more memory.
    explicit PostgresCluster(bool durable);
    ~PostgresCluster();
    PostgresCluster(const PostgresCluster&) = delete;
    PostgresCluster& operator=(const PostgresCluster&) = delete;

    // The role the service connects as: not a superuser, owner of the databases made here.
    static inline const QString serviceRole = QStringLiteral("vexo");

    QString socketFolder() const;
    // The server's data folder (postmaster.pid gives its process).
    QString dataFolder() const;
    // An empty database owned by the service's role, as if new; returns its name.
    QString createDatabase();
    // Done with: emptied (its schema dropped and made again) and kept for the next createDatabase(),
    // which is much faster than making a database.
    void releaseDatabase(const QString& name);
    // postgresql:///NAME?host=SOCKET&user=vexo
    QString address(const QString& database) const;
    // Runs SQL as the superuser, in `database`; fatal on failure.
    void execute(const QString& sql, const QString& database = QStringLiteral("postgres"));

    // Stops the server the way an operator does (fast: open sessions are ended) and starts it again.
    bool stop();
    bool start();

private:
    // Runs one of PostgreSQL's programs as the user the cluster belongs to; returns its exit code.
    int runTool(const QString& tool, const QStringList& arguments, QString* output = nullptr, int timeoutMs = 120'000);
    void startWatchdog();

    QTemporaryDir m_dir;
    QString m_binaries;
    QString m_runAs; // the system user, as root; empty otherwise
    QString m_adminConnection;
    int m_databases = 0;
    QStringList m_spare; // released, empty
    int m_version = 0;   // the major version
};
