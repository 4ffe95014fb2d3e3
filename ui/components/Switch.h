#pragma once

#include <QAbstractButton>

class Theme;

// An on/off switch: a track that fills with the accent and a knob that slides, after an optional
// label. Space toggles it when focused, a click anywhere on it does too.
class Switch final : public QAbstractButton {
    Q_OBJECT

public:
    explicit Switch(const Theme& theme, const QString& text = QString(), QWidget* parent = nullptr);

    QSize sizeHint() const override;
    // Where the track is drawn.
    QRect trackRect() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool hitButton(const QPoint& pos) const override { return rect().contains(pos); }

private:
    const Theme& m_theme;
};
