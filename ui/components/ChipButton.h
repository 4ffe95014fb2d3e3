#pragma once

#include <QPushButton>

// The one chip of the interface: a small rounded button, 12 pt, on the raised surface; a checkable
// chip shows its checked state on the accent in semibold. Deadline filters, quick dates, the theme
// choice and the statistics range are all this chip.
class ChipButton final : public QPushButton {
    Q_OBJECT

public:
    ChipButton(const QString& text, bool checkable, QWidget* parent = nullptr);
};
