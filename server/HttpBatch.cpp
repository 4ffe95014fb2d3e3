#include "HttpBatch.h"

#include "ServerLog.h"

#include <QTimer>

void HttpBatch::defer(QObject* context, std::function<void()> send) {
    m_waiting.append({QPointer<QObject>(context), std::move(send)});
    if (!m_scheduled) {
        m_scheduled = true;
        // After the requests already waiting in this turn have been handled.
        QTimer::singleShot(0, this, &HttpBatch::flush);
    }
}

void HttpBatch::flush() {
    m_scheduled = false;
    const auto waiting = std::exchange(m_waiting, {});
    try {
        m_handler.sync();
    } catch (const std::exception& error) {
        qCCritical(lcServer) << "making writes durable failed:" << error.what();
    }
    for (const auto& [context, send] : waiting) {
        if (context)
            send();
    }
}
