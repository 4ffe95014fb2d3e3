#pragma once

#include "Palette.h"

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

#include <optional>

class QPainter;
class Theme;

// The named icons of the interface, drawn from the vendored lucide set, tinted and rendered at the
// device pixel ratio they are painted at. One table (Icons.cpp) maps every name to its file.
namespace Icons {

bool has(const QString& name);
QPixmap pixmap(const QString& name, int size, const QColor& tint, qreal devicePixelRatio);
// An icon that renders sharply at whatever size and ratio it is drawn.
QIcon icon(const QString& name, const QColor& tint);
// An icon in a colour of the theme, read each time it is drawn, so a theme switch recolours it
// with nobody setting it again; a checked button's icon takes `checkedRole` when one is given.
QIcon icon(const QString& name, const Theme& theme, Palette::Role role,
           std::optional<Palette::Role> checkedRole = std::nullopt);
void paint(QPainter& painter, const QRectF& rect, const QString& name, const QColor& tint);

} // namespace Icons
