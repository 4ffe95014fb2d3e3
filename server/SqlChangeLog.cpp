#include "SqlChangeLog.h"

#include "SqlConnection.h"
#include "SqlRows.h"

using namespace Qt::StringLiterals;
using namespace SqlRows;

void SqlChangeLog::append(qint64 userId, ChangeKind kind, ChangeOp op, qint64 id, std::optional<qint64> taskId) {
    if (!m_appended) {
        const SqlDialect& dialect = m_connection.dialect();
        if (!dialect.serializeChangeLog.isEmpty())
            m_connection.run(dialect.serializeChangeLog);
        if (!dialect.announceChanges.isEmpty())
            m_connection.run(dialect.announceChanges);
    }
    auto insert = m_connection.prepare(u"INSERT INTO changes (user_id, kind, op, entity_id, task_id)"
                                       u" VALUES (?, ?, ?, ?, ?) RETURNING revision"_s);
    insert->addBindValue(userId);
    insert->addBindValue(changeKindName(kind));
    insert->addBindValue(changeOpName(op));
    insert->addBindValue(id);
    insert->addBindValue(nullable(taskId));
    m_connection.execute(insert);
    m_appended = true;
    const qint64 revision = insert->next() ? insert->value(0).toLongLong() : 0;
    pruneInPassing(revision);
}

void SqlChangeLog::appendUnderTask(qint64 taskId, ChangeKind kind, ChangeOp op, qint64 id) {
    std::optional<qint64> userId;
    {
        auto owner = m_connection.prepare(u"SELECT user_id FROM tasks WHERE id = ?"_s);
        owner->addBindValue(taskId);
        m_connection.execute(owner);
        if (owner->next())
            userId = owner->value(0).toLongLong();
    }
    if (userId)
        append(*userId, kind, op, id, taskId);
}

void SqlChangeLog::pruneInPassing(qint64 revision) {
    const qint64 every = qMax<qint64>(m_limit / 10, 1);
    if (revision % every == 0)
        prune();
}

qint64 SqlChangeLog::latest(qint64 userId, ChangeKind kind) {
    auto query = m_connection.prepare(u"SELECT MAX(revision) FROM changes WHERE user_id = ? AND kind = ?"_s);
    query->addBindValue(userId);
    query->addBindValue(changeKindName(kind));
    m_connection.execute(query);
    return query->next() ? query->value(0).toLongLong() : 0;
}

qint64 SqlChangeLog::latest() {
    auto query = m_connection.prepare(u"SELECT MAX(revision) FROM changes"_s);
    m_connection.execute(query);
    return query->next() ? query->value(0).toLongLong() : 0;
}

QList<Change> SqlChangeLog::after(qint64 revision, int limit, qint64* lastRead) {
    auto query = m_connection.prepare(u"SELECT revision, user_id, kind, op, entity_id, task_id FROM changes"
                                      u" WHERE revision > ? ORDER BY revision LIMIT ?"_s);
    query->setForwardOnly(true);
    query->addBindValue(revision);
    query->addBindValue(limit);
    m_connection.execute(query);
    QList<Change> changes;
    if (lastRead)
        *lastRead = revision;
    while (query->next()) {
        if (lastRead)
            *lastRead = query->value(0).toLongLong();
        const auto kind = changeKindFromName(query->value(2).toString());
        const auto op = changeOpFromName(query->value(3).toString());
        // A row this version cannot name is skipped rather than sent wrong.
        if (!kind || !op)
            continue;
        changes.append(Change{query->value(0).toLongLong(), query->value(1).toLongLong(), *kind, *op,
                              query->value(4).toLongLong(), optionalInteger(query->value(5))});
    }
    return changes;
}

qint64 SqlChangeLog::prune() {
    auto remove =
        m_connection.prepare(u"DELETE FROM changes WHERE revision <= (SELECT MAX(revision) FROM changes) - ?"
                             u" AND revision NOT IN (SELECT MAX(revision) FROM changes GROUP BY user_id, kind)"_s);
    remove->addBindValue(m_limit);
    m_connection.execute(remove);
    return remove->numRowsAffected();
}

qint64 SqlChangeLog::rowCount() {
    auto query = m_connection.prepare(u"SELECT COUNT(*) FROM changes"_s);
    m_connection.execute(query);
    return query->next() ? query->value(0).toLongLong() : 0;
}
