#pragma once

#include "FeedLimits.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

class QTcpSocket;
class QWebSocket;

// One open change-feed socket of a signed-in user: sends the messages, pings a silent client, and
// drops a client that does not keep up. Deletes itself once its connection is gone.
class FeedSocket final : public QObject {
    Q_OBJECT

public:
    // Takes `socket` and the connection under it.
    FeedSocket(QWebSocket* socket, QTcpSocket* transport, const FeedLimits& limits, QObject* parent = nullptr);
    ~FeedSocket() override;

    // Starts the feed with the hello message at the user's latest revision.
    void start(qint64 userId, qint64 revision);
    qint64 userId() const { return m_userId; }
    // The message of a change; one this socket already covers (revision not above the last one
    // sent) is skipped, so revisions strictly increase on the wire.
    void send(qint64 revision, const QByteArray& message);
    // Sends a close frame; the connection is cut when the client has not taken it after the grace.
    void close(int code, const QString& reason);
    bool isClosing() const { return m_closing; }

    // Bytes written but not taken by the client, beyond the kernel's buffers; the most ever.
    qint64 queuedBytes() const;
    qint64 peakQueuedBytes() const { return m_peakQueued; }

Q_SIGNALS:
    // Nothing more is to be sent on this socket: it is closing or closed.
    void gone(FeedSocket* socket);

private:
    void write(const QByteArray& message);
    void heard();
    void onTimer();
    void finish();

    QWebSocket* m_socket;
    QPointer<QTcpSocket> m_transport;
    const FeedLimits m_limits;
    QTimer m_timer; // pings, then waits for the answer; after a close, the grace
    qint64 m_userId = 0;
    qint64 m_revision = 0;
    qint64 m_peakQueued = 0;
    bool m_awaitingPong = false;
    bool m_closing = false;
    bool m_gone = false;
};
