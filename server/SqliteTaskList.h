#pragma once

#include "SqliteStatements.h"
#include "Storage.h"

#include <QByteArray>

#include <array>

class SqlConnection;

// The task list read from SQLite straight into its answer: UTF-8 columns go into the JSON buffer
// as they are stored, with no QVariant and no UTF-16 on the way, by statements kept prepared on
// the storage's connection between requests. The bytes are exactly those of encoding what
// SqlStorage::tasks() reads. A row holding something the direct way does not take as it is (text
// that is not valid UTF-8, a number where text belongs) is read the way QtSql reads it instead.
class SqliteTaskList final {
public:
    explicit SqliteTaskList(SqlConnection& connection);

    // {"tasks":[…]}
    QByteArray json(qint64 userId, const TaskFilter& filter);
    // Lets the statements go; the connection can only close without them.
    void release() { m_statements.release(); }
    // Rows read the way QtSql reads them so far.
    qint64 generalRows() const { return m_generalRows; }

private:
    // One statement per shape: with a status, with a folder, with both, with neither.
    SqliteStatements m_statements;
    // The last answer's size: the next one is usually about as large.
    std::array<qsizetype, 4> m_lastSize{};
    qint64 m_generalRows = 0;
};
