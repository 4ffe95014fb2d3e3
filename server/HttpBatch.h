#pragma once

#include "HttpHandler.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>

// Holds answers back until the handler has made what they report durable, so that one flush to
// disk serves every answer that became ready in the same turn of the event loop (group commit).
class HttpBatch final : public QObject {
    Q_OBJECT

public:
    explicit HttpBatch(HttpHandler& handler, QObject* parent = nullptr)
        : QObject(parent)
        , m_handler(handler) {}

    // Runs `send` after the next sync, unless `context` is gone by then.
    void defer(QObject* context, std::function<void()> send);

private:
    void flush();

    HttpHandler& m_handler;
    QList<QPair<QPointer<QObject>, std::function<void()>>> m_waiting;
    bool m_scheduled = false;
};
