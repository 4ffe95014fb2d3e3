#pragma once

#include "Storage.h"

#include <QByteArray>

#include <array>
#include <functional>

class SqlConnection;
struct pg_conn;

// The task list read from PostgreSQL with libpq on the storage's own connection, its text columns
// (UTF-8, the session's client encoding) going straight into the answer's JSON: no QVariant, no
// QString on the way. Statements are prepared on the session once and kept. The bytes are exactly
// those of encoding what SqlStorage::tasks() reads; a list holding a row the direct way does not
// take as it is comes from `general` instead.
class PostgresTaskList final {
public:
    PostgresTaskList(SqlConnection& connection, std::function<QByteArray(qint64, const TaskFilter&)> general);

    // {"tasks":[…]}
    QByteArray json(qint64 userId, const TaskFilter& filter);
    // Lists read the general way so far.
    qint64 generalLists() const { return m_generalLists; }

private:
    SqlConnection& m_connection;
    std::function<QByteArray(qint64, const TaskFilter&)> m_general;
    pg_conn* m_session = nullptr; // the session the statements were prepared on
    std::array<bool, 4> m_prepared{};
    std::array<qsizetype, 4> m_lastSize{};
    qint64 m_generalLists = 0;
};
