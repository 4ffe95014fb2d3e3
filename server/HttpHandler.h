#pragma once

#include "HttpReply.h"
#include "HttpRequest.h"

#include <functional>
#include <optional>

class QTcpSocket;

// What the connection layer asks of the application. The layer owns framing, limits and time-outs;
// the handler owns routes.
class HttpHandler {
public:
    struct Admission {
        // Present: the request ends with this answer and its body is never read.
        std::optional<HttpReply> reply;
        // Otherwise the body may be at most this long.
        qint64 bodyLimit = 0;
    };

    virtual ~HttpHandler() = default;

    // Called once the header is read, before any byte of the body.
    virtual Admission admit(HttpRequest& request) = 0;
    // Called with the whole body of an admitted request.
    virtual HttpReply respond(HttpRequest& request) = 0;
    // True when answers given so far report something that is not durable yet. They then wait
    // until the work syncWork() returns has run (on a worker thread, while other requests are
    // served); one run serves every answer that was waiting when it started.
    virtual bool needsSync() { return false; }
    virtual std::function<void()> syncWork() { return {}; }
    // A request that asks to switch protocols ("Connection: Upgrade"), before any of it is taken from
    // the socket. Returning true takes the socket over, with no parent: the handler then owns it and
    // reads the request itself, from its first byte. It no longer counts against the connection caps.
    virtual bool upgrade(const HttpRequest& request, QTcpSocket* socket) {
        Q_UNUSED(request);
        Q_UNUSED(socket);
        return false;
    }
};
