#include "HttpBatch.h"

#include "ServerLog.h"

#include <QTimer>

HttpBatch::HttpBatch(HttpHandler& handler, QObject* parent)
    : QObject(parent)
    , m_handler(handler)
    , m_worker(new QObject) {
    m_thread.setObjectName(QStringLiteral("vexo-sync"));
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread.start();
}

HttpBatch::~HttpBatch() {
    // A flush still running finishes first; its call back to this object is dropped with it.
    m_thread.quit();
    m_thread.wait();
}

void HttpBatch::defer(QObject* context, std::function<void()> send) {
    m_waiting.append({QPointer<QObject>(context), std::move(send)});
    if (!m_running && !m_scheduled) {
        m_scheduled = true;
        // After the other requests already here in this turn of the event loop.
        QTimer::singleShot(0, this, &HttpBatch::start);
    }
}

void HttpBatch::start() {
    m_scheduled = false;
    if (m_running || m_waiting.isEmpty())
        return;
    m_inFlight = std::exchange(m_waiting, {});
    std::function<void()> work;
    try {
        work = m_handler.syncWork();
    } catch (const std::exception& error) {
        qCCritical(lcServer) << "making writes durable failed:" << error.what();
    }
    if (!work) {
        release(std::exchange(m_inFlight, {}));
        return;
    }
    m_running = true;
    QMetaObject::invokeMethod(
        m_worker,
        [this, work = std::move(work)] {
            work();
            QMetaObject::invokeMethod(this, &HttpBatch::finish, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

void HttpBatch::finish() {
    m_running = false;
    release(std::exchange(m_inFlight, {}));
    if (!m_waiting.isEmpty())
        start();
}

void HttpBatch::release(const Waiting& answers) {
    for (const auto& [context, send] : answers) {
        if (context)
            send();
    }
}
