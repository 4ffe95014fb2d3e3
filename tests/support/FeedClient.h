#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QWebSocket>

// A change-feed client on Qt's own WebSocket: what it was sent, in order, and how it was closed.
// Waits are left to the test (QTRY_*), which keeps the event loop running.
class FeedClient final {
public:
    // `authorization` is the whole Authorization field; empty sends none.
    FeedClient(const QString& url, const QByteArray& authorization);
    // Closes first: Qt 6.4's WebSocket leaks its closing text when destroyed open.
    ~FeedClient();

    static QByteArray bearer(const QByteArray& token) { return "Bearer " + token; }

    QWebSocket& socket() { return m_socket; }
    bool wasConnected() const { return m_connected; }
    bool isClosed() const { return m_closed; }
    int closeCode() const { return m_closeCode; }
    QString closeReason() const { return m_closeReason; }
    // Every text message as sent, and each as a JSON object.
    const QStringList& texts() const { return m_texts; }
    const QList<QJsonObject>& messages() const { return m_messages; }
    // The messages after the hello, as "kind op id" (and " task_id" for attachments).
    QStringList changes() const;

private:
    QWebSocket m_socket;
    QStringList m_texts;
    QList<QJsonObject> m_messages;
    bool m_connected = false;
    bool m_closed = false;
    int m_closeCode = -1;
    QString m_closeReason;
};
