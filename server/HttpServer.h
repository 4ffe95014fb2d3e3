#pragma once

#include "HttpBatch.h"
#include "HttpHandler.h"
#include "HttpLimits.h"

#include <QHash>
#include <QHostAddress>
#include <QObject>
#include <QSet>
#include <QTcpServer>

class HttpConnection;

// Accepts connections for one handler and keeps each client within its share: at most so many
// connections per address and in all; a connection over either cap is answered 503 and closed.
class HttpServer final : public QObject {
    Q_OBJECT

public:
    explicit HttpServer(HttpHandler& handler, QObject* parent = nullptr);
    ~HttpServer() override;

    // The bound port (useful with port 0), or 0 when the address cannot be taken.
    quint16 listen(const QHostAddress& address, quint16 port);
    // Applies to connections accepted from then on.
    void setLimits(const HttpLimits& limits) { m_limits = limits; }
    const HttpLimits& limits() const { return m_limits; }
    int connectionCount() const { return int(m_connections.size()); }
    // Runs `work` once what the handler has written so far is durable: after the next flush when
    // something waits for one, otherwise on the next turn of the event loop. Dropped with `context`.
    void afterSync(QObject* context, std::function<void()> work);

private:
    void accept();
    void turnAway(QTcpSocket* socket);
    void forget(HttpConnection* connection);

    HttpHandler& m_handler;
    HttpBatch m_batch;
    HttpLimits m_limits;
    QTcpServer m_listener;
    QSet<HttpConnection*> m_connections;
    QHash<QHostAddress, int> m_perAddress;
    QSet<QHostAddress> m_turnedAway; // addresses over their cap since they were last under it
};
