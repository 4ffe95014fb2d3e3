#pragma once

#include <QPushButton>
#include <QTimer>

class LiveRefresh;
class Theme;

// The small button that refreshes the list now (the same as F5): the "arrow.clockwise" icon, which
// turns while a refresh the user asked for runs, and finishes its turn after it.
class RefreshButton final : public QPushButton {
    Q_OBJECT

public:
    RefreshButton(LiveRefresh& live, const Theme& theme, QWidget* parent = nullptr);

    static QString iconName();
    bool isSpinning() const { return m_spin.isActive(); }
    int angle() const { return m_angle; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void follow();
    void step();

    LiveRefresh& m_live;
    const Theme& m_theme;
    QTimer m_spin;
    int m_angle = 0;
};
