#pragma once

#include "HttpRequest.h"

#include <QByteArrayView>
#include <QString>

// How the body of a request is framed and what the client asked of the connection.
struct HttpFraming {
    qint64 contentLength = 0; // when not chunked
    bool chunked = false;
    bool keepAlive = true;
    bool expectContinue = false;
    bool upgrade = false;
};

// Reads a request head strictly: one request line "METHOD /target HTTP/1.x", then header fields,
// each line ending in CRLF. Refuses what two readers could understand differently: folded or
// space-before-colon fields, control characters, a duplicate or malformed Content-Length, one
// together with Transfer-Encoding, a missing or repeated Host in HTTP/1.1. Every refusal is a 4xx:
// a malformed request is the client's fault, never the server's.
class HttpHead final {
public:
    struct Result {
        int status = 0; // 0 when the head was read; otherwise the status that refuses it
        QString message;
        bool ok() const { return status == 0; }
    };

    // `head` is everything up to and without the empty line that ends it.
    static Result parse(QByteArrayView head, int maxFields, HttpRequest& request, HttpFraming& framing);
};
