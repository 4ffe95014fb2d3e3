#include "APIError.h"
#include "APIService.h"
#include "ApiRequest.h"
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
        return {{"Authorization", "Bearer " + m_token.toUtf8()},
                {"Content-Type", "application/json"},
                {"X-Api-Key", "robustness-api-key"}};
    }

    // A path of the tables with its placeholders filled in.
    QString url(QString path) const {
        path.replace(u"{task}"_s, QString::number(m_taskId)).replace(u"{folder}"_s, QString::number(m_folderId));
        return m_service->baseUrl() + (path.contains(u"%1"_s) ? path.arg(m_taskId) : path);
    }

    // Every endpoint that reads a JSON body, with a body it accepts and the string fields in it.
    struct BodyEndpoint {
        const char* name;
        QByteArray method;
        QString path;
        QJsonObject body;
    };
    static QList<BodyEndpoint> bodyEndpoints() {
        const QJsonObject task{{u"title"_s, u"t"_s},
                               {u"description"_s, u"d"_s},
                               {u"deadline"_s, u"2025-03-07T15:00:00Z"_s},
                               {u"priority"_s, u"high"_s}};
        QJsonObject update = task;
        update.insert(u"status"_s, u"done"_s);
        const QJsonObject folder{{u"name"_s, u"n"_s}, {u"color"_s, u"#FFFFFF"_s}};
        return {
            {"create task", "POST", u"/api/tasks"_s, task},
            {"update task", "PUT", u"/api/tasks/{task}"_s, update},
            {"external task", "POST", u"/api/external/tasks"_s, task},
            {"create folder", "POST", u"/api/folders"_s, folder},
            {"update folder", "PUT", u"/api/folders/{folder}"_s, folder},
            {"sign in", "POST", u"/api/auth/verify"_s, QJsonObject{{u"key"_s, u"vexo-tasks-x"_s}}},
            {"settings", "PUT", u"/api/user/settings"_s, QJsonObject{{u"auto_send_bot"_s, false}}},
        };
    }

    // The body as JSON text with the value of `field` replaced by raw JSON text.
    static QByteArray withRawValue(const QJsonObject& body, const QString& field, const QByteArray& raw) {
        QJsonObject object = body;
        object.insert(field, u"@@@"_s);
        return QJsonDocument(object).toJson(QJsonDocument::Compact).replace("\"@@@\"", raw);
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

    // A string with a lone surrogate is refused, in every field of every endpoint, never stored
    // as some other character.
    void loneSurrogatesAreRefused_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body");
        const QList<QByteArray> cases{"\"\\udc00\\ud800y\"", "\"\\ud800\"", "\"x\\ud83d\"", "\"\\ude00x\"",
                                      "\"\\ud83d\\ud83d\\ude00\""};
        for (const BodyEndpoint& endpoint : bodyEndpoints()) {
            QStringList fields = endpoint.body.keys();
            fields << u"unknown"_s;
            for (const QString& field : fields) {
                for (qsizetype i = 0; i < cases.size(); ++i) {
                    QTest::addRow("%s, %s, case %d", endpoint.name, qPrintable(field), int(i))
                        << endpoint.method << endpoint.path << withRawValue(endpoint.body, field, cases[i]);
                }
            }
        }
        QTest::newRow("in a key") << QByteArray("POST") << u"/api/tasks"_s
                                  << QByteArray("{\"title\":\"t\",\"\\udc00\":1}");
    }

    void loneSurrogatesAreRefused() {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        m_service->storage().setApiKey(m_service->userId(u"1"_s), u"robustness-api-key"_s);
        const QByteArray before = snapshot();
        const ProbeReply reply = probe(m_network, method, url(path), body, bearer());
        QCOMPARE(reply.status, 400);
        const QString error = QJsonDocument::fromJson(reply.body).object().value(u"error"_s).toString();
        QVERIFY2(error.startsWith(u"Некорректный JSON: одиночный суррогат"_s), qPrintable(error));
        QCOMPARE(snapshot(), before);
    }

    void surrogatePairsAreKept() {
        const ProbeReply reply =
            probe(m_network, "POST", url(u"/api/tasks"_s),
                  "{\"title\":\"\\ud83d\\ude00 и 😀\",\"description\":\"\\ud800\\udc00\"}", bearer());
        QCOMPARE(reply.status, 201);
        const qint64 id = QJsonDocument::fromJson(reply.body).object()[u"task"_s].toObject()[u"id"_s].toInteger();
        const auto stored = m_service->storage().task(m_service->userId(u"1"_s), id);
        QVERIFY(stored);
        QCOMPARE(stored->title, u"😀 и 😀"_s);
        QCOMPARE(stored->description, std::optional<QString>(QString::fromUcs4(U"\U00010000")));
    }

    void duplicateKeysAreRefused_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::newRow("title twice") << QByteArray("{\"title\":\"a\",\"title\":\"b\"}") << 400;
        QTest::newRow("same key, other spelling") << QByteArray("{\"title\":\"a\",\"t\\u0069tle\":\"b\"}") << 400;
        QTest::newRow("twice inside an ignored key")
            << QByteArray("{\"title\":\"a\",\"x\":[{\"k\":1,\"k\":2}]}") << 400;
        QTest::newRow("same key at two levels") << QByteArray("{\"title\":\"a\",\"x\":{\"title\":1}}") << 201;
        QTest::newRow("key text inside a value") << QByteArray("{\"title\":\"title\",\"x\":\"title\"}") << 201;
    }

    void duplicateKeysAreRefused() {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        const QByteArray before = snapshot();
        const ProbeReply reply = probe(m_network, "POST", url(u"/api/tasks"_s), body, bearer());
        QCOMPARE(reply.status, status);
        if (status == 400) {
            QVERIFY(
                QJsonDocument::fromJson(reply.body).object().value(u"error"_s).toString().contains(u"повторяется"_s));
            QCOMPARE(snapshot(), before);
        }
    }

    // A deadline that cannot be read, or cannot be written back, is refused rather than dropped.
    void unreadableDeadlinesAreRefused_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("deadline");
        const QStringList deadlines{
            u"0001-01-01T00:00:00+23:59"_s, u"9999-12-31T23:59:59-23:59"_s, u"2025-02-30 10:00:00"_s,
            u"2025-03-01T24:00:00Z"_s,      u"2025-03-01T10:00:00+24:00"_s, u"2025-03-01T10:00"_s,
            u"2025-03-01T10:00:00.Z"_s,     u"20250301T100000Z"_s,          u"завтра"_s};
        for (const BodyEndpoint& endpoint : bodyEndpoints()) {
            if (!endpoint.body.contains(u"deadline"_s))
                continue;
            for (const QString& deadline : deadlines)
                QTest::addRow("%s, %s", endpoint.name, qPrintable(deadline))
                    << endpoint.method << endpoint.path << deadline;
        }
    }

    void unreadableDeadlinesAreRefused() {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QString, deadline);
        m_service->storage().setApiKey(m_service->userId(u"1"_s), u"robustness-api-key"_s);
        const QByteArray before = snapshot();
        const QJsonObject body{{u"title"_s, u"t"_s}, {u"deadline"_s, deadline}};
        const ProbeReply reply = probe(m_network, method, url(path), QJsonDocument(body).toJson(), bearer());
        QCOMPARE(reply.status, 400);
        const QString error = QJsonDocument::fromJson(reply.body).object().value(u"error"_s).toString();
        QVERIFY2(error.startsWith(u"Поле «deadline»: ожидается дата"_s), qPrintable(error));
        QCOMPARE(snapshot(), before);
    }

    void deadlinesAtTheEdgeOfTheCalendar() {
        const QJsonObject body{{u"title"_s, u"t"_s}, {u"deadline"_s, u"0001-01-01T23:59:00+23:59"_s}};
        const ProbeReply reply = probe(m_network, "POST", url(u"/api/tasks"_s), QJsonDocument(body).toJson(), bearer());
        QCOMPARE(reply.status, 201);
        QCOMPARE(QJsonDocument::fromJson(reply.body).object()[u"task"_s].toObject()[u"deadline"_s].toString(),
                 u"0001-01-01T00:00:00.000Z"_s);
    }

    // Limits count characters as people do: one emoji is one character, not two UTF-16 units.
    void titleLimitsCountCharacters_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("field");
        QTest::addColumn<int>("characters");
        QTest::addColumn<int>("status");
        const auto rows = [](const char* name, const char* method, const QString& path, const QString& field, int limit,
                             int success) {
            QTest::addRow("%s, 251 emoji", name) << QByteArray(method) << path << field << qMin(251, limit) << success;
            QTest::addRow("%s, %d emoji", name, limit) << QByteArray(method) << path << field << limit << success;
            QTest::addRow("%s, %d emoji", name, limit + 1) << QByteArray(method) << path << field << limit + 1 << 400;
        };
        rows("create task", "POST", u"/api/tasks"_s, u"title"_s, 500, 201);
        rows("update task", "PUT", u"/api/tasks/{task}"_s, u"title"_s, 500, 200);
        rows("external task", "POST", u"/api/external/tasks"_s, u"title"_s, 500, 201);
        rows("create folder", "POST", u"/api/folders"_s, u"name"_s, 100, 201);
        rows("update folder", "PUT", u"/api/folders/{folder}"_s, u"name"_s, 100, 200);
    }

    void titleLimitsCountCharacters() {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QString, field);
        QFETCH(int, characters);
        QFETCH(int, status);
        m_service->storage().setApiKey(m_service->userId(u"1"_s), u"robustness-api-key"_s);
        QString text;
        for (int i = 0; i < characters; ++i)
            text += u"😀"_s;
        const QJsonObject body{{field, text}, {u"color"_s, u"#000000"_s}};
        const ProbeReply reply = probe(m_network, method, url(path), QJsonDocument(body).toJson(), bearer());
        QCOMPARE(reply.status, status);
        const QJsonObject answer = QJsonDocument::fromJson(reply.body).object();
        if (status == 400) {
            QVERIFY(answer.value(u"error"_s).toString().contains(u"не длиннее"_s));
        } else {
            const QJsonObject record =
                answer.contains(u"task"_s) ? answer[u"task"_s].toObject() : answer[u"folder"_s].toObject();
            QCOMPARE(record[field].toString(), text);
        }
    }

    void attachmentNamesAndTypes_data() {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("stored");
        QString longName;
        for (int i = 0; i < 300; ++i)
            longName += u"😀"_s;
        QTest::newRow("encoded lone surrogate")
            << u"filename=%ED%A0%80.txt"_s << QByteArray("text/plain") << 400 << QString();
        QTest::newRow("invalid UTF-8") << u"filename=%FF.txt"_s << QByteArray("text/plain") << 400 << QString();
        QTest::newRow("300 emoji") << u"filename="_s + QString::fromLatin1(QUrl::toPercentEncoding(longName))
                                   << QByteArray("text/plain") << 201 << longName.left(510);
        QTest::newRow("type with a space") << u"filename=a.txt"_s << QByteArray("text plain") << 400 << QString();
        QTest::newRow("type with parameters")
            << u"filename=a.txt"_s << QByteArray("text/plain; charset=utf-8") << 201 << u"a.txt"_s;
    }

    void attachmentNamesAndTypes() {
        QFETCH(QString, query);
        QFETCH(QByteArray, contentType);
        QFETCH(int, status);
        QFETCH(QString, stored);
        const ProbeReply reply =
            probe(m_network, "POST", url(u"/api/tasks/{task}/attachments?"_s + query), "data",
                  {{"Authorization", "Bearer " + m_token.toUtf8()}, {"Content-Type", contentType}});
        QCOMPARE(reply.status, status);
        const auto attachments = m_service->storage().attachments(m_taskId);
        QCOMPARE(attachments->size(), status == 201 ? 1 : 0);
        if (status == 201)
            QCOMPARE(attachments->at(0).filename, stored);
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

    // Keys that begin alike share one limit, whichever addresses they come from: guessing the rest
    // of a key from many machines gets no further than from one.
    void signInIsLimitedPerKeyPrefix() {
        const auto attempt = [&](const QString& key, const QString& address) {
            ApiRequest request;
            request.method = "POST";
            request.path = u"/api/auth/verify"_s;
            request.body = "{\"key\":\"" + key.toUtf8() + "\"}";
            request.remoteAddress = QHostAddress(address);
            return m_service->server().dispatch(request).status;
        };
        const QString prefix = u"vexo-tasks-Ab3dE"_s;
        for (int i = 0; i < 10; ++i)
            QCOMPARE(attempt(prefix + u"guess%1"_s.arg(i), u"10.0.0.%1"_s.arg(i + 1)), 401);
        QCOMPARE(attempt(prefix + u"guess10"_s, u"10.0.1.1"_s), 429);
        // The same address with another key goes on, and so does the prefix once the minute is over.
        QCOMPARE(attempt(u"vexo-tasks-Zz9yYguess"_s, u"10.0.1.1"_s), 401);
        m_service->clock().advance(61);
        QCOMPARE(attempt(prefix + u"guess11"_s, u"10.0.1.2"_s), 401);
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
