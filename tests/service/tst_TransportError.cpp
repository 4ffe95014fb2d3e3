#include "APIService.h"
#include "Await.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "TransportError.h"

#include <QLibraryInfo>
#include <QMetaEnum>
#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <QSslServer>
#include <QTcpServer>
#include <QTest>
#include <QTranslator>

using namespace Qt::StringLiterals;

// What a user reads when the connection itself fails: the client's own Russian texts, whatever
// translation catalogues the machine has.
class tst_TransportError final : public QObject {
    Q_OBJECT

private:
    QNetworkAccessManager m_network;
    MemoryStore m_store;

    static std::optional<TransportError> failureOf(const APIService& api) {
        try {
            vexo::test::await(api.fetchFolders());
        } catch (const TransportError& error) {
            return error;
        }
        return std::nullopt;
    }

private Q_SLOTS:
    void descriptions_data() {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        QTest::newRow("refused") << int(QNetworkReply::ConnectionRefusedError) << u"Сервер отклонил соединение"_s;
        QTest::newRow("closed") << int(QNetworkReply::RemoteHostClosedError)
                                << u"Сервер закрыл соединение, не закончив ответ"_s;
        QTest::newRow("host not found") << int(QNetworkReply::HostNotFoundError) << u"Сервер не найден"_s;
        QTest::newRow("time-out") << int(QNetworkReply::TimeoutError) << u"Сервер не ответил вовремя"_s;
        QTest::newRow("cancelled") << int(QNetworkReply::OperationCanceledError) << u"Запрос отменён"_s;
        QTest::newRow("TLS") << int(QNetworkReply::SslHandshakeFailedError)
                             << u"Не удалось установить защищённое соединение с сервером"_s;
        QTest::newRow("network lost") << int(QNetworkReply::TemporaryNetworkFailureError)
                                      << u"Соединение с сетью прервалось"_s;
        QTest::newRow("network unreachable") << int(QNetworkReply::NetworkSessionFailedError) << u"Сеть недоступна"_s;
        QTest::newRow("too many redirects")
            << int(QNetworkReply::TooManyRedirectsError) << u"Слишком много перенаправлений"_s;
        QTest::newRow("insecure redirect")
            << int(QNetworkReply::InsecureRedirectError) << u"Сервер перенаправил запрос на незащищённый адрес"_s;
        QTest::newRow("proxy refused") << int(QNetworkReply::ProxyConnectionRefusedError)
                                       << u"Прокси-сервер отклонил соединение"_s;
        QTest::newRow("proxy closed") << int(QNetworkReply::ProxyConnectionClosedError)
                                      << u"Прокси-сервер закрыл соединение"_s;
        QTest::newRow("proxy not found") << int(QNetworkReply::ProxyNotFoundError) << u"Прокси-сервер не найден"_s;
        QTest::newRow("proxy time-out") << int(QNetworkReply::ProxyTimeoutError)
                                        << u"Прокси-сервер не ответил вовремя"_s;
        QTest::newRow("proxy authentication")
            << int(QNetworkReply::ProxyAuthenticationRequiredError) << u"Прокси-сервер требует авторизации"_s;
        QTest::newRow("proxy, other") << int(QNetworkReply::UnknownProxyError) << u"Ошибка прокси-сервера"_s;
        QTest::newRow("not HTTP") << int(QNetworkReply::ProtocolFailure) << u"Сервер ответил не по протоколу HTTP"_s;
        QTest::newRow("unknown protocol")
            << int(QNetworkReply::ProtocolUnknownError) << u"Протокол адреса не поддерживается"_s;
        QTest::newRow("anything else") << int(QNetworkReply::UnknownNetworkError) << u"Сбой сети"_s;
        QTest::newRow("even a content error") << int(QNetworkReply::ContentConflictError) << u"Сбой сети"_s;
    }

    void descriptions() {
        QFETCH(int, code);
        QFETCH(QString, text);
        const TransportError error{QNetworkReply::NetworkError(code)};
        QCOMPARE(error.errorDescription(), text);
        QCOMPARE(QString::fromUtf8(error.what()), text);
        QVERIFY(!error.isAnswerTooLarge());
    }

    void answerTooLarge() {
        const TransportError error = TransportError::answerTooLarge();
        QVERIFY(error.isAnswerTooLarge());
        QCOMPARE(error.errorDescription(), u"Ответ сервера слишком велик"_s);
    }

    // Every code Qt knows reads as Russian text: nothing English, nothing empty.
    void everyCodeReadsRussian() {
        const QMetaEnum codes = QMetaEnum::fromType<QNetworkReply::NetworkError>();
        const QRegularExpression latin(u"[A-Za-z]"_s);
        const QRegularExpression cyrillic(u"[А-Яа-яЁё]"_s);
        for (int i = 0; i < codes.keyCount(); ++i) {
            const auto code = QNetworkReply::NetworkError(codes.value(i));
            if (code == QNetworkReply::NoError)
                continue;
            const QString text = TransportError(code).errorDescription();
            QVERIFY2(text.contains(cyrillic), codes.key(i));
            // "HTTP" is the protocol's name, not English.
            QVERIFY2(!QString(text).remove(u"HTTP"_s).contains(latin), codes.key(i));
        }
    }

    // The texts are the client's own: a Qt catalogue installed or not, they stay the same.
    void independentOfQtsCatalogue() {
        const QString before = TransportError(QNetworkReply::TimeoutError).errorDescription();
        QTranslator qtbase;
        const bool loaded = qtbase.load(u"qtbase_ru"_s, QLibraryInfo::path(QLibraryInfo::TranslationsPath)) &&
                            QCoreApplication::installTranslator(&qtbase);
        QCOMPARE(TransportError(QNetworkReply::TimeoutError).errorDescription(), before);
        QCOMPARE(TransportError(QNetworkReply::ConnectionRefusedError).errorDescription(),
                 u"Сервер отклонил соединение"_s);
        if (loaded)
            QCoreApplication::removeTranslator(&qtbase);
    }

    void socketErrors_data() {
        QTest::addColumn<int>("socketError");
        QTest::addColumn<int>("code");
        using S = QAbstractSocket;
        using R = QNetworkReply;
        QTest::newRow("refused") << int(S::ConnectionRefusedError) << int(R::ConnectionRefusedError);
        QTest::newRow("closed") << int(S::RemoteHostClosedError) << int(R::RemoteHostClosedError);
        QTest::newRow("host not found") << int(S::HostNotFoundError) << int(R::HostNotFoundError);
        QTest::newRow("time-out") << int(S::SocketTimeoutError) << int(R::TimeoutError);
        QTest::newRow("unreachable") << int(S::NetworkError) << int(R::NetworkSessionFailedError);
        QTest::newRow("TLS handshake") << int(S::SslHandshakeFailedError) << int(R::SslHandshakeFailedError);
        QTest::newRow("TLS internal") << int(S::SslInternalError) << int(R::SslHandshakeFailedError);
        QTest::newRow("TLS data") << int(S::SslInvalidUserDataError) << int(R::SslHandshakeFailedError);
        QTest::newRow("proxy authentication")
            << int(S::ProxyAuthenticationRequiredError) << int(R::ProxyAuthenticationRequiredError);
        QTest::newRow("proxy refused") << int(S::ProxyConnectionRefusedError) << int(R::ProxyConnectionRefusedError);
        QTest::newRow("proxy closed") << int(S::ProxyConnectionClosedError) << int(R::ProxyConnectionClosedError);
        QTest::newRow("proxy time-out") << int(S::ProxyConnectionTimeoutError) << int(R::ProxyTimeoutError);
        QTest::newRow("proxy not found") << int(S::ProxyNotFoundError) << int(R::ProxyNotFoundError);
        QTest::newRow("proxy protocol") << int(S::ProxyProtocolError) << int(R::UnknownProxyError);
        QTest::newRow("temporary") << int(S::TemporaryError) << int(R::TemporaryNetworkFailureError);
        QTest::newRow("other") << int(S::AddressInUseError) << int(R::UnknownNetworkError);
    }

    void socketErrors() {
        QFETCH(int, socketError);
        QFETCH(int, code);
        QCOMPARE(int(TransportError::codeOf(QAbstractSocket::SocketError(socketError))), code);
    }

    // The failures a user meets, met for real.
    void refusedConnection() {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 closedPort = probe.serverPort();
        probe.close();
        const APIService api(u"http://127.0.0.1:%1"_s.arg(closedPort), m_network, m_store);
        const auto failure = failureOf(api);
        QVERIFY(failure.has_value());
        QCOMPARE(failure->errorDescription(), u"Сервер отклонил соединение"_s);
    }

    void closedConnection() {
        ScriptedServer server;
        QVERIFY(server.listen());
        server.setDefaultReply(ScriptedReply::closeWithoutAnswer());
        const APIService api(server.baseUrl(), m_network, m_store);
        const auto failure = failureOf(api);
        QVERIFY(failure.has_value());
        QCOMPARE(failure->errorDescription(), u"Сервер закрыл соединение, не закончив ответ"_s);
    }

    void timeOut() {
        ScriptedServer server;
        QVERIFY(server.listen());
        server.setDefaultReply(ScriptedReply::neverAnswer());
        const APIService api(server.baseUrl(), m_network, m_store, std::chrono::milliseconds(300));
        const auto failure = failureOf(api);
        QVERIFY(failure.has_value());
        QCOMPARE(failure->code(), QNetworkReply::TimeoutError);
        QCOMPARE(failure->errorDescription(), u"Сервер не ответил вовремя"_s);
    }

    // A server that does not speak TLS where TLS is asked for.
    void tlsFailure() {
        QTcpServer plain;
        QVERIFY(plain.listen(QHostAddress::LocalHost, 0));
        connect(&plain, &QTcpServer::newConnection, &plain, [&plain] {
            QTcpSocket* socket = plain.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                socket->readAll();
                socket->write("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
            });
        });
        const APIService api(u"https://127.0.0.1:%1"_s.arg(plain.serverPort()), m_network, m_store);
        const auto failure = failureOf(api);
        QVERIFY(failure.has_value());
        QCOMPARE(failure->code(), QNetworkReply::SslHandshakeFailedError);
        QCOMPARE(failure->errorDescription(), u"Не удалось установить защищённое соединение с сервером"_s);
    }

    // These two depend on the machine's resolver and routes: where the environment cannot show the
    // failure within the time allowed, the test says so instead of guessing.
    void hostNotFound() {
        const APIService api(u"http://vexo-tasks.invalid"_s, m_network, m_store, std::chrono::milliseconds(10'000));
        const auto failure = failureOf(api);
        QVERIFY(failure.has_value());
        if (failure->code() == QNetworkReply::TimeoutError)
            QSKIP("the resolver did not answer in time");
        QCOMPARE(failure->code(), QNetworkReply::HostNotFoundError);
        QCOMPARE(failure->errorDescription(), u"Сервер не найден"_s);
    }

    void networkUnreachable() {
        // A documentation prefix: never routed anywhere.
        const APIService api(u"http://[2001:db8::1]:9"_s, m_network, m_store, std::chrono::milliseconds(3000));
        const auto failure = failureOf(api);
        QVERIFY(failure.has_value());
        if (failure->code() == QNetworkReply::TimeoutError)
            QSKIP("this machine routes the documentation prefix somewhere");
        QCOMPARE(failure->code(), QNetworkReply::NetworkSessionFailedError);
        QCOMPARE(failure->errorDescription(), u"Сеть недоступна"_s);
    }
};

QTEST_GUILESS_MAIN(tst_TransportError)
#include "tst_TransportError.moc"
