// The task list written straight from the database's rows must be, byte for byte, what encoding
// the records read through QtSql gives, whatever the rows hold. On SQLite, and on PostgreSQL in the
// _pg run.
#include "JsonText.h"
#include "JsonWriter.h"
#include "PostgresStorage.h"
#include "SqliteStorage.h"
#include "TestStorages.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlQuery>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString now = u"2025-03-01T10:00:00.000Z"_s;

QByteArray viaRecords(Storage& storage, qint64 userId, const TaskFilter& filter = {}) {
    return encodeJson(TasksResponse{storage.tasks(userId, filter)});
}

// Rows (SQLite) or lists (PostgreSQL) that did not go the direct way.
qint64 generalReads(SqlStorage& storage) {
    if (auto* sqlite = dynamic_cast<SqliteStorage*>(&storage))
        return sqlite->tasksReadTheGeneralWay();
    return dynamic_cast<PostgresStorage&>(storage).tasksReadTheGeneralWay();
}

std::optional<QString> optional(const QString& text) {
    return text.isNull() ? std::nullopt : std::optional<QString>(text);
}

} // namespace

class TaskListJson final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_storage = m_storages.open(u"db%1"_s.arg(++m_count));
        NewUser person;
        person.telegramId = u"42"_s;
        m_userId = m_storage->createUser(person, now).user.id;
    }
    void cleanup() { m_storage.reset(); }

    void escapeScan_data() {
        QTest::addColumn<char>("special");
        for (const char c : {'"', '\\', '\0', '\x01', '\n', '\x1f'})
            QTest::addRow("0x%02x", int(c)) << c;
    }
    // The first byte to escape is found wherever it falls in or after a sixteen-byte block.
    void escapeScan() {
        QFETCH(char, special);
        for (int at = 0; at < 40; ++at) {
            std::string text(48, 'a');
            text[std::size_t(at) + 1] = ' '; // the highest byte that needs nothing, beside it
            text[std::size_t(at)] = special;
            // Bytes above 0x7f never count, signed or not.
            text[47] = '\xff';
            QCOMPARE(firstEscapedByte(text), std::size_t(at));
        }
        QCOMPARE(firstEscapedByte(std::string(33, '\x7f') + "\xc3\xa9 \x20"), std::size_t(37));
    }

    // Every byte, at every place around a block's edge, escaped as the shared writer escapes it.
    void escapesAsTheSharedWriter() {
        for (int byte = 0; byte < 128; ++byte) {
            for (int at : {0, 1, 15, 16, 17, 31, 32}) {
                std::string text = std::string(std::size_t(at), 'x') + char(byte) + "Ёж" + std::string(20, 'y');
                JsonWriter writer;
                writer.value(std::string_view(text));
                JsonText direct(1);
                QVERIFY(direct.string(text));
                QCOMPARE(direct.take(), writer.bytes());
            }
        }
    }

    void invalidUtf8IsTold_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("valid");
        QTest::newRow("ascii") << QByteArray("plain") << true;
        QTest::newRow("cyrillic") << QByteArray("Задача") << true;
        QTest::newRow("emoji") << QByteArray("\xf0\x9f\x98\x80") << true;
        QTest::newRow("lone continuation") << QByteArray("a\x80z") << false;
        QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << false;
        QTest::newRow("overlong") << QByteArray("\xc0\xaf") << false;
        QTest::newRow("cut short") << QByteArray("Зад\xd0") << false;
        QTest::newRow("invalid after a block") << QByteArray(40, 'a') + "\xff" << false;
    }
    void invalidUtf8IsTold() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, valid);
        JsonText out;
        QCOMPARE(out.string(std::string_view(bytes.constData(), std::size_t(bytes.size()))), valid);
    }

    void sameBytesAsTheRecords_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("deadline");
        QTest::addColumn<QString>("source");

        const QString none;
        QTest::newRow("plain") << u"Купить хлеб"_s << none << none << u"app"_s;
        QTest::newRow("control characters")
            << u"a\u0001b\u001fc\td\ne\rf\bg\fh"_s << u"\u0002x\u007f"_s << none << u"bot"_s;
        QTest::newRow("quotes and backslashes") << u"\"\\\"\\\\"_s << u"C:\\path\\\"q\""_s << none << u"app"_s;
        QTest::newRow("non-BMP emoji") << u"🔴🟡🟢 задача 😀"_s << u"𝄞 and 👨‍👩‍👧"_s
                                       << none << u"app"_s;
        QTest::newRow("line and paragraph separators") << u"a\u2028b\u2029c"_s << u"\u2028"_s << none << u"app"_s;
        QTest::newRow("empty optional fields") << u"x"_s << u""_s << u""_s << u""_s;
        QTest::newRow("absent optional fields") << u"x"_s << none << none << u"bot"_s;
        QTest::newRow("deadline") << u"срок"_s << none << u"2025-03-05T18:00:00.000Z"_s << u"app"_s;
        QString html;
        for (int i = 0; i < 400; ++i)
            html += u"<p class=\"x\">Абзац %1 с <b>разметкой</b>, \\ и \"кавычками\"\t</p>\n"_s.arg(i);
        QTest::newRow("long HTML description") << u"HTML"_s << html << none << u"app"_s;
        QTest::newRow("BOM inside") << u"start\uFEFFend"_s << none << none << u"app"_s;
        QTest::newRow("NUL inside") << u"start\u0000end"_s << u"\u0000"_s << none << u"app"_s;
    }
    void sameBytesAsTheRecords() {
        QFETCH(QString, title);
        QFETCH(QString, description);
        QFETCH(QString, deadline);
        QFETCH(QString, source);
        if (m_storage->dialect().kind != SqlDialect::Kind::sqlite && (title + description).contains(QChar(0)))
            QSKIP("PostgreSQL text holds no NUL");
        NewTask task;
        task.title = title;
        task.description = optional(description);
        task.deadline = optional(deadline);
        task.source = source;
        m_storage->insertTask(m_userId, task, false, now);
        // A second task sent to the bot and done, so that every optional field appears somewhere.
        const VexoTask other = m_storage->insertTask(m_userId, task, true, now);
        TaskChanges changes;
        changes.status = TaskStatus::done;
        m_storage->updateTask(m_userId, other.id, changes, now);

        const QByteArray direct = m_storage->tasksJson(m_userId, {});
        QCOMPARE(direct, viaRecords(*m_storage, m_userId));
        QCOMPARE(generalReads(*m_storage), 0);
        // And the text is the one that went in, not a common loss on both ways.
        const QJsonArray tasks = QJsonDocument::fromJson(direct).object().value(u"tasks"_s).toArray();
        QCOMPARE(tasks.size(), 2);
        QCOMPARE(tasks.first().toObject().value(u"title"_s).toString(), title);
    }

    // Rows another program wrote may hold what the service never writes: they are read as QtSql
    // reads them.
    void rowsTheServiceNeverWrites_data() {
        QTest::addColumn<QString>("assignment");
        QTest::addColumn<bool>("sqliteOnly"); // PostgreSQL keeps every column to its type
        QTest::addColumn<bool>("direct");     // the direct way takes it as it is
        QTest::newRow("invalid UTF-8 title") << u"title = CAST(X'41FF42' AS TEXT)"_s << true << false;
        QTest::newRow("surrogate in description") << u"description = CAST(X'EDA080' AS TEXT)"_s << true << false;
        QTest::newRow("blob description") << u"description = X'D0AF'"_s << true << false;
        QTest::newRow("number as priority") << u"priority = 3"_s << true << true; // stored as text
        QTest::newRow("fraction as a flag") << u"sent_to_bot = 1.75"_s << true << false;
        QTest::newRow("text as a flag") << u"sent_to_bot = 'no'"_s << true << false;
        QTest::newRow("numbers as text") << u"deadline = 7, source = 2.5"_s << true << true; // stored as text
        QTest::newRow("unknown priority") << u"priority = 'urgent'"_s << false << true;
        QTest::newRow("unknown status") << u"status = ''"_s << false << true;
        QTest::newRow("empty title") << u"title = ''"_s << false << true;
    }
    void rowsTheServiceNeverWrites() {
        QFETCH(QString, assignment);
        QFETCH(bool, sqliteOnly);
        QFETCH(bool, direct);
        if (sqliteOnly && m_storage->dialect().kind != SqlDialect::Kind::sqlite)
            QSKIP("only SQLite lets a column hold another type");
        NewTask task;
        task.title = u"Задача"_s;
        task.description = u"Описание"_s;
        task.source = u"app"_s;
        for (int i = 0; i < 3; ++i)
            m_storage->insertTask(m_userId, task, false, now);
        const qint64 odd = m_storage->insertTask(m_userId, task, false, now).id;
        m_storage->insertTask(m_userId, task, false, now);
        m_storage->connection().run(u"UPDATE tasks SET %1 WHERE id = %2"_s.arg(assignment).arg(odd));
        QCOMPARE(m_storage->tasksJson(m_userId, {}), viaRecords(*m_storage, m_userId));
        QCOMPARE(generalReads(*m_storage) == 0, direct);
    }

    void everyFilter() {
        const Folder folder = m_storage->insertFolder(m_userId, u"Дом"_s, u"#ff0000"_s, now);
        NewTask task;
        task.source = u"app"_s;
        for (int i = 0; i < 12; ++i) {
            task.title = u"Задача %1"_s.arg(i);
            task.folderId = i % 2 ? std::optional<qint64>(folder.id) : std::nullopt;
            const VexoTask created = m_storage->insertTask(m_userId, task, false, now);
            TaskChanges changes;
            changes.status = allTaskStatuses[std::size_t(i % 3)];
            m_storage->updateTask(m_userId, created.id, changes, now);
            if (i % 4 == 0)
                m_storage->archiveTask(m_userId, created.id, now);
        }
        for (const bool archived : {false, true}) {
            for (const std::optional<TaskStatus> status :
                 {std::optional<TaskStatus>(), std::optional(TaskStatus::done)}) {
                for (const std::optional<qint64> folderId : {std::optional<qint64>(), std::optional(folder.id)}) {
                    const TaskFilter filter{archived, status, folderId};
                    const QByteArray direct = m_storage->tasksJson(m_userId, filter);
                    QCOMPARE(direct, viaRecords(*m_storage, m_userId, filter));
                    QVERIFY(direct.startsWith(R"({"tasks":[)"));
                }
            }
        }
        QCOMPARE(generalReads(*m_storage), 0);
        // Another user's tasks never show.
        NewUser stranger;
        stranger.telegramId = u"7"_s;
        QCOMPARE(m_storage->tasksJson(m_storage->createUser(stranger, now).user.id, {}), R"({"tasks":[]})");
    }

    // The statement kept between requests reads what was written since, and holds no read open
    // that would keep a writer from the database.
    void keptStatementSeesNewRows() {
        NewTask task;
        task.source = u"app"_s;
        task.title = u"Первая"_s;
        m_storage->insertTask(m_userId, task, false, now);
        const QByteArray before = m_storage->tasksJson(m_userId, {});
        task.title = u"Вторая"_s;
        m_storage->insertTask(m_userId, task, false, now);
        const QByteArray after = m_storage->tasksJson(m_userId, {});
        QVERIFY(after != before);
        QCOMPARE(after, viaRecords(*m_storage, m_userId));
        QCOMPARE(QJsonDocument::fromJson(after).object().value(u"tasks"_s).toArray().size(), 2);
        QCOMPARE(generalReads(*m_storage), 0);
        if (m_storage->dialect().kind != SqlDialect::Kind::sqlite)
            return;
        // A checkpoint that empties the journal waits for no reader (its first column: busy).
        QSqlQuery checkpoint(m_storage->connection().database());
        QVERIFY(checkpoint.exec(u"PRAGMA wal_checkpoint(TRUNCATE)"_s) && checkpoint.next());
        QCOMPARE(checkpoint.value(0).toInt(), 0);
    }

    // The session's user and the latest revision read straight from SQLite are those of the
    // general reads, with every optional field present or missing, and for sessions that are not there.
    void lookupsAsTheGeneralReads() {
        auto* sqlite = dynamic_cast<SqliteStorage*>(m_storage.get());
        if (!sqlite)
            QSKIP("the direct lookups are SQLite's");
        NewUser full;
        full.telegramId = u"77"_s;
        full.username = u"ёжик"_s;
        full.firstName = u"Имя"_s;
        full.lastName = u""_s;
        full.avatarName = u"a.png"_s;
        full.isAdmin = true;
        const qint64 fullId = sqlite->createUser(full, now).user.id;
        sqlite->setAutoSendBot(m_userId, true); // the other user is the admin: columns cannot swap unseen
        sqlite->setApiKey(fullId, u"vexoapi-ключ"_s);
        sqlite->addSession(fullId, u"hash-full"_s, now);
        sqlite->addSession(m_userId, u"hash-bare"_s, now);
        NewTask task;
        task.source = u"app"_s;
        task.title = u"Задача"_s;
        sqlite->insertTask(fullId, task, false, now);
        sqlite->insertFolder(fullId, u"Папка"_s, u"#102030"_s, now);

        const auto both = [&](auto read) {
            sqlite->setDirectTaskList(true);
            const auto direct = read();
            sqlite->setDirectTaskList(false);
            const auto general = read();
            sqlite->setDirectTaskList(true);
            return std::pair(direct, general);
        };
        for (const QString& hash : {u"hash-full"_s, u"hash-bare"_s, u"hash-none"_s, QString()}) {
            const auto [direct, general] = both([&] { return sqlite->userBySessionHash(hash); });
            QCOMPARE(direct.has_value(), general.has_value());
            if (!direct)
                continue;
            QCOMPARE(direct->user, general->user);
            QCOMPARE(direct->autoSendBot, general->autoSendBot);
            QCOMPARE(direct->apiKey, general->apiKey);
        }
        QVERIFY(sqlite->userBySessionHash(u"hash-full"_s)->user.isAdmin);
        QCOMPARE(sqlite->userBySessionHash(u"hash-full"_s)->user.lastName, std::optional<QString>(u""_s));
        for (const qint64 user : {fullId, m_userId, qint64(987654)}) {
            for (const ChangeKind kind : {ChangeKind::task, ChangeKind::folder}) {
                const auto [direct, general] = both([&] { return sqlite->latestRevision(user, kind); });
                QCOMPARE(direct, general);
            }
        }
        QVERIFY(sqlite->latestRevision(fullId, ChangeKind::task) > 0);
    }

private:
    TestStorages m_storages;
    int m_count = 0;
    std::unique_ptr<SqlStorage> m_storage;
    qint64 m_userId = 0;
};

QTEST_GUILESS_MAIN(TaskListJson)
#include "tst_TaskListJson.moc"
