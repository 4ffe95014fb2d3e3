#include "APIError.h"
#include "APIService.h"
#include "Await.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "TransportError.h"

#include <QCoroTask>
#include <QNetworkAccessManager>
#include <QTcpServer>
#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(ScriptedReply)

// How every failure of a call reaches the caller: APIError for what the service said, TransportError
// for what the connection did.
class tst_APIServiceErrors final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    QNetworkAccessManager m_network;
    MemoryStore m_store;

    template <class T> static std::optional<APIError> apiErrorOf(QCoro::Task<T> task) {
        try {
            vexo::test::await(std::move(task));
        } catch (const APIError& error) {
            return error;
        }
        return std::nullopt;
    }

    template <class T> static std::optional<TransportError> transportErrorOf(QCoro::Task<T> task) {
        try {
            vexo::test::await(std::move(task));
        } catch (const TransportError& error) {
            return error;
        }
        return std::nullopt;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }
    void init() { m_server.clearRequests(); }

    void httpErrors_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("description");

        QTest::newRow("400 with error text")
            << 400 << QByteArray("application/json") << QByteArray(R"({"error":"Название не может быть пустым"})")
            << u"Название не может быть пустым"_s;
        QTest::newRow("401 with error text") << 401 << QByteArray("application/json")
                                             << QByteArray(R"({"error":"Неверный токен"})") << u"Неверный токен"_s;
        QTest::newRow("500 with HTML") << 500 << QByteArray("text/html")
                                       << QByteArray("<html><body>Internal Server Error</body></html>")
                                       << u"Внутренняя ошибка сервера"_s;
        QTest::newRow("404 empty") << 404 << QByteArray() << QByteArray() << u"Не найдено"_s;
        QTest::newRow("403 error not a string")
            << 403 << QByteArray("application/json") << QByteArray(R"({"error":{"code":1}})") << u"Доступ запрещён"_s;
        QTest::newRow("409 JSON array") << 409 << QByteArray("application/json") << QByteArray(R"(["error"])")
                                        << u"Конфликт"_s;
        QTest::newRow("429 without error key")
            << 429 << QByteArray("application/json") << QByteArray(R"({"message":"slow down"})")
            << u"Слишком много запросов"_s;
        QTest::newRow("unregistered 4xx") << 499 << QByteArray() << QByteArray() << u"Ошибка клиента"_s;
        QTest::newRow("unregistered 5xx") << 599 << QByteArray("text/plain") << QByteArray("x") << u"Ошибка сервера"_s;
        QTest::newRow("3xx left over") << 304 << QByteArray() << QByteArray() << u"Не изменялось"_s;
    }

    void httpErrors() {
        QFETCH(int, status);
        QFETCH(QByteArray, contentType);
        QFETCH(QByteArray, body);
        QFETCH(QString, description);
        m_server.enqueue(ScriptedReply::raw(status, contentType, body));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        const auto error = apiErrorOf(api.fetchFolders());
        QVERIFY(error.has_value());
        QCOMPARE(error->kind(), APIError::Kind::httpError);
        QCOMPARE(error->statusCode(), status);
        QCOMPARE(error->errorDescription(), description);
    }

    void decodingErrors_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("description");
        QTest::newRow("missing key") << 200 << QByteArray(R"({"folders":[{"id":1,"name":"x"}]})")
                                     << u"Ошибка данных: folders[0]: нет обязательного ключа «color»"_s;
        QTest::newRow("204 without body") << 204 << QByteArray() << u"Ошибка данных: пустой ответ"_s;
        QTest::newRow("201 with HTML")
            << 201 << QByteArray("<html></html>")
            << u"Ошибка данных: некорректный JSON: нарушена структура (запятые, скобки или ключи)"_s;
        QTest::newRow("broken value nobody reads")
            << 200 << QByteArray(R"({"folders":[], "junk":[1,,2]})")
            << u"Ошибка данных: junk[1]: некорректный JSON: нарушена структура (запятые, скобки или ключи)"_s;
        QTest::newRow("cut short")
            << 200 << QByteArray(R"({"folders":[{"id":1,)")
            << u"Ошибка данных: folders[0]: некорректный JSON: нарушена структура (запятые, скобки или ключи)"_s;
        QTest::newRow("wrong envelope") << 200 << QByteArray(R"({"folder":[]})")
                                        << u"Ошибка данных: нет обязательного ключа «folders»"_s;
    }

    void decodingErrors() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, description);
        m_server.enqueue(ScriptedReply::json(status, body));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        const auto error = apiErrorOf(api.fetchFolders());
        QVERIFY(error.has_value());
        QCOMPARE(error->kind(), APIError::Kind::decodingError);
        QVERIFY(error->errorDescription().startsWith(u"Ошибка данных: "_s));
        if (!description.isEmpty())
            QCOMPARE(error->errorDescription(), description);
    }

    void anyTwoHundredDecodes() {
        m_server.enqueue(ScriptedReply::json(201, "{\"folder\":{\"id\":1,\"name\":\"n\",\"color\":\"#000000\"}}"));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        QCOMPARE(vexo::test::await(api.createFolder(u"n"_s, u"#000000"_s)).folder.id, 1);
    }

    void noTokenMeansNoAuthorizationHeader() {
        MemoryStore empty;
        m_server.enqueue(ScriptedReply::json(401, R"({"error":"Требуется авторизация"})"));
        const APIService api(m_server.baseUrl(), m_network, empty);
        const auto error = apiErrorOf(api.fetchTasks(false, std::nullopt, std::nullopt));
        QVERIFY(error.has_value());
        QCOMPARE(error->errorDescription(), u"Требуется авторизация"_s);
        QVERIFY(!m_server.lastRequest().hasHeader("Authorization"));
        QCOMPARE(m_server.lastRequest().header("Content-Type"), QByteArray("application/json"));
    }

    void tokenIsReadOnEveryRequest() {
        MemoryStore store;
        const APIService api(m_server.baseUrl(), m_network, store);
        m_server.setDefaultReply(ScriptedReply::json(200, R"({"auto_send_bot":false})"));
        store.setText(u"vexo_token"_s, u"first"_s);
        vexo::test::await(api.fetchSettings());
        QCOMPARE(m_server.lastRequest().header("Authorization"), QByteArray("Bearer first"));
        store.setText(u"vexo_token"_s, u"second"_s);
        vexo::test::await(api.fetchSettings());
        QCOMPARE(m_server.lastRequest().header("Authorization"), QByteArray("Bearer second"));
        store.remove(u"vexo_token"_s);
        vexo::test::await(api.fetchSettings());
        QVERIFY(!m_server.lastRequest().hasHeader("Authorization"));
        m_server.setDefaultReply(ScriptedReply::json(200, "{}"));
    }

    void attachmentsListedWithoutTokenWhileOneIsStored() {
        MemoryStore store;
        store.setText(u"vexo_token"_s, u"stored"_s);
        m_server.enqueue(ScriptedReply::json(200, R"({"attachments":[]})"));
        const APIService api(m_server.baseUrl(), m_network, store);
        QVERIFY(vexo::test::await(api.fetchAttachments(3)).attachments.isEmpty());
        QVERIFY(!m_server.lastRequest().hasHeader("Authorization"));
    }

    void refusedConnectionIsATransportError() {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 closedPort = probe.serverPort();
        probe.close();
        const APIService api(u"http://127.0.0.1:%1"_s.arg(closedPort), m_network, m_store);
        const auto error = transportErrorOf(api.fetchFolders());
        QVERIFY(error.has_value());
        QCOMPARE(error->code(), QNetworkReply::ConnectionRefusedError);
        QCOMPARE(error->errorDescription(), u"Сервер отклонил соединение"_s);
    }

    void droppedConnectionIsATransportError() {
        // Every connection is closed without a byte of an answer.
        m_server.setDefaultReply(ScriptedReply::closeWithoutAnswer());
        const APIService api(m_server.baseUrl(), m_network, m_store);
        const auto error = transportErrorOf(api.fetchFolders());
        m_server.setDefaultReply(ScriptedReply::json(200, "{}"));
        QVERIFY(error.has_value());
        QCOMPARE(error->code(), QNetworkReply::RemoteHostClosedError);
    }

    void silentServerTimesOut() {
        m_server.enqueue(ScriptedReply::neverAnswer());
        const APIService api(m_server.baseUrl(), m_network, m_store, std::chrono::milliseconds(300));
        QElapsedTimer clock;
        clock.start();
        const auto error = transportErrorOf(api.fetchFolders());
        QVERIFY(error.has_value());
        QCOMPARE(error->code(), QNetworkReply::TimeoutError);
        QCOMPARE(error->errorDescription(), u"Сервер не ответил вовремя"_s);
        QVERIFY(clock.elapsed() >= 300);
    }

    // The answer began (a status line arrived) but did not arrive whole: that is the connection
    // failing, never a decoding error and never a success, whatever the status and however much of
    // the body looks complete.
    void answersBrokenOffAfterTheStatusLine_data() {
        QTest::addColumn<QString>("call");
        QTest::addColumn<ScriptedReply>("reply");
        QTest::addColumn<int>("code");
        const QByteArray folders = R"({"folders":[{"id":1,"name":"a","color":"#000000"}]})";
        const int closed = QNetworkReply::RemoteHostClosedError;
        ScriptedReply stall = ScriptedReply::shortBody(200, folders, 20);
        stall.ending = ScriptedReply::Ending::stayOpen;
        ScriptedReply chunked =
            ScriptedReply::verbatimAnswer("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" +
                                          QByteArray::number(folders.size(), 16) + "\r\n" + folders + "\r\n");
        for (const QString& call : {u"data"_s, u"image"_s}) {
            const QByteArray tag = call.toLatin1() + ": ";
            QTest::newRow(tag + "reset in a 2xx body")
                << call << ScriptedReply::resetInBody(200, folders, 20) << closed;
            QTest::newRow(tag + "reset after a whole-looking 2xx body")
                << call << ScriptedReply::resetInBody(200, folders + "    ", folders.size()) << closed;
            QTest::newRow(tag + "2xx body shorter than its length, whole-looking JSON")
                << call << ScriptedReply::shortBody(200, folders + "    ", folders.size()) << closed;
            QTest::newRow(tag + "2xx body cut in the JSON")
                << call << ScriptedReply::shortBody(200, folders, 20) << closed;
            QTest::newRow(tag + "chunked 2xx without its last chunk") << call << chunked << closed;
            QTest::newRow(tag + "stall in a 2xx body past the time-out")
                << call << stall << int(QNetworkReply::TimeoutError);
            QTest::newRow(tag + "reset in an error body")
                << call << ScriptedReply::resetInBody(500, R"({"error":"Сбой"})", 5) << closed;
            QTest::newRow(tag + "error body shorter than its length")
                << call << ScriptedReply::shortBody(404, R"({"error":"Нет"})", 5) << closed;
        }
    }

    void answersBrokenOffAfterTheStatusLine() {
        QFETCH(QString, call);
        QFETCH(ScriptedReply, reply);
        QFETCH(int, code);
        m_server.setDefaultReply(reply);
        const APIService api(m_server.baseUrl(), m_network, m_store, std::chrono::milliseconds(1000));
        std::exception_ptr failure;
        try {
            if (call == u"image")
                vexo::test::await(api.fetchImage(api.avatarURL(u"1"_s)));
            else
                vexo::test::await(api.fetchFolders());
        } catch (...) {
            failure = std::current_exception();
        }
        m_server.setDefaultReply(ScriptedReply::json(200, "{}"));
        QVERIFY2(failure, "a broken-off answer was taken");
        try {
            std::rethrow_exception(failure);
        } catch (const TransportError& error) {
            QCOMPARE(int(error.code()), code);
        } catch (const APIError& error) {
            QFAIL(qPrintable(u"an APIError: "_s + error.errorDescription()));
        }
    }

    // A request still waiting when the client shuts down ends with a transport error instead of
    // leaving its caller suspended for ever.
    void abortPendingEndsWaitingRequests() {
        m_server.enqueue(ScriptedReply::neverAnswer());
        const APIService api(m_server.baseUrl(), m_network, m_store);
        QCoro::Task<FoldersResponse> waiting = api.fetchFolders();
        QTRY_COMPARE(m_server.requests().size(), 1);
        api.abortPending();
        const auto error = transportErrorOf(std::move(waiting));
        QVERIFY(error.has_value());
        QCOMPARE(error->code(), QNetworkReply::OperationCanceledError);
    }

    void slowButInTimeSucceeds() {
        ScriptedReply reply = ScriptedReply::json(200, R"({"folders":[]})");
        reply.delayMs = 100;
        m_server.enqueue(reply);
        const APIService api(m_server.baseUrl(), m_network, m_store, std::chrono::milliseconds(2000));
        QVERIFY(vexo::test::await(api.fetchFolders()).folders.isEmpty());
    }

    void productTimeoutIsThirtySeconds() { QCOMPARE(APIService::defaultTimeout, std::chrono::milliseconds(30'000)); }

    void unformableAddressIsInvalidResponse_data() {
        QTest::addColumn<QString>("base");
        QTest::newRow("space in host") << u"http://exa mple.org"_s;
        QTest::newRow("no scheme") << u"127.0.0.1:8765"_s;
        QTest::newRow("empty") << QString();
    }

    void unformableAddressIsInvalidResponse() {
        QFETCH(QString, base);
        const APIService api(base, m_network, m_store);
        const auto error = apiErrorOf(api.fetchFolders());
        QVERIFY(error.has_value());
        QCOMPARE(error->kind(), APIError::Kind::invalidResponse);
        QCOMPARE(error->errorDescription(), u"Ошибка соединения"_s);
    }

    void concurrentRequestsAllComplete() {
        m_server.setDefaultReply(ScriptedReply::json(200, R"({"folders":[]})"));
        const APIService api(m_server.baseUrl(), m_network, m_store);
        // Tasks start eagerly: all three are on the wire before the first is awaited.
        auto first = api.fetchFolders();
        auto second = api.fetchFolders();
        auto third = api.fetchFolders();
        vexo::test::await(std::move(first));
        vexo::test::await(std::move(second));
        vexo::test::await(std::move(third));
        QCOMPARE(m_server.requests().size(), 3);
        m_server.setDefaultReply(ScriptedReply::json(200, "{}"));
    }
};

QTEST_GUILESS_MAIN(tst_APIServiceErrors)
#include "tst_APIServiceErrors.moc"
