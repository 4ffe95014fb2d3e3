#pragma once

#include "ChangeWatch.h"
#include "FeedLimits.h"
#include "HttpRequest.h"
#include "Storage.h"

#include <QHash>
#include <QHostAddress>
#include <QObject>
#include <QSet>
#include <QWebSocketServer>

#include <functional>
#include <memory>

class FeedSocket;
class QTcpSocket;
class Router;

// The change feed: GET /api/events upgrades to a WebSocket that tells a signed-in user of every
// change to their tasks, folders, settings and attachments, whoever made it (another client, the
// external API, the command line or the bot on the same database). One small JSON text message
// per change, read from the change log in revision order; other users' changes never reach it.
//
//   {"type":"hello","rev":R}                       first, R the user's latest revision (0: none)
//   {"type":"change","kind":K,"op":O,"id":ID,"rev":R}   K task|folder|settings|attachment,
//                                                  O created|updated|deleted; attachments add task_id
//
// Close codes: 4401 not signed in (the handshake completes first), 4408 the client did not keep up
// (its unsent messages passed the cap, or it did not answer a ping), 1001 the server stops.
class EventFeed final : public QObject {
    Q_OBJECT

public:
    // Runs `work` once what the storage has written so far is durable; dropped with `context`.
    using Deferral = std::function<void(QObject* context, std::function<void()> work)>;

    EventFeed(Storage& storage, Deferral afterDurable, QObject* parent = nullptr);
    ~EventFeed() override;

    // Applies to sockets accepted from then on.
    void setLimits(const FeedLimits& limits);
    const FeedLimits& limits() const { return m_limits; }

    // GET /api/events without a WebSocket handshake: 400, or 503 when the feed is full.
    void registerRoutes(Router& router);
    // Takes a WebSocket handshake for /api/events, unless the feed is full for its address.
    bool take(const HttpRequest& request, QTcpSocket* socket);

    // Signed-in sockets the feed sends to.
    int socketCount() const;
    // Every connection the feed holds: handshakes, open and closing sockets.
    int connectionCount() const { return int(m_connections.size()); }
    // The most any socket has had waiting to be taken by its client.
    qint64 peakQueuedBytes() const { return m_peakQueued; }

private:
    bool isFull(const QHostAddress& address) const;
    void accept();
    void join(FeedSocket* socket, qint64 userId);
    void leave(FeedSocket* socket);
    void forget(QObject* connection);
    void changed();
    void drain();
    void deliver(const Change& change);

    Storage& m_storage;
    Deferral m_afterDurable;
    FeedLimits m_limits;
    std::unique_ptr<ChangeWatch> m_watch;
    QWebSocketServer m_server;
    QHash<QObject*, QHostAddress> m_connections; // by their TCP socket, until it is destroyed
    QHash<QHostAddress, int> m_perAddress;
    QSet<QObject*> m_handshakes; // TCP sockets whose WebSocket handshake is under way
    QHash<qint64, QList<FeedSocket*>> m_byUser;
    qint64 m_lastRevision = 0; // the log is read after this
    qint64 m_peakQueued = 0;
    bool m_drainPending = false;
    bool m_stopping = false;
};
