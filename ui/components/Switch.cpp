#include "Switch.h"

#include "Fonts.h"
#include "Theme.h"

#include <QPainter>
#include <QPainterPath>

namespace {

constexpr QSize trackSize(36, 20);
constexpr int labelGap = 12;

} // namespace

Switch::Switch(const Theme& theme, const QString& text, QWidget* parent)
    : QAbstractButton(parent)
    , m_theme(theme) {
    setText(text);
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setFont(uiFont(13));
    setSizePolicy(text.isEmpty() ? QSizePolicy::Fixed : QSizePolicy::Preferred, QSizePolicy::Fixed);
    if (!text.isEmpty())
        setAccessibleName(text);
}

QSize Switch::sizeHint() const {
    const int label = text().isEmpty() ? 0 : fontMetrics().horizontalAdvance(text()) + labelGap;
    return {label + trackSize.width() + 2, qMax(trackSize.height() + 4, fontMetrics().height() + 4)};
}

QRect Switch::trackRect() const {
    const int x = text().isEmpty() ? 1 : width() - trackSize.width() - 1;
    return QRect(QPoint(x, (height() - trackSize.height()) / 2), trackSize);
}

void Switch::paintEvent(QPaintEvent*) {
    const Palette& p = m_theme.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled())
        painter.setOpacity(0.45);
    if (!text().isEmpty()) {
        painter.setPen(p.textPrimary);
        painter.setFont(font());
        painter.drawText(QRect(0, 0, trackRect().left() - labelGap, height()), Qt::AlignLeft | Qt::AlignVCenter,
                         text());
    }
    const QRectF track = QRectF(trackRect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath shape;
    shape.addRoundedRect(track, track.height() / 2, track.height() / 2);
    painter.fillPath(shape, isChecked() ? p.accent : p.raisedHover);
    painter.setPen(QPen(hasFocus() ? p.accent : (isChecked() ? p.accent : p.border), 1));
    painter.drawPath(shape);
    const qreal knob = track.height() - 4;
    const qreal x = isChecked() ? track.right() - 2 - knob : track.left() + 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(isChecked() ? p.onAccent : p.textSecondary);
    painter.drawEllipse(QRectF(x, track.top() + 2, knob, knob));
}
