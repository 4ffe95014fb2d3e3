#include "APIService.h"
#include "Await.h"
#include "ChangeFeed.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"

#include <QCryptographicHash>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// A feed that speaks WebSocket by hand: it completes the handshake, sends the given text messages
// (first the hello), and from then on says nothing, not even a pong.
class SilentFeed final : public QObject {
public:
    explicit SilentFeed(QList<QByteArray> messages)
        : m_messages(std::move(messages)) {
        m_server.listen(QHostAddress::LocalHost, 0);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* socket = m_server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { read(socket); });
        });
    }
    QString base() const { return u"http://127.0.0.1:%1"_s.arg(m_server.serverPort()); }
    // Bytes the client sent after the handshake (its pings among them).
    qint64 heardAfterHandshake() const { return m_heard; }

private:
    void read(QTcpSocket* socket) {
        if (m_upgraded) {
            m_heard += socket->readAll().size();
            return;
        }
        m_request += socket->readAll();
        if (!m_request.contains("\r\n\r\n"))
            return;
        QByteArray key;
        for (const QByteArray& line : m_request.split('\n')) {
            if (line.toLower().startsWith("sec-websocket-key:"))
                key = line.mid(line.indexOf(':') + 1).trimmed();
        }
        const QByteArray accept =
            QCryptographicHash::hash(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11", QCryptographicHash::Sha1).toBase64();
        socket->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                      "Sec-WebSocket-Accept: " +
                      accept + "\r\n\r\n");
        for (const QByteArray& message : std::as_const(m_messages))
            socket->write(QByteArray(1, char(0x81)) + char(message.size()) + message);
        m_upgraded = true;
    }

    QTcpServer m_server;
    QList<QByteArray> m_messages;
    QByteArray m_request;
    bool m_upgraded = false;
    qint64 m_heard = 0;
};

} // namespace

// The change feed as the client holds it: against the real local service, a service without a feed,
// nothing at all, and a peer that falls silent.
class tst_ChangeFeed final : public QObject {
    Q_OBJECT

private:
    QNetworkAccessManager m_network;

    static MemoryStore storeWith(const QByteArray& token) {
        MemoryStore store;
        store.setText(u"vexo_token"_s, QString::fromUtf8(token));
        return store;
    }

private Q_SLOTS:
    void eventsUrl_data() {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("url");
        QTest::newRow("http") << u"http://127.0.0.1:8765"_s << u"ws://127.0.0.1:8765/api/events"_s;
        QTest::newRow("https") << u"https://tasks.example.org"_s << u"wss://tasks.example.org/api/events"_s;
        QTest::newRow("HTTPS in capitals") << u"HTTPS://tasks.example.org"_s << u"wss://tasks.example.org/api/events"_s;
        QTest::newRow("under a path") << u"https://example.org/vexo"_s << u"wss://example.org/vexo/api/events"_s;
    }
    void eventsUrl() {
        QFETCH(QString, base);
        QFETCH(QString, url);
        QCOMPARE(ChangeFeed::eventsUrl(base).toString(), url);
    }

    void opensWithTheSessionAndHearsEveryChange() {
        LocalService service;
        service.addUser(u"1"_s);
        const QByteArray token = service.signIn(u"1"_s);
        MemoryStore store = storeWith(token);
        APIService api(service.baseUrl(), m_network, store);
        ChangeFeed feed(service.baseUrl(), m_network);
        QSignalSpy opened(&feed, &ChangeFeed::opened);
        QSignalSpy changed(&feed, &ChangeFeed::changed);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(QString::fromUtf8(token));
        QVERIFY(feed.isOpening());
        QTRY_COMPARE(opened.size(), 1);
        QVERIFY(feed.isOpen());
        const qint64 hello = opened.first().first().toLongLong();

        const VexoTask task = vexo::test::await(api.createTask(u"Новая"_s, TaskPriority::high, {}, {})).task;
        QTRY_COMPARE(changed.size(), 1);
        const auto change = changed.first().first().value<FeedChange>();
        QCOMPARE(change.kind, u"task"_s);
        QCOMPARE(change.op, u"created"_s);
        QCOMPARE(change.id, task.id);
        QVERIFY(change.revision > hello);
        QCOMPARE(feed.revision(), change.revision);
        QCOMPARE(ended.size(), 0);
    }

    void aSessionTheServiceTurnsAwayIsRefused() {
        LocalService service;
        service.addUser(u"1"_s);
        const QString token = u"not-a-session"_s;
        ChangeFeed feed(service.baseUrl(), m_network);
        QSignalSpy opened(&feed, &ChangeFeed::opened);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(token);
        QTRY_COMPARE(ended.size(), 1);
        QCOMPARE(ended.first().at(0).value<ChangeFeed::Ending>(), ChangeFeed::Ending::refused);
        QCOMPARE(ended.first().at(1).toInt(), 4401);
        QCOMPARE(opened.size(), 0);
        QVERIFY(!feed.isOpen() && !feed.isOpening());
    }

    void noTokenIsRefusedWithoutAConnection() {
        ScriptedServer server;
        QVERIFY(server.listen());
        ChangeFeed feed(server.baseUrl(), m_network);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(QString());
        QCOMPARE(ended.size(), 1);
        QCOMPARE(ended.first().at(0).value<ChangeFeed::Ending>(), ChangeFeed::Ending::refused);
        QTest::qWait(100);
        QCOMPARE(server.requests().size(), 0);
    }

    void aServiceWithoutTheFeedIsUnavailable_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("keepAlive");
        QTest::newRow("404, a service that has none") << 404 << false;
        QTest::newRow("400, a plain answer") << 400 << false;
        QTest::newRow("503, full") << 503 << false;
        QTest::newRow("200, not a switch") << 200 << false;
        QTest::newRow("404 on a connection kept open") << 404 << true;
        QTest::newRow("503 on a connection kept open") << 503 << true;
    }
    void aServiceWithoutTheFeedIsUnavailable() {
        QFETCH(int, status);
        QFETCH(bool, keepAlive);
        ScriptedServer server;
        QVERIFY(server.listen());
        ScriptedReply reply = ScriptedReply::json(status, R"({"error":"Not found"})");
        reply.keepAlive = keepAlive;
        server.setDefaultReply(reply);
        const QString token = u"token"_s;
        ChangeFeed feed(server.baseUrl(), m_network);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(token);
        QTRY_COMPARE(ended.size(), 1);
        QCOMPARE(ended.first().at(0).value<ChangeFeed::Ending>(), ChangeFeed::Ending::unavailable);
        // It asked the right place, with the session's token.
        QCOMPARE(server.requests().size(), 1);
        QCOMPARE(server.requests().first().target, QByteArray("/api/events"));
        QCOMPARE(server.requests().first().header("authorization"), QByteArray("Bearer token"));
        QCOMPARE(server.requests().first().header("upgrade").toLower(), QByteArray("websocket"));
    }

    void nothingListeningIsUnreachable() {
        quint16 port = 0;
        {
            QTcpServer probe;
            QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
            port = probe.serverPort();
        }
        const QString token = u"token"_s;
        ChangeFeed feed(u"http://127.0.0.1:%1"_s.arg(port), m_network);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(token);
        QTRY_COMPARE(ended.size(), 1);
        QCOMPARE(ended.first().at(0).value<ChangeFeed::Ending>(), ChangeFeed::Ending::unreachable);
    }

    void aHandshakeWithoutAnswerTimesOut() {
        ScriptedServer server;
        QVERIFY(server.listen());
        server.setDefaultReply(ScriptedReply::neverAnswer());
        const QString token = u"token"_s;
        ChangeFeed feed(server.baseUrl(), m_network);
        feed.setOpenTimeout(std::chrono::milliseconds(300));
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(token);
        QTRY_COMPARE(ended.size(), 1);
        QCOMPARE(ended.first().at(0).value<ChangeFeed::Ending>(), ChangeFeed::Ending::unreachable);
        QVERIFY(!feed.isOpening());
    }

    void aServiceThatStopsDropsTheFeed() {
        LocalService service;
        service.addUser(u"1"_s);
        const QString token = QString::fromUtf8(service.signIn(u"1"_s));
        ChangeFeed feed(service.baseUrl(), m_network);
        QSignalSpy opened(&feed, &ChangeFeed::opened);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(token);
        QTRY_COMPARE(opened.size(), 1);
        service.stop();
        QTRY_COMPARE(ended.size(), 1);
        QCOMPARE(ended.first().at(0).value<ChangeFeed::Ending>(), ChangeFeed::Ending::dropped);
        QCOMPARE(ended.first().at(1).toInt(), 1001);
        QVERIFY(!feed.isOpen());
    }

    void aPeerThatFallsSilentIsDropped() {
        SilentFeed peer({R"({"type":"hello","rev":3})"});
        const QString token = u"token"_s;
        ChangeFeed feed(peer.base(), m_network);
        feed.setKeepAlive(std::chrono::milliseconds(200));
        QSignalSpy opened(&feed, &ChangeFeed::opened);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(token);
        QTRY_COMPARE(opened.size(), 1);
        QCOMPARE(opened.first().first().toLongLong(), 3);
        // It pinged, heard nothing, and gave up.
        QTRY_COMPARE(ended.size(), 1);
        QCOMPARE(ended.first().at(0).value<ChangeFeed::Ending>(), ChangeFeed::Ending::dropped);
        QVERIFY(peer.heardAfterHandshake() > 0);
    }

    void messagesItCannotReadAreSkipped() {
        SilentFeed peer({R"({"type":"change","kind":"task","op":"created","id":1,"rev":1})",
                         R"({"type":"hello","rev":4})", "not json", R"({"type":"change","op":"created","id":8})",
                         R"({"type":"surprise"})",
                         R"({"type":"change","kind":"attachment","op":"deleted","id":9,"task_id":5,"rev":6})"});
        const QString token = u"token"_s;
        ChangeFeed feed(peer.base(), m_network);
        QSignalSpy opened(&feed, &ChangeFeed::opened);
        QSignalSpy changed(&feed, &ChangeFeed::changed);
        feed.open(token);
        QTRY_COMPARE(changed.size(), 1);
        QCOMPARE(opened.size(), 1);
        QCOMPARE(opened.first().first().toLongLong(), 4);
        QCOMPARE(changed.first().first().value<FeedChange>(), (FeedChange{u"attachment"_s, u"deleted"_s, 9, 5, 6}));
        QTest::qWait(100);
        QCOMPARE(changed.size(), 1);
    }

    void closingIsQuietAndItOpensAgain() {
        LocalService service;
        service.addUser(u"1"_s);
        const QString token = QString::fromUtf8(service.signIn(u"1"_s));
        ChangeFeed feed(service.baseUrl(), m_network);
        QSignalSpy opened(&feed, &ChangeFeed::opened);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.open(token);
        QTRY_COMPARE(opened.size(), 1);
        feed.close();
        QVERIFY(!feed.isOpen() && !feed.isOpening());
        QTRY_COMPARE(service.server().feed().socketCount(), 0);
        feed.open(token);
        QTRY_COMPARE(opened.size(), 2);
        QCOMPARE(ended.size(), 0);
        QCOMPARE(service.server().feed().socketCount(), 1);
    }

    // Held, it connects nothing until let go, then opens with the last token it was given; a close
    // meanwhile forgets the token.
    void heldItOpensOnlyWhenLetGo() {
        LocalService service;
        service.addUser(u"1"_s);
        const QString token = QString::fromUtf8(service.signIn(u"1"_s));
        ChangeFeed feed(service.baseUrl(), m_network);
        QSignalSpy opened(&feed, &ChangeFeed::opened);
        QSignalSpy ended(&feed, &ChangeFeed::ended);
        feed.hold();
        feed.open(token);
        QVERIFY(feed.isOpening());
        QTest::qWait(200);
        QCOMPARE(service.server().feed().socketCount(), 0);
        QCOMPARE(opened.size(), 0);
        feed.close();
        QVERIFY(!feed.isOpening());
        feed.letGo();
        QTest::qWait(200);
        QCOMPARE(service.server().feed().socketCount(), 0);

        feed.hold();
        feed.open(token);
        feed.letGo();
        QTRY_COMPARE(opened.size(), 1);
        QCOMPARE(service.server().feed().socketCount(), 1);
        QCOMPARE(ended.size(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_ChangeFeed)
#include "tst_ChangeFeed.moc"
