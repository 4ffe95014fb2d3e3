#pragma once

#include "Storage.h"

#include <QSqlDatabase>

// The reading side of the SQLite storage that serves statistics, administration and the outbox:
// counts over many rows, never a write.
class SqliteReports final {
public:
    explicit SqliteReports(const QSqlDatabase& db)
        : m_db(db) {}

    QHash<QString, qint64> createdPerDay(qint64 userId, const QString& fromDay, const QString& toDay);
    QHash<QString, qint64> completedPerDay(qint64 userId, const QString& fromDay, const QString& toDay);
    QHash<QString, qint64> createdPerPriority(qint64 userId, const QString& fromDay, const QString& toDay);
    AdminStats adminStats();
    QList<AdminUser> adminUsers();
    QList<OutboxEntry> outbox();

private:
    QHash<QString, qint64> countsBy(const QString& group, const QString& dayColumn, qint64 userId,
                                    const QString& fromDay, const QString& toDay);

    const QSqlDatabase& m_db; // the storage's connection, opened later than this is made
};
