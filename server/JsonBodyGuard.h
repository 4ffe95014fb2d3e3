#pragma once

#include <QByteArrayView>
#include <QString>

// What Qt's JSON reader would let through but change or drop: a string with a lone UTF-16
// surrogate escape (kept as is, later turned into another character when stored), and a key given
// twice in one object (the first value silently lost). Also bounds the nesting depth. Syntax
// itself is left to the reader.
class JsonBodyGuard final {
public:
    static constexpr int maxDepth = 256;

    // Empty when the body has none of these; otherwise why it is refused, in Russian.
    static QString problemIn(QByteArrayView body);
};
