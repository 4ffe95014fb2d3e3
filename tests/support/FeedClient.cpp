#include "FeedClient.h"

#include <QJsonDocument>
#include <QNetworkRequest>

FeedClient::FeedClient(const QString& url, const QByteArray& authorization) {
    QObject::connect(&m_socket, &QWebSocket::connected, &m_socket, [this] { m_connected = true; });
    QObject::connect(&m_socket, &QWebSocket::textMessageReceived, &m_socket, [this](const QString& text) {
        m_texts << text;
        m_messages << QJsonDocument::fromJson(text.toUtf8()).object();
    });
    QObject::connect(&m_socket, &QWebSocket::disconnected, &m_socket, [this] {
        m_closed = true;
        m_closeCode = m_socket.closeCode();
        m_closeReason = m_socket.closeReason();
    });
    QNetworkRequest request{QUrl(url)};
    if (!authorization.isEmpty())
        request.setRawHeader("Authorization", authorization);
    m_socket.open(request);
}

FeedClient::~FeedClient() {
    m_socket.disconnect();
    m_socket.close();
}

QStringList FeedClient::changes() const {
    QStringList changes;
    for (const QJsonObject& message : m_messages) {
        if (message.value(QStringLiteral("type")).toString() != QStringLiteral("change"))
            continue;
        QString line = message.value(QStringLiteral("kind")).toString() + u' ' +
                       message.value(QStringLiteral("op")).toString() + u' ' +
                       QString::number(message.value(QStringLiteral("id")).toInteger());
        if (message.contains(QStringLiteral("task_id")))
            line += u' ' + QString::number(message.value(QStringLiteral("task_id")).toInteger());
        changes << line;
    }
    return changes;
}
