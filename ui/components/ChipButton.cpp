#include "ChipButton.h"

#include "AccessibleRoles.h"
#include "Fonts.h"
#include "Style.h"

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
