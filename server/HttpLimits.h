#pragma once

#include <QHostAddress>
#include <QList>
#include <QtGlobal>

// What one client may take of the service. Times are in milliseconds.
struct HttpLimits {
    // The request line and the header fields together, with their line ends.
    qsizetype maxHeaderBytes = 16 * 1024;
    int maxHeaderFields = 100;
    // From the first byte of a request to the end of its header.
    int headerTimeoutMs = 10'000;
    // From the end of the header to the end of the body.
    int bodyTimeoutMs = 60'000;
    // A connection waiting for its next request, or for its answer to be taken, is closed after this.
    int idleTimeoutMs = 15'000;
    // After an answer that refuses a body, what the client still sends is read and dropped for at
    // most this long, so that it sees the answer instead of a reset.
    int lingerMs = 2'000;
    int maxConnectionsPerAddress = 64;
    int maxConnections = 1024;
    // Reverse proxies in front of the service. Their connections carry many clients, so they are
    // not held to the limit per address; a request through one comes from the last address its
    // X-Forwarded-For names (the one the proxy itself saw). Anyone else's X-Forwarded-For is ignored.
    QList<QHostAddress> trustedProxies;
};
