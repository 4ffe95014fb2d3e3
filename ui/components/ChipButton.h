#pragma once

#include <QColor>
#include <QPushButton>

// The one chip of the interface: a small rounded button, 12 pt, on the raised surface; a checkable
// chip shows its checked state on the accent in semibold. Deadline filters, quick dates, the theme
// choice and the statistics range are all this chip.
class ChipButton final : public QPushButton {
    Q_OBJECT
    // The focus ring of a checked chip, drawn inside its accent fill: the colour of text on the
    // accent, given by the style sheet with the rest of the theme.
    Q_PROPERTY(QColor ringOnAccent READ ringOnAccent WRITE setRingOnAccent)

public:
    ChipButton(const QString& text, bool checkable, QWidget* parent = nullptr);

    QColor ringOnAccent() const { return m_ringOnAccent; }
    void setRingOnAccent(const QColor& colour);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor m_ringOnAccent;
};
