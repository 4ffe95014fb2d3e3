#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QPair>

#include <any>

// One request as the connection layer read it: the request line, the header fields as sent, and
// the body once it has arrived.
struct HttpRequest {
    QByteArray method;
    QByteArray target;    // origin form: path and query, still percent-encoded
    int minorVersion = 1; // HTTP/1.x
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    QHostAddress peer;
    // Whatever the handler keeps between admitting a request and answering it.
    std::any context;

    // The value of a field, case-insensitive; empty when absent.
    QByteArray header(const QByteArray& name) const;
    bool hasHeader(const QByteArray& name) const;
    // The path of the target without its query.
    QByteArray rawPath() const;
};
