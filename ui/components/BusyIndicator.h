#pragma once

#include <QTimer>
#include <QWidget>

class Theme;

// A spinning arc for work in progress.
class BusyIndicator final : public QWidget {
    Q_OBJECT

public:
    BusyIndicator(Theme& theme, int size, QWidget* parent = nullptr);
    QSize sizeHint() const override { return {m_size, m_size}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    Theme& m_theme;
    int m_size;
    int m_angle = 0;
    QTimer m_timer;
};
