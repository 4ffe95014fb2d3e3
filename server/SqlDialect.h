#pragma once

#include <QString>
#include <QStringList>

class QSqlError;

// What differs between the SQL databases the storage runs on; every statement is otherwise shared.
// Three things never need a dialect here: upserts (both speak INSERT … ON CONFLICT … DO UPDATE),
// new ids (both answer INSERT … RETURNING id) and time, which is never computed in SQL: the caller's
// clock arrives as answer-form text or as milliseconds, and dates are stored as that text, whose
// order is the order of time.
struct SqlDialect {
    enum class Kind { sqlite, postgres };

    Kind kind = Kind::sqlite;
    QString driver; // the Qt SQL driver

    // Words of the schema, put in place of {id}, {int} and {blob} by schema().
    QString identity; // an integer primary key the database numbers itself
    QString integer;  // 64 bits
    QString blob;     // bytes

    // A row when a table of that name (the one bound value) exists.
    QString tableExists;
    // Run first in the transaction of a migration: it must hold off every other process that
    // opens the database at the same moment, until it commits.
    QStringList beginMigration;
    // Run first in a transaction that appends to the change log, before its revision is drawn:
    // while it holds, no other writer can commit a later revision first, so a reader that has seen a
    // revision has seen every one before it.
    QString serializeChangeLog;
    // Run in a transaction that appended to the change log: wakes the other processes' watches.
    QString announceChanges;
    // Run in a transaction that counts login attempts, once per bucket (bound), before its count
    // is read, so that attempts against one bucket are counted one at a time.
    QString serializeBucket;
    // After rows were copied in with their own ids: the next id of `table` comes after them. Empty
    // where the database does that by itself.
    QString restartIdentity; // %1: the table, %2: its key

    static const SqlDialect& sqlite();
    static const SqlDialect& postgres();
    static const SqlDialect& of(Kind kind) { return kind == Kind::sqlite ? sqlite() : postgres(); }

    // A schema statement with the words of this database.
    QString schema(QString statement) const;
    // A row refused because it repeats a unique key.
    bool isUniqueViolation(const QSqlError& error) const;
    // A failure that is worth trying again later: the server is away or restarting, the connection
    // was lost, a lock or a statement took too long, or the database chose this transaction to
    // resolve a conflict.
    bool isUnavailable(const QSqlError& error) const;
};
