#pragma once

#include "Palette.h"

#include <QString>
#include <QVariant>

class QWidget;

// The application's look lives in one style sheet per theme, built from the palette. Screens tag
// their widgets with the role they play and the sheet gives every role its colours, so a theme
// switch restyles everything at once and no screen spells a colour.
namespace Style {

// Text drawn in one of the palette's colours (the "vexoText" property).
void setText(QWidget* widget, Palette::Role role);
// A look of the shared vocabulary (the "vexoRole" property): "chip", "priorityChip", "sidebarItem",
// "iconButton", "plain", "menuButton", "calendarDay", "keycap", "apiKey", "stepBadge",
// "divider", "description", "thumbnails".
void setRole(QWidget* widget, const QString& role);
// Any other property the sheet selects on ("vexoTone", "vexoDay", "vexoDropTarget"); the widget is
// restyled at once.
void setProperty(QWidget* widget, const char* name, const QVariant& value);

// The whole application's style sheet for one palette.
QString sheet(const Palette& palette);
// A colour as the style sheet writes it.
QString css(const QColor& color);

} // namespace Style
