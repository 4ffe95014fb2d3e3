#pragma once

#include <QAccessible>

class QWidget;

// What assistive technology is told a widget is, where Qt would guess wrong: a checkable push
// button reads as a check box, while ours are choices of one among several (chips: radio buttons),
// the sidebar's places (page tabs) or a notice (the toast: an alert).
namespace AccessibleRoles {

// Exposes `widget` with `role` from now on.
void setRole(QWidget* widget, QAccessible::Role role);

} // namespace AccessibleRoles
