#include "ChangeFeed.h"

#include "ServiceLog.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QWebSocket>

using namespace Qt::StringLiterals;

namespace {

constexpr int closeUnauthorized = 4401;

// Qt 6.4 leaks what a WebSocket holds for its closing when one is destroyed open: it is closed (or,
// before the handshake, aborted) first.
void shut(QWebSocket* socket) {
    if (socket->state() == QAbstractSocket::ConnectedState)
        socket->close();
    else
        socket->abort();
}

} // namespace

ChangeFeed::ChangeFeed(QString base, const QNetworkAccessManager& network, QObject* parent)
    : QObject(parent)
    , m_base(std::move(base))
    , m_network(network) {
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::CoarseTimer);
    connect(&m_timer, &QTimer::timeout, this, &ChangeFeed::onTimer);
}

ChangeFeed::~ChangeFeed() {
    if (m_socket) {
        m_socket->disconnect(this);
        shut(m_socket);
        delete m_socket;
    }
}

QUrl ChangeFeed::eventsUrl(const QString& base) {
    QUrl url(base + u"/api/events"_s);
    const QString scheme = url.scheme().toLower();
    url.setScheme(scheme == u"https"_s ? u"wss"_s : u"ws"_s);
    return url;
}

void ChangeFeed::hold() {
    m_held = true;
}

void ChangeFeed::letGo() {
    m_held = false;
    if (!m_heldToken.isEmpty())
        open(std::exchange(m_heldToken, QString()));
}

void ChangeFeed::open(const QString& token) {
    if (m_socket)
        return;
    if (token.isEmpty()) {
        Q_EMIT ended(Ending::refused, 0);
        return;
    }
    if (m_held) {
        m_heldToken = token;
        return;
    }
    m_handshakeSent = false;
    m_upgraded = false;
    m_open = false;
    m_awaitingPong = false;
    m_socket = new QWebSocket(QString(), QWebSocketProtocol::VersionLatest, this);
    m_socket->setProxy(m_network.proxy());
    connect(m_socket, &QWebSocket::bytesWritten, this, [this] { m_handshakeSent = true; });
    connect(m_socket, &QWebSocket::connected, this, &ChangeFeed::onConnected);
    connect(m_socket, &QWebSocket::textMessageReceived, this, &ChangeFeed::onMessage);
    connect(m_socket, &QWebSocket::pong, this, &ChangeFeed::heard);
    connect(m_socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this, &ChangeFeed::onError);
    connect(m_socket, &QWebSocket::disconnected, this, &ChangeFeed::onDisconnected);

    QNetworkRequest request(eventsUrl(m_base));
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    m_timer.start(m_openTimeout);
    m_socket->open(request);
}

void ChangeFeed::close() {
    m_heldToken.clear();
    m_timer.stop();
    m_open = false;
    dropSocket();
}

void ChangeFeed::dropSocket() {
    if (!m_socket)
        return;
    QWebSocket* socket = m_socket;
    m_socket = nullptr;
    socket->disconnect(this);
    shut(socket);
    // Possibly inside one of its own signals.
    socket->deleteLater();
}

void ChangeFeed::onConnected() {
    m_upgraded = true;
}

void ChangeFeed::heard() {
    m_awaitingPong = false;
    if (m_open)
        m_timer.start(m_keepAlive);
}

void ChangeFeed::onMessage(const QString& text) {
    heard();
    const QJsonObject message = QJsonDocument::fromJson(text.toUtf8()).object();
    const QString type = message.value(u"type"_s).toString();
    if (!m_open) {
        if (type != u"hello"_s)
            return;
        m_open = true;
        m_revision = message.value(u"rev"_s).toInteger();
        m_timer.start(m_keepAlive);
        qCInfo(lcService) << "change feed open at revision" << m_revision;
        Q_EMIT opened(m_revision);
        return;
    }
    if (type != u"change"_s)
        return;
    FeedChange change;
    change.kind = message.value(u"kind"_s).toString();
    change.op = message.value(u"op"_s).toString();
    change.id = message.value(u"id"_s).toInteger();
    change.taskId = message.value(u"task_id"_s).toInteger();
    change.revision = message.value(u"rev"_s).toInteger();
    if (change.kind.isEmpty() || change.op.isEmpty()) {
        qCInfo(lcService) << "change feed message ignored:" << text.left(200);
        return;
    }
    m_revision = qMax(m_revision, change.revision);
    Q_EMIT changed(change);
}

void ChangeFeed::onError() {
    // A handshake answered with anything but a switch of protocols ends here: the socket may stay
    // connected to a server that keeps its connections open.
    if (m_socket && m_handshakeSent && !m_upgraded) {
        qCDebug(lcService) << "change feed handshake:" << m_socket->errorString();
        finish(Ending::unavailable, 0);
    }
}

void ChangeFeed::onDisconnected() {
    if (!m_socket)
        return;
    const int closeCode = m_upgraded ? int(m_socket->closeCode()) : 0;
    Ending ending = Ending::unreachable;
    if (m_open)
        ending = Ending::dropped;
    else if (m_upgraded && closeCode == closeUnauthorized)
        ending = Ending::refused;
    else if (!m_upgraded && m_handshakeSent)
        ending = Ending::unavailable;
    qCDebug(lcService) << "change feed socket:" << m_socket->errorString();
    finish(ending, closeCode);
}

void ChangeFeed::onTimer() {
    if (!m_socket)
        return;
    if (!m_open) {
        finish(Ending::unreachable, 0);
        return;
    }
    if (m_awaitingPong) {
        qCInfo(lcService) << "change feed silent; dropped";
        finish(Ending::dropped, 0);
        return;
    }
    m_awaitingPong = true;
    m_socket->ping();
    m_timer.start(m_keepAlive);
}

void ChangeFeed::finish(Ending ending, int closeCode) {
    m_timer.stop();
    const bool wasOpen = m_open;
    m_open = false;
    dropSocket();
    qCInfo(lcService) << "change feed ended:" << ending << closeCode << (wasOpen ? "after opening" : "before opening");
    Q_EMIT ended(ending, closeCode);
}
