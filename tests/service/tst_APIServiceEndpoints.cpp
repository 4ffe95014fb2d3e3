#include "APIError.h"
#include "APIService.h"
#include "Await.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"

#include <QCoroTask>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QByteArray taskJson = R"({"id":42,"title":"t","priority":"high","status":"pending","created_at":"2025-03-01"})";
const QByteArray userJson = R"({"id":1,"telegram_id":"100","first_name":"Иван"})";
const QByteArray folderJson = "{\"id\":7,\"name\":\"Работа\",\"color\":\"#FF6B6B\"}";

// Calls one operation by name, with fixed arguments, and drops the decoded answer.
QCoro::Task<void> invoke(const APIService& api, QString operation) {
    if (operation == u"verifyKey")
        co_await api.verifyKey(u"vexo-tasks-KEY"_s);
    else if (operation == u"fetchTasks/active")
        co_await api.fetchTasks(false, std::nullopt, std::nullopt);
    else if (operation == u"fetchTasks/archive")
        co_await api.fetchTasks(true, std::nullopt, std::nullopt);
    else if (operation == u"fetchTasks/folder and status")
        co_await api.fetchTasks(false, TaskStatus::pending, 7);
    else if (operation == u"fetchTasks/cancelled")
        co_await api.fetchTasks(false, TaskStatus::cancelled, std::nullopt);
    else if (operation == u"fetchTasks/folder only")
        co_await api.fetchTasks(true, std::nullopt, 9007199254740993);
    else if (operation == u"createTask/minimal")
        co_await api.createTask(u"Купить молоко"_s, TaskPriority::medium, u""_s, std::nullopt);
    else if (operation == u"createTask/full")
        co_await api.createTask(u"Отчёт"_s, TaskPriority::high, u"<p>до пятницы</p>"_s, u"2025-03-05 18:00:00"_s);
    else if (operation == u"updateTask/all fields")
        co_await api.updateTask(42, TaskUpdate{u"Новое"_s, u""_s, u"2025-03-05T15:00:00.000Z"_s, TaskPriority::low,
                                               TaskStatus::cancelled, 7});
    else if (operation == u"updateTask/clear deadline")
        co_await api.updateTask(
            42, TaskUpdate{std::nullopt, std::nullopt, u""_s, std::nullopt, std::nullopt, std::nullopt});
    else if (operation == u"updateTask/title only")
        co_await api.updateTask(42, TaskUpdate{u"Только заголовок"_s, {}, {}, {}, {}, {}});
    else if (operation == u"putTaskStatus/done")
        co_await api.putTaskStatus(42, TaskStatus::done);
    else if (operation == u"putTaskStatus/pending")
        co_await api.putTaskStatus(42, TaskStatus::pending);
    else if (operation == u"putTaskStatus/cancelled")
        co_await api.putTaskStatus(42, TaskStatus::cancelled);
    else if (operation == u"postTaskArchive")
        co_await api.postTaskArchive(42);
    else if (operation == u"deleteTask")
        co_await api.deleteTask(42);
    else if (operation == u"sendTaskToBot")
        co_await api.sendTaskToBot(42);
    else if (operation == u"fetchAttachments")
        co_await api.fetchAttachments(42);
    else if (operation == u"deleteAttachment")
        co_await api.deleteAttachment(42, 5);
    else if (operation == u"fetchFolders")
        co_await api.fetchFolders();
    else if (operation == u"createFolder")
        co_await api.createFolder(u"Работа"_s, u"#FF6B6B"_s);
    else if (operation == u"updateFolder")
        co_await api.updateFolder(7, u"Дом"_s, u"#4ECDC4"_s);
    else if (operation == u"deleteFolder")
        co_await api.deleteFolder(7);
    else if (operation == u"fetchSettings")
        co_await api.fetchSettings();
    else if (operation == u"updateSettings")
        co_await api.updateSettings(true);
    else if (operation == u"fetchStats/week")
        co_await api.fetchStats(u"week"_s);
    else if (operation == u"fetchStats/month")
        co_await api.fetchStats(u"month"_s);
    else if (operation == u"fetchApiKey")
        co_await api.fetchApiKey();
    else if (operation == u"postApiKeyRegenerate")
        co_await api.postApiKeyRegenerate();
    else if (operation == u"fetchAdminStats")
        co_await api.fetchAdminStats();
    else if (operation == u"fetchAdminUsers")
        co_await api.fetchAdminUsers();
    else
        qFatal("unknown operation %s", qPrintable(operation));
}

} // namespace

// Every call of the service as the service sees it: method, path and query, headers, body.
class tst_APIServiceEndpoints final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    QNetworkAccessManager m_network;
    MemoryStore m_store;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_server.clearRequests();
        m_store.setText(u"vexo_token"_s, u"secret-token"_s);
    }

    void requestOnTheWire_data() {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<bool>("authorized");
        QTest::addColumn<QByteArray>("body"); // expected JSON; empty = no body at all
        QTest::addColumn<QByteArray>("answer");

        const QByteArray none;
        const QByteArray ok = R"({"success":true})";
        const QByteArray tasks = "{\"tasks\":[" + taskJson + "]}";
        const QByteArray task = "{\"task\":" + taskJson + "}";
        const QByteArray folder = "{\"folder\":" + folderJson + "}";
        const QByteArray stats = R"({"range":"week","totals":{"created":1,"completed":0},)"
                                 R"("daily":{"created":[],"completed":[]},"priority":[]})";
        const QByteArray key = R"({"api_key":"vexoapi-abc"})";

        QTest::newRow("verifyKey") << u"verifyKey"_s << QByteArray("POST") << QByteArray("/api/auth/verify") << false
                                   << QByteArray(R"({"key":"vexo-tasks-KEY"})")
                                   << QByteArray(R"({"success":true,"token":"t","user":)" + userJson + "}");
        QTest::newRow("fetchTasks shortest") << u"fetchTasks/active"_s << QByteArray("GET")
                                             << QByteArray("/api/tasks?archived=false") << true << none << tasks;
        QTest::newRow("fetchTasks archive") << u"fetchTasks/archive"_s << QByteArray("GET")
                                            << QByteArray("/api/tasks?archived=true") << true << none << tasks;
        QTest::newRow("fetchTasks folder and status")
            << u"fetchTasks/folder and status"_s << QByteArray("GET")
            << QByteArray("/api/tasks?archived=false&status=pending&folderId=7") << true << none << tasks;
        QTest::newRow("fetchTasks cancelled")
            << u"fetchTasks/cancelled"_s << QByteArray("GET")
            << QByteArray("/api/tasks?archived=false&status=cancelled") << true << none << tasks;
        QTest::newRow("fetchTasks folder only")
            << u"fetchTasks/folder only"_s << QByteArray("GET")
            << QByteArray("/api/tasks?archived=true&folderId=9007199254740993") << true << none << tasks;
        QTest::newRow("createTask minimal")
            << u"createTask/minimal"_s << QByteArray("POST") << QByteArray("/api/tasks") << true
            << QByteArray(R"({"title":"Купить молоко","priority":"medium"})") << task;
        QTest::newRow("createTask full")
            << u"createTask/full"_s << QByteArray("POST") << QByteArray("/api/tasks") << true
            << QByteArray(R"({"title":"Отчёт","priority":"high","description":"<p>до пятницы</p>",)"
                          R"("deadline":"2025-03-05 18:00:00"})")
            << task;
        QTest::newRow("updateTask all fields")
            << u"updateTask/all fields"_s << QByteArray("PUT") << QByteArray("/api/tasks/42") << true
            << QByteArray(R"({"title":"Новое","description":"","deadline":"2025-03-05T15:00:00.000Z",)"
                          R"("priority":"low","status":"cancelled","folderId":7})")
            << task;
        QTest::newRow("updateTask empty deadline is null")
            << u"updateTask/clear deadline"_s << QByteArray("PUT") << QByteArray("/api/tasks/42") << true
            << QByteArray(R"({"deadline":null})") << task;
        QTest::newRow("updateTask subset")
            << u"updateTask/title only"_s << QByteArray("PUT") << QByteArray("/api/tasks/42") << true
            << QByteArray(R"({"title":"Только заголовок"})") << task;
        QTest::newRow("putTaskStatus done to pending")
            << u"putTaskStatus/done"_s << QByteArray("PUT") << QByteArray("/api/tasks/42") << true
            << QByteArray(R"({"status":"pending"})") << task;
        QTest::newRow("putTaskStatus pending to done")
            << u"putTaskStatus/pending"_s << QByteArray("PUT") << QByteArray("/api/tasks/42") << true
            << QByteArray(R"({"status":"done"})") << task;
        QTest::newRow("putTaskStatus cancelled to done")
            << u"putTaskStatus/cancelled"_s << QByteArray("PUT") << QByteArray("/api/tasks/42") << true
            << QByteArray(R"({"status":"done"})") << task;
        QTest::newRow("postTaskArchive") << u"postTaskArchive"_s << QByteArray("POST")
                                         << QByteArray("/api/tasks/42/archive") << true << none << ok;
        QTest::newRow("deleteTask") << u"deleteTask"_s << QByteArray("DELETE") << QByteArray("/api/tasks/42") << true
                                    << none << ok;
        QTest::newRow("sendTaskToBot") << u"sendTaskToBot"_s << QByteArray("POST")
                                       << QByteArray("/api/tasks/42/send-to-bot") << true << none << ok;
        QTest::newRow("fetchAttachments without token")
            << u"fetchAttachments"_s << QByteArray("GET") << QByteArray("/api/tasks/42/attachments") << false << none
            << QByteArray(R"({"attachments":[{"id":5,"filename":"a.png","mimetype":"image/png","size":3}]})");
        QTest::newRow("deleteAttachment") << u"deleteAttachment"_s << QByteArray("DELETE")
                                          << QByteArray("/api/tasks/42/attachments/5") << true << none << ok;
        QTest::newRow("fetchFolders") << u"fetchFolders"_s << QByteArray("GET") << QByteArray("/api/folders") << true
                                      << none << QByteArray("{\"folders\":[" + folderJson + "]}");
        QTest::newRow("createFolder") << u"createFolder"_s << QByteArray("POST") << QByteArray("/api/folders") << true
                                      << QByteArray("{\"name\":\"Работа\",\"color\":\"#FF6B6B\"}") << folder;
        QTest::newRow("updateFolder") << u"updateFolder"_s << QByteArray("PUT") << QByteArray("/api/folders/7") << true
                                      << QByteArray("{\"name\":\"Дом\",\"color\":\"#4ECDC4\"}") << folder;
        QTest::newRow("deleteFolder") << u"deleteFolder"_s << QByteArray("DELETE") << QByteArray("/api/folders/7")
                                      << true << none << ok;
        QTest::newRow("fetchSettings") << u"fetchSettings"_s << QByteArray("GET") << QByteArray("/api/user/settings")
                                       << true << none << QByteArray(R"({"auto_send_bot":false})");
        QTest::newRow("updateSettings") << u"updateSettings"_s << QByteArray("PUT") << QByteArray("/api/user/settings")
                                        << true << QByteArray(R"({"auto_send_bot":true})")
                                        << QByteArray(R"({"auto_send_bot":true})");
        QTest::newRow("fetchStats week") << u"fetchStats/week"_s << QByteArray("GET")
                                         << QByteArray("/api/user/stats?range=week") << true << none << stats;
        QTest::newRow("fetchStats month") << u"fetchStats/month"_s << QByteArray("GET")
                                          << QByteArray("/api/user/stats?range=month") << true << none << stats;
        QTest::newRow("fetchApiKey") << u"fetchApiKey"_s << QByteArray("GET") << QByteArray("/api/user/apikey") << true
                                     << none << key;
        QTest::newRow("postApiKeyRegenerate") << u"postApiKeyRegenerate"_s << QByteArray("POST")
                                              << QByteArray("/api/user/apikey/regenerate") << true << none << key;
        QTest::newRow("fetchAdminStats")
            << u"fetchAdminStats"_s << QByteArray("GET") << QByteArray("/api/admin/stats") << true << none
            << QByteArray(R"({"total_users":1,"total_tasks":2,"active_tasks":1,"completed_tasks":1})");
        QTest::newRow("fetchAdminUsers") << u"fetchAdminUsers"_s << QByteArray("GET") << QByteArray("/api/admin/users")
                                         << true << none
                                         << QByteArray(R"({"users":[{"id":1,"telegram_id":"5","task_count":3}]})");
    }

    void requestOnTheWire() {
        QFETCH(QString, operation);
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, target);
        QFETCH(bool, authorized);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, answer);

        m_server.enqueue(ScriptedReply::json(200, answer));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        try {
            vexo::test::await(invoke(api, operation));
        } catch (const std::exception& error) {
            QFAIL(error.what());
        }

        QCOMPARE(m_server.requests().size(), 1);
        const RecordedRequest request = m_server.lastRequest();
        QCOMPARE(request.method, method);
        QCOMPARE(request.target, target);
        QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));
        if (authorized)
            QCOMPARE(request.header("Authorization"), QByteArray("Bearer secret-token"));
        else
            QVERIFY2(!request.hasHeader("Authorization"), request.header("Authorization").constData());
        if (body.isEmpty()) {
            QVERIFY2(request.body.isEmpty(), request.body.constData());
        } else {
            QJsonParseError parseError;
            const QJsonDocument sent = QJsonDocument::fromJson(request.body, &parseError);
            QVERIFY2(parseError.error == QJsonParseError::NoError, request.body.constData());
            QCOMPARE(sent, QJsonDocument::fromJson(body));
            // Exact integers survive the trip, whatever the JSON writer does with doubles.
            if (body.contains("folderId"))
                QVERIFY(request.body.contains("\"folderId\":7"));
        }
    }

    void configuredBase() {
        qunsetenv("VEXO_BASE_URL");
        QCOMPARE(APIService::configuredBase(), QStringLiteral(VEXO_BASE_URL));
        qputenv("VEXO_BASE_URL", "https://tasks.example.org/");
        QCOMPARE(APIService::configuredBase(), u"https://tasks.example.org"_s);
        qunsetenv("VEXO_BASE_URL");
    }

    void fetchImageCarriesTheTokenOnlyToTheService() {
        const QByteArray png("\x89PNG\r\n\x1a\n-not-json", 17);
        m_server.enqueue(ScriptedReply::raw(200, "image/png", png));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        QCOMPARE(vexo::test::await(api.fetchImage(api.attachmentFileURL(42, 5))), png);
        RecordedRequest request = m_server.lastRequest();
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.target, QByteArray("/api/tasks/42/attachments/5/file"));
        QCOMPARE(request.header("Authorization"), QByteArray("Bearer secret-token"));

        // The same host on another port is another site.
        ScriptedServer elsewhere;
        QVERIFY(elsewhere.listen());
        elsewhere.enqueue(ScriptedReply::raw(200, "image/png", png));
        QCOMPARE(vexo::test::await(api.fetchImage(QUrl(elsewhere.baseUrl() + u"/avatar.png"_s))), png);
        request = elsewhere.lastRequest();
        QCOMPARE(request.target, QByteArray("/avatar.png"));
        QVERIFY2(!request.hasHeader("Authorization"), request.header("Authorization").constData());
    }

    void fetchImageFailsLikeAnyCall() {
        m_server.enqueue(ScriptedReply::json(404, R"({"error":"Вложение не найдено"})"));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        try {
            vexo::test::await(api.fetchImage(api.avatarURL(u"42"_s)));
            QFAIL("a 404 must throw");
        } catch (const APIError& error) {
            QCOMPARE(error.errorDescription(), u"Вложение не найдено"_s);
        }
    }

    void addresses() {
        const APIService api(u"https://tasks.example.org"_s, m_network, m_store);
        QCOMPARE(api.attachmentFileURL(42, 5).toString(),
                 u"https://tasks.example.org/api/tasks/42/attachments/5/file"_s);
        QCOMPARE(api.avatarURL(u"123456789"_s).toString(), u"https://tasks.example.org/api/user/avatar/123456789"_s);
        QCOMPARE(api.avatarURL(u"a b/c"_s).toString(QUrl::FullyEncoded),
                 u"https://tasks.example.org/api/user/avatar/a%20b%2Fc"_s);
    }
};

QTEST_GUILESS_MAIN(tst_APIServiceEndpoints)
#include "tst_APIServiceEndpoints.moc"
