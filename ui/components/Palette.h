#pragma once

#include "TaskPriority.h"

#include <QColor>

// The colour roles every screen draws with. The dark palette is the product's own; the light one
// keeps the roles and hues, adjusted for contrast on a light ground.
struct Palette {
    QColor background;  // window
    QColor panel;       // sidebar and panels
    QColor raised;      // cards and rows
    QColor raisedHover; // cards and rows under the pointer
    QColor accent;      // selection, primary buttons, logo
    QColor onAccent;    // text on the accent
    QColor textPrimary;
    QColor textSecondary; // also HTML descriptions
    QColor textTertiary;
    QColor green;  // done, low priority
    QColor red;    // overdue, high priority, destructive
    QColor yellow; // medium priority
    QColor teal;   // active, sent to the chat
    QColor border; // outlines of cards and rows
    bool dark = true;

    static const Palette& darkPalette();
    static const Palette& lightPalette();

    QColor priorityColor(TaskPriority priority) const;
};

// "Высокий", "Средний", "Низкий".
QString priorityWord(TaskPriority priority);
