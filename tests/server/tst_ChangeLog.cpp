#include "ServerError.h"
#include "SqlSchema.h"
#include "TestStorages.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString now = u"2025-03-05T12:00:00.000Z"_s;

// A change as "kind op id" (and " task_id"), the way the tests spell expectations.
QString describe(const Change& change) {
    QString text = changeKindName(change.kind) + u' ' + changeOpName(change.op) + u' ' + QString::number(change.id);
    if (change.taskId)
        text += u' ' + QString::number(*change.taskId);
    return text;
}

} // namespace

// The change log at the storage: what each call writes, what a failed call leaves, how the log is
// pruned, how an older database gets it, and how a watch hears of commits from anywhere. On SQLite,
// and on PostgreSQL in the program's PostgreSQL run.
class tst_ChangeLog final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestStorages> m_storages;
    std::unique_ptr<SqlStorage> m_storage;
    qint64 m_user = 0;
    qint64 m_other = 0;
    qint64 m_read = 0; // the log is read after this

    qint64 addUser(const QString& telegramId) {
        NewUser person;
        person.telegramId = telegramId;
        return m_storage->createUser(person, now).user.id;
    }

    qint64 addTask(qint64 userId, std::optional<qint64> folderId = {}) {
        NewTask task;
        task.title = u"Задача"_s;
        task.source = u"app"_s;
        task.folderId = folderId;
        return m_storage->insertTask(userId, task, false, now).id;
    }

    // What the log gained since the last call, described; checks the revisions increase.
    QStringList newChanges() {
        qint64 through = 0;
        const QList<Change> changes = m_storage->changesAfter(m_read, 1000, through);
        QStringList described;
        for (const Change& change : changes) {
            if (change.revision <= m_read)
                qWarning("revision %lld is not above %lld", change.revision, m_read);
            m_read = change.revision;
            described << QString::number(change.userId) + u": "_s + describe(change);
        }
        return described;
    }

    QString mine(const QString& text) const { return QString::number(m_user) + u": "_s + text; }

private Q_SLOTS:
    void init() {
        m_storages = std::make_unique<TestStorages>();
        m_storage = m_storages->open();
        m_user = addUser(u"1"_s);
        m_other = addUser(u"2"_s);
        m_read = m_storage->lastRevision();
    }

    void cleanup() {
        m_storage.reset();
        m_storages.reset();
    }

    void eachChangeIsLogged() {
        Storage& storage = *m_storage;
        const qint64 folder = storage.insertFolder(m_user, u"Дом"_s, u"#112233"_s, now).id;
        QCOMPARE(newChanges(), QStringList{mine(u"folder created %1"_s.arg(folder))});
        const qint64 task = addTask(m_user, folder);
        const qint64 loose = addTask(m_user);
        QCOMPARE(newChanges(),
                 (QStringList{mine(u"task created %1"_s.arg(task)), mine(u"task created %1"_s.arg(loose))}));

        TaskChanges changes;
        changes.status = TaskStatus::done;
        storage.updateTask(m_user, task, changes, now);
        storage.archiveTask(m_user, task, now);
        storage.markSent(m_user, task, u"текст"_s, now);
        QCOMPARE(newChanges(), QStringList(3, mine(u"task updated %1"_s.arg(task))));

        const qint64 attachment = storage.addAttachment(task, u"a.txt"_s, u"text/plain"_s, "x", now)->id;
        storage.deleteAttachment(m_user, task, attachment);
        QCOMPARE(newChanges(), (QStringList{mine(u"attachment created %1 %2"_s.arg(attachment).arg(task)),
                                            mine(u"attachment deleted %1 %2"_s.arg(attachment).arg(task))}));

        storage.setAutoSendBot(m_user, true);
        storage.updateFolder(m_user, folder, u"Работа"_s, u"#445566"_s);
        QCOMPARE(newChanges(),
                 (QStringList{mine(u"settings updated %1"_s.arg(m_user)), mine(u"folder updated %1"_s.arg(folder))}));

        // The folder goes, and each task it held says its folder was cleared.
        const qint64 second = addTask(m_user, folder);
        newChanges();
        storage.deleteFolder(m_user, folder);
        QCOMPARE(newChanges(),
                 (QStringList{mine(u"folder deleted %1"_s.arg(folder)), mine(u"task updated %1"_s.arg(task)),
                              mine(u"task updated %1"_s.arg(second))}));
        storage.deleteTask(m_user, task);
        QCOMPARE(newChanges(), QStringList{mine(u"task deleted %1"_s.arg(task))});

        // Sending on creation is still one change.
        const qint64 sent =
            m_storage->insertTask(m_user, NewTask{u"Сразу"_s, {}, {}, TaskPriority::low, u"bot"_s, {}, {}}, true, now)
                .id;
        QCOMPARE(newChanges(), QStringList{mine(u"task created %1"_s.arg(sent))});

        // Signing in, keys and avatars are not the feed's business.
        storage.addSession(m_user, u"hash"_s, now);
        storage.addLoginKey(m_user, u"key"_s, false, now);
        storage.setApiKey(m_user, u"vexoapi-x"_s);
        storage.setAvatar(m_user, u"a.png"_s);
        QCOMPARE(newChanges(), QStringList());
    }

    // A call that changes nothing (another user's row, a missing id) logs nothing.
    void failedChangesLogNothing() {
        Storage& storage = *m_storage;
        const qint64 theirs = addTask(m_other);
        const qint64 theirFolder = storage.insertFolder(m_other, u"Их"_s, u"#000000"_s, now).id;
        newChanges();
        TaskChanges changes;
        changes.title = u"Моё"_s;
        QVERIFY(!storage.updateTask(m_user, theirs, changes, now));
        QVERIFY(!storage.archiveTask(m_user, theirs, now));
        QVERIFY(!storage.markSent(m_user, theirs, u"x"_s, now));
        QVERIFY(!storage.deleteTask(m_user, theirs));
        QVERIFY(!storage.updateFolder(m_user, theirFolder, u"x"_s, u"#000000"_s));
        QVERIFY(!storage.deleteFolder(m_user, theirFolder));
        QVERIFY(!storage.deleteAttachment(m_user, theirs, 1));
        storage.setAutoSendBot(9999, true);
        QCOMPARE(newChanges(), QStringList());
        QCOMPARE(storage.latestRevision(m_user, ChangeKind::task), 0);
    }

    void latestRevisionsPerKind() {
        Storage& storage = *m_storage;
        QCOMPARE(storage.userRevision(m_user), 0);
        addTask(m_user);
        const qint64 afterTask = storage.lastRevision();
        storage.insertFolder(m_user, u"Дом"_s, u"#112233"_s, now);
        const qint64 afterFolder = storage.lastRevision();
        addTask(m_other);
        QCOMPARE(storage.latestRevision(m_user, ChangeKind::task), afterTask);
        QCOMPARE(storage.latestRevision(m_user, ChangeKind::folder), afterFolder);
        QCOMPARE(storage.latestRevision(m_user, ChangeKind::settings), 0);
        QCOMPARE(storage.userRevision(m_user), afterFolder);
        QVERIFY(storage.userRevision(m_other) > afterFolder);
    }

    // Pruning keeps the newest rows and each user's newest row of each kind, so that no user's
    // latest revision ever goes back and no revision is given twice.
    void pruningKeepsWhatRevisionsNeed() {
        SqlStorage& storage = *m_storage;
        storage.setChangeLogLimit(10);
        storage.setAutoSendBot(m_other, true);
        const qint64 otherSettings = storage.latestRevision(m_other, ChangeKind::settings);
        storage.insertFolder(m_user, u"Дом"_s, u"#112233"_s, now);
        const qint64 folders = storage.latestRevision(m_user, ChangeKind::folder);
        const qint64 task = addTask(m_user);
        for (int i = 0; i < 200; ++i)
            storage.archiveTask(m_user, task, now);
        const qint64 last = storage.lastRevision();

        // Pruned in passing every limit / 10 rows, so never far above the limit.
        QVERIFY2(storage.changeLogRows() <= 10 + 1 + 2, qPrintable(QString::number(storage.changeLogRows())));
        storage.pruneChangeLog();
        QCOMPARE(storage.latestRevision(m_other, ChangeKind::settings), otherSettings);
        QCOMPARE(storage.latestRevision(m_user, ChangeKind::folder), folders);
        QCOMPARE(storage.latestRevision(m_user, ChangeKind::task), last);
        qint64 through = 0;
        const QList<Change> kept = storage.changesAfter(0, 1000, through);
        QCOMPARE(kept.size(), 10 + 2);
        QCOMPARE(kept.last().revision, last);
        QCOMPARE(kept[kept.size() - 10].revision, last - 9);

        // The sequence goes on from the newest row, never from a pruned one.
        storage.setChangeLogLimit(1);
        storage.pruneChangeLog();
        addTask(m_user);
        QCOMPARE(storage.lastRevision(), last + 1);
    }

    void aDatabaseFromBeforeTheLogIsMigrated() {
        m_storages->withConnection(u"old"_s, [](SqlConnection& connection) {
            QCOMPARE(SqlSchema::migrate(connection, 1), 1);
            connection.run(u"INSERT INTO users (id, telegram_id, created_at) VALUES (7, '7', 'x')"_s);
            connection.run(u"INSERT INTO tasks (user_id, title, priority, status, created_at, updated_at, source)"
                           u" VALUES (7, 'Старая', 'low', 'pending', 'x', 'x', 'bot')"_s);
        });

        const auto storage = m_storages->open(u"old"_s);
        QCOMPARE(storage->tasks(7, TaskFilter{}).size(), 1);
        QCOMPARE(storage->userRevision(7), 0);
        QVERIFY(!storage->instanceId().isEmpty());
        NewTask task;
        task.title = u"Новая"_s;
        task.source = u"app"_s;
        const qint64 created = storage->insertTask(7, task, false, now).id;
        QCOMPARE(storage->userRevision(7), storage->lastRevision());
        QVERIFY(storage->userRevision(7) > 0);
        QCOMPARE(storage->task(7, created)->title, u"Новая"_s);
    }

    // Each migration runs in one transaction: one that fails leaves the database as it was.
    void aFailedMigrationLeavesNothing() {
        m_storages->withConnection(u"broken"_s, [](SqlConnection& connection) {
            QCOMPARE(SqlSchema::migrate(connection, 2), 2);
            // What the next version creates, already there: its migration fails half-way.
            connection.run(u"CREATE TABLE blobs (name TEXT)"_s);
            QVERIFY_THROWS_EXCEPTION(ServerError, SqlSchema::migrate(connection));
            QCOMPARE(SqlSchema::version(connection), 2);
            auto attempts = connection.prepare(connection.dialect().tableExists);
            attempts->addBindValue(u"login_attempts"_s);
            connection.execute(attempts);
            QVERIFY2(!attempts->next(), "a table of the failed migration stayed");
        });
    }

    // A database a newer program has migrated is refused, not used.
    void aNewerSchemaIsRefused() {
        m_storages->withConnection(u"newer"_s, [](SqlConnection& connection) {
            SqlSchema::migrate(connection);
            connection.run(u"INSERT INTO schema_version (version) VALUES (%1)"_s.arg(SqlSchema::latestVersion() + 1));
        });
        try {
            m_storages->open(u"newer"_s);
            QFAIL("a newer schema was opened");
        } catch (const ServerError& error) {
            QVERIFY2(error.message().contains(u"более новой версией"_s), qPrintable(error.message()));
        }
    }

    void eachDatabaseHasItsOwnIdentifier() {
        const QString first = m_storage->instanceId();
        QCOMPARE(first.size(), 12);
        m_storage.reset();
        m_storage = m_storages->open();
        QCOMPARE(m_storage->instanceId(), first);
        const auto other = m_storages->open(u"other"_s);
        QVERIFY(other->instanceId() != first);
    }

    // A watch hears this connection's commits at once and another connection's soon after (SQLite:
    // within its polling; PostgreSQL: by notification); a call that rolled back says nothing.
    void watchHearsCommitsFromAnywhere() {
        const auto watch = m_storage->watchChanges(20);
        QSignalSpy heard(watch.get(), &ChangeWatch::changed);
        watch->setActive(true);
        // Starting to listen may itself say "look", for what came before.
        QTest::qWait(300);
        heard.clear();
        addTask(m_user);
        QVERIFY2(heard.size() >= 1, "this process's commit was not announced at once");
        QTest::qWait(300);
        heard.clear();
        QVERIFY(!m_storage->archiveTask(m_user, 424242, now));
        QTest::qWait(300);
        QCOMPARE(heard.size(), 0);

        const auto elsewhere = m_storages->open();
        NewTask task;
        task.title = u"Из другого соединения"_s;
        task.source = u"bot"_s;
        elsewhere->insertTask(m_user, task, false, now);
        QTRY_VERIFY_WITH_TIMEOUT(heard.size() >= 1, 5'000);

        // Paused, it hears nothing from elsewhere; this process's own commits are still announced.
        watch->setActive(false);
        QTest::qWait(300);
        heard.clear();
        elsewhere->insertTask(m_user, task, false, now);
        QTest::qWait(300);
        QCOMPARE(heard.size(), 0);
        addTask(m_user);
        QCOMPARE(heard.size(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_ChangeLog)
#include "tst_ChangeLog.moc"
