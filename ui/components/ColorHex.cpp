#include "ColorHex.h"

QColor colorFromHex(QStringView text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && !text[begin].isLetterOrNumber())
        ++begin;
    while (end > begin && !text[end - 1].isLetterOrNumber())
        --end;
    const QStringView trimmed = text.mid(begin, end - begin);

    // Like a scanner: the longest hexadecimal prefix counts; no digits at all leave 0.
    quint64 value = 0;
    for (QChar c : trimmed) {
        const int digit = c.unicode() < 128 ? QChar::fromLatin1(char(c.unicode())).digitValue() : -1;
        const int hex = digit >= 0                 ? digit
                        : (c >= u'a' && c <= u'f') ? c.unicode() - u'a' + 10
                        : (c >= u'A' && c <= u'F') ? c.unicode() - u'A' + 10
                                                   : -1;
        if (hex < 0)
            break;
        value = (value << 4) | quint64(hex);
    }

    int alpha = 255, red = 255, green = 255, blue = 255;
    switch (trimmed.size()) {
    case 8:
        alpha = int((value >> 24) & 255);
        red = int((value >> 16) & 255);
        green = int((value >> 8) & 255);
        blue = int(value & 255);
        break;
    case 6:
        red = int((value >> 16) & 255);
        green = int((value >> 8) & 255);
        blue = int(value & 255);
        break;
    case 3:
        red = int(((value >> 8) & 15) * 17);
        green = int(((value >> 4) & 15) * 17);
        blue = int((value & 15) * 17);
        break;
    default:
        break;
    }
    return QColor(red, green, blue, alpha);
}
