#pragma once

#include <QObject>

class LiveRefresh;
class QWidget;
class QWindow;

// Tells the background refresh what it needs to know of the window: whether it is visible (shown
// and not minimised) and whether it is in use (it or one of its sheets has the keyboard). It lives
// as long as the window.
class WindowPresence final : public QObject {
    Q_OBJECT

public:
    WindowPresence(QWidget& window, LiveRefresh& live);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isOurs(const QWindow* window) const;

    QWidget& m_window;
    LiveRefresh& m_live;
};
