#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

class SqlStorage;

// Copies a whole deployment into another storage that holds nothing yet: users, login keys,
// sessions, folders, tasks, attachments with their contents, avatars, the outbox and the change log,
// every row with its own id, so that nothing a client holds (an id, a revision) changes meaning.
// Everything goes into the target in one transaction, which commits only once every table has the
// same number of rows and the same checksum on both sides and every content reads back the same.
// Login attempts are not copied (they only matter for a minute), nor the instance identifier: the
// target keeps its own, so entity tags from the old storage are never taken for the new one's.
class StorageCopy final {
public:
    struct Table {
        QString name;
        qint64 rows = 0;
        QByteArray checksum; // SHA-256 over the rows, whatever their order
    };
    struct Report {
        QList<Table> tables;
        qint64 contents = 0; // attachment and avatar contents copied
        qint64 contentBytes = 0;
        QStringList missing; // contents named by a row but absent from the source
    };

    // Throws ServerError when the target is not empty, when anything fails, or when the two sides
    // do not agree at the end; the target is then left as it was.
    static Report copy(SqlStorage& from, SqlStorage& to);
};
