#include "SqliteChangeLog.h"

#include "SqliteRows.h"

using namespace Qt::StringLiterals;
using namespace SqliteRows;

void SqliteChangeLog::append(qint64 userId, ChangeKind kind, ChangeOp op, qint64 id, std::optional<qint64> taskId) {
    QSqlQuery insert =
        prepare(m_db, u"INSERT INTO changes (user_id, kind, op, entity_id, task_id) VALUES (?, ?, ?, ?, ?)"_s);
    insert.addBindValue(userId);
    insert.addBindValue(changeKindName(kind));
    insert.addBindValue(changeOpName(op));
    insert.addBindValue(id);
    insert.addBindValue(nullable(taskId));
    execute(insert);
    m_appended = true;
    pruneInPassing(insert.lastInsertId().toLongLong());
}

void SqliteChangeLog::appendUnderTask(qint64 taskId, ChangeKind kind, ChangeOp op, qint64 id) {
    QSqlQuery owner = prepare(m_db, u"SELECT user_id FROM tasks WHERE id = ?"_s);
    owner.addBindValue(taskId);
    execute(owner);
    if (owner.next())
        append(owner.value(0).toLongLong(), kind, op, id, taskId);
}

void SqliteChangeLog::pruneInPassing(qint64 revision) {
    const qint64 every = qMax<qint64>(m_limit / 10, 1);
    if (revision % every == 0)
        prune();
}

qint64 SqliteChangeLog::latest(qint64 userId, ChangeKind kind) {
    QSqlQuery query = prepare(m_db, u"SELECT MAX(revision) FROM changes WHERE user_id = ? AND kind = ?"_s);
    query.addBindValue(userId);
    query.addBindValue(changeKindName(kind));
    execute(query);
    return query.next() ? query.value(0).toLongLong() : 0;
}

qint64 SqliteChangeLog::latest() {
    QSqlQuery query = prepare(m_db, u"SELECT MAX(revision) FROM changes"_s);
    execute(query);
    return query.next() ? query.value(0).toLongLong() : 0;
}

QList<Change> SqliteChangeLog::after(qint64 revision, int limit, qint64* lastRead) {
    QSqlQuery query = prepare(m_db, u"SELECT revision, user_id, kind, op, entity_id, task_id FROM changes"
                                    u" WHERE revision > ? ORDER BY revision LIMIT ?"_s);
    query.setForwardOnly(true);
    query.addBindValue(revision);
    query.addBindValue(limit);
    execute(query);
    QList<Change> changes;
    if (lastRead)
        *lastRead = revision;
    while (query.next()) {
        if (lastRead)
            *lastRead = query.value(0).toLongLong();
        const auto kind = changeKindFromName(query.value(2).toString());
        const auto op = changeOpFromName(query.value(3).toString());
        // A row this version cannot name is skipped rather than sent wrong.
        if (!kind || !op)
            continue;
        changes.append(Change{query.value(0).toLongLong(), query.value(1).toLongLong(), *kind, *op,
                              query.value(4).toLongLong(), optionalInteger(query.value(5))});
    }
    return changes;
}

qint64 SqliteChangeLog::prune() {
    QSqlQuery remove =
        prepare(m_db, u"DELETE FROM changes WHERE revision <= (SELECT MAX(revision) FROM changes) - ?"
                      u" AND revision NOT IN (SELECT MAX(revision) FROM changes GROUP BY user_id, kind)"_s);
    remove.addBindValue(m_limit);
    execute(remove);
    return remove.numRowsAffected();
}

qint64 SqliteChangeLog::rowCount() {
    QSqlQuery query = prepare(m_db, u"SELECT COUNT(*) FROM changes"_s);
    execute(query);
    return query.next() ? query.value(0).toLongLong() : 0;
}
