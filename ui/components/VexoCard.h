#pragma once

#include <QFrame>

class Theme;

// The raised surface cards sit on: raised background, rounded corners, a faint outline.
class VexoCard final : public QFrame {
    Q_OBJECT

public:
    explicit VexoCard(Theme& theme, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Theme& m_theme;
};
