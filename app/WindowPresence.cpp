#include "WindowPresence.h"

#include "LiveRefresh.h"

#include <QEvent>
#include <QGuiApplication>
#include <QWidget>
#include <QWindow>

WindowPresence::WindowPresence(QWidget& window, LiveRefresh& live)
    : QObject(&window)
    , m_window(window)
    , m_live(live) {
    m_window.installEventFilter(this);
    m_live.setWindowVisible(m_window.isVisible() && !m_window.isMinimized());
    // Whichever window has the keyboard: the window itself or one of its sheets is the window in
    // use, so a sheet in front of it is no time away; another application, or none, is.
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this,
            [this](QWindow* focus) { m_live.setWindowActive(isOurs(focus)); });
    m_live.setWindowActive(isOurs(QGuiApplication::focusWindow()));
}

bool WindowPresence::isOurs(const QWindow* window) const {
    for (; window; window = window->transientParent()) {
        if (window == m_window.windowHandle())
            return true;
    }
    return false;
}

bool WindowPresence::eventFilter(QObject* watched, QEvent* event) {
    if (watched == &m_window) {
        switch (event->type()) {
        case QEvent::Show:
            m_live.setWindowVisible(!m_window.isMinimized());
            break;
        case QEvent::Hide:
            m_live.setWindowVisible(false);
            break;
        case QEvent::WindowStateChange:
            m_live.setWindowVisible(m_window.isVisible() && !m_window.isMinimized());
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}
