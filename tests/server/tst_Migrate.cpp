#include "Secrets.h"
#include "ServerCli.h"
#include "TestStorages.h"

#include <QTest>

using namespace Qt::StringLiterals;

// Found by argument-dependent lookup, so in the namespace of the records.
static bool operator==(const StoredUser& a, const StoredUser& b) {
    return a.user == b.user && a.autoSendBot == b.autoSendBot && a.apiKey == b.apiKey;
}
static bool operator==(const AttachmentFile& a, const AttachmentFile& b) {
    return a.attachment == b.attachment && a.content == b.content;
}
static bool operator==(const OutboxEntry& a, const OutboxEntry& b) {
    return a.id == b.id && a.taskId == b.taskId && a.telegramId == b.telegramId && a.text == b.text &&
           a.createdAt == b.createdAt;
}

namespace {

const QString now = u"2025-03-05T12:00:00.000Z"_s;

// Everything a deployment answers with, read through the storage: what a copy must keep.
struct Snapshot {
    QList<StoredUser> users;
    QList<QList<VexoTask>> tasks; // per user: undone, then archived
    QList<QList<Folder>> folders;
    QList<QList<AttachmentFile>> attachments;
    QList<std::optional<QByteArray>> avatars;
    QList<AdminUser> adminUsers;
    QList<OutboxEntry> outbox;
    QList<Change> changes;
    qint64 lastRevision = 0;

    bool operator==(const Snapshot&) const = default;
};

Snapshot snapshot(Storage& storage, const QStringList& telegramIds) {
    Snapshot shot;
    for (const QString& telegramId : telegramIds) {
        const StoredUser user = *storage.userByTelegramId(telegramId);
        shot.users << user;
        const qint64 id = user.user.id;
        QList<VexoTask> tasks = storage.tasks(id, TaskFilter{});
        TaskFilter archived;
        archived.archived = true;
        tasks += storage.tasks(id, archived);
        QList<AttachmentFile> files;
        for (const VexoTask& task : std::as_const(tasks)) {
            const QList<TaskAttachment> ofTask = storage.attachments(task.id).value_or(QList<TaskAttachment>());
            for (const TaskAttachment& attachment : ofTask)
                files << *storage.attachmentFile(id, task.id, attachment.id);
        }
        shot.tasks << tasks;
        shot.folders << storage.folders(id);
        shot.attachments << files;
        shot.avatars << (user.user.avatarUrl ? storage.avatar(*user.user.avatarUrl) : std::nullopt);
    }
    shot.adminUsers = storage.adminUsers();
    shot.outbox = storage.outbox();
    qint64 through = 0;
    shot.changes = storage.changesAfter(0, 10'000, through);
    shot.lastRevision = storage.lastRevision();
    return shot;
}

} // namespace

// vexo-server migrate --from DIR --to postgresql://…: a SQLite deployment copied into an empty
// PostgreSQL database with nothing lost or changed, its ids and revisions included; a target that
// holds anything is refused. Always on this program's own PostgreSQL.
class tst_Migrate final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestStorages> m_sqlite;
    std::unique_ptr<TestStorages> m_postgres;
    QTemporaryDir m_files;
    QStringList m_telegramIds{u"100"_s, u"200"_s, u"300"_s};
    QString m_loginKey;
    QString m_sessionToken;

    struct Outcome {
        int code = -1;
        QString out;
        QString err;
    };

    Outcome run(const QStringList& arguments) {
        Outcome outcome;
        QTextStream out(&outcome.out);
        QTextStream err(&outcome.err);
        ServerCli cli(out, err);
        outcome.code = cli.run(arguments);
        out.flush();
        err.flush();
        return outcome;
    }

    QStringList migrateArguments(bool toFolder) {
        QStringList arguments{u"migrate"_s, u"--from"_s, m_sqlite->arguments().at(1), u"--to"_s,
                              m_postgres->arguments().at(1)};
        if (toFolder)
            arguments << u"--files"_s << m_files.path();
        return arguments;
    }

    // A deployment with a bit of everything, binary contents and text in several scripts included.
    void fill(Storage& storage) {
        QByteArray binary(5000, '\0');
        for (qsizetype i = 0; i < binary.size(); ++i)
            binary[i] = char(i * 31 + 7);
        NewUser first;
        first.telegramId = m_telegramIds[0];
        first.username = u"ira"_s;
        first.firstName = u"Ира"_s;
        first.avatarName = storage.addAvatar("\x89PNG avatar", u"png"_s);
        const qint64 ira = storage.createUser(first, now).user.id;
        NewUser second;
        second.telegramId = m_telegramIds[1];
        second.isAdmin = true;
        second.lastName = u"O'Brien \"Δ\" 漢字"_s;
        const qint64 admin = storage.createUser(second, now).user.id;
        NewUser third;
        third.telegramId = m_telegramIds[2];
        storage.createUser(third, now);

        m_loginKey = Secrets::newLoginKey();
        storage.addLoginKey(ira, Secrets::hash(m_loginKey), false, now);
        storage.addLoginKey(admin, Secrets::hash(Secrets::newLoginKey()), false, now);
        m_sessionToken = Secrets::newSessionToken();
        storage.addSession(ira, Secrets::hash(m_sessionToken), now);
        storage.setAutoSendBot(ira, true);
        storage.setApiKey(admin, u"api-key-of-the-admin"_s);

        const Folder home = storage.insertFolder(ira, u"Дом"_s, u"#112233"_s, now);
        const Folder gone = storage.insertFolder(ira, u"Удалить"_s, u"#445566"_s, now);
        QList<qint64> tasks;
        for (int i = 0; i < 12; ++i) {
            NewTask task;
            task.title = u"Задача %1 — «кавычки» и 😀"_s.arg(i);
            if (i % 2 == 0)
                task.description = u"<p>Описание\nв две строки</p>"_s;
            if (i % 3 == 0)
                task.deadline = u"2025-03-%1T18:00:00.000Z"_s.arg(10 + i);
            task.priority = allTaskPriorities[i % 3];
            task.source = i % 2 == 0 ? u"bot"_s : u"app"_s;
            if (i % 4 == 0)
                task.folderId = home.id;
            if (i == 5)
                task.folderId = gone.id;
            tasks << storage.insertTask(i < 10 ? ira : admin, task, i == 3, now).id;
        }
        TaskChanges done;
        done.status = TaskStatus::done;
        storage.updateTask(ira, tasks[1], done, u"2025-03-06T09:30:00.000Z"_s);
        storage.archiveTask(ira, tasks[2], u"2025-03-07T10:00:00.000Z"_s);
        storage.markSent(ira, tasks[4], u"Отправлено: задача 4"_s, now);
        storage.deleteTask(ira, tasks[6]);
        storage.deleteFolder(ira, gone.id);
        storage.addAttachment(tasks[0], u"data.bin"_s, u"application/octet-stream"_s, binary, now);
        storage.addAttachment(tasks[0], u"заметка.txt"_s, u"text/plain"_s, "текст", now);
        const auto dropped = storage.addAttachment(tasks[1], u"x.txt"_s, u"text/plain"_s, "x", now);
        storage.deleteAttachment(ira, tasks[1], dropped->id);
        storage.addAttachment(tasks[11], u"empty.txt"_s, u"text/plain"_s, QByteArray(), now);
    }

private Q_SLOTS:
    void init() {
        m_sqlite = std::make_unique<TestStorages>(TestBackend::sqlite);
        m_postgres = std::make_unique<TestStorages>(TestBackend::postgres);
        QDir(m_files.path()).removeRecursively();
        QDir().mkpath(m_files.path());
    }

    void cleanup() {
        m_postgres.reset();
        m_sqlite.reset();
    }

    void copiesEverything_data() {
        QTest::addColumn<bool>("toFolder");
        QTest::newRow("contents into the database") << false;
        QTest::newRow("contents into a shared folder") << true;
    }

    void copiesEverything() {
        QFETCH(bool, toFolder);
        Snapshot before;
        QString sourceInstance;
        {
            const auto source = m_sqlite->open();
            fill(*source);
            before = snapshot(*source, m_telegramIds);
            sourceInstance = source->instanceId();
        }
        QCOMPARE(before.tasks[0].size(), 9);
        QCOMPARE(before.attachments[0].size(), 2);
        QCOMPARE(before.outbox.size(), 2);

        const Outcome outcome = run(migrateArguments(toFolder));
        QVERIFY2(outcome.code == 0, qPrintable(outcome.err));
        QVERIFY2(outcome.err.isEmpty(), qPrintable(outcome.err));
        // Each table with its count, compared on both sides.
        for (const auto& [table, rows] : QList<QPair<QString, int>>{{u"users"_s, 3},
                                                                    {u"login_keys"_s, 2},
                                                                    {u"sessions"_s, 1},
                                                                    {u"folders"_s, 1},
                                                                    {u"tasks"_s, 11},
                                                                    {u"attachments"_s, 3},
                                                                    {u"outbox"_s, 2}}) {
            QVERIFY2(QRegularExpression(
                         u"\\n  %1 +%2 строк, контрольная сумма [0-9a-f]{16} совпадает\\n"_s.arg(table).arg(rows))
                         .match(outcome.out)
                         .hasMatch(),
                     qPrintable(table + u'\n' + outcome.out));
        }
        QVERIFY2(outcome.out.contains(u"4 (5021 байт), содержимое совпадает"_s), qPrintable(outcome.out));
        QVERIFY(outcome.out.endsWith(u"Готово: всё перенесено и сверено.\n"_s));

        const std::optional<QString> folder = toFolder ? std::optional<QString>(m_files.path()) : std::nullopt;
        const auto target = m_postgres->open(u"main"_s, folder);
        const Snapshot after = snapshot(*target, m_telegramIds);
        QCOMPARE(after.users, before.users);
        QCOMPARE(after.tasks, before.tasks);
        QCOMPARE(after.folders, before.folders);
        QVERIFY(after.attachments == before.attachments);
        QCOMPARE(after.avatars, before.avatars);
        QCOMPARE(after.adminUsers, before.adminUsers);
        QVERIFY(after.outbox == before.outbox);
        QCOMPARE(after.changes, before.changes);
        QCOMPARE(after.lastRevision, before.lastRevision);
        // Where the contents went.
        const auto place = [&] {
            auto query = target->connection().prepare(u"SELECT COUNT(*) FROM blobs"_s);
            target->connection().execute(query);
            return query->next() ? query->value(0).toInt() : -1;
        };
        QCOMPARE(place(), toFolder ? 0 : 4);
        QCOMPARE(QDir(m_files.filePath(u"attachments"_s)).entryList(QDir::Files).size(), toFolder ? 3 : 0);

        // Signing in and sessions go on as before; new rows take ids after the copied ones, and the
        // database tells itself from the old one.
        QCOMPARE(target->userByLoginKeyHash(Secrets::hash(m_loginKey))->user.id, before.users[0].user.id);
        QCOMPARE(target->userBySessionHash(Secrets::hash(m_sessionToken))->user.id, before.users[0].user.id);
        qint64 highest = 0;
        for (const QList<VexoTask>& tasks : before.tasks) {
            for (const VexoTask& task : tasks)
                highest = qMax(highest, task.id);
        }
        NewTask task;
        task.title = u"После переноса"_s;
        task.source = u"app"_s;
        QCOMPARE(target->insertTask(before.users[0].user.id, task, false, now).id, highest + 1);
        QVERIFY(target->lastRevision() > before.lastRevision);
        QVERIFY(target->instanceId() != sourceInstance);
    }

    // Anything in the target and nothing is copied: not a row, not a file.
    void refusesATargetThatIsNotEmpty() {
        {
            const auto source = m_sqlite->open();
            fill(*source);
        }
        {
            const auto target = m_postgres->open();
            NewUser someone;
            someone.telegramId = u"999"_s;
            target->createUser(someone, now);
        }
        const Outcome outcome = run(migrateArguments(true));
        QCOMPARE(outcome.code, 1);
        QVERIFY2(outcome.err.contains(u"Перенос возможен только в пустую базу, а в таблице users уже 1 строк"_s),
                 qPrintable(outcome.err));
        QVERIFY(!outcome.out.contains(u"Готово"_s));
        {
            const auto target = m_postgres->open();
            QCOMPARE(target->adminUsers().size(), 1);
            QVERIFY(!target->userByTelegramId(m_telegramIds[0]));
        }
        QVERIFY(QDir(m_files.filePath(u"attachments"_s)).entryList(QDir::Files).isEmpty());

        // A second copy into a target that got the first one is refused the same way.
        m_postgres->discard(u"main"_s);
        QCOMPARE(run(migrateArguments(false)).code, 0);
        const Outcome again = run(migrateArguments(false));
        QCOMPARE(again.code, 1);
        QVERIFY(again.err.contains(u"только в пустую базу"_s));
    }

    void aSourceWithoutADatabaseIsRefused() {
        const Outcome outcome = run(migrateArguments(false));
        QCOMPARE(outcome.code, 1);
        QVERIFY2(outcome.err.contains(u"нет базы vexo.db"_s), qPrintable(outcome.err));
    }
};

QTEST_GUILESS_MAIN(tst_Migrate)
#include "tst_Migrate.moc"
