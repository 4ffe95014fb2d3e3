#pragma once

#include <QStringList>
#include <QTextStream>

#include <optional>

class PostgresAddress;

// The vexo-server command line: serve, user add, user key, task add, attach, outbox, migrate; --help
// and --version. Every command runs on SQLite in --data or on the PostgreSQL database of --database. Exit codes: 0
// done, 1 failed, 2 the command line itself was refused.
class ServerCli final {
public:
    ServerCli(QTextStream& out, QTextStream& err)
        : m_out(out)
        , m_err(err) {}

    // Arguments without the program name. Returns the process exit code; `serve` runs the event
    // loop until SIGINT or SIGTERM.
    int run(const QStringList& arguments);

    static QString defaultDataDir();

private:
    // Names the problem on the error stream and points at the help; exit code 2.
    int usage(const QString& problem, const QString& command);
    // migrate --from DIR --to URI: copies a SQLite deployment into an empty PostgreSQL database.
    int copy(const QString& fromDir, const PostgresAddress& to, const std::optional<QString>& contentFolder);

    QTextStream& m_out;
    QTextStream& m_err;
};
