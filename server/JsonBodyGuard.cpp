#include "JsonBodyGuard.h"

#include "Utf8.h"

#include <QList>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

// The code unit of a \uXXXX escape starting at `at` (the backslash), or -1.
int escapedUnit(QByteArrayView text, qsizetype at) {
    if (at + 6 > text.size() || text[at] != '\\' || text[at + 1] != 'u')
        return -1;
    int unit = 0;
    for (qsizetype i = at + 2; i < at + 6; ++i) {
        const int digit = hexDigitValue(text[i]);
        if (digit < 0)
            return -1;
        unit = unit * 16 + digit;
    }
    return unit;
}

struct Scanned {
    qsizetype end = -1; // index just past the closing quote; -1 when the string is not closed
    QString text;
    QString problem;
};

// The string whose opening quote is at `at`; its text, escapes resolved, only when `wanted`.
Scanned scanString(QByteArrayView body, qsizetype at, bool wanted) {
    Scanned result;
    QByteArray raw;
    const auto flush = [&] {
        if (wanted)
            result.text += QString::fromUtf8(raw);
        raw.clear();
    };
    for (qsizetype i = at + 1; i < body.size(); ++i) {
        const char c = body[i];
        if (c == '"') {
            flush();
            result.end = i + 1;
            return result;
        }
        if (c != '\\') {
            if (wanted)
                raw += c;
            continue;
        }
        if (i + 1 >= body.size())
            break;
        const char escape = body[i + 1];
        if (escape != 'u') {
            static const QByteArrayView from("\"\\/bfnrt");
            static const char to[] = "\"\\/\b\f\n\r\t";
            const qsizetype index = from.indexOf(escape);
            if (index >= 0)
                raw += to[index];
            ++i;
            continue;
        }
        const int unit = escapedUnit(body, i);
        if (unit < 0) {
            i += 1; // malformed escape: the reader reports it
            continue;
        }
        flush();
        if (QChar::isLowSurrogate(char32_t(unit))) {
            result.problem = u"одиночный суррогат \\u%1 в строке"_s.arg(unit, 4, 16, QChar(u'0'));
            return result;
        }
        if (QChar::isHighSurrogate(char32_t(unit))) {
            const int low = escapedUnit(body, i + 6);
            if (low < 0 || !QChar::isLowSurrogate(char32_t(low))) {
                result.problem = u"одиночный суррогат \\u%1 в строке"_s.arg(unit, 4, 16, QChar(u'0'));
                return result;
            }
            result.text += QChar(char16_t(unit));
            result.text += QChar(char16_t(low));
            i += 11;
            continue;
        }
        result.text += QChar(char16_t(unit));
        i += 5;
    }
    return result;
}

} // namespace

QString JsonBodyGuard::problemIn(QByteArrayView body) {
    struct Level {
        bool object = false;
        bool expectingKey = false;
        QSet<QString> keys;
    };
    QList<Level> levels;
    for (qsizetype i = 0; i < body.size(); ++i) {
        const char c = body[i];
        switch (c) {
        case '{':
        case '[':
            if (levels.size() == maxDepth)
                return u"вложенность больше %1 уровней"_s.arg(maxDepth);
            levels.append(Level{c == '{', c == '{', {}});
            break;
        case '}':
        case ']':
            if (!levels.isEmpty())
                levels.removeLast();
            break;
        case ',':
            if (!levels.isEmpty() && levels.last().object)
                levels.last().expectingKey = true;
            break;
        case ':':
            if (!levels.isEmpty())
                levels.last().expectingKey = false;
            break;
        case '"': {
            const bool isKey = !levels.isEmpty() && levels.last().object && levels.last().expectingKey;
            const Scanned string = scanString(body, i, isKey);
            if (!string.problem.isEmpty())
                return string.problem;
            if (string.end < 0)
                return QString(); // unterminated: the reader reports it
            if (isKey) {
                if (levels.last().keys.contains(string.text))
                    return u"ключ «%1» повторяется"_s.arg(string.text.left(100));
                levels.last().keys.insert(string.text);
            }
            i = string.end - 1;
            break;
        }
        default:
            break;
        }
    }
    return QString();
}
