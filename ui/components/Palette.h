#pragma once

#include "TaskPriority.h"

#include <QColor>
#include <QList>

// The colour roles every screen draws with. The dark palette is the product's own; the light one
// keeps the roles and hues, darkened where needed so every text colour reads at 4.5:1 or better on
// the surfaces and tints it is drawn on.
struct Palette {
    // Every colour by its role, for the style sheet and for painted widgets that take a role.
    enum class Role {
        background,
        panel,
        raised,
        raisedHover,
        accent,
        onAccent,
        textPrimary,
        textSecondary,
        textTertiary,
        green,
        red,
        yellow,
        teal,
        border,
    };

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

    QColor color(Role role) const;
    // The role's name in the style sheet ("textSecondary", "accent", …).
    static QString roleName(Role role);
    // The roles text is drawn in, and the surfaces it is drawn on.
    static const QList<Role>& textRoles();
    static const QList<Role>& surfaceRoles();

    QColor priorityColor(TaskPriority priority) const;
    static Role priorityRole(TaskPriority priority);
};

// "Высокий", "Средний", "Низкий".
QString priorityWord(TaskPriority priority);
