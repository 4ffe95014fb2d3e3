#include "APIError.h"
#include "APIService.h"
#include "Await.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "TransportError.h"

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(ScriptedReply)

namespace {

constexpr qint64 megabyte = 1024 * 1024;

struct Outcome {
    std::optional<TransportError> failure;
    qint64 elapsedMs = 0;
};

} // namespace

// A service that misbehaves on purpose: answers that never end, headers without end, bodies of a
// gigabyte. The client gives up within its time-out or its size limit, lets go of the connection at
// once, and goes on working. Generated answers are streamed, never held whole by the test.
class tst_HostileService final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    QNetworkAccessManager m_network;
    MemoryStore m_store;

    // Data answers and picture downloads share the one pipeline and its limits.
    static QCoro::Task<void> call(const APIService& api, const QString& which) {
        if (which == u"image")
            co_await api.fetchImage(api.avatarURL(u"42"_s));
        else
            co_await api.fetchFolders();
    }

    static Outcome outcomeOf(const APIService& api, const QString& which) {
        Outcome outcome;
        QElapsedTimer clock;
        clock.start();
        try {
            vexo::test::await(call(api, which));
        } catch (const TransportError& error) {
            outcome.failure = error;
        } catch (const APIError& error) {
            qWarning() << "unexpected" << error.errorDescription();
        }
        outcome.elapsedMs = clock.elapsed();
        return outcome;
    }

    // After any of it the same client still answers at once.
    void stillWorks(const APIService& api) {
        m_server.enqueue(ScriptedReply::json(200, R"({"folders":[]})"));
        QVERIFY(vexo::test::await(api.fetchFolders()).folders.isEmpty());
    }

    static void calls() {
        QTest::addColumn<QString>("which");
        QTest::newRow("data") << u"data"_s;
        QTest::newRow("image") << u"image"_s;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }
    void init() { m_server.setDefaultReply(ScriptedReply::json(200, "{}")); }

    void answerThatNeverEnds_data() { calls(); }

    // Bytes keep coming, so no idle time-out would ever fire: the time-out is for the whole transfer.
    void answerThatNeverEnds() {
        QFETCH(QString, which);
        m_server.enqueue(ScriptedReply::trickleForever(20));
        const APIService api(m_server.baseUrl(), m_network, m_store, std::chrono::milliseconds(400));
        const int closedBefore = m_server.closedByClient();
        const Outcome outcome = outcomeOf(api, which);
        QVERIFY(outcome.failure.has_value());
        QCOMPARE(outcome.failure->code(), QNetworkReply::TimeoutError);
        QCOMPARE(outcome.failure->errorDescription(), u"Сервер не ответил вовремя"_s);
        QVERIFY(outcome.elapsedMs >= 400);
        QVERIFY2(outcome.elapsedMs < 5000, "the time-out restarted with every byte");
        QTRY_COMPARE(m_server.closedByClient(), closedBefore + 1);
        stillWorks(api);
    }

    void headersWithoutEnd_data() {
        QTest::addColumn<QString>("which");
        QTest::addColumn<ScriptedReply>("reply");
        for (const QString& which : {u"data"_s, u"image"_s}) {
            QTest::newRow(qPrintable(which + u": lines without end"_s)) << which << ScriptedReply::endlessHeaderLines();
            QTest::newRow(qPrintable(which + u": a line without end"_s))
                << which << ScriptedReply::headerLineWithoutEnd();
        }
    }

    // Header lines as fast as the client takes them: refused at the header limit, long before the
    // time-out, and the connection is dropped, so nothing goes on reading in the background.
    void headersWithoutEnd() {
        QFETCH(QString, which);
        QFETCH(ScriptedReply, reply);
        m_server.enqueue(reply);
        const APIService api(m_server.baseUrl(), m_network, m_store, std::chrono::milliseconds(20'000));
        const int closedBefore = m_server.closedByClient();
        const qint64 sentBefore = m_server.bytesSent();
        const Outcome outcome = outcomeOf(api, which);
        QVERIFY(outcome.failure.has_value());
        QVERIFY(outcome.failure->isAnswerTooLarge());
        QCOMPARE(outcome.failure->errorDescription(), u"Ответ сервера слишком велик"_s);
        QVERIFY2(outcome.elapsedMs < 10'000, "waited for the time-out");
        QTRY_COMPARE(m_server.closedByClient(), closedBefore + 1);
        const qint64 sent = m_server.bytesSent() - sentBefore;
        QTest::qWait(200);
        QCOMPARE(m_server.bytesSent() - sentBefore, sent);
        QVERIFY2(sent < 16 * megabyte, QByteArray::number(sent).constData());
        stillWorks(api);
    }

    void headersTrickledWithoutEnd_data() { calls(); }

    // Header lines slow enough to stay under the limit: the time-out ends them.
    void headersTrickledWithoutEnd() {
        QFETCH(QString, which);
        m_server.enqueue(ScriptedReply::endlessHeaderLines(10));
        const APIService api(m_server.baseUrl(), m_network, m_store, std::chrono::milliseconds(400));
        const Outcome outcome = outcomeOf(api, which);
        QVERIFY(outcome.failure.has_value());
        QCOMPARE(outcome.failure->code(), QNetworkReply::TimeoutError);
        QVERIFY(outcome.elapsedMs >= 400 && outcome.elapsedMs < 5000);
        stillWorks(api);
    }

    void gigabyteDeclared_data() { calls(); }

    // With the product's own limit: a declared gigabyte is refused before any of it is read.
    void gigabyteDeclared() {
        QFETCH(QString, which);
        m_server.enqueue(ScriptedReply::hugeBody(1024 * megabyte, ScriptedReply::endless));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        const int closedBefore = m_server.closedByClient();
        const qint64 sentBefore = m_server.bytesSent();
        const Outcome outcome = outcomeOf(api, which);
        QVERIFY(outcome.failure.has_value());
        QVERIFY(outcome.failure->isAnswerTooLarge());
        QTRY_COMPARE(m_server.closedByClient(), closedBefore + 1);
        QVERIFY(m_server.bytesSent() - sentBefore < 64 * megabyte);
        stillWorks(api);
    }

    void justOverTheLimitDeclared() {
        m_server.enqueue(ScriptedReply::hugeBody(APIService::defaultMaxAnswerBytes + 1, ScriptedReply::endless));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        const Outcome outcome = outcomeOf(api, u"data"_s);
        QVERIFY(outcome.failure && outcome.failure->isAnswerTooLarge());
    }

    void streamedWithoutLength_data() { calls(); }

    // No length declared, a gigabyte streamed: refused once more than the limit has arrived.
    void streamedWithoutLength() {
        QFETCH(QString, which);
        m_server.enqueue(ScriptedReply::hugeBody(ScriptedReply::noLength, 1024 * megabyte));
        const APIService api(m_server.baseUrl(), m_network, m_store, std::chrono::milliseconds(20'000), 2 * megabyte);
        const int closedBefore = m_server.closedByClient();
        const qint64 sentBefore = m_server.bytesSent();
        const Outcome outcome = outcomeOf(api, which);
        QVERIFY(outcome.failure.has_value());
        QVERIFY(outcome.failure->isAnswerTooLarge());
        QTRY_COMPARE(m_server.closedByClient(), closedBefore + 1);
        const qint64 sent = m_server.bytesSent() - sentBefore;
        QVERIFY2(sent >= 2 * megabyte && sent < 32 * megabyte, QByteArray::number(sent).constData());
        stillWorks(api);
    }

    void chunkOfAGigabyte() {
        ScriptedReply reply = ScriptedReply::verbatimAnswer(
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n40000000\r\n" + QByteArray(4096, ' '));
        reply.fillerBytes = ScriptedReply::endless;
        m_server.enqueue(reply);
        const APIService api(m_server.baseUrl(), m_network, m_store);
        const Outcome outcome = outcomeOf(api, u"data"_s);
        QVERIFY(outcome.failure && outcome.failure->isAnswerTooLarge());
        stillWorks(api);
    }

    // An answer of exactly the limit is taken.
    void answerAtTheLimitIsTaken() {
        const QByteArray body = R"({"folders":[]})" + QByteArray(64 * 1024 - 14, ' ');
        QCOMPARE(body.size(), 64 * 1024);
        m_server.enqueue(ScriptedReply::json(200, body));
        const APIService api(m_server.baseUrl(), m_network, m_store, APIService::defaultTimeout, body.size());
        QVERIFY(vexo::test::await(api.fetchFolders()).folders.isEmpty());
        m_server.enqueue(ScriptedReply::json(200, body + ' '));
        const Outcome over = outcomeOf(api, u"data"_s);
        QVERIFY(over.failure && over.failure->isAnswerTooLarge());
    }

    void productLimits() {
        QCOMPARE(APIService::defaultMaxAnswerBytes, 256 * megabyte);
        QCOMPARE(APIService::defaultTimeout, std::chrono::milliseconds(30'000));
    }
};

QTEST_GUILESS_MAIN(tst_HostileService)
#include "tst_HostileService.moc"
