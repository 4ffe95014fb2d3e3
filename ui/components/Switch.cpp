#include "Switch.h"

#include "Fonts.h"
#include "Theme.h"

#include <QPainter>
#include <QPainterPath>

namespace {

constexpr QSize trackSize(36, 20);
constexpr int labelGap = 12;
constexpr int ringRoom = 4;

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
    // Room around the track for the focus ring.
    return {label + trackSize.width() + 2 * ringRoom,
            qMax(trackSize.height() + 2 * ringRoom, fontMetrics().height() + 4)};
}

QRect Switch::trackRect() const {
    const int x = text().isEmpty() ? ringRoom : width() - trackSize.width() - ringRoom;
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
    painter.setPen(QPen(isChecked() ? p.accent : p.border, 1));
    painter.drawPath(shape);
    // The focus ring, once the keyboard moves focus: two points just outside the track.
    if (hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        QPainterPath ring;
        const QRectF around = track.adjusted(-2.5, -2.5, 2.5, 2.5);
        ring.addRoundedRect(around, around.height() / 2, around.height() / 2);
        painter.setPen(QPen(p.accent, 2));
        painter.drawPath(ring);
    }
    const qreal knob = track.height() - 4;
    const qreal x = isChecked() ? track.right() - 2 - knob : track.left() + 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(isChecked() ? p.onAccent : p.textSecondary);
    painter.drawEllipse(QRectF(x, track.top() + 2, knob, knob));
}
