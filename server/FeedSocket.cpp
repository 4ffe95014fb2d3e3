#include "FeedSocket.h"

#include "Change.h"
#include "ServerLog.h"

#include <QTcpSocket>
#include <QWebSocket>

using namespace Qt::StringLiterals;

namespace {

// The client never has anything to say beyond pings and a close: a larger message is refused by
// the socket itself (close code 1009) before it takes memory.
constexpr qint64 maxIncomingBytes = 4096;

} // namespace

FeedSocket::FeedSocket(QWebSocket* socket, QTcpSocket* transport, const FeedLimits& limits, QObject* parent)
    : QObject(parent)
    , m_socket(socket)
    , m_transport(transport)
    , m_limits(limits) {
    m_socket->setParent(this);
    if (m_transport)
        m_transport->setParent(this);
    m_socket->setMaxAllowedIncomingFrameSize(maxIncomingBytes);
    m_socket->setMaxAllowedIncomingMessageSize(maxIncomingBytes);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &FeedSocket::onTimer);
    connect(m_socket, &QWebSocket::pong, this, &FeedSocket::heard);
    connect(m_socket, &QWebSocket::textMessageReceived, this, &FeedSocket::heard);
    connect(m_socket, &QWebSocket::binaryMessageReceived, this, &FeedSocket::heard);
    connect(m_socket, &QWebSocket::disconnected, this, &FeedSocket::finish);
    m_timer.start(m_limits.pingIntervalMs);
}

FeedSocket::~FeedSocket() {
    // The WebSocket first: it may still write a last frame on the connection under it.
    m_socket->disconnect(this);
    delete m_socket;
    delete m_transport.data();
}

void FeedSocket::start(qint64 userId, qint64 revision) {
    m_userId = userId;
    m_revision = revision;
    write(helloMessage(revision));
}

void FeedSocket::send(qint64 revision, const QByteArray& message) {
    if (m_closing || revision <= m_revision)
        return;
    m_revision = revision;
    write(message);
}

void FeedSocket::write(const QByteArray& message) {
    m_socket->sendTextMessage(QString::fromUtf8(message));
    if (m_socket->bytesToWrite() <= m_limits.maxQueuedBytes) {
        m_peakQueued = qMax(m_peakQueued, m_socket->bytesToWrite());
        return;
    }
    // Qt sends what was written on its next turn of the event loop; a burst written in one go is
    // handed to the kernel now, so that only what the client truly has not taken is counted.
    m_socket->flush();
    m_peakQueued = qMax(m_peakQueued, m_socket->bytesToWrite());
    if (m_socket->bytesToWrite() > m_limits.maxQueuedBytes) {
        qCWarning(lcServer).noquote() << "change feed: dropping a client that does not read"
                                      << m_socket->peerAddress().toString();
        close(4408, u"Слишком медленное чтение"_s);
    }
}

qint64 FeedSocket::queuedBytes() const {
    return m_socket->bytesToWrite();
}

void FeedSocket::heard() {
    if (m_closing)
        return;
    m_awaitingPong = false;
    m_timer.start(m_limits.pingIntervalMs);
}

void FeedSocket::onTimer() {
    if (m_closing) {
        // The grace is over: whatever the client has not taken is dropped with the connection.
        m_socket->abort();
        finish();
        return;
    }
    if (m_awaitingPong) {
        close(4408, u"Нет ответа на ping"_s);
        return;
    }
    m_awaitingPong = true;
    m_socket->ping();
    m_timer.start(m_limits.pongTimeoutMs);
}

void FeedSocket::close(int code, const QString& reason) {
    if (m_closing)
        return;
    m_closing = true;
    if (!m_gone) {
        m_gone = true;
        Q_EMIT gone(this);
    }
    m_timer.start(m_limits.closeGraceMs);
    // May finish at once, when the close frame leaves straight away.
    m_socket->close(QWebSocketProtocol::CloseCode(code), reason);
}

void FeedSocket::finish() {
    m_closing = true;
    m_timer.stop();
    if (!m_gone) {
        m_gone = true;
        Q_EMIT gone(this);
    }
    deleteLater();
}
