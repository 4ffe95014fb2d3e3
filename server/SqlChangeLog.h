#pragma once

#include "Change.h"

#include <QList>

class SqlConnection;

// The change log: appended to inside the transaction of each change, read by revision, pruned as
// it grows. Keeps the newest `limit` rows, and always the newest row of each user and kind, so that
// a user's latest revision never goes back. Where several processes write at once (PostgreSQL),
// appending holds the others off until the transaction ends, so revisions become visible in their
// order, and wakes the other processes' watches.
class SqlChangeLog final {
public:
    explicit SqlChangeLog(SqlConnection& connection)
        : m_connection(connection) {}

    // Within the caller's transaction. Every `limit / 10` rows the old ones are pruned in passing,
    // by whichever process writes: the log stays bounded even when nothing serves it.
    void append(qint64 userId, ChangeKind kind, ChangeOp op, qint64 id, std::optional<qint64> taskId = {});
    // For a change under a task, on behalf of the task's owner; nothing when there is no such task.
    void appendUnderTask(qint64 taskId, ChangeKind kind, ChangeOp op, qint64 id);
    // Whether anything was appended since the last call; called when each transaction ends.
    bool takeAppended() { return std::exchange(m_appended, false); }

    // 0 when none.
    qint64 latest(qint64 userId, ChangeKind kind);
    qint64 latest();
    // At most `limit` rows after `revision`, in order; `lastRead` is the revision of the last row read.
    QList<Change> after(qint64 revision, int limit, qint64* lastRead = nullptr);

    void setLimit(qint64 rows) { m_limit = qMax<qint64>(rows, 1); }
    qint64 limit() const { return m_limit; }
    // Removes rows beyond the limit; returns how many.
    qint64 prune();
    qint64 rowCount();

private:
    void pruneInPassing(qint64 revision);

    SqlConnection& m_connection;
    qint64 m_limit = 10'000;
    bool m_appended = false;
};
