#include "StorageCopy.h"

#include "ServerError.h"
#include "SqlStorage.h"

#include <QCryptographicHash>
#include <QFile>
#include <QHash>
#include <QSqlQuery>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

struct CopiedTable {
    QString name;
    QString key; // the primary key; numbered by the database where `identity`
    QStringList columns;
    bool identity = false;
};

// Parents before children, as the foreign keys want them.
const QList<CopiedTable>& copiedTables() {
    static const QList<CopiedTable> tables{
        {u"users"_s,
         u"id"_s,
         {u"id"_s, u"telegram_id"_s, u"username"_s, u"first_name"_s, u"last_name"_s, u"avatar_name"_s, u"is_admin"_s,
          u"auto_send_bot"_s, u"api_key"_s, u"created_at"_s},
         true},
        {u"login_keys"_s, u"key_hash"_s, {u"key_hash"_s, u"user_id"_s, u"created_at"_s}, false},
        {u"sessions"_s, u"token_hash"_s, {u"token_hash"_s, u"user_id"_s, u"created_at"_s}, false},
        {u"folders"_s, u"id"_s, {u"id"_s, u"user_id"_s, u"name"_s, u"color"_s, u"created_at"_s}, true},
        {u"tasks"_s,
         u"id"_s,
         {u"id"_s, u"user_id"_s, u"folder_id"_s, u"title"_s, u"description"_s, u"deadline"_s, u"priority"_s,
          u"status"_s, u"archived"_s, u"archived_at"_s, u"completed_at"_s, u"created_at"_s, u"updated_at"_s,
          u"source"_s, u"sent_to_bot"_s},
         true},
        {u"attachments"_s,
         u"id"_s,
         {u"id"_s, u"task_id"_s, u"filename"_s, u"mimetype"_s, u"size"_s, u"stored_name"_s, u"created_at"_s},
         true},
        {u"outbox"_s,
         u"id"_s,
         {u"id"_s, u"user_id"_s, u"task_id"_s, u"telegram_id"_s, u"text"_s, u"created_at"_s},
         true},
        {u"changes"_s,
         u"revision"_s,
         {u"revision"_s, u"user_id"_s, u"kind"_s, u"op"_s, u"entity_id"_s, u"task_id"_s},
         true},
    };
    return tables;
}

// One value as bytes that mean the same on both databases: an integer is its decimal text on
// either side, whatever width the column has there.
void appendValue(QByteArray& row, const QVariant& value) {
    if (value.isNull()) {
        row += '\0';
        return;
    }
    row += '\1';
    row += value.metaType() == QMetaType::fromType<QByteArray>() ? value.toByteArray() : value.toString().toUtf8();
    row += '\2';
}

// The rows of a table, each hashed, in an order of their own; `rows` is how many there are.
QByteArray checksum(SqlConnection& connection, const CopiedTable& copied, qint64& rows) {
    auto query = connection.prepare(u"SELECT "_s + copied.columns.join(u", "_s) + u" FROM "_s + copied.name);
    query->setForwardOnly(true);
    connection.execute(query);
    QList<QByteArray> hashes;
    while (query->next()) {
        QByteArray row;
        for (int i = 0; i < copied.columns.size(); ++i)
            appendValue(row, query->value(i));
        hashes.append(QCryptographicHash::hash(row, QCryptographicHash::Sha256));
    }
    rows = hashes.size();
    std::sort(hashes.begin(), hashes.end());
    QCryptographicHash all(QCryptographicHash::Sha256);
    for (const QByteArray& hash : std::as_const(hashes))
        all.addData(hash);
    return all.result();
}

qint64 rowCount(SqlConnection& connection, const QString& table) {
    auto query = connection.prepare(u"SELECT COUNT(*) FROM "_s + table);
    connection.execute(query);
    return query->next() ? query->value(0).toLongLong() : 0;
}

void copyRows(SqlConnection& from, SqlConnection& to, const CopiedTable& copied) {
    const QString columns = copied.columns.join(u", "_s);
    auto read = from.prepare(u"SELECT "_s + columns + u" FROM "_s + copied.name + u" ORDER BY "_s + copied.key);
    read->setForwardOnly(true);
    from.execute(read);
    QStringList marks;
    for (qsizetype i = 0; i < copied.columns.size(); ++i)
        marks << u"?"_s;
    auto write =
        to.prepare(u"INSERT INTO "_s + copied.name + u" ("_s + columns + u") VALUES ("_s + marks.join(u", "_s) + u')');
    while (read->next()) {
        for (int i = 0; i < copied.columns.size(); ++i)
            write->addBindValue(read->value(i));
        to.execute(write);
    }
}

// The names of every stored content the rows refer to.
QStringList contentNames(SqlConnection& connection) {
    QStringList names;
    {
        auto attachments = connection.prepare(u"SELECT stored_name FROM attachments ORDER BY id"_s);
        connection.execute(attachments);
        while (attachments->next())
            names << u"attachments/"_s + attachments->value(0).toString();
    }
    auto avatars = connection.prepare(u"SELECT avatar_name FROM users WHERE avatar_name IS NOT NULL ORDER BY id"_s);
    connection.execute(avatars);
    while (avatars->next())
        names << u"avatars/"_s + avatars->value(0).toString();
    names.removeDuplicates();
    return names;
}

} // namespace

StorageCopy::Report StorageCopy::copy(SqlStorage& from, SqlStorage& to) {
    SqlConnection& source = from.connection();
    SqlConnection& target = to.connection();
    for (const CopiedTable& copied : copiedTables() + QList<CopiedTable>{{u"blobs"_s, u"name"_s, {}, false}}) {
        if (const qint64 rows = rowCount(target, copied.name); rows > 0)
            throw ServerError::badRequest(
                u"Перенос возможен только в пустую базу, а в таблице %1 уже %2 строк"_s.arg(copied.name).arg(rows));
    }

    Report report;
    QStringList writtenFiles;
    target.begin();
    try {
        for (const CopiedTable& copied : copiedTables()) {
            copyRows(source, target, copied);
            if (copied.identity && !target.dialect().restartIdentity.isEmpty())
                target.run(target.dialect().restartIdentity.arg(copied.name, copied.key));
        }

        QHash<QString, QByteArray> contentHashes;
        for (const QString& name : contentNames(source)) {
            const auto bytes = from.content(name);
            if (!bytes) {
                report.missing << name;
                continue;
            }
            if (to.writeContentFile(name, *bytes))
                writtenFiles << name;
            else
                to.putContent(name, *bytes);
            contentHashes.insert(name, QCryptographicHash::hash(*bytes, QCryptographicHash::Sha256));
            ++report.contents;
            report.contentBytes += bytes->size();
        }

        // Both sides, read back, before anything is committed.
        for (const CopiedTable& copied : copiedTables()) {
            Table table;
            table.name = copied.name;
            qint64 targetRows = 0;
            table.checksum = checksum(source, copied, table.rows);
            const QByteArray targetChecksum = checksum(target, copied, targetRows);
            if (targetRows != table.rows || targetChecksum != table.checksum)
                throw ServerError(
                    ErrorKind::internal,
                    u"Таблица %1 после переноса не совпадает с исходной (%2 строк, а в исходной %3)"_s.arg(copied.name)
                        .arg(targetRows)
                        .arg(table.rows));
            report.tables.append(table);
        }
        for (auto it = contentHashes.constBegin(); it != contentHashes.constEnd(); ++it) {
            const auto copied = to.content(it.key());
            if (!copied || QCryptographicHash::hash(*copied, QCryptographicHash::Sha256) != it.value())
                throw ServerError(ErrorKind::internal,
                                  u"Файл %1 после переноса не совпадает с исходным"_s.arg(it.key()));
        }
        target.commit();
    } catch (...) {
        target.rollback();
        to.removeContentFiles(writtenFiles);
        throw;
    }
    return report;
}
