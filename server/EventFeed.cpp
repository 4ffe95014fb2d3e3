#include "EventFeed.h"

#include "ApiRequest.h"
#include "FeedSocket.h"
#include "Router.h"
#include "ServerError.h"
#include "ServerLog.h"
#include "SessionAuth.h"

#include <QTcpSocket>
#include <QTimer>
#include <QWebSocket>

using namespace Qt::StringLiterals;

namespace {

// Changes read from the log at a time; the next page is read on the next turn of the event loop.
constexpr int pageSize = 512;

QByteArray field(const QList<QPair<QByteArray, QByteArray>>& headers, QByteArrayView name) {
    QByteArray value;
    for (const auto& [key, text] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            value += (value.isEmpty() ? "" : ",") + text;
    }
    return value;
}

bool lists(const QByteArray& value, QByteArrayView token) {
    for (const QByteArray& item : value.split(',')) {
        if (item.trimmed().compare(token, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

// An opening handshake as RFC 6455 has it: Upgrade: websocket, Connection: Upgrade, version 13 and
// a key of 16 bytes in base64; no body.
bool isHandshake(const QList<QPair<QByteArray, QByteArray>>& headers) {
    const QByteArray key = field(headers, "Sec-WebSocket-Key").trimmed();
    const auto decoded = QByteArray::fromBase64Encoding(key, QByteArray::AbortOnBase64DecodingErrors);
    return lists(field(headers, "Upgrade"), "websocket") && lists(field(headers, "Connection"), "upgrade") &&
           field(headers, "Sec-WebSocket-Version").trimmed() == "13" && decoded && decoded.decoded.size() == 16 &&
           field(headers, "Content-Length").isEmpty() && field(headers, "Transfer-Encoding").isEmpty();
}

} // namespace

EventFeed::EventFeed(Storage& storage, Deferral afterDurable, QObject* parent)
    : QObject(parent)
    , m_storage(storage)
    , m_afterDurable(std::move(afterDurable))
    , m_watch(storage.watchChanges(m_limits.pollIntervalMs))
    , m_server(u"vexo-server"_s, QWebSocketServer::NonSecureMode) {
    m_server.setHandshakeTimeout(m_limits.handshakeTimeoutMs);
    connect(&m_server, &QWebSocketServer::newConnection, this, &EventFeed::accept);
    connect(m_watch.get(), &ChangeWatch::changed, this, &EventFeed::changed);
}

EventFeed::~EventFeed() {
    m_watch->disconnect(this);
    m_server.disconnect(this);
    m_stopping = true;
    for (FeedSocket* socket : findChildren<FeedSocket*>(Qt::FindDirectChildrenOnly)) {
        socket->disconnect(this);
        socket->close(1001, u"Сервер остановлен"_s);
        delete socket;
    }
    qDeleteAll(m_handshakes);
}

void EventFeed::setLimits(const FeedLimits& limits) {
    m_limits = limits;
    m_server.setHandshakeTimeout(limits.handshakeTimeoutMs);
    // Sockets keep the limits they started with; the watch follows at once.
    m_watch = m_storage.watchChanges(limits.pollIntervalMs);
    connect(m_watch.get(), &ChangeWatch::changed, this, &EventFeed::changed);
    m_watch->setActive(!m_byUser.isEmpty());
}

void EventFeed::registerRoutes(Router& router) {
    router.add("GET", u"/api/events"_s, Access::everyone, [this](ApiRequest& request) {
        // A handshake comes here only when take() has refused it.
        if (isHandshake(request.headers) && isFull(request.remoteAddress))
            return HttpReply::error(503, u"Слишком много подключений к ленте изменений, попробуйте позже"_s);
        throw ServerError::badRequest(
            u"Лента изменений открывается только как WebSocket: нужны заголовки Upgrade: websocket и"
            u" Connection: Upgrade"_s);
    });
}

bool EventFeed::isFull(const QHostAddress& address) const {
    return m_connections.size() >= m_limits.maxSockets || m_perAddress.value(address) >= m_limits.maxSocketsPerAddress;
}

int EventFeed::socketCount() const {
    int count = 0;
    for (const QList<FeedSocket*>& sockets : m_byUser)
        count += int(sockets.size());
    return count;
}

bool EventFeed::take(const HttpRequest& request, QTcpSocket* socket) {
    if (request.rawPath() != "/api/events" || request.method != "GET" || request.minorVersion != 1 ||
        !isHandshake(request.headers) || isFull(request.peer))
        return false;
    socket->setParent(this);
    socket->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, m_limits.sendBufferBytes);
    m_connections.insert(socket, request.peer);
    ++m_perAddress[request.peer];
    m_handshakes.insert(socket);
    // The socket is destroyed by the WebSocket server when the handshake fails, or with its
    // FeedSocket. Watched through a child of its own: the WebSocket classes drop every connection
    // of the socket they use.
    auto* guard = new QObject(socket);
    connect(guard, &QObject::destroyed, this, [this, socket] { forget(socket); });
    m_server.handleConnection(socket);
    return true;
}

void EventFeed::forget(QObject* connection) {
    if (m_stopping)
        return;
    const auto found = m_connections.find(connection);
    if (found == m_connections.end())
        return;
    const auto count = m_perAddress.find(found.value());
    if (count != m_perAddress.end() && --count.value() <= 0)
        m_perAddress.erase(count);
    m_connections.erase(found);
    m_handshakes.remove(connection);
}

void EventFeed::accept() {
    while (QWebSocket* webSocket = m_server.nextPendingConnection()) {
        QTcpSocket* transport = nullptr;
        for (QObject* handshake : std::as_const(m_handshakes)) {
            auto* candidate = static_cast<QTcpSocket*>(handshake);
            if (candidate->peerPort() == webSocket->peerPort() &&
                candidate->peerAddress() == webSocket->peerAddress()) {
                transport = candidate;
                break;
            }
        }
        if (!transport) {
            qCWarning(lcServer) << "change feed: a WebSocket without its connection";
            webSocket->abort();
            delete webSocket;
            continue;
        }
        m_handshakes.remove(transport);
        auto* socket = new FeedSocket(webSocket, transport, m_limits, this);
        qCInfo(lcAccess).noquote() << "GET /api/events 101";
        try {
            const StoredUser user = sessionUser(m_storage, webSocket->request().rawHeader("Authorization"));
            join(socket, user.user.id);
        } catch (const ServerError& error) {
            if (error.kind() == ErrorKind::unauthorized) {
                socket->close(4401, error.message());
            } else {
                qCWarning(lcServer) << "change feed: signing in failed:" << error.message();
                socket->close(1011, u"Внутренняя ошибка сервера"_s);
            }
        } catch (const std::exception& error) {
            qCWarning(lcServer) << "change feed: signing in failed:" << error.what();
            socket->close(1011, u"Внутренняя ошибка сервера"_s);
        }
    }
}

void EventFeed::join(FeedSocket* socket, qint64 userId) {
    if (m_byUser.isEmpty()) {
        // Nobody listened: the log is read from now on. Read before the user's revision below, so
        // that a change committed in between is either in the hello or read later.
        m_lastRevision = m_storage.lastRevision();
        m_watch->setActive(true);
    }
    socket->start(userId, m_storage.userRevision(userId));
    connect(socket, &FeedSocket::gone, this, &EventFeed::leave);
    m_byUser[userId].append(socket);
}

void EventFeed::leave(FeedSocket* socket) {
    const auto found = m_byUser.find(socket->userId());
    if (found == m_byUser.end())
        return;
    found->removeOne(socket);
    if (found->isEmpty())
        m_byUser.erase(found);
    m_peakQueued = qMax(m_peakQueued, socket->peakQueuedBytes());
    if (m_byUser.isEmpty())
        m_watch->setActive(false);
}

void EventFeed::changed() {
    if (m_drainPending || m_byUser.isEmpty())
        return;
    m_drainPending = true;
    // Released with the answers of the same flush: a change is announced once it is durable.
    m_afterDurable(this, [this] {
        m_drainPending = false;
        drain();
    });
}

void EventFeed::drain() {
    if (m_byUser.isEmpty())
        return;
    const qint64 from = m_lastRevision;
    QList<Change> page;
    try {
        page = m_storage.changesAfter(from, pageSize, m_lastRevision);
    } catch (const std::exception& error) {
        qCWarning(lcServer) << "change feed: reading the change log failed:" << error.what();
        QTimer::singleShot(m_limits.pollIntervalMs, this, &EventFeed::changed);
        return;
    }
    for (const Change& change : std::as_const(page))
        deliver(change);
    // Read until a page comes back empty.
    if (m_lastRevision != from)
        changed();
}

void EventFeed::deliver(const Change& change) {
    const auto found = m_byUser.constFind(change.userId);
    if (found == m_byUser.constEnd())
        return;
    const QByteArray message = change.toMessage();
    // A copy: a socket dropped while sending leaves the list.
    const QList<FeedSocket*> sockets = *found;
    for (FeedSocket* socket : sockets) {
        socket->send(change.revision, message);
        m_peakQueued = qMax(m_peakQueued, socket->peakQueuedBytes());
    }
}
