#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>

#include <chrono>

class QNetworkAccessManager;
class QWebSocket;

// One message of the change feed: something of the signed-in user's changed on the service.
struct FeedChange {
    QString kind; // "task", "folder", "settings", "attachment"
    QString op;   // "created", "updated", "deleted"
    qint64 id = 0;
    qint64 taskId = 0; // attachments only
    qint64 revision = 0;
    bool operator==(const FeedChange&) const = default;
};

// The service's change feed: a WebSocket at /api/events, opened with the session's token, on which
// the service tells of every change to the user's data, whoever made it. This class only holds the
// connection and says what happens on it; when to open it again is its owner's decision.
//
// It opens once per open(); it never reconnects by itself. A connection that has gone silent is
// found out by a ping of its own, so a peer that vanished without a word does not keep the feed
// looking alive.
class ChangeFeed final : public QObject {
    Q_OBJECT

public:
    // How a connection ended (or never began).
    enum class Ending {
        // It was open (the service said hello) and then closed or broke: 1001, 1011, 4408, a reset.
        dropped,
        // The service turned the session away (4401), or there was no token to show it.
        refused,
        // The handshake went out and no switch to WebSocket came back: an answer such as 404, 400 or
        // 503, or the connection closed on it. The service offers no feed here, or not now.
        unavailable,
        // No answer: the connection failed, or the handshake and hello did not come in time.
        unreachable,
    };
    Q_ENUM(Ending)

    static constexpr std::chrono::seconds defaultOpenTimeout{20};
    static constexpr std::chrono::seconds defaultKeepAlive{45};

    // The feed of the service at `base` (scheme and host, as APIService takes it). Connections follow
    // `network`'s proxy setting.
    ChangeFeed(QString base, const QNetworkAccessManager& network, QObject* parent = nullptr);
    ~ChangeFeed() override;

    // ws:// or wss:// with the path of the feed.
    static QUrl eventsUrl(const QString& base);

    // Opens a connection for the session with this token, unless one is open or opening.
    void open(const QString& token);
    // Ends the connection, if any, without a word: no ended().
    void close();

    // While held, open() only remembers the token; the connection is made on letting go. The first
    // WebSocket of a process loads the TLS backend, which a window's first frame need not wait for.
    void hold();
    void letGo();

    bool isOpening() const { return (m_socket && !m_open) || !m_heldToken.isEmpty(); }
    bool isOpen() const { return m_open; }
    // The revision of the last message heard (the hello's, then each change's).
    qint64 revision() const { return m_revision; }

    void setOpenTimeout(std::chrono::milliseconds timeout) { m_openTimeout = timeout; }
    // How long an open connection may stay silent before it is pinged, and then how long the
    // answer may take.
    void setKeepAlive(std::chrono::milliseconds interval) { m_keepAlive = interval; }

Q_SIGNALS:
    // The service said hello: the feed is open. Changes made before it may have been missed.
    void opened(qint64 revision);
    void changed(const FeedChange& change);
    // The connection is gone; `closeCode` is the WebSocket close code when one came, else 0.
    void ended(ChangeFeed::Ending ending, int closeCode);

private:
    void onConnected();
    void onError();
    void onMessage(const QString& text);
    void onDisconnected();
    void onTimer();
    void heard();
    void finish(Ending ending, int closeCode);
    void dropSocket();

    QString m_base;
    const QNetworkAccessManager& m_network;
    std::chrono::milliseconds m_openTimeout = defaultOpenTimeout;
    std::chrono::milliseconds m_keepAlive = defaultKeepAlive;
    QWebSocket* m_socket = nullptr;
    bool m_held = false;
    QString m_heldToken; // what open() was given while held
    QTimer m_timer;      // the open time-out, then the keep-alive
    bool m_handshakeSent = false;
    bool m_upgraded = false;
    bool m_open = false;
    bool m_awaitingPong = false;
    qint64 m_revision = 0;
};
