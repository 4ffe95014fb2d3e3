#pragma once

#include <QWidget>

class Theme;

// "VEXO TASKS" in a heavy face, the second word in the accent, beside an 8 × 8 mark.
class VexoLogo final : public QWidget {
    Q_OBJECT

public:
    explicit VexoLogo(Theme& theme, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Theme& m_theme;
};
