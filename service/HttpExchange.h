#pragma once

#include "TransportError.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPair>

#include <optional>

class QAbstractSocket;

// One HTTP/1.1 answer as it arrived.
struct HttpResponse {
    int statusCode = 0;
    QList<QPair<QByteArray, QByteArray>> headers;
    // The body; its capacity leaves room for the JSON parser's padding, so decoding needs no copy.
    QByteArray body;

    // The first value of a header, case-insensitive; empty when absent.
    QByteArray header(const QByteArray& name) const;
};

// One request and its answer on one connection. It writes the request once the connection is up,
// reads the answer as it comes, and finishes exactly once: with a whole answer, or with the transport
// failure that ended it. Every part of an answer is bounded: the status line and headers by fixed
// limits, the body by the caller's limit, checked against the declared length before any of it is
// read and against what arrives. A body that ends before its declared length or its last chunk is a
// failure, never a short success.
class HttpExchange final : public QObject {
    Q_OBJECT

public:
    static constexpr qint64 maxHeaderBytes = 64 * 1024;
    static constexpr int maxHeaderFields = 100;
    // Room kept after a body for a parser that reads past the end of its input.
    static constexpr qsizetype bodyPadding = 64;

    // `socket` is either connected already (a kept-alive connection) or unconnected, and then this
    // exchange opens it to host:port, with TLS when `encrypted`.
    HttpExchange(QAbstractSocket& socket, QString host, quint16 port, bool encrypted, QByteArray request,
                 qint64 maxBodyBytes, QObject* parent = nullptr);

    void start();
    // Ends the exchange now with this failure, unless it has finished already.
    void abort(QNetworkReply::NetworkError code);

    bool isFinished() const { return m_stage == Stage::finished; }
    const std::optional<TransportError>& failure() const { return m_failure; }
    HttpResponse takeResponse() { return std::move(m_response); }
    // The connection ended cleanly after the answer and may carry the next request.
    bool connectionReusable() const { return m_reusable; }
    // Not one byte of an answer arrived.
    bool answeredNothing() const { return m_answeredNothing; }

Q_SIGNALS:
    void finished();

private:
    enum class Stage { connecting, statusLine, headers, body, chunkSize, chunkData, chunkEnd, trailers, finished };
    enum class Framing { none, length, chunked, untilClose };

    void send();
    void readAvailable();
    bool parseBuffered();
    std::optional<QByteArray> takeLine(qint64 limit, bool countsAsHeader);
    bool parseStatusLine(const QByteArray& line);
    bool headersComplete();
    bool takeBody(qint64 most);
    void connectionEnded(QNetworkReply::NetworkError code);
    void complete();
    void fail(const TransportError& error);
    void finish();

    QAbstractSocket& m_socket;
    QString m_host;
    quint16 m_port;
    bool m_encrypted;
    QByteArray m_request;
    qint64 m_maxBodyBytes;

    Stage m_stage = Stage::connecting;
    Framing m_framing = Framing::none;
    QByteArray m_in; // received and not yet parsed
    qint64 m_headerBytes = 0;
    qint64 m_remaining = 0; // of the body or the current chunk
    bool m_keepAlive = true;
    bool m_reusable = false;
    bool m_answeredNothing = true;
    HttpResponse m_response;
    std::optional<TransportError> m_failure;
};
