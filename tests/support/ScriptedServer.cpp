#include "ScriptedServer.h"

#include <QJsonDocument>
#include <QTcpSocket>
#include <QTimer>

bool RecordedRequest::hasHeader(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

QByteArray RecordedRequest::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

QJsonObject RecordedRequest::jsonBody() const {
    return QJsonDocument::fromJson(body).object();
}

ScriptedReply ScriptedReply::json(int status, const QByteArray& body) {
    return raw(status, "application/json", body);
}

ScriptedReply ScriptedReply::raw(int status, const QByteArray& contentType, const QByteArray& body) {
    ScriptedReply reply;
    reply.status = status;
    if (!contentType.isEmpty())
        reply.headers.append({"Content-Type", contentType});
    reply.body = body;
    return reply;
}

ScriptedReply ScriptedReply::closeWithoutAnswer() {
    ScriptedReply reply;
    reply.action = Action::close;
    return reply;
}

ScriptedReply ScriptedReply::neverAnswer() {
    ScriptedReply reply;
    reply.action = Action::hang;
    return reply;
}

ScriptedServer::ScriptedServer(QObject* parent)
    : QObject(parent) {
    connect(&m_server, &QTcpServer::newConnection, this, &ScriptedServer::accept);
}

bool ScriptedServer::listen() {
    return m_server.listen(QHostAddress::LocalHost, 0);
}

QString ScriptedServer::baseUrl() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(port());
}

void ScriptedServer::accept() {
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readFrom(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_buffers.remove(socket);
            socket->deleteLater();
        });
    }
}

void ScriptedServer::readFrom(QTcpSocket* socket) {
    QByteArray& buffer = m_buffers[socket];
    buffer += socket->readAll();
    for (;;) {
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        RecordedRequest request;
        const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
        request.method = requestLine.value(0);
        request.target = requestLine.value(1);
        qsizetype contentLength = 0;
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QByteArray line = lines[i].trimmed();
            const qsizetype colon = line.indexOf(':');
            if (colon <= 0)
                continue;
            const QByteArray name = line.left(colon).trimmed();
            const QByteArray value = line.mid(colon + 1).trimmed();
            request.headers.append({name, value});
            if (name.compare("content-length", Qt::CaseInsensitive) == 0)
                contentLength = value.toLongLong();
        }
        const qsizetype bodyStart = headerEnd + 4;
        if (buffer.size() < bodyStart + contentLength)
            return;
        request.body = buffer.mid(bodyStart, contentLength);
        buffer.remove(0, bodyStart + contentLength);
        m_requests.append(request);
        Q_EMIT requestReceived();
        // The longest matching prefix wins, so "/a/b" can be answered apart from "/a".
        const ScriptedReply* routed = nullptr;
        qsizetype longest = -1;
        for (const auto& [prefix, reply] : m_routes) {
            if (request.target.startsWith(prefix) && prefix.size() > longest) {
                routed = &reply;
                longest = prefix.size();
            }
        }
        respond(socket, routed ? *routed : m_script.isEmpty() ? m_default : m_script.takeFirst());
    }
}

void ScriptedServer::respond(QTcpSocket* socket, const ScriptedReply& reply) {
    auto send = [socket, reply] {
        if (reply.action == ScriptedReply::Action::hang)
            return;
        if (reply.action == ScriptedReply::Action::close) {
            socket->abort();
            return;
        }
        QByteArray out = "HTTP/1.1 " + QByteArray::number(reply.status) + " Scripted\r\n";
        for (const auto& [name, value] : reply.headers)
            out += name + ": " + value + "\r\n";
        out += "Content-Length: " + QByteArray::number(reply.body.size()) + "\r\nConnection: close\r\n\r\n";
        out += reply.body;
        socket->write(out);
        socket->disconnectFromHost();
    };
    if (reply.delayMs > 0)
        QTimer::singleShot(reply.delayMs, socket, send);
    else
        send();
}
