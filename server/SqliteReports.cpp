#include "SqliteReports.h"

#include "SqliteRows.h"

using namespace Qt::StringLiterals;
using namespace SqliteRows;

// Tasks of a user whose `dayColumn` falls in [fromDay, toDay], counted per value of `group`.
QHash<QString, qint64> SqliteReports::countsBy(const QString& group, const QString& dayColumn, qint64 userId,
                                               const QString& fromDay, const QString& toDay) {
    QSqlQuery query = prepare(m_db, u"SELECT %1 AS grp, COUNT(*) FROM tasks WHERE user_id = ? AND %2 IS NOT NULL"
                                    u" AND SUBSTR(%2, 1, 10) BETWEEN ? AND ? GROUP BY grp"_s.arg(group, dayColumn));
    query.addBindValue(userId);
    query.addBindValue(fromDay);
    query.addBindValue(toDay);
    execute(query);
    QHash<QString, qint64> counts;
    while (query.next())
        counts.insert(query.value(0).toString(), query.value(1).toLongLong());
    return counts;
}

QHash<QString, qint64> SqliteReports::createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"SUBSTR(created_at, 1, 10)"_s, u"created_at"_s, userId, fromDay, toDay);
}

QHash<QString, qint64> SqliteReports::completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"SUBSTR(completed_at, 1, 10)"_s, u"completed_at"_s, userId, fromDay, toDay);
}

QHash<QString, qint64> SqliteReports::createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"priority"_s, u"created_at"_s, userId, fromDay, toDay);
}

AdminStats SqliteReports::adminStats() {
    QSqlQuery query = prepare(m_db, u"SELECT (SELECT COUNT(*) FROM users), (SELECT COUNT(*) FROM tasks),"
                                    u" (SELECT COUNT(*) FROM tasks WHERE status = 'pending' AND archived = 0),"
                                    u" (SELECT COUNT(*) FROM tasks WHERE status = 'done')"_s);
    execute(query);
    query.next();
    return AdminStats{query.value(0).toLongLong(), query.value(1).toLongLong(), query.value(2).toLongLong(),
                      query.value(3).toLongLong()};
}

QList<AdminUser> SqliteReports::adminUsers() {
    QSqlQuery query =
        prepare(m_db, u"SELECT u.id, u.telegram_id, u.username, u.first_name, u.last_name, u.is_admin,"
                      u" (SELECT COUNT(*) FROM tasks t WHERE t.user_id = u.id) FROM users u ORDER BY u.id"_s);
    execute(query);
    QList<AdminUser> users;
    while (query.next()) {
        AdminUser user;
        user.id = query.value(0).toLongLong();
        user.telegramId = query.value(1).toString();
        user.username = optionalText(query.value(2));
        user.firstName = optionalText(query.value(3));
        user.lastName = optionalText(query.value(4));
        user.isAdmin = query.value(5).toLongLong() == 1;
        user.taskCount = query.value(6).toLongLong();
        users.append(user);
    }
    return users;
}

QList<OutboxEntry> SqliteReports::outbox() {
    QSqlQuery query = prepare(m_db, u"SELECT id, task_id, telegram_id, text, created_at FROM outbox ORDER BY id"_s);
    execute(query);
    QList<OutboxEntry> entries;
    while (query.next()) {
        entries.append(OutboxEntry{query.value(0).toLongLong(), query.value(1).toLongLong(), query.value(2).toString(),
                                   query.value(3).toString(), query.value(4).toString()});
    }
    return entries;
}
