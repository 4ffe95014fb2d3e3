#pragma once

#include <QList>
#include <QPair>
#include <QString>

#include <optional>

class QSqlDatabase;

// Where a PostgreSQL database is, from a libpq URI:
//   postgresql://[user@][host][:port][/dbname][?keyword=value&…]
// for example postgresql://vexo@db.example:5432/vexo, or postgresql:///vexo?host=/run/postgresql
// for a Unix socket. Any libpq keyword may follow the "?"; what is left out comes from libpq's own
// defaults and environment (PGHOST, PGUSER, …). A password is refused in the address, which the
// process list shows to everyone: libpq reads it from PGPASSFILE (~/.pgpass) or PGPASSWORD.
class PostgresAddress final {
public:
    // The address, or empty with `problem` saying why not (in Russian, for the command line).
    static std::optional<PostgresAddress> parse(const QString& uri, QString* problem = nullptr);
    // Whether the text is meant as a PostgreSQL address at all (its scheme).
    static bool looksLikeOne(const QString& text);

    const QString& host() const { return m_host; }
    int port() const { return m_port; }
    const QString& databaseName() const { return m_databaseName; }
    const QString& userName() const { return m_userName; }

    // Names the database without anything secret, for logs and messages: "vexo на db.example:5432,
    // пользователь vexo".
    QString describe() const;
    // Sets up a QPSQL connection: the address, and settings that keep a request from waiting
    // forever on a database that went away (a connect time-out, TCP keepalives, time-outs for
    // statements, locks and idle transactions).
    void configure(QSqlDatabase& db, const QString& applicationName = QStringLiteral("vexo-server")) const;

private:
    QString m_host;
    int m_port = -1;
    QString m_databaseName;
    QString m_userName;
    QList<QPair<QString, QString>> m_parameters; // other libpq keywords, in order
};
