#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkAccessManager>
#include <QPair>
#include <QString>
#include <QTcpSocket>

#include <functional>
#include <memory>
#include <optional>

// A raw HTTP request for tests that must send what the client never would.
struct ProbeReply {
    int status = 0; // 0: no HTTP answer
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray header(const QByteArray& name) const;
};

ProbeReply probe(QNetworkAccessManager& network, const QByteArray& method, const QString& url,
                 const QByteArray& body = QByteArray(), const QList<QPair<QByteArray, QByteArray>>& headers = {});

// One answer read off a raw connection.
struct RawAnswer {
    int status = 0;
    QByteArray head; // status line and header fields
    QByteArray body;
    QByteArray header(const QByteArray& name) const; // case-insensitive; empty when absent
};

// A plain TCP connection for requests no HTTP library would send: broken framing, trickled
// headers, silence. Every wait runs the event loop, so a server in the same thread keeps working.
class RawConnection final {
public:
    explicit RawConnection(quint16 port);

    bool isConnected() const;
    void send(const QByteArray& bytes);
    // Runs the event loop until `done` holds or `timeoutMs` passes; returns whether it holds.
    bool waitFor(const std::function<bool()>& done, int timeoutMs);
    // Whether the server closed the connection within `timeoutMs`.
    bool waitForClose(int timeoutMs);
    bool isClosed() const { return m_closed; }
    // The next whole answer (interim ones such as 100 Continue included), or empty after `timeoutMs`.
    std::optional<RawAnswer> nextAnswer(int timeoutMs);
    QByteArray received() const { return m_received; }
    // Everything received so far, which is then forgotten.
    QByteArray takeReceived() { return std::exchange(m_received, {}); }
    // A client that stops reading: what arrives stays in the kernel, whose receive buffer is made
    // as small as it goes, so that the server's side fills up.
    void pauseReading();
    void resumeReading();

private:
    std::optional<RawAnswer> takeAnswer();

    void read();

    std::unique_ptr<QTcpSocket> m_socket;
    QByteArray m_received;
    bool m_closed = false;
    bool m_paused = false;
};

// WebSocket frames for tests that speak the protocol by hand.
struct WebSocketFrame {
    int opcode = 0; // 1 text, 8 close, 9 ping, 10 pong
    QByteArray payload;
    int closeCode() const;
    QString closeReason() const;
};

// The first whole frame a server sent (unmasked) off the front of `bytes`, or nothing yet.
std::optional<WebSocketFrame> takeWebSocketFrame(QByteArray& bytes);
// A frame as a client sends it: final, masked.
QByteArray clientWebSocketFrame(int opcode, const QByteArray& payload);
// GET /api/events asking for a WebSocket, with `authorization` as the Authorization field (none when empty).
QByteArray eventsHandshake(const QByteArray& authorization, const QByteArray& extraFields = {});
