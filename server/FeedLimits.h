#pragma once

#include <QtGlobal>

// What one change-feed socket may take of the service. Times are in milliseconds.
struct FeedLimits {
    // A client silent this long is pinged…
    int pingIntervalMs = 25'000;
    // …and dropped when it has not answered within this.
    int pongTimeoutMs = 25'000;
    // Messages a client has not taken yet, beyond what the kernel holds; past this it is dropped as
    // too slow a reader (it reconnects and reloads).
    qint64 maxQueuedBytes = 256 * 1024;
    // The kernel's send buffer of a feed socket, kept small so that what a slow reader leaves
    // waits where it is counted (Linux would otherwise let it grow to megabytes).
    int sendBufferBytes = 64 * 1024;
    // After a close frame, how long the client has to take it before the connection is cut.
    int closeGraceMs = 2'000;
    // From the hand-over to the end of the WebSocket handshake.
    int handshakeTimeoutMs = 10'000;
    // How often the log is looked at for changes made by other processes.
    int pollIntervalMs = 50;
    int maxSocketsPerAddress = 64;
    int maxSockets = 1024;
};
