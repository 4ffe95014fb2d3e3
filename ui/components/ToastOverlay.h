#pragma once

#include <QTimer>
#include <QWidget>

class AppState;
class QPropertyAnimation;
class Theme;

// The toast over the bottom of a window, bound to the state's message. It slides in when a message
// appears and clears the message 2.5 s after showing it; the same text again does not restart that.
class ToastOverlay final : public QWidget {
    Q_OBJECT
    Q_PROPERTY(qreal reveal READ reveal WRITE setReveal)

public:
    static constexpr int visibleMs = 2500;

    ToastOverlay(AppState& state, Theme& theme, QWidget* window);

    QString text() const { return m_text; }
    bool isShowing() const { return m_showing; }
    qreal reveal() const { return m_reveal; }
    void setReveal(qreal reveal);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void follow();
    void place();

    AppState& m_state;
    Theme& m_theme;
    QString m_text;
    bool m_showing = false;
    qreal m_reveal = 0;
    QTimer m_clear;
    QPropertyAnimation* m_animation;
};
