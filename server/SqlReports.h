#pragma once

#include "Storage.h"

class SqlConnection;

// The reading side of the storage that serves statistics, administration and the outbox:
// counts over many rows, never a write.
class SqlReports final {
public:
    explicit SqlReports(SqlConnection& connection)
        : m_connection(connection) {}

    QHash<QString, qint64> createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay);
    QHash<QString, qint64> completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay);
    QHash<QString, qint64> createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay);
    AdminStats adminStats();
    QList<AdminUser> adminUsers();
    QList<OutboxEntry> outbox();

private:
    QHash<QString, qint64> countsBy(const QString& group, const QString& dayColumn, qint64 userId,
                                    const QString& fromDay, const QString& toDay);

    SqlConnection& m_connection;
};
