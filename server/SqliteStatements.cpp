#include "SqliteStatements.h"

#include "SqlConnection.h"

#include <QSqlDriver>
#include <QSqlError>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

SqliteStatements::Reset::~Reset() {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
}

SqliteStatements::SqliteStatements(SqlConnection& connection)
    : m_connection(connection) {}

SqliteStatements::~SqliteStatements() {
    release();
}

void SqliteStatements::release() {
    for (sqlite3_stmt*& statement : m_statements) {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
    m_db = nullptr;
}

sqlite3* SqliteStatements::handle() {
    m_connection.open();
    const QVariant handle = m_connection.database().driver()->handle();
    sqlite3* db =
        qstrcmp(handle.typeName(), "sqlite3*") == 0 ? *static_cast<sqlite3* const*>(handle.constData()) : nullptr;
    if (!db)
        m_connection.fail(QSqlError(u"No SQLite connection"_s, QString(), QSqlError::ConnectionError));
    // A connection opened again: the statements of the old one kept it from closing, so they can
    // still be finalized, and it closes with the last of them.
    if (db != m_db) {
        release();
        m_db = db;
    }
    return db;
}

sqlite3_stmt* SqliteStatements::statement(sqlite3* db, qsizetype slot, const QByteArray& sql) {
    if (m_statements.size() <= slot)
        m_statements.resize(slot + 1, nullptr);
    sqlite3_stmt*& statement = m_statements[slot];
    if (!statement) {
        const int code =
            sqlite3_prepare_v3(db, sql.constData(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        if (code != SQLITE_OK) {
            sqlite3_finalize(statement);
            statement = nullptr;
            fail(db, u"Unable to prepare a statement"_s);
        }
    }
    return statement;
}

void SqliteStatements::fail(sqlite3* db, const QString& what) {
    m_connection.fail(QSqlError(what, QString::fromUtf8(sqlite3_errmsg(db)), QSqlError::StatementError,
                                QString::number(sqlite3_extended_errcode(db))));
}
