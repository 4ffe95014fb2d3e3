#include "SqlReports.h"

#include "SqlConnection.h"
#include "SqlRows.h"

using namespace Qt::StringLiterals;
using namespace SqlRows;

// Tasks of a user whose `dayColumn` falls in [fromDay, toDay], counted per value of `group`.
QHash<QString, qint64> SqlReports::countsBy(const QString& group, const QString& dayColumn, qint64 userId,
                                            const QString& fromDay, const QString& toDay) {
    auto query = m_connection.prepare(u"SELECT %1 AS grp, COUNT(*) FROM tasks WHERE user_id = ? AND %2 IS NOT NULL"
                                      u" AND SUBSTR(%2, 1, 10) BETWEEN ? AND ? GROUP BY grp"_s.arg(group, dayColumn));
    query->addBindValue(userId);
    query->addBindValue(fromDay);
    query->addBindValue(toDay);
    m_connection.execute(query);
    QHash<QString, qint64> counts;
    while (query->next())
        counts.insert(query->value(0).toString(), query->value(1).toLongLong());
    return counts;
}

QHash<QString, qint64> SqlReports::createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"SUBSTR(created_at, 1, 10)"_s, u"created_at"_s, userId, fromDay, toDay);
}

QHash<QString, qint64> SqlReports::completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"SUBSTR(completed_at, 1, 10)"_s, u"completed_at"_s, userId, fromDay, toDay);
}

QHash<QString, qint64> SqlReports::createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay) {
    return countsBy(u"priority"_s, u"created_at"_s, userId, fromDay, toDay);
}

AdminStats SqlReports::adminStats() {
    auto query = m_connection.prepare(u"SELECT (SELECT COUNT(*) FROM users), (SELECT COUNT(*) FROM tasks),"
                                      u" (SELECT COUNT(*) FROM tasks WHERE status = 'pending' AND archived = 0),"
                                      u" (SELECT COUNT(*) FROM tasks WHERE status = 'done')"_s);
    m_connection.execute(query);
    query->next();
    return AdminStats{query->value(0).toLongLong(), query->value(1).toLongLong(), query->value(2).toLongLong(),
                      query->value(3).toLongLong()};
}

QList<AdminUser> SqlReports::adminUsers() {
    auto query =
        m_connection.prepare(u"SELECT u.id, u.telegram_id, u.username, u.first_name, u.last_name, u.is_admin,"
                             u" (SELECT COUNT(*) FROM tasks t WHERE t.user_id = u.id) FROM users u ORDER BY u.id"_s);
    m_connection.execute(query);
    QList<AdminUser> users;
    while (query->next()) {
        AdminUser user;
        user.id = query->value(0).toLongLong();
        user.telegramId = query->value(1).toString();
        user.username = optionalText(query->value(2));
        user.firstName = optionalText(query->value(3));
        user.lastName = optionalText(query->value(4));
        user.isAdmin = query->value(5).toLongLong() == 1;
        user.taskCount = query->value(6).toLongLong();
        users.append(user);
    }
    return users;
}

QList<OutboxEntry> SqlReports::outbox() {
    auto query = m_connection.prepare(u"SELECT id, task_id, telegram_id, text, created_at FROM outbox ORDER BY id"_s);
    m_connection.execute(query);
    QList<OutboxEntry> entries;
    while (query->next()) {
        entries.append(OutboxEntry{query->value(0).toLongLong(), query->value(1).toLongLong(),
                                   query->value(2).toString(), query->value(3).toString(), query->value(4).toString()});
    }
    return entries;
}
