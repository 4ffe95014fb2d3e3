#pragma once

#include "Palette.h"

#include <QPushButton>

class Theme;

// The three button looks: primary (accent fill) for the confirming action, ghost (no fill) for
// secondary actions, destructive (red) for deleting; and plain, a label with no chrome at all, in
// one colour of the palette. Each dims while pressed.
class VexoButton final : public QPushButton {
    Q_OBJECT

public:
    enum class Kind { primary, ghost, destructive, plain };

    VexoButton(Theme& theme, Kind kind, const QString& text, QWidget* parent = nullptr);
    // An icon by name, tinted to match the text.
    void setIconName(const QString& name);
    // The icon after the text instead of before it ("Далее →").
    void setIconTrailing(bool trailing);
    // The colour of a plain button's text and icon (secondary text unless set).
    void setPlainRole(Palette::Role role);
    Kind kind() const { return m_kind; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Theme& m_theme;
    Kind m_kind;
    QString m_iconName;
    bool m_iconTrailing = false;
    Palette::Role m_plainRole = Palette::Role::textSecondary;
};
