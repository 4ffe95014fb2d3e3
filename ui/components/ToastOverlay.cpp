#include "ToastOverlay.h"

#include "AccessibleRoles.h"
#include "AppState.h"
#include "EmojiText.h"
#include "Fonts.h"
#include "Theme.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPropertyAnimation>
#include <QtMath>

ToastOverlay::ToastOverlay(AppState& state, Theme& theme, QWidget* window)
    : QWidget(window)
    , m_state(state)
    , m_theme(theme)
    , m_animation(new QPropertyAnimation(this, "reveal", this)) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAccessibleName(QStringLiteral("Уведомление"));
    AccessibleRoles::setRole(this, QAccessible::AlertMessage);
    m_animation->setDuration(220);
    m_animation->setEasingCurve(QEasingCurve::OutCubic);
    m_clear.setSingleShot(true);
    m_clear.setTimerType(Qt::PreciseTimer); // a coarse timer may fire up to 5 % early
    m_clear.setInterval(visibleMs);
    connect(&m_clear, &QTimer::timeout, this, [this] { m_state.showToast(std::nullopt); });
    connect(&m_state, &AppState::toastMessageChanged, this, &ToastOverlay::follow);
    connect(&m_theme, &Theme::changed, this, qOverload<>(&QWidget::update));
    window->installEventFilter(this);
    hide();
    follow();
}

void ToastOverlay::follow() {
    const auto& message = m_state.toastMessage();
    if (message && !message->isEmpty()) {
        // A new text while one is shown replaces it and starts its own 2.5 s.
        m_text = *message;
        setAccessibleDescription(m_text);
        // Screen readers speak an alert as it comes, whatever has focus.
        QAccessibleEvent alert(this, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
        m_showing = true;
        m_clear.start();
        place();
        show();
        raise();
        m_animation->stop();
        m_animation->setStartValue(m_reveal);
        m_animation->setEndValue(1.0);
        m_animation->start();
        update();
    } else if (m_showing) {
        m_showing = false;
        m_clear.stop();
        m_animation->stop();
        m_animation->setStartValue(m_reveal);
        m_animation->setEndValue(0.0);
        m_animation->start();
    }
}

void ToastOverlay::setReveal(qreal reveal) {
    m_reveal = reveal;
    if (m_reveal <= 0 && !m_showing)
        hide();
    update();
}

void ToastOverlay::place() {
    const QFont font = uiFont(13, QFont::Medium);
    const int textWidth = qCeil(EmojiText::width(m_text, font));
    const int width = qMin(parentWidget()->width() - 40, textWidth + 48);
    const int height = 40;
    setGeometry((parentWidget()->width() - width) / 2, parentWidget()->height() - height - 28, width, height + 28);
}

bool ToastOverlay::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize && isVisible())
        place();
    return QWidget::eventFilter(watched, event);
}

void ToastOverlay::paintEvent(QPaintEvent*) {
    const Palette& p = m_theme.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(m_reveal);
    const qreal slide = (1.0 - m_reveal) * 16;
    const QRectF pill = QRectF(0.5, 0.5 + slide, width() - 1, 40 - 1);
    QPainterPath shape;
    shape.addRoundedRect(pill, 20, 20);
    painter.fillPath(shape, p.raisedHover);
    painter.setPen(QPen(p.border, 1));
    painter.drawPath(shape);
    painter.setFont(uiFont(13, QFont::Medium));
    painter.setPen(p.textPrimary);
    EmojiText::draw(painter, pill.adjusted(16, 0, -16, 0), Qt::AlignCenter, m_text);
}
