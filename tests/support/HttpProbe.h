#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkAccessManager>
#include <QPair>
#include <QString>

// A raw HTTP request for tests that must send what the client never would.
struct ProbeReply {
    int status = 0; // 0: no HTTP answer
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray header(const QByteArray& name) const;
};

ProbeReply probe(QNetworkAccessManager& network, const QByteArray& method, const QString& url,
                 const QByteArray& body = QByteArray(), const QList<QPair<QByteArray, QByteArray>>& headers = {});
