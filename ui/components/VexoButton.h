#pragma once

#include <QPushButton>

class Theme;

// The three button looks: primary (accent fill) for the confirming action, ghost (no fill) for
// secondary actions, destructive (red) for deleting. Each dims while pressed.
class VexoButton final : public QPushButton {
    Q_OBJECT

public:
    enum class Kind { primary, ghost, destructive };

    VexoButton(Theme& theme, Kind kind, const QString& text, QWidget* parent = nullptr);
    // An icon by name, tinted to match the text.
    void setIconName(const QString& name);
    // The icon after the text instead of before it ("Далее →").
    void setIconTrailing(bool trailing);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Theme& m_theme;
    Kind m_kind;
    QString m_iconName;
    bool m_iconTrailing = false;
};
