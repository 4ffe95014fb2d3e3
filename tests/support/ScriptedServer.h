#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPair>
#include <QTcpServer>

class QTcpSocket;

// One request exactly as it arrived on the wire.
struct RecordedRequest {
    QByteArray method;
    QByteArray target; // path with query
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    bool hasHeader(const QByteArray& name) const;
    QByteArray header(const QByteArray& name) const; // case-insensitive; empty when absent
    QJsonObject jsonBody() const;                    // empty when the body is not a JSON object
};

// What the server does with the next request.
struct ScriptedReply {
    enum class Action { answer, close, hang };

    Action action = Action::answer;
    int status = 200;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    int delayMs = 0;

    static ScriptedReply json(int status, const QByteArray& body);
    static ScriptedReply raw(int status, const QByteArray& contentType, const QByteArray& body);
    static ScriptedReply closeWithoutAnswer();
    static ScriptedReply neverAnswer();
};

// An HTTP/1.1 server on 127.0.0.1 with an ephemeral port that records every request and answers from
// a script: queued replies first, then the default reply.
class ScriptedServer final : public QObject {
    Q_OBJECT

public:
    explicit ScriptedServer(QObject* parent = nullptr);

    bool listen();
    quint16 port() const { return m_server.serverPort(); }
    QString baseUrl() const;

    void enqueue(const ScriptedReply& reply) { m_script.append(reply); }
    void setDefaultReply(const ScriptedReply& reply) { m_default = reply; }
    // Every request whose path starts with `pathPrefix` gets this reply, before the queue is asked.
    void setReplyFor(const QByteArray& pathPrefix, const ScriptedReply& reply) {
        m_routes.removeIf([&](const auto& route) { return route.first == pathPrefix; });
        m_routes.append({pathPrefix, reply});
    }

    const QList<RecordedRequest>& requests() const { return m_requests; }
    RecordedRequest lastRequest() const { return m_requests.isEmpty() ? RecordedRequest{} : m_requests.last(); }
    void clearRequests() { m_requests.clear(); }

Q_SIGNALS:
    void requestReceived();

private:
    void accept();
    void readFrom(QTcpSocket* socket);
    void respond(QTcpSocket* socket, const ScriptedReply& reply);

    QTcpServer m_server;
    QHash<QTcpSocket*, QByteArray> m_buffers;
    QList<ScriptedReply> m_script;
    ScriptedReply m_default = ScriptedReply::json(200, "{}");
    QList<QPair<QByteArray, ScriptedReply>> m_routes;
    QList<RecordedRequest> m_requests;
};
