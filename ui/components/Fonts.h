#pragma once

#include <QFont>

// Sizes are given in the design's points, which are device-independent pixels.
inline QFont uiFont(qreal size, QFont::Weight weight = QFont::Normal) {
    QFont font;
    font.setPixelSize(qRound(size));
    font.setWeight(weight);
    return font;
}
