#include "ServerError.h"
#include "TestStorages.h"

#include <QDirIterator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString now = u"2025-03-05T12:00:00.000Z"_s;
constexpr qint64 minute = 60'000;

// Every stored file under a content folder, relative to it.
QStringList filesUnder(const QString& folder) {
    QStringList files;
    for (const QString& kind : {u"attachments"_s, u"avatars"_s}) {
        QDirIterator it(folder + u'/' + kind, QDir::Files);
        while (it.hasNext())
            files << QDir(folder).relativeFilePath(it.next());
    }
    files.sort();
    return files;
}

} // namespace

// What the storage promises whatever the database under it: sign-in attempts counted per bucket
// for every process together, contents stored once (in a folder or in the database) and gone with
// their rows, a refused user that leaves the storage usable. On SQLite, and on PostgreSQL in the
// program's PostgreSQL run.
class tst_Storage final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestStorages> m_storages;
    QTemporaryDir m_files;

    qint64 blobCount(SqlStorage& storage) {
        auto query = storage.connection().prepare(u"SELECT COUNT(*) FROM blobs"_s);
        storage.connection().execute(query);
        return query->next() ? query->value(0).toLongLong() : -1;
    }

    qint64 addTask(Storage& storage, qint64 userId) {
        NewTask task;
        task.title = u"Задача"_s;
        task.source = u"app"_s;
        return storage.insertTask(userId, task, false, now).id;
    }

    qint64 addUser(Storage& storage, const QString& telegramId) {
        NewUser person;
        person.telegramId = telegramId;
        return storage.createUser(person, now).user.id;
    }

private Q_SLOTS:
    void init() {
        m_storages = std::make_unique<TestStorages>();
        QDir(m_files.path()).removeRecursively();
        QDir().mkpath(m_files.path());
    }

    void cleanup() { m_storages.reset(); }

    // Ten attempts a minute per bucket; the window slides by the second; a refused attempt counts
    // for nothing, in any bucket.
    void attemptsPerBucket() {
        const auto storage = m_storages->open();
        const qint64 start = 1'741'176'000'000; // 2025-03-05 12:00:00 UTC
        const QStringList alone{u"address:1"_s};
        for (int i = 0; i < 10; ++i)
            QVERIFY2(storage->admitAttempt(alone, start + i * 1000, minute, 10), qPrintable(QString::number(i)));
        QVERIFY(!storage->admitAttempt(alone, start + 10'000, minute, 10));
        // Another bucket has its own count…
        QVERIFY(storage->admitAttempt({u"address:2"_s}, start + 10'000, minute, 10));
        // …but an attempt over the limit in one of its buckets is refused and counted in none.
        for (int i = 0; i < 5; ++i)
            QVERIFY(!storage->admitAttempt({u"address:3"_s, u"address:1"_s}, start + 20'000, minute, 10));
        for (int i = 0; i < 10; ++i)
            QVERIFY2(storage->admitAttempt({u"address:3"_s}, start + 20'000, minute, 10),
                     qPrintable(QString::number(i)));
        QVERIFY(!storage->admitAttempt({u"address:3"_s}, start + 20'000, minute, 10));
        // The first attempt leaves the window a minute later, the next one a second after it.
        QVERIFY(!storage->admitAttempt(alone, start + minute - 1, minute, 10));
        QVERIFY(storage->admitAttempt(alone, start + minute, minute, 10));
        QVERIFY(!storage->admitAttempt(alone, start + minute + 999, minute, 10));
        QVERIFY(storage->admitAttempt(alone, start + minute + 1000, minute, 10));
        // Rows older than the window go as new attempts come.
        storage->admitAttempt({u"address:9"_s}, start + 10 * minute, minute, 10);
        auto rows = storage->connection().prepare(u"SELECT COUNT(*) FROM login_attempts"_s);
        storage->connection().execute(rows);
        QVERIFY(rows->next());
        QCOMPARE(rows->value(0).toLongLong(), 1);
    }

    // Two storages on one database (two processes) count in the same buckets.
    void attemptsAreShared() {
        const auto first = m_storages->open();
        const auto second = m_storages->open();
        const qint64 start = 1'741'176'000'000;
        for (int i = 0; i < 10; ++i) {
            Storage& storage = i % 2 == 0 ? static_cast<Storage&>(*first) : *second;
            QVERIFY(storage.admitAttempt({u"key:abc"_s}, start + i, minute, 10));
        }
        QVERIFY(!first->admitAttempt({u"key:abc"_s}, start + 11, minute, 10));
        QVERIFY(!second->admitAttempt({u"key:abc"_s}, start + 12, minute, 10));
    }

    void contents_data() {
        QTest::addColumn<bool>("inFolder");
        // SQLite keeps contents beside its database; PostgreSQL in itself unless given a folder.
        QTest::newRow("the backend's own place") << false;
        QTest::newRow("a folder of their own") << true;
    }

    void contents() {
        QFETCH(bool, inFolder);
        const std::optional<QString> folder = inFolder ? std::optional<QString>(m_files.path()) : std::nullopt;
        const auto storage = m_storages->open(u"main"_s, folder);
        // Where contents go when no folder is given.
        const bool inDatabase = !inFolder && m_storages->backend() == TestBackend::postgres;
        QCOMPARE(storage->contentFolder().has_value(), !inDatabase);
        const QString place = storage->contentFolder() ? storage->contentFolder()->path() : QString();

        const qint64 user = addUser(*storage, u"1"_s);
        const qint64 task = addTask(*storage, user);
        QByteArray bytes(70'000, '\0');
        for (qsizetype i = 0; i < bytes.size(); ++i)
            bytes[i] = char(i * 7);
        const auto added = storage->addAttachment(task, u"a.bin"_s, u"application/octet-stream"_s, bytes, now);
        QVERIFY(added);
        QCOMPARE(added->size, bytes.size());
        const auto second = storage->addAttachment(task, u"b.txt"_s, u"text/plain"_s, "второй", now);
        QVERIFY(second);
        const QString avatar = storage->addAvatar("PNG", u"png"_s);
        QVERIFY(avatar.endsWith(u".png"_s));

        QCOMPARE(blobCount(*storage), inDatabase ? 3 : 0);
        if (!inDatabase)
            QCOMPARE(filesUnder(place).size(), 3);
        const auto file = storage->attachmentFile(user, task, added->id);
        QVERIFY(file && file->content);
        QCOMPARE(*file->content, bytes);
        QCOMPARE(file->attachment, *added);
        QCOMPARE(storage->avatar(avatar), std::optional<QByteArray>("PNG"));
        QVERIFY(!storage->avatar(u"missing.png"_s));
        // Another user's id finds nothing.
        QVERIFY(!storage->attachmentFile(addUser(*storage, u"2"_s), task, added->id));

        // No task: no row and no content left behind.
        QVERIFY(!storage->addAttachment(424242, u"c.txt"_s, u"text/plain"_s, "x", now));
        QCOMPARE(blobCount(*storage), inDatabase ? 3 : 0);
        if (!inDatabase)
            QCOMPARE(filesUnder(place).size(), 3);

        // The content goes with its row, and with its task.
        QVERIFY(storage->deleteAttachment(user, task, added->id));
        QVERIFY(!storage->attachmentFile(user, task, added->id));
        QCOMPARE(blobCount(*storage), inDatabase ? 2 : 0);
        QVERIFY(storage->deleteTask(user, task));
        QVERIFY(!storage->attachmentFile(user, task, second->id));
        QCOMPARE(blobCount(*storage), inDatabase ? 1 : 0);
        if (!inDatabase)
            QCOMPARE(filesUnder(place), QStringList{u"avatars/"_s + avatar});
    }

    // An empty file is stored as one, wherever contents go.
    void anEmptyContentIsKept() {
        const auto storage = m_storages->open();
        const qint64 user = addUser(*storage, u"1"_s);
        const qint64 task = addTask(*storage, user);
        const auto added = storage->addAttachment(task, u"empty.txt"_s, u"text/plain"_s, QByteArray(), now);
        QVERIFY(added);
        QCOMPARE(added->size, 0);
        const auto file = storage->attachmentFile(user, task, added->id);
        QVERIFY(file && file->content);
        QVERIFY(file->content->isEmpty());
    }

    // Contents stay readable after the deployment changes where new ones go.
    void contentsStayWhereTheyWere() {
        qint64 user = 0;
        qint64 task = 0;
        qint64 before = 0;
        {
            const auto storage = m_storages->open(u"main"_s, m_files.path());
            user = addUser(*storage, u"1"_s);
            task = addTask(*storage, user);
            before = storage->addAttachment(task, u"a.txt"_s, u"text/plain"_s, "в папке", now)->id;
        }
        if (m_storages->backend() == TestBackend::sqlite)
            return; // SQLite always has a folder; PostgreSQL can do without one
        const auto storage = m_storages->open(u"main"_s);
        const qint64 after = storage->addAttachment(task, u"b.txt"_s, u"text/plain"_s, "в базе", now)->id;
        QCOMPARE(blobCount(*storage), 1);
        QCOMPARE(storage->attachmentFile(user, task, after)->content, std::optional<QByteArray>("в базе"));
        // Read from the folder it was written to, when that folder is given again.
        const auto withFolder = m_storages->open(u"main"_s, m_files.path());
        QCOMPARE(withFolder->attachmentFile(user, task, before)->content, std::optional<QByteArray>("в папке"));
        QCOMPARE(withFolder->attachmentFile(user, task, after)->content, std::optional<QByteArray>("в базе"));
    }

    // A taken telegram_id is refused as such, and the storage goes on working: the refusal does not
    // leave a failed transaction behind (PostgreSQL answers nothing more in one).
    void aTakenTelegramIdIsRefusedCleanly() {
        const auto storage = m_storages->open();
        addUser(*storage, u"42"_s);
        try {
            addUser(*storage, u"42"_s);
            QFAIL("a second user with the same telegram_id");
        } catch (const ServerError& error) {
            QCOMPARE(error.kind(), ErrorKind::badRequest);
            QCOMPARE(error.message(), u"Пользователь с telegram_id 42 уже есть"_s);
        }
        QVERIFY(storage->userByTelegramId(u"42"_s));
        QVERIFY(addUser(*storage, u"43"_s) > 0);
        QCOMPARE(storage->adminUsers().size(), 2);
    }

    // Ids come from the database, one sequence per table, whatever else was made in between.
    void idsIncrease() {
        const auto storage = m_storages->open();
        const qint64 user = addUser(*storage, u"1"_s);
        const qint64 first = addTask(*storage, user);
        const qint64 folder = storage->insertFolder(user, u"Дом"_s, u"#112233"_s, now).id;
        const qint64 second = addTask(*storage, user);
        QVERIFY(first > 0 && folder > 0);
        QCOMPARE(second, first + 1);
        QCOMPARE(storage->task(user, second)->id, second);
    }
};

QTEST_GUILESS_MAIN(tst_Storage)
#include "tst_Storage.moc"
