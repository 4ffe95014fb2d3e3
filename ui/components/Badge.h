#pragma once

#include "Palette.h"

#include <QWidget>

class Theme;

// A short text, optionally after an icon, in a colour of the palette on a rounded ground of the same
// colour at 12 % opacity.
class Badge final : public QWidget {
    Q_OBJECT

public:
    Badge(const Theme& theme, const QString& text, const QString& icon, Palette::Role role, int fontSize = 11,
          QWidget* parent = nullptr);

    QString text() const { return m_text; }
    QString iconName() const { return m_icon; }
    Palette::Role role() const { return m_role; }
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const Theme& m_theme;
    QString m_text;
    QString m_icon;
    Palette::Role m_role;
};
