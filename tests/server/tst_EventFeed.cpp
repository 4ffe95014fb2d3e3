#include "FeedClient.h"
#include "HttpProbe.h"
#include "LocalService.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// Every way a change reaches the service, and the kind of change.
enum class Source {
    createTask,
    updateTask,
    toggleStatus,
    archiveTask,
    sendToBot,
    deleteTask,
    createFolder,
    renameFolder,
    deleteFolderWithTasks,
    settings,
    uploadAttachment,
    deleteAttachment,
    externalApi,
    commandLineTask,
    commandLineAttach,
};

// The limit every timed assertion on delivery holds to.
constexpr int deliveryMs = 1000;

} // namespace

Q_DECLARE_METATYPE(Source)

// The change feed over loopback: the real service in this process, the command line as a process
// of its own on the same data folder, Qt's WebSocket client or a hand-written one.
class tst_EventFeed final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    QNetworkAccessManager m_network;
    QByteArray m_token;
    qint64 m_userId = 0;
    // Made before each test: a task with an attachment, and a folder holding two tasks.
    qint64 m_taskId = 0;
    qint64 m_attachmentId = 0;
    qint64 m_folderId = 0;
    QList<qint64> m_folderTasks;

    QString url(const QString& path) const { return m_service->baseUrl() + path; }

    ProbeReply call(const QByteArray& method, const QString& path, const QByteArray& body = {},
                    const QByteArray& token = {}) {
        return probe(
            m_network, method, url(path), body,
            {{"Authorization", "Bearer " + (token.isEmpty() ? m_token : token)}, {"Content-Type", "application/json"}});
    }

    std::unique_ptr<FeedClient> connectFeed(const QByteArray& token) {
        auto client = std::make_unique<FeedClient>(m_service->eventsUrl(), FeedClient::bearer(token));
        if (!QTest::qWaitFor([&] { return !client->messages().isEmpty() || client->isClosed(); }, 10'000))
            qWarning("the feed did not say hello");
        return client;
    }

    // Runs vexo-server on the service's data folder, as the bot does; returns what it printed.
    QString runCommand(const QStringList& arguments) {
        QProcess process;
        process.start(QStringLiteral(VEXO_SERVER_BINARY), arguments + m_service->storageArguments());
        if (!process.waitForFinished(30'000) || process.exitCode() != 0)
            qWarning("vexo-server %s: %s", qPrintable(arguments.join(u' ')),
                     process.readAllStandardError().constData());
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }

    // Makes the change; returns what the feed must say about it.
    QStringList act(Source source) {
        const auto idOf = [](const ProbeReply& reply, const char* key) {
            return QJsonDocument::fromJson(reply.body)
                .object()
                .value(QLatin1StringView(key))
                .toObject()
                .value(u"id"_s)
                .toInteger();
        };
        const QString task = QString::number(m_taskId);
        switch (source) {
        case Source::createTask: {
            const qint64 id = idOf(call("POST", u"/api/tasks"_s, R"({"title":"Новая"})"), "task");
            return {u"task created %1"_s.arg(id)};
        }
        case Source::updateTask:
            call("PUT", u"/api/tasks/"_s + task, R"({"title":"Другое название"})");
            return {u"task updated "_s + task};
        case Source::toggleStatus:
            call("PUT", u"/api/tasks/"_s + task, R"({"status":"done"})");
            return {u"task updated "_s + task};
        case Source::archiveTask:
            call("POST", u"/api/tasks/%1/archive"_s.arg(task));
            return {u"task updated "_s + task};
        case Source::sendToBot:
            call("POST", u"/api/tasks/%1/send-to-bot"_s.arg(task));
            return {u"task updated "_s + task};
        case Source::deleteTask:
            call("DELETE", u"/api/tasks/"_s + task);
            return {u"task deleted "_s + task};
        case Source::createFolder: {
            const qint64 id =
                idOf(call("POST", u"/api/folders"_s, "{\"name\":\"Дом\",\"color\":\"#FF0000\"}"), "folder");
            return {u"folder created %1"_s.arg(id)};
        }
        case Source::renameFolder:
            call("PUT", u"/api/folders/%1"_s.arg(m_folderId), "{\"name\":\"Работа\",\"color\":\"#00FF00\"}");
            return {u"folder updated %1"_s.arg(m_folderId)};
        case Source::deleteFolderWithTasks:
            call("DELETE", u"/api/folders/%1"_s.arg(m_folderId));
            return {u"folder deleted %1"_s.arg(m_folderId), u"task updated %1"_s.arg(m_folderTasks[0]),
                    u"task updated %1"_s.arg(m_folderTasks[1])};
        case Source::settings:
            call("PUT", u"/api/user/settings"_s, R"({"auto_send_bot":true})");
            return {u"settings updated %1"_s.arg(m_userId)};
        case Source::uploadAttachment: {
            const ProbeReply reply =
                probe(m_network, "POST", url(u"/api/tasks/%1/attachments?filename=a.txt"_s.arg(task)), "file",
                      {{"Authorization", "Bearer " + m_token}, {"Content-Type", "text/plain"}});
            return {u"attachment created %1 %2"_s.arg(idOf(reply, "attachment")).arg(m_taskId)};
        }
        case Source::deleteAttachment:
            call("DELETE", u"/api/tasks/%1/attachments/%2"_s.arg(task).arg(m_attachmentId));
            return {u"attachment deleted %1 %2"_s.arg(m_attachmentId).arg(m_taskId)};
        case Source::externalApi: {
            const QString key = QJsonDocument::fromJson(call("GET", u"/api/user/apikey"_s).body)
                                    .object()
                                    .value(u"api_key"_s)
                                    .toString();
            const ProbeReply reply = probe(m_network, "POST", url(u"/api/external/tasks"_s), R"({"title":"Извне"})",
                                           {{"x-api-key", key.toUtf8()}, {"Content-Type", "application/json"}});
            return {u"task created %1"_s.arg(idOf(reply, "task"))};
        }
        case Source::commandLineTask: {
            const QString id = runCommand({u"task"_s, u"add"_s, u"--telegram-id"_s, u"1"_s, u"--title"_s, u"Бот"_s});
            return {u"task created "_s + id};
        }
        case Source::commandLineAttach: {
            const QString file = m_service->dataDir() + u"/note.txt"_s;
            QFile note(file);
            if (note.open(QIODevice::WriteOnly))
                note.write("заметка");
            note.close();
            const QString id = runCommand({u"attach"_s, u"--task"_s, task, u"--file"_s, file});
            return {u"attachment created %1 %2"_s.arg(id, task)};
        }
        }
        return {};
    }

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_service->addUser(u"1"_s);
        m_service->addUser(u"2"_s);
        m_userId = m_service->userId(u"1"_s);
        m_token = m_service->signIn(u"1"_s);
        Storage& storage = m_service->storage();
        const QString now = u"2025-03-05T12:00:00.000Z"_s;
        NewTask task;
        task.title = u"Первая"_s;
        task.source = u"app"_s;
        m_taskId = storage.insertTask(m_userId, task, false, now).id;
        m_attachmentId = storage.addAttachment(m_taskId, u"a.txt"_s, u"text/plain"_s, "x", now)->id;
        m_folderId = storage.insertFolder(m_userId, u"Папка"_s, u"#123456"_s, now).id;
        task.folderId = m_folderId;
        m_folderTasks = {storage.insertTask(m_userId, task, false, now).id,
                         storage.insertTask(m_userId, task, false, now).id};
    }

    void cleanup() { m_service.reset(); }

    void helloCarriesTheLatestRevision() {
        auto first = connectFeed(m_token);
        QCOMPARE(first->texts().size(), 1);
        const qint64 latest = m_service->storage().userRevision(m_userId);
        QVERIFY(latest > 0);
        QCOMPARE(first->texts().first(), u"{\"type\":\"hello\",\"rev\":%1}"_s.arg(latest));

        // A user who never changed anything starts at 0.
        auto other = connectFeed(m_service->signIn(u"2"_s));
        QCOMPARE(other->texts(), QStringList{u"{\"type\":\"hello\",\"rev\":0}"_s});
        QCOMPARE(m_service->server().feed().socketCount(), 2);
    }

    void everyChangeArrivesWithinASecond_data() {
        QTest::addColumn<Source>("source");
        QTest::newRow("task created") << Source::createTask;
        QTest::newRow("task edited") << Source::updateTask;
        QTest::newRow("status toggled") << Source::toggleStatus;
        QTest::newRow("task archived") << Source::archiveTask;
        QTest::newRow("task sent to the bot") << Source::sendToBot;
        QTest::newRow("task deleted") << Source::deleteTask;
        QTest::newRow("folder created") << Source::createFolder;
        QTest::newRow("folder renamed") << Source::renameFolder;
        QTest::newRow("folder with tasks deleted") << Source::deleteFolderWithTasks;
        QTest::newRow("settings") << Source::settings;
        QTest::newRow("attachment uploaded") << Source::uploadAttachment;
        QTest::newRow("attachment deleted") << Source::deleteAttachment;
        QTest::newRow("external API") << Source::externalApi;
        QTest::newRow("vexo-server task add") << Source::commandLineTask;
        QTest::newRow("vexo-server attach") << Source::commandLineAttach;
    }

    void everyChangeArrivesWithinASecond() {
        QFETCH(Source, source);
        auto client = connectFeed(m_token);
        const qint64 hello = client->messages().first().value(u"rev"_s).toInteger();
        const QStringList expected = act(source);
        QElapsedTimer clock;
        clock.start();
        QTRY_VERIFY_WITH_TIMEOUT(client->changes().size() >= expected.size(), deliveryMs);
        qInfo("delivered %lld ms after the change was made", clock.elapsed());
        QCOMPARE(client->changes(), expected);
        // Revisions strictly increase from the hello's.
        qint64 previous = hello;
        for (const QJsonObject& message : client->messages().mid(1)) {
            QVERIFY(message.value(u"rev"_s).toInteger() > previous);
            previous = message.value(u"rev"_s).toInteger();
        }
        QCOMPARE(previous, m_service->storage().userRevision(m_userId));
        QVERIFY(!client->isClosed());
    }

    // The exact form of a change message.
    void messagesAreCompactJson() {
        auto client = connectFeed(m_token);
        act(Source::uploadAttachment);
        QTRY_COMPARE_WITH_TIMEOUT(client->texts().size(), 2, deliveryMs);
        const qint64 revision = m_service->storage().userRevision(m_userId);
        const qint64 attachment = client->messages()[1].value(u"id"_s).toInteger();
        QCOMPARE(client->texts()[1], u"{\"type\":\"change\",\"kind\":\"attachment\",\"op\":\"created\",\"id\":%1,"
                                     u"\"task_id\":%2,\"rev\":%3}"_s.arg(attachment)
                                         .arg(m_taskId)
                                         .arg(revision));
    }

    void everySocketOfTheUserHearsIt() {
        auto first = connectFeed(m_token);
        auto second = connectFeed(m_service->signIn(u"1"_s));
        const QStringList expected = act(Source::createTask);
        QTRY_COMPARE_WITH_TIMEOUT(first->changes(), expected, deliveryMs);
        QTRY_COMPARE_WITH_TIMEOUT(second->changes(), expected, deliveryMs);
    }

    void otherUsersChangesNeverArrive() {
        auto mine = connectFeed(m_token);
        const QByteArray otherToken = m_service->signIn(u"2"_s);
        auto theirs = connectFeed(otherToken);
        // Everything user 2 can do, by every way.
        const QByteArray created = call("POST", u"/api/tasks"_s, R"({"title":"Чужая"})", otherToken).body;
        const qint64 theirTask = QJsonDocument::fromJson(created).object()[u"task"_s].toObject()[u"id"_s].toInteger();
        call("PUT", u"/api/tasks/%1"_s.arg(theirTask), R"({"status":"done"})", otherToken);
        probe(m_network, "POST", url(u"/api/tasks/%1/attachments?filename=b.txt"_s.arg(theirTask)), "file",
              {{"Authorization", "Bearer " + otherToken}});
        call("POST", u"/api/folders"_s, "{\"name\":\"Их\",\"color\":\"#000000\"}", otherToken);
        call("PUT", u"/api/user/settings"_s, R"({"auto_send_bot":true})", otherToken);
        call("POST", u"/api/tasks/%1/archive"_s.arg(theirTask), {}, otherToken);
        runCommand({u"task"_s, u"add"_s, u"--telegram-id"_s, u"2"_s, u"--title"_s, u"Боту"_s});
        // Their own socket hears all seven (one of them from another process)…
        QTRY_COMPARE_WITH_TIMEOUT(theirs->changes().size(), 7, 5'000);
        // …and mine, given time, none; then my own change reaches me alone.
        QTest::qWait(300);
        QCOMPARE(mine->texts().size(), 1);
        const QStringList expected = act(Source::createTask);
        QTRY_COMPARE_WITH_TIMEOUT(mine->changes(), expected, deliveryMs);
        QTest::qWait(300);
        QCOMPARE(theirs->changes().size(), 7);
    }

    void signingInIsRequired_data() {
        QTest::addColumn<QByteArray>("authorization");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no token") << QByteArray() << u"Требуется авторизация"_s;
        QTest::newRow("another scheme") << QByteArray("Basic dXNlcjpwYXNz") << u"Требуется авторизация"_s;
        QTest::newRow("empty bearer") << QByteArray("Bearer ") << u"Требуется авторизация"_s;
        QTest::newRow("unknown token") << QByteArray("Bearer not-a-session")
                                       << u"Сессия недействительна, войдите снова"_s;
    }

    void signingInIsRequired() {
        QFETCH(QByteArray, authorization);
        QFETCH(QString, reason);
        FeedClient client(m_service->eventsUrl(), authorization);
        QTRY_VERIFY_WITH_TIMEOUT(client.isClosed(), 10'000);
        // The handshake completed: the refusal is a close code the client can read, not an HTTP error.
        QVERIFY(client.wasConnected());
        QCOMPARE(client.closeCode(), 4401);
        QCOMPARE(client.closeReason(), reason);
        QVERIFY(client.texts().isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(m_service->server().feed().connectionCount(), 0, 10'000);
    }

    // Anything that is not a WebSocket handshake gets an ordinary HTTP answer.
    void notAHandshake_data() {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");
        const QByteArray auth = "Authorization: Bearer x\r\n";
        QTest::newRow("plain GET") << QByteArray("GET /api/events HTTP/1.1\r\nHost: a\r\n" + auth + "\r\n") << 400;
        QTest::newRow("POST") << QByteArray("POST /api/events HTTP/1.1\r\nHost: a\r\nContent-Length: 0\r\n\r\n") << 405;
        QByteArray version8 = eventsHandshake("Bearer x");
        version8.replace("Version: 13", "Version: 8");
        QTest::newRow("WebSocket version 8") << version8 << 400;
        QByteArray noKey = eventsHandshake({});
        noKey.replace("Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n", "");
        QTest::newRow("no key") << noKey << 400;
        QByteArray http10 = eventsHandshake({});
        http10.replace("HTTP/1.1", "HTTP/1.0");
        QTest::newRow("HTTP/1.0") << http10 << 400;
    }

    void notAHandshake() {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        RawConnection connection(m_service->port());
        connection.send(request);
        const auto answer = connection.nextAnswer(10'000);
        QVERIFY(answer);
        QCOMPARE(answer->status, status);
        QVERIFY(answer->body.startsWith("{\"error\":\""));
        QCOMPARE(m_service->server().feed().connectionCount(), 0);
    }

    // A silent client is pinged; one that answers stays, one that stops answering is dropped.
    void silentClientsArePinged() {
        FeedLimits limits;
        limits.pingIntervalMs = 200;
        limits.pongTimeoutMs = 400;
        m_service->server().setFeedLimits(limits);
        RawConnection connection(m_service->port());
        connection.send(eventsHandshake("Bearer " + m_token));
        const auto switched = connection.nextAnswer(10'000);
        QVERIFY(switched);
        QCOMPARE(switched->status, 101);
        QByteArray bytes;
        const auto nextFrame = [&](int timeoutMs) {
            std::optional<WebSocketFrame> frame;
            connection.waitFor(
                [&] {
                    bytes += connection.takeReceived();
                    if (!frame)
                        frame = takeWebSocketFrame(bytes);
                    return frame.has_value() || connection.isClosed();
                },
                timeoutMs);
            return frame;
        };
        const auto hello = nextFrame(5'000);
        QVERIFY(hello && hello->opcode == 1);

        // Answered twice: the socket stays.
        QElapsedTimer silence;
        silence.start();
        for (int round = 0; round < 2; ++round) {
            const auto ping = nextFrame(5'000);
            QVERIFY2(ping, "no ping");
            QCOMPARE(ping->opcode, 9);
            QVERIFY2(silence.elapsed() >= 150, "pinged before the client had been silent");
            connection.send(clientWebSocketFrame(10, ping->payload));
            silence.restart();
        }
        QCOMPARE(m_service->server().feed().socketCount(), 1);

        // Not answered: dropped, with a close frame saying why.
        const auto ping = nextFrame(5'000);
        QVERIFY(ping && ping->opcode == 9);
        const auto close = nextFrame(5'000);
        QVERIFY2(close, "an unanswered ping left the socket open");
        QCOMPARE(close->opcode, 8);
        QCOMPARE(close->closeCode(), 4408);
        QCOMPARE(close->closeReason(), u"Нет ответа на ping"_s);
        QCOMPARE(m_service->server().feed().socketCount(), 0);
        QVERIFY(connection.waitForClose(5'000));
        QTRY_COMPARE_WITH_TIMEOUT(m_service->server().feed().connectionCount(), 0, 5'000);
    }

    // Qt's client answers pings itself: a quiet but live client is never dropped.
    void liveClientStaysThroughPings() {
        FeedLimits limits;
        limits.pingIntervalMs = 100;
        limits.pongTimeoutMs = 200;
        m_service->server().setFeedLimits(limits);
        auto client = connectFeed(m_token);
        // Five rounds of ping and answer.
        QTest::qWait(1'000);
        QVERIFY(!client->isClosed());
        const QStringList expected = act(Source::createTask);
        QTRY_COMPARE_WITH_TIMEOUT(client->changes(), expected, deliveryMs);
    }

    // A client that stops reading is dropped once its unsent messages pass the cap, and the
    // server never holds more than the cap (and one message) for it.
    void slowReaderIsDropped() {
        FeedLimits limits;
        limits.maxQueuedBytes = 16 * 1024;
        limits.sendBufferBytes = 16 * 1024;
        limits.closeGraceMs = 10'000;
        m_service->server().setFeedLimits(limits);
        RawConnection connection(m_service->port());
        connection.send(eventsHandshake("Bearer " + m_token));
        const auto switched = connection.nextAnswer(10'000);
        QVERIFY(switched && switched->status == 101);
        QTRY_COMPARE_WITH_TIMEOUT(m_service->server().feed().socketCount(), 1, 10'000);
        connection.pauseReading();

        Storage& storage = m_service->storage();
        const EventFeed& feed = m_service->server().feed();
        int produced = 0;
        while (feed.socketCount() == 1 && produced < 50'000) {
            for (int i = 0; i < 100; ++i, ++produced)
                storage.setAutoSendBot(m_userId, produced % 2 == 0);
            QTest::qWait(5);
        }
        QCOMPARE(feed.socketCount(), 0);
        const qint64 longestMessage = 100;
        QVERIFY2(feed.peakQueuedBytes() <= limits.maxQueuedBytes + longestMessage,
                 qPrintable(QString::number(feed.peakQueuedBytes())));
        QVERIFY(feed.peakQueuedBytes() > limits.maxQueuedBytes);

        // What was queued still reaches the client, and then the reason.
        connection.resumeReading();
        QByteArray bytes;
        int changes = 0;
        std::optional<WebSocketFrame> close;
        connection.waitFor(
            [&] {
                bytes += connection.takeReceived();
                while (auto frame = takeWebSocketFrame(bytes)) {
                    if (frame->opcode == 8)
                        close = frame;
                    else if (frame->opcode == 1 && frame->payload.contains("\"change\""))
                        ++changes;
                }
                return close.has_value() || connection.isClosed();
            },
            10'000);
        QVERIFY2(close, "no close frame after the queued messages");
        QCOMPARE(close->closeCode(), 4408);
        QCOMPARE(close->closeReason(), u"Слишком медленное чтение"_s);
        QVERIFY(changes > 0 && changes < produced);
        QVERIFY(connection.waitForClose(10'000));
        QTRY_COMPARE_WITH_TIMEOUT(feed.connectionCount(), 0, 10'000);
    }

    // A change is announced once the journal holding it is on disk, like the answer that reports it.
    void changesAreAnnouncedOnceDurable() {
        auto client = connectFeed(m_token);
        QList<bool> undurableAtArrival;
        connect(&client->socket(), &QWebSocket::textMessageReceived, this,
                [&] { undurableAtArrival << m_service->storage().hasUndurableWrites(); });
        NewTask task;
        task.title = u"Мимо HTTP"_s;
        task.source = u"app"_s;
        m_service->storage().insertTask(m_userId, task, false, u"2025-03-05T12:00:00.000Z"_s);
        // SQLite syncs in groups; every PostgreSQL commit is durable at once.
        QCOMPARE(m_service->storage().hasUndurableWrites(), m_service->backend() == TestBackend::sqlite);
        QTRY_COMPARE_WITH_TIMEOUT(undurableAtArrival.size(), 1, deliveryMs);
        QCOMPARE(undurableAtArrival, QList<bool>{false});
    }

    void feedSocketsPerAddressAreCapped() {
        FeedLimits limits;
        limits.maxSocketsPerAddress = 2;
        m_service->server().setFeedLimits(limits);
        auto first = connectFeed(m_token);
        auto second = connectFeed(m_token);
        QCOMPARE(m_service->server().feed().socketCount(), 2);
        RawConnection third(m_service->port());
        third.send(eventsHandshake("Bearer " + m_token));
        const auto refused = third.nextAnswer(10'000);
        QVERIFY(refused);
        QCOMPARE(refused->status, 503);
        QVERIFY(refused->body.startsWith("{\"error\":\""));

        // A socket that ends gives its place back.
        first.reset();
        QTRY_COMPARE_WITH_TIMEOUT(m_service->server().feed().connectionCount(), 1, 10'000);
        auto again = connectFeed(m_token);
        QCOMPARE(again->texts().size(), 1);
    }

    void theDocumentationDescribesTheFeed() {
        const QString page = QString::fromUtf8(probe(m_network, "GET", url(u"/docs"_s)).body);
        for (const QString& part : {u"ws://127.0.0.1:%1/api/events"_s.arg(m_service->port()), u"\"type\":\"hello\""_s,
                                    u"task_id"_s, u"4401"_s, u"4408"_s, u"1001"_s, u"If-None-Match"_s, u"304"_s})
            QVERIFY2(page.contains(part), qPrintable(part));
    }

    void stoppingTheServerSaysGoingAway() {
        auto client = connectFeed(m_token);
        QVERIFY(!client->isClosed());
        m_service->stop();
        QTRY_VERIFY_WITH_TIMEOUT(client->isClosed(), 10'000);
        QCOMPARE(client->closeCode(), 1001);
        QCOMPARE(client->closeReason(), u"Сервер остановлен"_s);
    }
};

QTEST_GUILESS_MAIN(tst_EventFeed)
#include "tst_EventFeed.moc"
