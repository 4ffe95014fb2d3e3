#pragma once

#include "HttpHandler.h"
#include "HttpHead.h"
#include "HttpLimits.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class HttpBatch;
class QTcpSocket;

// One client connection speaking HTTP/1.1: reads each request incrementally within the limits,
// hands it to the handler, writes the answer, and keeps the connection for the next request
// unless either side asked to close. No byte of a body is read before the handler has admitted
// the request; a body above the admitted limit is refused as soon as its size is known.
class HttpConnection final : public QObject {
    Q_OBJECT

public:
    HttpConnection(QTcpSocket* socket, HttpHandler& handler, HttpBatch& batch, const HttpLimits& limits,
                   QObject* parent = nullptr);
    ~HttpConnection() override;

    QHostAddress peer() const { return m_peer; }

Q_SIGNALS:
    // The connection is closed or its socket was handed over; it may be deleted.
    void finished();

private:
    enum class State {
        idle,      // between requests, nothing of the next one read yet
        head,      // reading a request line and header fields
        body,      // reading a body
        syncing,   // an answer waits for what it reports to be durable
        writing,   // an answer is waiting to be taken before the next request is read
        lingering, // answered and closing, dropping what the client still sends
        closing,   // answered and closing
        closed,
    };
    enum class ChunkPart { size, data, dataEnd, trailer };

    void connectSocket();
    void process();
    bool readHead();
    bool readBody();
    bool readChunks();
    // A line of at most `maxLength` bytes before its CRLF, or empty when not all of it is here yet.
    std::optional<QByteArray> takeLine(qsizetype maxLength, int tooLongStatus);
    void respond();
    void answer(const HttpReply& reply, bool close, bool linger);
    // Answers with {"error": message} and closes.
    void refuse(int status, const QString& message);
    void onBytesWritten();
    void onTimeout();
    void finish();

    QTcpSocket* m_socket;
    HttpHandler& m_handler;
    HttpBatch& m_batch;
    const HttpLimits m_limits;
    QHostAddress m_peer;
    QTimer m_timer;
    QElapsedTimer m_clock;
    State m_state = State::idle;
    HttpRequest m_request;
    HttpFraming m_framing;
    qint64 m_bodyLimit = 0;
    qint64 m_remaining = 0;
    ChunkPart m_chunkPart = ChunkPart::size;
    qsizetype m_trailerBytes = 0;
    bool m_shutDown = false;
};
