#include "APIError.h"
#include "APIService.h"
#include "Await.h"
#include "HttpProbe.h"
#include "JsonValue.h"
#include "LocalService.h"
#include "MemoryStore.h"

#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

// The contract between the two sides: every call of the client's APIService against the real
// service, every answer read by the client's own decoders.
class tst_ServerContract final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    QNetworkAccessManager m_network;
    MemoryStore m_store;
    std::unique_ptr<APIService> m_api;

    AuthResponse signIn(const QString& key) {
        const AuthResponse auth = await(m_api->verifyKey(key));
        m_store.setText(u"vexo_token"_s, auth.token);
        return auth;
    }

    static int statusOf(const std::function<void()>& call) {
        try {
            call();
        } catch (const APIError& error) {
            return error.statusCode();
        }
        return 200;
    }

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_store = MemoryStore();
        m_api = std::make_unique<APIService>(m_service->baseUrl(), m_network, m_store);
    }

    void signInWithAKeyFromTheService() {
        const QString key = m_service->addUser(u"555"_s, false, u"Иван"_s);
        QVERIFY(key.startsWith(u"vexo-tasks-"_s));
        QCOMPARE(key.size(), 11 + 32);
        const AuthResponse auth = signIn(key);
        QVERIFY(auth.success);
        QCOMPARE(auth.user.telegramId, u"555"_s);
        QCOMPARE(auth.user.firstName, std::optional<QString>(u"Иван"_s));
        QCOMPARE(auth.user.isAdmin, std::optional<bool>(false));
        QVERIFY(auth.token.size() >= 43); // 256 bits

        try {
            await(m_api->verifyKey(u"vexo-tasks-wrong"_s));
            QFAIL("an unknown key signed in");
        } catch (const APIError& error) {
            QCOMPARE(error.statusCode(), 401);
            QCOMPARE(error.errorDescription(), u"Неверный ключ"_s);
        }
    }

    void taskLifecycle() {
        signIn(m_service->addUser(u"1"_s));
        const VexoTask created = await(m_api->createTask(u"  Отчёт  "_s, TaskPriority::high, u"<p>до пятницы</p>"_s,
                                                         u"2025-03-07T15:00:00.000Z"_s))
                                     .task;
        QCOMPARE(created.title, u"Отчёт"_s);
        QCOMPARE(created.priority, TaskPriority::high);
        QCOMPARE(created.status, TaskStatus::pending);
        QCOMPARE(created.deadline, std::optional<QString>(u"2025-03-07T15:00:00.000Z"_s));
        QCOMPARE(created.source, std::optional<QString>(u"app"_s));
        QCOMPARE(created.createdAt, u"2025-03-05T12:00:00.000Z"_s);
        QVERIFY(!created.isArchived());
        QVERIFY(!created.isSentToBot());

        // The database form of a deadline comes back in the answer form.
        const VexoTask second =
            await(m_api->createTask(u"Второй"_s, TaskPriority::low, std::nullopt, u"2025-03-08 09:30:00"_s)).task;
        QCOMPARE(second.deadline, std::optional<QString>(u"2025-03-08T09:30:00.000Z"_s));
        QVERIFY(!second.description);

        auto list = await(m_api->fetchTasks(false, std::nullopt, std::nullopt)).tasks;
        QCOMPARE(list.size(), 2);
        QCOMPARE(list[0].id, second.id); // newest first

        m_service->clock().advance(60);
        VexoTask done = await(m_api->putTaskStatus(created.id, TaskStatus::pending)).task;
        QCOMPARE(done.status, TaskStatus::done);
        QCOMPARE(done.completedAt, std::optional<QString>(u"2025-03-05T12:01:00.000Z"_s));
        QCOMPARE(done.updatedAt, std::optional<QString>(u"2025-03-05T12:01:00.000Z"_s));
        QCOMPARE(await(m_api->fetchTasks(false, TaskStatus::done, std::nullopt)).tasks.size(), 1);
        const VexoTask reopened = await(m_api->putTaskStatus(created.id, TaskStatus::done)).task;
        QCOMPARE(reopened.status, TaskStatus::pending);
        QVERIFY(!reopened.completedAt);

        const VexoTask edited =
            await(m_api->updateTask(created.id, TaskUpdate{u"Новый"_s, u""_s, u""_s, TaskPriority::medium,
                                                           TaskStatus::cancelled, std::nullopt}))
                .task;
        QCOMPARE(edited.title, u"Новый"_s);
        QCOMPARE(edited.description, std::optional<QString>(u""_s));
        QVERIFY(!edited.deadline);
        QCOMPARE(edited.status, TaskStatus::cancelled);

        QVERIFY(await(m_api->sendTaskToBot(created.id)).success);
        QVERIFY(await(m_api->postTaskArchive(created.id)).success);
        list = await(m_api->fetchTasks(true, std::nullopt, std::nullopt)).tasks;
        QCOMPARE(list.size(), 1);
        QVERIFY(list[0].isArchived());
        QVERIFY(list[0].isSentToBot());
        QCOMPARE(list[0].archivedAt, std::optional<QString>(u"2025-03-05T12:01:00.000Z"_s));
        QCOMPARE(m_service->storage().outbox().size(), 1);

        QVERIFY(await(m_api->deleteTask(created.id)).success);
        QCOMPARE(statusOf([&] { await(m_api->deleteTask(created.id)); }), 404);
        QCOMPARE(await(m_api->fetchTasks(true, std::nullopt, std::nullopt)).tasks.size(), 0);
    }

    void foldersAndTheirTasks() {
        signIn(m_service->addUser(u"1"_s));
        const Folder work = await(m_api->createFolder(u"Работа"_s, u"#FF6B6B"_s)).folder;
        const Folder home = await(m_api->createFolder(u"Дом"_s, u"#4ECDC4"_s)).folder;
        QCOMPARE(await(m_api->fetchFolders()).folders, (QList<Folder>{work, home}));

        const VexoTask task = await(m_api->createTask(u"В папке"_s, TaskPriority::medium, {}, {})).task;
        await(m_api->createTask(u"Без папки"_s, TaskPriority::medium, {}, {}));
        QCOMPARE(await(m_api->updateTask(task.id, TaskUpdate{{}, {}, {}, {}, {}, work.id})).task.folderId,
                 std::optional<qint64>(work.id));
        const auto inWork = await(m_api->fetchTasks(false, std::nullopt, work.id)).tasks;
        QCOMPARE(inWork.size(), 1);
        QCOMPARE(inWork[0].id, task.id);

        const Folder renamed = await(m_api->updateFolder(work.id, u"Офис"_s, u"#A78BFA"_s)).folder;
        QCOMPARE(renamed.name, u"Офис"_s);
        QCOMPARE(renamed.color, u"#A78BFA"_s);

        QVERIFY(await(m_api->deleteFolder(work.id)).success);
        QCOMPARE(await(m_api->fetchFolders()).folders, (QList<Folder>{home}));
        const auto all = await(m_api->fetchTasks(false, std::nullopt, std::nullopt)).tasks;
        QCOMPARE(all.size(), 2);
        for (const VexoTask& each : all)
            QVERIFY2(!each.folderId, "a deleted folder's tasks move to no folder");
    }

    void attachments() {
        signIn(m_service->addUser(u"1"_s));
        const VexoTask task = await(m_api->createTask(u"С файлом"_s, TaskPriority::medium, {}, {})).task;
        const QByteArray png("\x89PNG\r\n\x1a\nfake", 12);
        const ProbeReply upload = probe(
            m_network, "POST",
            m_service->baseUrl() + u"/api/tasks/%1/attachments?filename=%D1%84%D0%BE%D1%82%D0%BE.png"_s.arg(task.id),
            png,
            {{"Authorization", "Bearer " + m_store.text(u"vexo_token"_s)->toUtf8()}, {"Content-Type", "image/png"}});
        QCOMPARE(upload.status, 201);

        // Listed without a token, as the client does it.
        m_store.remove(u"vexo_token"_s);
        const auto listed = await(m_api->fetchAttachments(task.id)).attachments;
        QCOMPARE(listed.size(), 1);
        QCOMPARE(listed[0].filename, u"фото.png"_s);
        QCOMPARE(listed[0].mimetype, u"image/png"_s);
        QCOMPARE(listed[0].size, png.size());

        const QString fileUrl = m_api->attachmentFileURL(task.id, listed[0].id).toString();
        QCOMPARE(probe(m_network, "GET", fileUrl).status, 401);
        const QString token = signIn(m_service->addUser(u"2"_s)).token;
        QCOMPARE(probe(m_network, "GET", fileUrl, {}, {{"Authorization", "Bearer " + token.toUtf8()}}).status, 404);
    }

    void attachmentFileAndDeletion() {
        const AuthResponse auth = signIn(m_service->addUser(u"1"_s));
        const VexoTask task = await(m_api->createTask(u"С файлом"_s, TaskPriority::medium, {}, {})).task;
        const QList<QPair<QByteArray, QByteArray>> bearer{{"Authorization", "Bearer " + auth.token.toUtf8()}};
        const QByteArray bytes = "hello, file";
        QCOMPARE(probe(m_network, "POST",
                       m_service->baseUrl() + u"/api/tasks/%1/attachments?filename=a.txt"_s.arg(task.id), bytes, bearer)
                     .status,
                 201);
        const qint64 id = await(m_api->fetchAttachments(task.id)).attachments.at(0).id;
        const ProbeReply file = probe(m_network, "GET", m_api->attachmentFileURL(task.id, id).toString(), {}, bearer);
        QCOMPARE(file.status, 200);
        QCOMPARE(file.body, bytes);
        QCOMPARE(file.header("Content-Type"), QByteArray("application/octet-stream"));
        QVERIFY(await(m_api->deleteAttachment(task.id, id)).success);
        QVERIFY(await(m_api->fetchAttachments(task.id)).attachments.isEmpty());
        QCOMPARE(probe(m_network, "GET", m_api->attachmentFileURL(task.id, id).toString(), {}, bearer).status, 404);
    }

    void settingsAndAutomaticSending() {
        signIn(m_service->addUser(u"1"_s));
        QCOMPARE(await(m_api->fetchSettings()).autoSendBot, false);
        QCOMPARE(await(m_api->updateSettings(true)).autoSendBot, true);
        QCOMPARE(await(m_api->fetchSettings()).autoSendBot, true);
        const VexoTask task = await(m_api->createTask(u"Сразу в чат"_s, TaskPriority::high, {}, {})).task;
        QVERIFY(task.isSentToBot());
        const auto outbox = m_service->storage().outbox();
        QCOMPARE(outbox.size(), 1);
        QCOMPARE(outbox[0].taskId, task.id);
        QVERIFY(outbox[0].text.contains(u"Сразу в чат"_s));
    }

    void statistics() {
        signIn(m_service->addUser(u"1"_s));
        // Tasks made on three different days of the week ending 2025-03-05, one eight days earlier.
        const QDateTime today = m_service->clock().now();
        for (const auto& [daysAgo, priority] : {std::pair{8, TaskPriority::low}, std::pair{6, TaskPriority::high},
                                                std::pair{2, TaskPriority::high}, std::pair{0, TaskPriority::medium}}) {
            m_service->clock().set(today.addDays(-daysAgo));
            const VexoTask task = await(m_api->createTask(u"t"_s, priority, {}, {})).task;
            if (daysAgo == 2)
                await(m_api->putTaskStatus(task.id, TaskStatus::pending));
        }
        m_service->clock().set(today);

        const UserStats week = await(m_api->fetchStats(u"week"_s));
        QCOMPARE(week.range, u"week"_s);
        QCOMPARE(week.totals.created, 3);
        QCOMPARE(week.totals.completed, 1);
        QCOMPARE(week.daily.created.size(), 7);
        QCOMPARE(week.daily.created.first().date, u"2025-02-27"_s);
        QCOMPARE(week.daily.created.last().date, u"2025-03-05"_s);
        QCOMPARE(week.daily.created[0].count, 1);
        QCOMPARE(week.daily.created[1].count, 0);
        QCOMPARE(week.daily.completed[4].date, u"2025-03-03"_s);
        QCOMPARE(week.daily.completed[4].count, 1);
        QCOMPARE(week.priority, (QList<StatsPriority>{{u"high"_s, 2}, {u"medium"_s, 1}, {u"low"_s, 0}}));

        const UserStats month = await(m_api->fetchStats(u"month"_s));
        QCOMPARE(month.daily.completed.size(), 30);
        QCOMPARE(month.totals.created, 4);

        QCOMPARE(statusOf([&] { await(m_api->fetchStats(u"year"_s)); }), 400);
    }

    void apiKeyAndTheExternalCall() {
        signIn(m_service->addUser(u"1"_s));
        const QString key = await(m_api->fetchApiKey()).apiKey;
        QVERIFY(key.startsWith(u"vexoapi-"_s));
        QCOMPARE(key.size(), 8 + 32);
        QCOMPARE(await(m_api->fetchApiKey()).apiKey, key);

        const auto external = [&](const QString& apiKey) {
            return probe(
                m_network, "POST", m_service->baseUrl() + u"/api/external/tasks"_s,
                R"({"title":"Из скрипта","priority":"high","description":"d","deadline":"2025-03-06T10:00:00+03:00"})",
                {{"Content-Type", "application/json"}, {"x-api-key", apiKey.toUtf8()}});
        };
        const ProbeReply created = external(key);
        QCOMPARE(created.status, 201);
        const VexoTask task = decodeJson<TaskResponse>(created.body).task;
        QCOMPARE(task.source, std::optional<QString>(u"api"_s));
        QCOMPARE(task.deadline, std::optional<QString>(u"2025-03-06T07:00:00.000Z"_s));

        const QString renewed = await(m_api->postApiKeyRegenerate()).apiKey;
        QVERIFY(renewed != key);
        QCOMPARE(external(key).status, 401);
        QCOMPARE(external(renewed).status, 201);
        QCOMPARE(external(QString()).status, 401);
        QCOMPARE(await(m_api->fetchTasks(false, std::nullopt, std::nullopt)).tasks.size(), 2);
    }

    void administration() {
        const AuthResponse admin = signIn(m_service->addUser(u"1"_s, true, u"Анна"_s));
        QCOMPARE(admin.user.isAdmin, std::optional<bool>(true));
        await(m_api->createTask(u"a"_s, TaskPriority::medium, {}, {}));
        const VexoTask done = await(m_api->createTask(u"b"_s, TaskPriority::medium, {}, {})).task;
        await(m_api->putTaskStatus(done.id, TaskStatus::pending));
        const VexoTask archived = await(m_api->createTask(u"c"_s, TaskPriority::medium, {}, {})).task;
        await(m_api->postTaskArchive(archived.id));
        m_service->addUser(u"2"_s);

        const AdminStats stats = await(m_api->fetchAdminStats());
        QCOMPARE(stats, (AdminStats{2, 3, 1, 1}));
        const auto users = await(m_api->fetchAdminUsers()).users;
        QCOMPARE(users.size(), 2);
        QCOMPARE(users[0].displayName(), u"Анна"_s);
        QCOMPARE(users[0].taskCount, std::optional<qint64>(3));
        QCOMPARE(users[1].displayName(), u"User #2"_s);
        QCOMPARE(users[1].taskCount, std::optional<qint64>(0));

        signIn(m_service->addUser(u"3"_s));
        QCOMPARE(statusOf([&] { await(m_api->fetchAdminStats()); }), 403);
        QCOMPARE(statusOf([&] { await(m_api->fetchAdminUsers()); }), 403);
    }

    void avatarAndDocs() {
        QCOMPARE(probe(m_network, "GET", m_api->avatarURL(u"missing.png"_s).toString()).status, 404);
        QCOMPARE(probe(m_network, "GET", m_service->baseUrl() + u"/api/user/avatar/..%2Fvexo.db"_s).status, 404);
        const ProbeReply docs = probe(m_network, "GET", m_service->baseUrl() + u"/docs"_s);
        QCOMPARE(docs.status, 200);
        QVERIFY(docs.header("Content-Type").startsWith("text/html"));
        QVERIFY(QString::fromUtf8(docs.body).contains(u"/api/external/tasks"_s));
    }

    void tokensAreChecked() {
        signIn(m_service->addUser(u"1"_s));
        m_store.setText(u"vexo_token"_s, u"forged"_s);
        QCOMPARE(statusOf([&] { await(m_api->fetchFolders()); }), 401);
        m_store.remove(u"vexo_token"_s);
        QCOMPARE(statusOf([&] { await(m_api->fetchFolders()); }), 401);
    }
};

QTEST_GUILESS_MAIN(tst_ServerContract)
#include "tst_ServerContract.moc"
