#include "APIError.h"
#include "APIService.h"
#include "Await.h"
#include "FeedClient.h"
#include "HttpProbe.h"
#include "LocalService.h"
#include "MemoryStore.h"

#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

// Two instances of the service on one database, the way a deployment runs several behind a proxy:
// every request goes to the other instance than the one before, and nothing may tell them apart.
// Sessions, writes, the login limit, contents and the change feed live in the database, never in
// one process. On PostgreSQL (two connections, LISTEN/NOTIFY), and on SQLite (two connections to one
// file) in the SQLite run.
class tst_ManyInstances final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_first;
    std::unique_ptr<LocalService> m_second;
    QNetworkAccessManager m_network;
    MemoryStore m_store;
    std::unique_ptr<APIService> m_apis[2];
    int m_next = 0;

    // The instance the next request goes to; they take turns.
    const APIService& next() { return *m_apis[m_next++ % 2]; }
    LocalService& service(int index) { return index % 2 == 0 ? *m_first : *m_second; }
    QString nextBase() { return service(m_next++).baseUrl(); }

    QList<QPair<QByteArray, QByteArray>> bearer() const {
        return {{"Authorization", "Bearer " + m_store.text(u"vexo_token"_s).value_or(QString()).toUtf8()}};
    }

    void setClocks(const QDateTime& moment) {
        m_first->clock().set(moment);
        m_second->clock().set(moment);
    }

private Q_SLOTS:
    void init() {
        m_first = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_second = std::make_unique<LocalService>(*m_first);
        m_store = MemoryStore();
        m_apis[0] = std::make_unique<APIService>(m_first->baseUrl(), m_network, m_store);
        m_apis[1] = std::make_unique<APIService>(m_second->baseUrl(), m_network, m_store);
        m_next = 0;
    }

    void cleanup() {
        m_apis[0].reset();
        m_apis[1].reset();
        m_second.reset();
        m_first.reset();
    }

    void aSessionFromOneWorksOnTheOther() {
        const QString key = m_first->addUser(u"1"_s, false, u"Ира"_s);
        const AuthResponse auth = await(next().verifyKey(key)); // the first instance
        m_store.setText(u"vexo_token"_s, auth.token);
        QVERIFY(await(next().fetchTasks(false, std::nullopt, std::nullopt)).tasks.isEmpty()); // the second
        QCOMPARE(await(next().fetchSettings()).autoSendBot, false);
        // A forged token is refused by both.
        m_store.setText(u"vexo_token"_s, u"forged"_s);
        for (int i = 0; i < 2; ++i) {
            try {
                await(next().fetchFolders());
                QFAIL("a forged token was taken");
            } catch (const APIError& error) {
                QCOMPARE(error.statusCode(), 401);
            }
        }
    }

    void writesOnOneAreReadOnTheOther() {
        m_store.setText(u"vexo_token"_s, await(next().verifyKey(m_first->addUser(u"1"_s))).token);
        QList<qint64> ids;
        for (int i = 0; i < 6; ++i)
            ids << await(next().createTask(u"Задача %1"_s.arg(i), TaskPriority::medium, {}, {})).task.id;
        for (int i = 0; i < 2; ++i) {
            const auto tasks = await(next().fetchTasks(false, std::nullopt, std::nullopt)).tasks;
            QCOMPARE(tasks.size(), 6);
            QCOMPARE(tasks.first().id, ids.last());
        }
        // Changed on one, seen changed on the other.
        const VexoTask edited =
            await(next().updateTask(ids[0], TaskUpdate{u"Иначе"_s, {}, {}, TaskPriority::high, {}, {}})).task;
        QCOMPARE(edited.title, u"Иначе"_s);
        const Folder folder = await(next().createFolder(u"Дом"_s, u"#112233"_s)).folder;
        QCOMPARE(await(next().updateTask(ids[0], TaskUpdate{{}, {}, {}, {}, {}, folder.id})).task.folderId,
                 std::optional<qint64>(folder.id));
        const auto inFolder = await(next().fetchTasks(false, std::nullopt, folder.id)).tasks;
        QCOMPARE(inFolder.size(), 1);
        QCOMPARE(inFolder[0].title, u"Иначе"_s);
        QVERIFY(await(next().deleteTask(ids[1])).success);
        try {
            await(next().deleteTask(ids[1]));
            QFAIL("a task deleted on one instance was deleted again on the other");
        } catch (const APIError& error) {
            QCOMPARE(error.statusCode(), 404);
        }

        // An attachment uploaded to one is served by the other, and deleted there.
        const QByteArray bytes("\x89PNG\r\n\x1a\n and more");
        const ProbeReply upload =
            probe(m_network, "POST", nextBase() + u"/api/tasks/%1/attachments?filename=a.png"_s.arg(ids[2]), bytes,
                  bearer() + QList<QPair<QByteArray, QByteArray>>{{"Content-Type", "image/png"}});
        QCOMPARE(upload.status, 201);
        const qint64 attachment = await(next().fetchAttachments(ids[2])).attachments.at(0).id;
        const ProbeReply file =
            probe(m_network, "GET", nextBase() + u"/api/tasks/%1/attachments/%2/file"_s.arg(ids[2]).arg(attachment), {},
                  bearer());
        QCOMPARE(file.status, 200);
        QCOMPARE(file.body, bytes);
        QVERIFY(await(next().deleteAttachment(ids[2], attachment)).success);
        QVERIFY(await(next().fetchAttachments(ids[2])).attachments.isEmpty());

        // What one sends to the bot is in the one outbox.
        QVERIFY(await(next().sendTaskToBot(ids[3])).success);
        QCOMPARE(m_second->storage().outbox().size(), 1);
        QCOMPARE(m_first->storage().outbox().size(), 1);
    }

    // Both instances answer a list with the same tag, and either honours the other's.
    void entityTagsAreTheSameOnBoth() {
        m_store.setText(u"vexo_token"_s, await(next().verifyKey(m_first->addUser(u"1"_s))).token);
        await(next().createTask(u"t"_s, TaskPriority::medium, {}, {}));
        const QString path = u"/api/tasks?archived=false"_s;
        const QByteArray first = probe(m_network, "GET", m_first->baseUrl() + path, {}, bearer()).header("ETag");
        const QByteArray second = probe(m_network, "GET", m_second->baseUrl() + path, {}, bearer()).header("ETag");
        QVERIFY(!first.isEmpty());
        QCOMPARE(second, first);
        QCOMPARE(probe(m_network, "GET", m_second->baseUrl() + path, {},
                       bearer() + QList<QPair<QByteArray, QByteArray>>{{"If-None-Match", first}})
                     .status,
                 304);
        await(m_apis[0]->createTask(u"ещё"_s, TaskPriority::medium, {}, {}));
        QCOMPARE(probe(m_network, "GET", m_second->baseUrl() + path, {},
                       bearer() + QList<QPair<QByteArray, QByteArray>>{{"If-None-Match", first}})
                     .status,
                 200);
    }

    // Ten attempts a minute from one address, wherever they land.
    void theLoginLimitHoldsAcrossBoth() {
        const QString key = m_first->addUser(u"1"_s);
        const QList<QPair<QByteArray, QByteArray>> json{{"Content-Type", "application/json"}};
        for (int i = 0; i < 10; ++i) {
            const ProbeReply reply = probe(m_network, "POST", nextBase() + u"/api/auth/verify"_s,
                                           "{\"key\":\"vexo-tasks-wrong" + QByteArray::number(i) + "\"}", json);
            QCOMPARE(reply.status, 401);
        }
        for (int i = 0; i < 2; ++i) {
            const ProbeReply refused = probe(m_network, "POST", nextBase() + u"/api/auth/verify"_s,
                                             "{\"key\":\"" + key.toUtf8() + "\"}", json);
            QCOMPARE(refused.status, 429);
        }
        setClocks(m_first->clock().now().addSecs(61));
        QCOMPARE(
            probe(m_network, "POST", nextBase() + u"/api/auth/verify"_s, "{\"key\":\"" + key.toUtf8() + "\"}", json)
                .status,
            200);
    }

    // A client on one instance hears of a change made through the other.
    void theFeedOfOneHearsTheOther() {
        m_first->addUser(u"1"_s);
        const QByteArray token = m_first->signIn(u"1"_s);
        FeedClient onSecond(m_second->eventsUrl(), FeedClient::bearer(token));
        QTRY_COMPARE_WITH_TIMEOUT(onSecond.texts().size(), 1, 10'000);
        m_store.setText(u"vexo_token"_s, QString::fromUtf8(token));
        const VexoTask task = await(m_apis[0]->createTask(u"Через первый"_s, TaskPriority::medium, {}, {})).task;
        QTRY_COMPARE_WITH_TIMEOUT(onSecond.changes(), QStringList{u"task created %1"_s.arg(task.id)}, 5'000);
        await(m_apis[0]->createFolder(u"Дом"_s, u"#112233"_s));
        QTRY_COMPARE_WITH_TIMEOUT(onSecond.changes().size(), 2, 5'000);
        QVERIFY(onSecond.changes()[1].startsWith(u"folder created "_s));
        // And the other way round, to a client of the first.
        FeedClient onFirst(m_first->eventsUrl(), FeedClient::bearer(token));
        QTRY_COMPARE_WITH_TIMEOUT(onFirst.texts().size(), 1, 10'000);
        await(m_apis[1]->updateSettings(true));
        QTRY_COMPARE_WITH_TIMEOUT(onFirst.changes(), QStringList{u"settings updated %1"_s.arg(m_first->userId(u"1"_s))},
                                  5'000);
    }
};

QTEST_GUILESS_MAIN(tst_ManyInstances)
#include "tst_ManyInstances.moc"
