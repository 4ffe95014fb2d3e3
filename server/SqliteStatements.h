#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

class SqlConnection;
struct sqlite3;
struct sqlite3_stmt;

// Statements prepared once on the storage's SQLite connection and kept between requests, for the
// reads that are worth going past QtSql for. They follow the connection: when it is opened again,
// the old statements are finalized and prepared anew on the new one.
class SqliteStatements final {
public:
    explicit SqliteStatements(SqlConnection& connection);
    ~SqliteStatements();
    SqliteStatements(const SqliteStatements&) = delete;
    SqliteStatements& operator=(const SqliteStatements&) = delete;

    // The connection, opened when needed; the statements of a connection that went are let go.
    sqlite3* handle();
    // The statement in `slot`, prepared from `sql` the first time.
    sqlite3_stmt* statement(sqlite3* db, qsizetype slot, const QByteArray& sql);
    // Lets the statements go; the connection can only close without them.
    void release();
    // Throws the storage's error for SQLite's last one on `db`.
    [[noreturn]] void fail(sqlite3* db, const QString& what);

    // Leaves a statement reset whatever happens: no read stays open between requests.
    struct Reset {
        sqlite3_stmt* statement;
        ~Reset();
    };

private:
    SqlConnection& m_connection;
    sqlite3* m_db = nullptr; // the connection the statements were prepared on
    QList<sqlite3_stmt*> m_statements;
};
