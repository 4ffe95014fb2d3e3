#include "HttpServer.h"

#include "HttpConnection.h"
#include "ServerLog.h"

#include <QTcpSocket>
#include <QTimer>

using namespace Qt::StringLiterals;

HttpServer::HttpServer(HttpHandler& handler, QObject* parent)
    : QObject(parent)
    , m_handler(handler)
    , m_batch(handler) {
    connect(&m_listener, &QTcpServer::newConnection, this, &HttpServer::accept);
}

HttpServer::~HttpServer() {
    m_listener.close();
    for (HttpConnection* connection : std::as_const(m_connections)) {
        connection->disconnect(this);
        delete connection;
    }
}

quint16 HttpServer::listen(const QHostAddress& address, quint16 port) {
    // Qt's default queue of 50 makes a burst of new clients wait for SYN retries, a second or more.
    m_listener.setListenBacklogSize(m_limits.maxConnections);
    if (!m_listener.listen(address, port))
        return 0;
    return m_listener.serverPort();
}

void HttpServer::accept() {
    while (QTcpSocket* socket = m_listener.nextPendingConnection()) {
        const QHostAddress address = socket->peerAddress();
        int& fromAddress = m_perAddress[address];
        const bool proxy = m_limits.trustedProxies.contains(address);
        if ((!proxy && fromAddress >= m_limits.maxConnectionsPerAddress) ||
            m_connections.size() >= m_limits.maxConnections) {
            if (fromAddress == 0)
                m_perAddress.remove(address);
            // Once per flood, not once per connection: the log must not become the next thing to fill.
            if (!m_turnedAway.contains(address)) {
                m_turnedAway.insert(address);
                qCWarning(lcServer).noquote()
                    << "connection limit reached; turning away connections from" << address.toString();
            }
            turnAway(socket);
            continue;
        }
        ++fromAddress;
        auto* connection = new HttpConnection(socket, m_handler, m_batch, m_limits, this);
        m_connections.insert(connection);
        connect(connection, &HttpConnection::finished, this, [this, connection] { forget(connection); });
    }
}

void HttpServer::afterSync(QObject* context, std::function<void()> work) {
    if (m_handler.needsSync())
        m_batch.defer(context, std::move(work));
    else
        QTimer::singleShot(0, context, std::move(work));
}

void HttpServer::turnAway(QTcpSocket* socket) {
    static const QByteArray answer = [] {
        const HttpReply reply = HttpReply::error(503, u"Слишком много соединений, попробуйте позже"_s);
        return "HTTP/1.1 503 " + reasonPhrase(503) + "\r\nContent-Type: " + reply.contentType +
               "\r\nContent-Length: " + QByteArray::number(reply.body.size()) + "\r\nConnection: close\r\n\r\n" +
               reply.body;
    }();
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(m_limits.lingerMs, socket, [socket] {
        socket->abort();
        socket->deleteLater();
    });
    socket->write(answer);
    socket->disconnectFromHost();
}

void HttpServer::forget(HttpConnection* connection) {
    if (!m_connections.remove(connection))
        return;
    const auto count = m_perAddress.find(connection->peer());
    if (count != m_perAddress.end() && --count.value() <= 0) {
        m_perAddress.erase(count);
        m_turnedAway.remove(connection->peer());
    }
    connection->deleteLater();
}
