#pragma once

#include "HttpExchange.h"

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QUrl>

#include <chrono>

class QAbstractSocket;
class QNetworkAccessManager;

struct OutgoingRequest {
    QUrl url;
    QByteArray method;
    QList<QPair<QByteArray, QByteArray>> headers;
    std::optional<QByteArray> body;
};

// HTTP/1.1 over plain or TLS sockets, for the service client. It exists because the stock network
// stack has no bound on a status line or headers: a server that sends header lines without end keeps
// its reader thread busy and growing long after the request was given up, and stalls every later
// request with it. Here every part of an answer is bounded, one deadline covers the whole transfer
// (connecting, redirects and all), and a given-up request frees its connection at once.
//
// Connections are kept alive and reused per origin; a request that meets a kept connection the server
// has meanwhile closed is sent once more on a fresh one. Redirects are followed, never from https to
// http, and the token goes along only to the same origin.
class HttpClient final : public QObject {
    Q_OBJECT

public:
    static constexpr int maxRedirects = 20;
    static constexpr int maxIdlePerOrigin = 6;
    static constexpr std::chrono::seconds idleLimit{30};

    // Connections go through `network`'s proxy setting.
    explicit HttpClient(const QNetworkAccessManager& network, QObject* parent = nullptr);
    // Requests still running end with OperationCanceledError first.
    ~HttpClient() override;

    // Throws TransportError; any HTTP status is an answer.
    QCoro::Task<HttpResponse> send(OutgoingRequest request, std::chrono::milliseconds timeout, qint64 maxBodyBytes);

    // Ends every running request with OperationCanceledError.
    void abortAll();

private:
    struct Connection {
        QAbstractSocket* socket;
        bool reused;
    };

    static QString originOf(const QUrl& url);
    static QByteArray requestBytes(const OutgoingRequest& request);
    Connection acquire(const QUrl& url);
    void release(const QString& origin, QAbstractSocket* socket, bool reusable);
    void dropIdle(QAbstractSocket* socket);

    const QNetworkAccessManager& m_network;
    QHash<QString, QList<QAbstractSocket*>> m_idle;
    QSet<HttpExchange*> m_running;
    bool m_closing = false;
};
