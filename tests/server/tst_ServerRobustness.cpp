#include "APIError.h"
#include "APIService.h"
#include "Await.h"
#include "HttpProbe.h"
#include "JsonValue.h"
#include "JsonWriter.h"
#include "LocalService.h"
#include "MemoryStore.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

using Headers = QList<QPair<QByteArray, QByteArray>>;

// What the service does with requests the client would never send, and with other people's ids.
class tst_ServerRobustness final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    QNetworkAccessManager m_network;
    QString m_token;
    qint64 m_taskId = 0;
    qint64 m_folderId = 0;

    Headers bearer() const {
        return {{"Authorization", "Bearer " + m_token.toUtf8()}, {"Content-Type", "application/json"}};
    }

    // Everything the user has, as bytes: a request that failed must leave this unchanged.
    QByteArray snapshot() {
        const qint64 user = m_service->userId(u"1"_s);
        JsonWriter writer;
        writer.beginObject();
        writeList(writer, "active", m_service->storage().tasks(user, TaskFilter{false, {}, {}}));
        writeList(writer, "archived", m_service->storage().tasks(user, TaskFilter{true, {}, {}}));
        writeList(writer, "folders", m_service->storage().folders(user));
        writer.endObject();
        return writer.take();
    }

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        MemoryStore store;
        APIService api(m_service->baseUrl(), m_network, store);
        m_token = await(api.verifyKey(m_service->addUser(u"1"_s))).token;
        store.setText(u"vexo_token"_s, m_token);
        m_folderId = await(api.createFolder(u"Папка"_s, u"#FF6B6B"_s)).folder.id;
        m_taskId = await(api.createTask(u"Задача"_s, TaskPriority::high, u"d"_s, {})).task.id;
    }

    void badInput_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error"); // expected "error" text; empty = any

        const auto row = [](const char* name, const char* method, const QString& path, const QByteArray& body,
                            int status, const QString& error = QString()) {
            QTest::newRow(name) << QByteArray(method) << path << body << status << error;
        };
        row("malformed JSON", "POST", u"/api/tasks"_s, "{\"title\":", 400);
        row("array body", "POST", u"/api/tasks"_s, "[1,2]", 400, u"Тело запроса должно быть JSON-объектом"_s);
        row("string body", "POST", u"/api/tasks"_s, "\"title\"", 400);
        row("empty body", "POST", u"/api/tasks"_s, "", 400);
        row("no title", "POST", u"/api/tasks"_s, "{\"priority\":\"high\"}", 400, u"Поле «title»: обязательное поле"_s);
        row("blank title", "POST", u"/api/tasks"_s, "{\"title\":\"  \\n \"}", 400,
            u"Поле «title»: не может быть пустым"_s);
        row("title as number", "POST", u"/api/tasks"_s, "{\"title\":5}", 400, u"Поле «title»: должно быть строкой"_s);
        row("unknown priority", "POST", u"/api/tasks"_s, "{\"title\":\"t\",\"priority\":\"urgent\"}", 400,
            u"Поле «priority»: допустимые значения: high, medium, low"_s);
        row("bad deadline", "POST", u"/api/tasks"_s, "{\"title\":\"t\",\"deadline\":\"01.03.2025\"}", 400);
        row("day without time", "POST", u"/api/tasks"_s, "{\"title\":\"t\",\"deadline\":\"2025-03-01\"}", 400);
        row("deadline as number", "POST", u"/api/tasks"_s, "{\"title\":\"t\",\"deadline\":20250301}", 400);
        row("unknown status", "PUT", u"/api/tasks/%1"_s, "{\"status\":\"canceled\"}", 400);
        row("foreign folder", "PUT", u"/api/tasks/%1"_s, "{\"folderId\":999}", 400,
            u"Поле «folderId»: папка не найдена"_s);
        row("folder as text", "PUT", u"/api/tasks/%1"_s, "{\"folderId\":\"1\"}", 400);
        row("fractional folder", "PUT", u"/api/tasks/%1"_s, "{\"folderId\":1.5}", 400);
        row("blank title on update", "PUT", u"/api/tasks/%1"_s, "{\"title\":\"\"}", 400);
        row("missing task", "PUT", u"/api/tasks/999999"_s, "{\"title\":\"x\"}", 404, u"Задача не найдена"_s);
        row("id overflow", "PUT", u"/api/tasks/99999999999999999999"_s, "{\"title\":\"x\"}", 404);
        row("negative id", "DELETE", u"/api/tasks/-1"_s, "", 404);
        row("id with sign", "DELETE", u"/api/tasks/+1"_s, "", 404);
        row("folder without name", "POST", u"/api/folders"_s, "{\"color\":\"#FFFFFF\"}", 400);
        row("folder name too long", "POST", u"/api/folders"_s,
            "{\"name\":\"" + QByteArray(101, 'x') + "\",\"color\":\"#FFFFFF\"}", 400);
        row("folder colour", "POST", u"/api/folders"_s, "{\"name\":\"n\",\"color\":\"red\"}", 400,
            u"Поле «color»: ожидается цвет вида #RRGGBB"_s);
        row("settings flag as number", "PUT", u"/api/user/settings"_s, "{\"auto_send_bot\":1}", 400);
        row("stats range", "GET", u"/api/user/stats?range=year"_s, "", 400);
        row("tasks archived flag", "GET", u"/api/tasks?archived=maybe"_s, "", 400);
        row("tasks status filter", "GET", u"/api/tasks?archived=false&status=urgent"_s, "", 400);
        row("tasks folder filter", "GET", u"/api/tasks?archived=false&folderId=abc"_s, "", 400);
        row("unknown path", "GET", u"/api/nothing"_s, "", 404);
        row("unknown method", "PATCH", u"/api/tasks/%1"_s, "{}", 405);
        row("known path, wrong method", "GET", u"/api/auth/verify"_s, "", 405);
        row("verify without key", "POST", u"/api/auth/verify"_s, "{}", 400);
        row("verify key as number", "POST", u"/api/auth/verify"_s, "{\"key\":42}", 400);
        row("huge body", "POST", u"/api/tasks"_s, "{\"title\":\"" + QByteArray((1 << 20) + 1, 'x') + "\"}", 413);
        row("deeply nested", "POST", u"/api/tasks"_s, QByteArray(5000, '[') + QByteArray(5000, ']'), 400);
        row("foreign attachment", "DELETE", u"/api/tasks/%1/attachments/77"_s, "", 404);
        row("attachment of a missing task", "GET", u"/api/tasks/999/attachments"_s, "", 404);
    }

    void badInput() {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        QFETCH(QString, error);
        const QByteArray before = snapshot();
        const QString url = m_service->baseUrl() + (path.contains(u"%1"_s) ? path.arg(m_taskId) : path);
        const ProbeReply reply = probe(m_network, method, url, body, bearer());
        QCOMPARE(reply.status, status);
        const QJsonDocument answer = QJsonDocument::fromJson(reply.body);
        QVERIFY2(answer.object().value(u"error"_s).isString(), reply.body.left(200).constData());
        if (!error.isEmpty())
            QCOMPARE(answer.object().value(u"error"_s).toString(), error);
        QCOMPARE(snapshot(), before);
    }

    void unknownKeysAreIgnored() {
        const ProbeReply reply = probe(m_network, "POST", m_service->baseUrl() + u"/api/tasks"_s,
                                       "{\"title\":\"t\",\"colour\":\"blue\",\"nested\":{\"a\":[1]}}", bearer());
        QCOMPARE(reply.status, 201);
    }

    void anotherUserSeesNothing() {
        MemoryStore store;
        APIService other(m_service->baseUrl(), m_network, store);
        store.setText(u"vexo_token"_s, await(other.verifyKey(m_service->addUser(u"2"_s))).token);
        const QByteArray before = snapshot();

        QVERIFY(await(other.fetchTasks(false, std::nullopt, std::nullopt)).tasks.isEmpty());
        QVERIFY(await(other.fetchTasks(false, std::nullopt, m_folderId)).tasks.isEmpty());
        QVERIFY(await(other.fetchFolders()).folders.isEmpty());

        const auto status = [](auto task) {
            try {
                await(std::move(task));
            } catch (const APIError& error) {
                return error.statusCode();
            }
            return 200;
        };
        QCOMPARE(status(other.updateTask(m_taskId, TaskUpdate{u"чужая"_s, {}, {}, {}, {}, {}})), 404);
        QCOMPARE(status(other.putTaskStatus(m_taskId, TaskStatus::pending)), 404);
        QCOMPARE(status(other.postTaskArchive(m_taskId)), 404);
        QCOMPARE(status(other.sendTaskToBot(m_taskId)), 404);
        QCOMPARE(status(other.deleteTask(m_taskId)), 404);
        QCOMPARE(status(other.updateFolder(m_folderId, u"x"_s, u"#000000"_s)), 404);
        QCOMPARE(status(other.deleteFolder(m_folderId)), 404);
        // Their own task cannot be put into someone else's folder either.
        const VexoTask mine = await(other.createTask(u"моя"_s, TaskPriority::low, {}, {})).task;
        QCOMPARE(status(other.updateTask(mine.id, TaskUpdate{{}, {}, {}, {}, {}, m_folderId})), 400);
        const ProbeReply upload =
            probe(m_network, "POST", m_service->baseUrl() + u"/api/tasks/%1/attachments?filename=x"_s.arg(m_taskId),
                  "data", {{"Authorization", "Bearer " + store.text(u"vexo_token"_s)->toUtf8()}});
        QCOMPARE(upload.status, 404);
        QCOMPARE(snapshot(), before);
        QVERIFY(m_service->storage().outbox().isEmpty());
    }

    void signInIsRateLimited() {
        const QString url = m_service->baseUrl() + u"/api/auth/verify"_s;
        const Headers json{{"Content-Type", "application/json"}};
        for (int i = 0; i < 9; ++i)
            QCOMPARE(probe(m_network, "POST", url, "{\"key\":\"vexo-tasks-nope\"}", json).status, 401);
        // The tenth attempt of the minute (init signed in once already) is refused, even with a good key.
        const QString key = m_service->addUser(u"9"_s);
        QCOMPARE(probe(m_network, "POST", url, "{\"key\":\"" + key.toUtf8() + "\"}", json).status, 429);
        m_service->clock().advance(61);
        QCOMPARE(probe(m_network, "POST", url, "{\"key\":\"" + key.toUtf8() + "\"}", json).status, 200);
    }

    void uploadsHaveTheirOwnLimit() {
        const QString url = m_service->baseUrl() + u"/api/tasks/%1/attachments?filename=big.bin"_s.arg(m_taskId);
        const Headers auth{{"Authorization", "Bearer " + m_token.toUtf8()}};
        QCOMPARE(probe(m_network, "POST", url, QByteArray(2 << 20, 'x'), auth).status, 201);
        QCOMPARE(probe(m_network, "POST", url, QByteArray((10 << 20) + 1, 'x'), auth).status, 413);
        QCOMPARE(probe(m_network, "POST", url.section(u'?', 0, 0) + u"?filename=..%2F..%2Fevil"_s, "x", auth).status,
                 201);
        MemoryStore store;
        APIService api(m_service->baseUrl(), m_network, store);
        const auto names = await(api.fetchAttachments(m_taskId)).attachments;
        QCOMPARE(names.size(), 2);
        QCOMPARE(names[1].filename, u"evil"_s);
    }
};

QTEST_GUILESS_MAIN(tst_ServerRobustness)
#include "tst_ServerRobustness.moc"
