#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

class QPainter;

// The named icons of the interface, drawn from the vendored lucide set, tinted and rendered at the
// device pixel ratio they are painted at. One table (Icons.cpp) maps every name to its file.
namespace Icons {

bool has(const QString& name);
QPixmap pixmap(const QString& name, int size, const QColor& tint, qreal devicePixelRatio);
// An icon that renders sharply at whatever size and ratio it is drawn.
QIcon icon(const QString& name, const QColor& tint);
void paint(QPainter& painter, const QRectF& rect, const QString& name, const QColor& tint);

} // namespace Icons
