#include "Palette.h"

#include "ColorHex.h"

using namespace Qt::StringLiterals;

const Palette& Palette::darkPalette() {
    static const Palette palette{
        colorFromHex(u"1f1e1d"),
        colorFromHex(u"252422"),
        colorFromHex(u"2a2928"),
        colorFromHex(u"302f2d"),
        colorFromHex(u"E97553"),
        colorFromHex(u"1f1e1d"),
        colorFromHex(u"e8e5e1"),
        colorFromHex(u"a39e99"),
        colorFromHex(u"6b6560"),
        colorFromHex(u"22c55e"),
        colorFromHex(u"ef4444"),
        colorFromHex(u"eab308"),
        colorFromHex(u"14b8a6"),
        QColor(255, 255, 255, qRound(0.08 * 255)),
        true,
    };
    return palette;
}

const Palette& Palette::lightPalette() {
    // Each text colour is dark enough for 4.5:1 on the darkest light surface (the panel) and on its
    // own 12 % tint, which badges and chips sit on; white on the accent reads at 5.8:1.
    static const Palette palette{
        colorFromHex(u"f7f5f2"),
        colorFromHex(u"efece8"),
        colorFromHex(u"ffffff"),
        colorFromHex(u"f4f1ed"),
        colorFromHex(u"ab4320"),
        colorFromHex(u"ffffff"),
        colorFromHex(u"1f1e1d"),
        colorFromHex(u"4a4540"),
        colorFromHex(u"615b55"),
        colorFromHex(u"0f6a30"),
        colorFromHex(u"b41c1c"),
        colorFromHex(u"824b0d"),
        colorFromHex(u"0d6661"),
        QColor(0, 0, 0, qRound(0.10 * 255)),
        false,
    };
    return palette;
}

QColor Palette::color(Role role) const {
    switch (role) {
    case Role::background:
        return background;
    case Role::panel:
        return panel;
    case Role::raised:
        return raised;
    case Role::raisedHover:
        return raisedHover;
    case Role::accent:
        return accent;
    case Role::onAccent:
        return onAccent;
    case Role::textPrimary:
        return textPrimary;
    case Role::textSecondary:
        return textSecondary;
    case Role::textTertiary:
        return textTertiary;
    case Role::green:
        return green;
    case Role::red:
        return red;
    case Role::yellow:
        return yellow;
    case Role::teal:
        return teal;
    case Role::border:
        return border;
    }
    return textPrimary;
}

QString Palette::roleName(Role role) {
    switch (role) {
    case Role::background:
        return u"background"_s;
    case Role::panel:
        return u"panel"_s;
    case Role::raised:
        return u"raised"_s;
    case Role::raisedHover:
        return u"raisedHover"_s;
    case Role::accent:
        return u"accent"_s;
    case Role::onAccent:
        return u"onAccent"_s;
    case Role::textPrimary:
        return u"textPrimary"_s;
    case Role::textSecondary:
        return u"textSecondary"_s;
    case Role::textTertiary:
        return u"textTertiary"_s;
    case Role::green:
        return u"green"_s;
    case Role::red:
        return u"red"_s;
    case Role::yellow:
        return u"yellow"_s;
    case Role::teal:
        return u"teal"_s;
    case Role::border:
        return u"border"_s;
    }
    return {};
}

const QList<Palette::Role>& Palette::textRoles() {
    static const QList<Role> roles{Role::textPrimary, Role::textSecondary, Role::textTertiary, Role::accent,
                                   Role::green,       Role::red,           Role::yellow,       Role::teal};
    return roles;
}

const QList<Palette::Role>& Palette::surfaceRoles() {
    static const QList<Role> roles{Role::background, Role::panel, Role::raised, Role::raisedHover};
    return roles;
}

Palette::Role Palette::priorityRole(TaskPriority priority) {
    switch (priority) {
    case TaskPriority::high:
        return Role::red;
    case TaskPriority::medium:
        return Role::yellow;
    case TaskPriority::low:
        return Role::green;
    }
    return Role::textSecondary;
}

QColor Palette::priorityColor(TaskPriority priority) const {
    return color(priorityRole(priority));
}

QString priorityWord(TaskPriority priority) {
    switch (priority) {
    case TaskPriority::high:
        return u"Высокий"_s;
    case TaskPriority::medium:
        return u"Средний"_s;
    case TaskPriority::low:
        return u"Низкий"_s;
    }
    return {};
}
