#pragma once

#include <QIcon>
#include <QImage>
#include <QString>

// The application's icon, drawn from its one SVG: for the window (so the window manager shows it)
// and, through the same drawing, for the PNG sizes installed beside the SVG.
namespace AppIcon {

inline constexpr const char* name = "org.vexo.Tasks";
// The SVG compiled into the program.
QString svgPath();
// The SVG at `size` × `size` pixels on a transparent ground; a null image when it cannot be read.
QImage render(const QString& svgFile, int size);
// Every size a window manager or task bar asks for.
QIcon icon();

} // namespace AppIcon
