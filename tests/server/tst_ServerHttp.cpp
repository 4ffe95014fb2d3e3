#include "HttpProbe.h"
#include "HttpServer.h"
#include "LocalService.h"
#include "Secrets.h"

#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QStringList g_logLines;

void keepLogLine(QtMsgType, const QMessageLogContext& context, const QString& message) {
    g_logLines << QString::fromLatin1(context.category) + u": "_s + message;
}

// Takes over requests to /events, as a WebSocket server would; answers everything else with {}.
class UpgradeTaker final : public HttpHandler {
public:
    Admission admit(HttpRequest&) override { return {std::nullopt, 0}; }
    HttpReply respond(HttpRequest&) override { return HttpReply::json("{}"); }
    bool upgrade(const HttpRequest& request, QTcpSocket* socket) override {
        if (request.rawPath() != "/events")
            return false;
        taken.reset(socket);
        return true;
    }
    std::unique_ptr<QTcpSocket> taken;
};

} // namespace

// The connection layer under attack over loopback: bodies it must refuse before reading them,
// clients that trickle or fall silent, more connections than one address may hold, oversized
// headers and framing two readers could disagree about.
class tst_ServerHttp final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    QByteArray m_token = "test-session-token-for-raw-requests";
    qint64 m_userId = 0;
    qint64 m_taskId = 0;

    // A fresh service with these limits and one signed-in user who has one task.
    // Opens `count` connections that are each served once and stay open.
    bool holdServedConnections(int count, std::vector<std::unique_ptr<RawConnection>>& held) {
        for (int i = 0; i < count; ++i) {
            held.push_back(std::make_unique<RawConnection>(m_service->port()));
            held.back()->send(request("GET", "/api/folders"));
            const auto answer = held.back()->nextAnswer(10'000);
            if (!answer || answer->status != 200)
                return false;
        }
        return true;
    }

    void start(const HttpLimits& limits = HttpLimits()) {
        m_service = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC), limits);
        m_service->addUser(u"1"_s);
        m_userId = m_service->userId(u"1"_s);
        // The same token in every service, so that the data tables can carry it.
        const QString token = u"test-session-token-for-raw-requests"_s;
        m_service->storage().addSession(m_userId, Secrets::hash(token), u"2025-03-05T12:00:00.000Z"_s);
        m_token = token.toUtf8();
        NewTask task;
        task.title = u"Первая"_s;
        task.source = u"app"_s;
        m_taskId = m_service->storage().insertTask(m_userId, task, false, u"2025-03-05T12:00:00.000Z"_s).id;
    }

    qsizetype taskCount() { return m_service->storage().tasks(m_userId, TaskFilter{}).size(); }

    QByteArray auth() const { return "Authorization: Bearer " + m_token + "\r\n"; }

    // A signed-in request with a Content-Length body.
    QByteArray request(const QByteArray& method, const QByteArray& target, const QByteArray& body = {},
                       const QByteArray& extraFields = {}) const {
        QByteArray bytes = method + ' ' + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + auth() + extraFields;
        if (!body.isEmpty() || method == "POST" || method == "PUT")
            bytes += "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n";
        return bytes + "\r\n" + body;
    }

    static QByteArray chunk(const QByteArray& data) {
        return QByteArray::number(data.size(), 16) + "\r\n" + data + "\r\n";
    }

private Q_SLOTS:
    void init() { start(); }
    void cleanup() { m_service.reset(); }

    // The answer comes from the header alone: not one byte of the body is sent.
    void bodyIsRefusedFromItsDeclaredLength_data() {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<qint64>("length");
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<int>("status");
        QTest::newRow("task, 256 MB") << QByteArray("/api/tasks") << (qint64(256) << 20) << true << 413;
        QTest::newRow("task, 1 MB + 1") << QByteArray("/api/tasks") << qint64((1 << 20) + 1) << true << 413;
        QTest::newRow("attachment, 10 MB + 1")
            << QByteArray("/api/tasks/%1/attachments?filename=a.bin") << qint64((10 << 20) + 1) << true << 413;
        QTest::newRow("task, 256 MB, not signed in") << QByteArray("/api/tasks") << (qint64(256) << 20) << false << 401;
        QTest::newRow("sign-in, 256 MB") << QByteArray("/api/auth/verify") << (qint64(256) << 20) << false << 413;
        QTest::newRow("unknown path, 256 MB") << QByteArray("/api/nothing") << (qint64(256) << 20) << true << 404;
    }

    void bodyIsRefusedFromItsDeclaredLength() {
        QFETCH(QByteArray, target);
        QFETCH(qint64, length);
        QFETCH(bool, signedIn);
        QFETCH(int, status);
        RawConnection connection(m_service->port());
        connection.send("POST " + target.replace("%1", QByteArray::number(m_taskId)) +
                        " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + (signedIn ? auth() : QByteArray()) +
                        "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(length) + "\r\n\r\n");
        const auto answer = connection.nextAnswer(10'000);
        QVERIFY2(answer, "no answer before the body");
        QCOMPARE(answer->status, status);
        QCOMPARE(answer->header("connection"), QByteArray("close"));
        QVERIFY(connection.waitForClose(10'000));
        QCOMPARE(taskCount(), 1);
    }

    void chunkedBodyIsCountedAsItArrives() {
        RawConnection connection(m_service->port());
        connection.send("POST /api/tasks HTTP/1.1\r\nHost: 127.0.0.1\r\n" + auth() +
                        "Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n");
        const QByteArray piece(256 * 1024, ' ');
        std::optional<RawAnswer> answer;
        int sent = 0;
        // 1 MB is the limit: the answer must come by the fifth piece, long before any last chunk.
        for (; sent < 8 && !answer; ++sent) {
            connection.send(chunk(piece));
            answer = connection.nextAnswer(sent < 4 ? 200 : 5'000);
        }
        QVERIFY2(answer, "no answer to a chunked body above the limit");
        QCOMPARE(answer->status, 413);
        QVERIFY(sent >= 4 && sent <= 5);
        QVERIFY(connection.waitForClose(10'000));
        QCOMPARE(taskCount(), 1);
    }

    void chunkedBodyIsServed() {
        RawConnection connection(m_service->port());
        connection.send("POST /api/tasks HTTP/1.1\r\nHost: 127.0.0.1\r\n" + auth() +
                        "Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n" + "7;part=1\r\n" +
                        "{\"title\r\n" + chunk("\":\"Частями\"}") + "0\r\nX-Checksum: none\r\n\r\n");
        const auto created = connection.nextAnswer(10'000);
        QVERIFY(created);
        QCOMPARE(created->status, 201);
        QVERIFY(created->body.contains("Частями"));
        // The connection is kept for the next request.
        connection.send(request("GET", "/api/tasks?archived=false"));
        const auto listed = connection.nextAnswer(10'000);
        QVERIFY(listed);
        QCOMPARE(listed->status, 200);
        QCOMPARE(taskCount(), 2);
    }

    void expectContinueIsAnswered() {
        const QByteArray body = "{\"title\":\"После 100\"}";
        RawConnection connection(m_service->port());
        connection.send("POST /api/tasks HTTP/1.1\r\nHost: 127.0.0.1\r\n" + auth() +
                        "Content-Type: application/json\r\nExpect: 100-continue\r\nContent-Length: " +
                        QByteArray::number(body.size()) + "\r\n\r\n");
        const auto interim = connection.nextAnswer(10'000);
        QVERIFY2(interim, "Expect: 100-continue was not answered");
        QCOMPARE(interim->status, 100);
        connection.send(body);
        const auto created = connection.nextAnswer(10'000);
        QVERIFY(created);
        QCOMPARE(created->status, 201);
        QCOMPARE(taskCount(), 2);
    }

    void expectContinueIsNotSentToARefusedBody_data() {
        QTest::addColumn<QByteArray>("fields");
        QTest::addColumn<int>("status");
        QTest::newRow("too large") << QByteArray(auth() + "Expect: 100-continue\r\nContent-Length: 2000000\r\n") << 413;
        QTest::newRow("not signed in") << QByteArray("Expect: 100-continue\r\nContent-Length: 20\r\n") << 401;
        QTest::newRow("unknown expectation") << QByteArray(auth() + "Expect: 200-ok\r\nContent-Length: 20\r\n") << 417;
    }

    void expectContinueIsNotSentToARefusedBody() {
        QFETCH(QByteArray, fields);
        QFETCH(int, status);
        RawConnection connection(m_service->port());
        connection.send("POST /api/tasks HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n" + fields +
                        "\r\n");
        const auto answer = connection.nextAnswer(10'000);
        QVERIFY(answer);
        QCOMPARE(answer->status, status);
        QVERIFY(connection.waitForClose(10'000));
    }

    void tricklingHeaderTimesOut() {
        HttpLimits limits;
        limits.headerTimeoutMs = 300;
        start(limits);
        RawConnection connection(m_service->port());
        connection.send("GET /api/tasks?archived=false HTTP/1.1\r\n");
        // One field every 50 ms keeps the connection busy, never idle; only the header time-out can end it.
        for (int i = 0; i < 60 && !connection.isClosed(); ++i) {
            connection.send("X-Slow-" + QByteArray::number(i) + ": 1\r\n");
            connection.waitFor([] { return false; }, 50);
        }
        QVERIFY2(connection.isClosed(), "a trickling header was held for 3 s");
        QVERIFY(connection.received().startsWith("HTTP/1.1 408 "));
    }

    void silentConnectionIsClosed() {
        HttpLimits limits;
        limits.idleTimeoutMs = 300;
        start(limits);
        RawConnection connection(m_service->port());
        QVERIFY(connection.isConnected());
        QVERIFY2(connection.waitForClose(5'000), "a silent connection was held for 5 s");
        QVERIFY(connection.received().isEmpty());
    }

    void idleKeptAliveConnectionIsClosed() {
        HttpLimits limits;
        limits.idleTimeoutMs = 300;
        start(limits);
        RawConnection connection(m_service->port());
        connection.send(request("GET", "/api/tasks?archived=false"));
        const auto answer = connection.nextAnswer(10'000);
        QVERIFY(answer);
        QCOMPARE(answer->status, 200);
        QVERIFY(connection.waitForClose(5'000));
    }

    void slowBodyTimesOut() {
        HttpLimits limits;
        limits.bodyTimeoutMs = 300;
        start(limits);
        RawConnection connection(m_service->port());
        connection.send("POST /api/tasks HTTP/1.1\r\nHost: 127.0.0.1\r\n" + auth() +
                        "Content-Type: application/json\r\nContent-Length: 100\r\n\r\n{\"title\":");
        for (int i = 0; i < 60 && !connection.isClosed(); ++i) {
            connection.send(" ");
            connection.waitFor([] { return false; }, 50);
        }
        QVERIFY2(connection.isClosed(), "a trickling body was held for 3 s");
        QVERIFY(connection.received().startsWith("HTTP/1.1 408 "));
        QCOMPARE(taskCount(), 1);
    }

    void connectionsPerAddressAreCapped() {
        HttpLimits limits;
        limits.maxConnectionsPerAddress = 3;
        start(limits);
        std::vector<std::unique_ptr<RawConnection>> held;
        QVERIFY(holdServedConnections(3, held));
        RawConnection fourth(m_service->port());
        const auto refused = fourth.nextAnswer(10'000);
        QVERIFY2(refused, "a fourth connection from one address was accepted");
        QCOMPARE(refused->status, 503);
        QVERIFY(fourth.waitForClose(10'000));

        // A connection that ends gives its place back.
        held.front().reset();
        std::optional<RawAnswer> answer;
        for (int attempt = 0; attempt < 50 && (!answer || answer->status != 200); ++attempt) {
            RawConnection again(m_service->port());
            again.send(request("GET", "/api/folders"));
            answer = again.nextAnswer(10'000);
        }
        QVERIFY(answer);
        QCOMPARE(answer->status, 200);
    }

    // The cap on connections in all holds even when every one comes from an address still under its
    // own cap.
    void connectionsInAllAreCapped() {
        HttpLimits limits;
        limits.maxConnections = 3;
        start(limits);
        std::vector<std::unique_ptr<RawConnection>> held;
        QVERIFY(holdServedConnections(3, held));
        RawConnection fourth(m_service->port());
        const auto refused = fourth.nextAnswer(10'000);
        QVERIFY2(refused, "a connection over the cap in all was accepted");
        QCOMPARE(refused->status, 503);
        QVERIFY(fourth.waitForClose(10'000));
    }

    void headerLimits_data() {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<int>("status");
        const QByteArray start = "GET /api/tasks?archived=false HTTP/1.1\r\nHost: 127.0.0.1\r\n" + auth();
        QTest::newRow("15 KB of fields") << QByteArray(start + "X-Pad: " + QByteArray(15 * 1024, 'a') + "\r\n\r\n")
                                         << 200;
        QTest::newRow("17 KB of fields") << QByteArray(start + "X-Pad: " + QByteArray(17 * 1024, 'a') + "\r\n\r\n")
                                         << 431;
        QTest::newRow("8 MB field") << QByteArray(start + "X-Pad: " + QByteArray(8 << 20, 'a') + "\r\n\r\n") << 431;
        QByteArray many = start;
        for (int i = 0; i < 101; ++i)
            many += "X-F" + QByteArray::number(i) + ": 1\r\n";
        QTest::newRow("101 fields") << QByteArray(many + "\r\n") << 431;
        QTest::newRow("17 KB request line")
            << QByteArray("GET /api/tasks?x=" + QByteArray(17 * 1024, 'a') + " HTTP/1.1\r\nHost: a\r\n\r\n") << 414;
    }

    void headerLimits() {
        QFETCH(QByteArray, head);
        QFETCH(int, status);
        RawConnection connection(m_service->port());
        connection.send(head);
        const auto answer = connection.nextAnswer(20'000);
        QVERIFY(answer);
        QCOMPARE(answer->status, status);
    }

    // Each request carries a body that would create a task; only its framing is wrong.
    void strictFraming_data() {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<int>("status");
        const QByteArray body = "{\"title\":\"Контрабанда\"}";
        const QByteArray length = QByteArray::number(body.size());
        const QByteArray fields = "Host: 127.0.0.1\r\n" + auth() + "Content-Type: application/json\r\n";
        const auto row = [&](const char* name, const QByteArray& head, int status) {
            QTest::newRow(name) << QByteArray(head + "\r\n" + body) << status;
        };
        const QByteArray post = "POST /api/tasks HTTP/1.1\r\n";
        row("duplicate Content-Length",
            post + fields + "Content-Length: " + length + "\r\nContent-Length: " + length + "\r\n", 400);
        row("conflicting Content-Length", post + fields + "Content-Length: " + length + "\r\nContent-Length: 5\r\n",
            400);
        row("Content-Length list", post + fields + "Content-Length: " + length + ", " + length + "\r\n", 400);
        row("negative Content-Length", post + fields + "Content-Length: -" + length + "\r\n", 400);
        row("signed Content-Length", post + fields + "Content-Length: +" + length + "\r\n", 400);
        row("Content-Length and chunked",
            post + fields + "Content-Length: " + length + "\r\nTransfer-Encoding: chunked\r\n", 400);
        row("unknown transfer coding", post + fields + "Transfer-Encoding: gzip\r\n", 400);
        row("chunked after another coding", post + fields + "Transfer-Encoding: gzip, chunked\r\n", 400);
        row("HTTP/9.9", "POST /api/tasks HTTP/9.9\r\n" + fields + "Content-Length: " + length + "\r\n", 400);
        row("HTTP/2.0", "POST /api/tasks HTTP/2.0\r\n" + fields + "Content-Length: " + length + "\r\n", 400);
        row("HTTP/0.9", "POST /api/tasks HTTP/0.9\r\n" + fields + "Content-Length: " + length + "\r\n", 400);
        row("lower-case version", "POST /api/tasks http/1.1\r\n" + fields + "Content-Length: " + length + "\r\n", 400);
        row("version without minor", "POST /api/tasks HTTP/1\r\n" + fields + "Content-Length: " + length + "\r\n", 400);
        row("absolute target",
            "POST http://127.0.0.1/api/tasks HTTP/1.1\r\n" + fields + "Content-Length: " + length + "\r\n", 400);
        row("two spaces in the request line",
            "POST  /api/tasks HTTP/1.1\r\n" + fields + "Content-Length: " + length + "\r\n", 400);
        row("no Host", post + auth() + "Content-Type: application/json\r\nContent-Length: " + length + "\r\n", 400);
        row("two Hosts", post + "Host: a\r\n" + fields + "Content-Length: " + length + "\r\n", 400);
        row("space before the colon", post + fields + "Content-Length : " + length + "\r\n", 400);
        row("folded field", post + fields + "X-Note: a\r\n b\r\nContent-Length: " + length + "\r\n", 400);
        row("NUL in a value",
            post + fields + "X-Note: a" + QByteArray(1, '\0') + "b\r\nContent-Length: " + length + "\r\n", 400);
        row("bare LF line ends", QByteArray(post + fields + "Content-Length: " + length + "\r\n").replace("\r\n", "\n"),
            400);
    }

    // A malformed request is the client's fault: never a 5xx, which an outside check counts as a fault of ours.
    void strictFraming() {
        QFETCH(QByteArray, head);
        QFETCH(int, status);
        RawConnection connection(m_service->port());
        connection.send(head);
        const auto answer = connection.nextAnswer(10'000);
        QVERIFY2(answer, connection.received().left(200).constData());
        QCOMPARE(answer->status, status);
        QVERIFY(answer->body.startsWith("{\"error\":\""));
        QVERIFY(connection.waitForClose(10'000));
        QCOMPARE(taskCount(), 1);
    }

    // A later HTTP/1 minor version is served as HTTP/1.1: same framing, same rules, the answer in 1.1.
    void laterMinorVersionIsServedAsHttp11_data() {
        QTest::addColumn<QByteArray>("version");
        QTest::newRow("HTTP/1.2") << QByteArray("HTTP/1.2");
        QTest::newRow("HTTP/1.9") << QByteArray("HTTP/1.9");
    }

    void laterMinorVersionIsServedAsHttp11() {
        QFETCH(QByteArray, version);
        const QByteArray body = "{\"title\":\"Из будущего\"}";
        RawConnection connection(m_service->port());
        connection.send("POST /api/tasks " + version + "\r\nHost: 127.0.0.1\r\n" + auth() +
                        "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) +
                        "\r\n\r\n" + body + "GET /api/folders " + version + "\r\n" + auth() + "\r\n");
        const auto created = connection.nextAnswer(10'000);
        QVERIFY(created);
        QVERIFY(created->head.startsWith("HTTP/1.1 201 "));
        QCOMPARE(taskCount(), 2);
        // Kept alive as in 1.1, and Host is required as in 1.1.
        const auto refused = connection.nextAnswer(10'000);
        QVERIFY(refused);
        QCOMPARE(refused->status, 400);
        QVERIFY(refused->body.contains("Host"));
    }

    void pipelinedRequestsAreAnsweredInOrder() {
        RawConnection connection(m_service->port());
        connection.send(request("POST", "/api/tasks", "{\"title\":\"Вторая\"}") + request("GET", "/api/folders") +
                        request("GET", "/api/nothing"));
        const auto first = connection.nextAnswer(10'000);
        const auto second = connection.nextAnswer(10'000);
        const auto third = connection.nextAnswer(10'000);
        QVERIFY(first && second && third);
        QCOMPARE(first->status, 201);
        QCOMPARE(second->status, 200);
        QCOMPARE(second->body, QByteArray("{\"folders\":[]}"));
        QCOMPARE(third->status, 404);
        QVERIFY(!connection.isClosed());
    }

    // The hand-over for a protocol switch leaves the whole request in the socket for its new owner.
    void upgradeHandsOverTheUntouchedRequest() {
        UpgradeTaker taker;
        HttpServer server(taker);
        const quint16 port = server.listen(QHostAddress::LocalHost, 0);
        QVERIFY(port != 0);

        RawConnection plain(port);
        plain.send("GET /other HTTP/1.1\r\nHost: a\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\n");
        const auto answer = plain.nextAnswer(10'000);
        QVERIFY(answer);
        QCOMPARE(answer->body, QByteArray("{}"));

        const QByteArray request = "GET /events HTTP/1.1\r\nHost: a\r\nConnection: keep-alive, Upgrade\r\n"
                                   "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n\r\n\x81\x80";
        RawConnection events(port);
        events.send(request);
        QVERIFY(events.waitFor([&] { return taker.taken && taker.taken->bytesAvailable() >= request.size(); }, 10'000));
        QCOMPARE(taker.taken->readAll(), request);
        QCOMPARE(server.connectionCount(), 1);
        QVERIFY(events.received().isEmpty());
    }

    // One line per request, with the path but neither the query (file names) nor any header (tokens, keys).
    void accessLogKeepsSecretsOut() {
        QLoggingCategory::setFilterRules(u"vexo.*=true"_s);
        g_logLines.clear();
        const QtMessageHandler previous = qInstallMessageHandler(keepLogLine);
        RawConnection connection(m_service->port());
        connection.send(request("GET", "/api/tasks?archived=false&folderId=77") +
                        request("POST", "/api/external/tasks", "{\"title\":\"x\"}", "X-Api-Key: secret-api-key\r\n") +
                        "GET /api/folders HTTP/9.9\r\nHost: a\r\n" + auth() + "\r\n");
        const bool answered = connection.waitForClose(10'000);
        qInstallMessageHandler(previous);
        QVERIFY(answered);
        QStringList access = g_logLines.filter(u"vexo.access: "_s);
        access.replaceInStrings(QRegularExpression(u" \\d+ ms$"_s), QString());
        QCOMPARE(access, (QStringList{u"vexo.access: GET /api/tasks 200"_s,
                                      u"vexo.access: POST /api/external/tasks 401"_s, u"vexo.access: - - 400"_s}));
        for (const QString& line : std::as_const(g_logLines)) {
            QVERIFY2(!line.contains(QString::fromUtf8(m_token)) && !line.contains(u"secret-api-key"_s) &&
                         !line.contains(u"folderId"_s),
                     qPrintable(line));
        }
    }

    void oldClientsAndHead() {
        RawConnection old(m_service->port());
        old.send("GET /api/folders HTTP/1.0\r\n" + auth() + "\r\n");
        const auto answer = old.nextAnswer(10'000);
        QVERIFY(answer);
        QCOMPARE(answer->status, 200);
        QVERIFY(old.waitForClose(10'000));

        RawConnection head(m_service->port());
        head.send("HEAD /api/folders HTTP/1.1\r\nHost: a\r\n" + auth() + "\r\n");
        QVERIFY(head.waitFor([&] { return head.received().contains("\r\n\r\n"); }, 10'000));
        head.waitFor([] { return false; }, 200);
        // No body follows the answer to HEAD, whatever its Content-Length says.
        QVERIFY(head.received().startsWith("HTTP/1.1 405 "));
        QVERIFY(head.received().endsWith("\r\n\r\n"));
    }

    // Behind a trusted reverse proxy every client has its own sign-in limit, taken from the last
    // address of X-Forwarded-For; from anyone else the field changes nothing.
    void aTrustedProxyNamesTheClient_data() {
        QTest::addColumn<bool>("trusted");
        QTest::newRow("through the trusted proxy") << true;
        QTest::newRow("the field from an untrusted peer") << false;
    }

    void aTrustedProxyNamesTheClient() {
        QFETCH(bool, trusted);
        HttpLimits limits;
        if (trusted)
            limits.trustedProxies = {QHostAddress(u"127.0.0.1"_s)};
        start(limits);
        const auto attempt = [&](int i, const QByteArray& forwarded) {
            RawConnection connection(m_service->port());
            // Keys that differ from their start, so that only the address is shared.
            const QByteArray body = "{\"key\":\"vexo-tasks-" + QByteArray::number(10'000 + i) + "abcdef\"}";
            connection.send("POST /api/auth/verify HTTP/1.1\r\nHost: 127.0.0.1\r\n" + forwarded +
                            "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) +
                            "\r\n\r\n" + body);
            const auto answer = connection.nextAnswer(10'000);
            return answer ? answer->status : 0;
        };
        // A client's own X-Forwarded-For comes first; the proxy adds the address it saw last.
        for (int i = 0; i < 10; ++i)
            QCOMPARE(attempt(i, "X-Forwarded-For: 10.9.9." + QByteArray::number(i) + ", 203.0.113.7\r\n"), 401);
        QCOMPARE(attempt(10, "X-Forwarded-For: 203.0.113.7\r\n"), 429);
        QCOMPARE(attempt(11, "X-Forwarded-For: 198.51.100.1\r\n"), trusted ? 401 : 429);
        QCOMPARE(attempt(12, "X-Forwarded-For: 203.0.113.9\r\nX-Forwarded-For: 198.51.100.2\r\n"), trusted ? 401 : 429);
    }

    // A trusted proxy carries many clients, so its connections are not capped per address.
    void aTrustedProxyIsNotCappedPerAddress() {
        HttpLimits limits;
        limits.maxConnectionsPerAddress = 2;
        limits.trustedProxies = {QHostAddress(u"127.0.0.1"_s)};
        start(limits);
        std::vector<std::unique_ptr<RawConnection>> held;
        for (int i = 0; i < 5; ++i) {
            held.push_back(std::make_unique<RawConnection>(m_service->port()));
            held.back()->send(request("GET", "/api/folders"));
            const auto answer = held.back()->nextAnswer(10'000);
            QVERIFY(answer);
            QCOMPARE(answer->status, 200);
        }
    }
};

QTEST_GUILESS_MAIN(tst_ServerHttp)
#include "tst_ServerHttp.moc"
