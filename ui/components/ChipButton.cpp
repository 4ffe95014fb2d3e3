#include "ChipButton.h"

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
}
