#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

// One answer, independent of how it is sent.
struct HttpReply {
    int status = 200;
    QByteArray contentType = "application/json";
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;

    static HttpReply json(QByteArray body, int status = 200);
    // {"error": message}
    static HttpReply error(int status, const QString& message);
    // 413 for a body above `limit` bytes.
    static HttpReply tooLarge(qint64 limit);
};

// The standard phrase of a status code, for the status line.
QByteArray reasonPhrase(int status);
