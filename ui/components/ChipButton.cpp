#include "ChipButton.h"

#include "AccessibleRoles.h"
#include "Fonts.h"
#include "Style.h"

#include <QPainter>

ChipButton::ChipButton(const QString& text, bool checkable, QWidget* parent)
    : QPushButton(text, parent) {
    setCursor(Qt::PointingHandCursor);
    setCheckable(checkable);
    setFont(uiFont(12));
    // Wide enough for the semibold face of the checked chip, so checking never clips or jumps.
    setMinimumWidth(QFontMetrics(uiFont(12, QFont::DemiBold)).horizontalAdvance(text) + 24);
    Style::setRole(this, QStringLiteral("chip"));
    // A click leaves the keyboard where it was; Tab still reaches the chip, with its ring.
    setFocusPolicy(Qt::TabFocus);
    // A checkable chip is one choice of a group, not a check box.
    if (checkable)
        AccessibleRoles::setRole(this, QAccessible::RadioButton);
}

void ChipButton::setRingOnAccent(const QColor& colour) {
    m_ringOnAccent = colour;
    update();
}

void ChipButton::paintEvent(QPaintEvent* event) {
    QPushButton::paintEvent(event);
    // An unchecked chip takes its ring from the style sheet. On a checked chip's accent no one colour
    // stands out from both the fill and the ground around the chip, so the ring goes inside the fill,
    // a pixel in from its edge, where the accent frames it.
    if (!hasFocus() || !isChecked() || !m_ringOnAccent.isValid())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(m_ringOnAccent, 2));
    painter.drawRoundedRect(QRectF(rect()).adjusted(2, 2, -2, -2), 5, 5);
}
