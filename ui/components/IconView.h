#pragma once

#include "Palette.h"

#include <QWidget>

#include <optional>

class Theme;

// One named icon at a fixed size, in a colour of the theme (or a colour of the data, such as a
// folder's), drawn from the palette each time it paints.
class IconView final : public QWidget {
    Q_OBJECT

public:
    IconView(const Theme& theme, QString name, int size, Palette::Role role, QWidget* parent = nullptr);

    QString iconName() const { return m_name; }
    void setIconName(const QString& name);
    void setRole(Palette::Role role);
    // A colour of its own instead of the theme's.
    void setColor(const QColor& color);
    // The colour it is drawn in now.
    QColor color() const;
    QSize sizeHint() const override { return {m_size, m_size}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const Theme& m_theme;
    QString m_name;
    int m_size;
    Palette::Role m_role;
    std::optional<QColor> m_color;
};
