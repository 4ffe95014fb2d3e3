#pragma once

#include "SqlDialect.h"

#include <QHash>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <functional>
#include <memory>

class QSqlError;

// One connection of the storage to its database. Statements are prepared once and kept (on
// PostgreSQL a preparation is a round trip of its own), every failure becomes a ServerError, and a
// connection that was lost is opened again by the next call that needs it.
class SqlConnection final {
public:
    // A prepared statement lent from the connection; it is reset when it goes, so that no
    // statement keeps a read open between calls.
    class Statement final {
    public:
        Statement(Statement&& other) noexcept;
        Statement& operator=(Statement&&) = delete;
        ~Statement();

        QSqlQuery* operator->() { return m_query; }
        QSqlQuery& operator*() { return *m_query; }

    private:
        friend class SqlConnection;
        Statement(QSqlQuery* query, bool* busy)
            : m_query(query)
            , m_busy(busy) {}
        explicit Statement(std::unique_ptr<QSqlQuery> own)
            : m_query(own.get())
            , m_own(std::move(own)) {}

        QSqlQuery* m_query = nullptr;
        bool* m_busy = nullptr; // the cache's flag, when lent from it
        std::unique_ptr<QSqlQuery> m_own;
    };

    // `setUp` runs after every opening, with the connection open (settings of the session).
    SqlConnection(const SqlDialect& dialect, const QSqlDatabase& database,
                  std::function<void(SqlConnection&)> setUp = {});
    ~SqlConnection();
    SqlConnection(const SqlConnection&) = delete;
    SqlConnection& operator=(const SqlConnection&) = delete;

    const SqlDialect& dialect() const { return m_dialect; }
    QSqlDatabase& database() { return m_db; }

    // Opens the connection when it is closed or was lost; throws ServerError (unavailable) when the
    // database cannot be reached.
    void open();
    void close();
    // Closes and lets go of the database, so that its connection can be removed.
    void release();

    Statement prepare(const QString& sql);
    void execute(Statement& statement);
    // A statement without parameters.
    void run(const QString& sql);

    void begin();
    void commit();
    void rollback();
    bool inTransaction() const { return m_inTransaction; }

    // Throws the ServerError for `error`: unavailable when the connection is gone or the database
    // says to try again later, internal otherwise.
    [[noreturn]] void fail(const QSqlError& error);

private:
    struct Cached {
        QSqlQuery query;
        bool busy = false;
    };

    void forgetStatements();

    const SqlDialect& m_dialect;
    QSqlDatabase m_db;
    std::function<void(SqlConnection&)> m_setUp;
    QHash<QString, std::shared_ptr<Cached>> m_statements;
    bool m_inTransaction = false;
    bool m_lost = false; // said once in the log, until the connection is back
};
