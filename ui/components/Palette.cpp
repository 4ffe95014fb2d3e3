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
    static const Palette palette{
        colorFromHex(u"f7f5f2"),
        colorFromHex(u"efece8"),
        colorFromHex(u"ffffff"),
        colorFromHex(u"f4f1ed"),
        colorFromHex(u"d9623f"),
        colorFromHex(u"ffffff"),
        colorFromHex(u"1f1e1d"),
        colorFromHex(u"5e5953"),
        colorFromHex(u"8a847e"),
        colorFromHex(u"15803d"),
        colorFromHex(u"dc2626"),
        colorFromHex(u"a16207"),
        colorFromHex(u"0f766e"),
        QColor(0, 0, 0, qRound(0.10 * 255)),
        false,
    };
    return palette;
}

QColor Palette::priorityColor(TaskPriority priority) const {
    switch (priority) {
    case TaskPriority::high:
        return red;
    case TaskPriority::medium:
        return yellow;
    case TaskPriority::low:
        return green;
    }
    return textSecondary;
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
