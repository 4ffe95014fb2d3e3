#pragma once

#include "HttpHandler.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QThread>

#include <functional>

// Holds answers back until the handler has made what they report durable (group commit). The
// flush runs on a thread of its own while the event loop goes on serving; every answer that
// became ready meanwhile waits for the next flush, which then serves them all at once.
class HttpBatch final : public QObject {
    Q_OBJECT

public:
    explicit HttpBatch(HttpHandler& handler, QObject* parent = nullptr);
    ~HttpBatch() override;

    // Runs `send` after the next flush, unless `context` is gone by then.
    void defer(QObject* context, std::function<void()> send);

private:
    using Waiting = QList<QPair<QPointer<QObject>, std::function<void()>>>;

    void start();
    void finish();
    static void release(const Waiting& answers);

    HttpHandler& m_handler;
    QThread m_thread;
    QObject* m_worker; // lives in m_thread
    Waiting m_waiting;
    Waiting m_inFlight;
    bool m_scheduled = false;
    bool m_running = false;
};
