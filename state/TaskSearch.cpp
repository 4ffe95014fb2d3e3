#include "TaskSearch.h"

#include <cstring>
#include <iterator>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace TaskSearch {

namespace {

// The compact form's bytes: 0x00 parts a task's title from its description, 0x01 starts an escape,
// 0x02-0x7f are ASCII, 0x80-0x9f the Russian letters а-я, 0xa0-0xef the marks below, and 0xf0-0xff
// the nibbles of an escaped code unit (most significant first).
constexpr unsigned char escapeByte = 0x01;
constexpr unsigned char cyrillicBase = 0x80;
constexpr unsigned char markBase = 0xa0;
constexpr unsigned char nibbleBase = 0xf0;

// Frequent in Russian task texts besides the letters; folded forms (lower case).
constexpr char16_t marks[] = {
    0x00a0, 0x00ab, 0x00bb, 0x2013, 0x2014, 0x2026, 0x2116, 0x2018, 0x2019, 0x201c, 0x201d, 0x201e,
    0x2022, 0x00b7, 0x00b0, 0x00d7, 0x20bd, 0x20ac, 0x2192, 0x2190, 0x2713, 0x00df, 0x0456, 0x0457,
    0x0454, 0x0491, 0x045e, 0x00e0, 0x00e1, 0x00e2, 0x00e3, 0x00e4, 0x00e5, 0x00e6, 0x00e7, 0x00e8,
    0x00e9, 0x00ea, 0x00eb, 0x00ec, 0x00ed, 0x00ee, 0x00ef, 0x00f0, 0x00f1, 0x00f2, 0x00f3, 0x00f4,
    0x00f5, 0x00f6, 0x00f7, 0x00f8, 0x00f9, 0x00fa, 0x00fb, 0x00fc, 0x00fd, 0x00fe, 0x00ff,
};
static_assert(std::size(marks) <= nibbleBase - markBase);

char16_t computeFold(char16_t unit) {
    if (unit < 0x80)
        return unit >= u'A' && unit <= u'Z' ? char16_t(unit + 0x20) : unit;
    if (unit >= 0xd800 && unit <= 0xdfff)
        return unit; // half of a pair: compared as it is
    const char32_t folded = QChar::toCaseFolded(char32_t(unit));
    const char16_t single = folded <= 0xffff ? char16_t(folded) : unit;
    return single == u'ё' ? u'е' : single;
}

unsigned char byteOf(char16_t folded) {
    if (folded > escapeByte && folded < 0x80)
        return static_cast<unsigned char>(folded);
    if (folded >= u'а' && folded <= u'я')
        return static_cast<unsigned char>(cyrillicBase + (folded - u'а'));
    for (std::size_t i = 0; i < std::size(marks); ++i) {
        if (marks[i] == folded)
            return static_cast<unsigned char>(markBase + i);
    }
    return 0; // escaped
}

struct Tables {
    char16_t folded[0x10000];
    unsigned char narrow[0x10000]; // the byte of a code unit's folded form; 0 when it is escaped

    Tables() {
        for (std::size_t unit = 0; unit < 0x10000; ++unit) {
            folded[unit] = computeFold(char16_t(unit));
            narrow[unit] = byteOf(folded[unit]);
        }
    }
};

const Tables& tables() {
    static const Tables built;
    return built;
}

} // namespace

char16_t foldUnit(char16_t unit) {
    return tables().folded[unit];
}

QString fold(QStringView text) {
    const Tables& t = tables();
    QString out(text.size(), Qt::Uninitialized);
    QChar* d = out.data();
    for (qsizetype i = 0; i < text.size(); ++i)
        d[i] = QChar(t.folded[text[i].unicode()]);
    return out;
}

void encodeAppend(QStringView text, QByteArray& out) {
    const Tables& t = tables();
    qsizetype at = out.size();
    out.resize(at + text.size());
    char* d = out.data();
    for (const QChar ch : text) {
        const unsigned char byte = t.narrow[ch.unicode()];
        if (Q_LIKELY(byte != 0)) {
            d[at++] = char(byte);
            continue;
        }
        const char16_t folded = t.folded[ch.unicode()];
        out.resize(out.size() + 4); // five bytes where one was planned
        d = out.data();
        d[at++] = char(escapeByte);
        for (int shift = 12; shift >= 0; shift -= 4)
            d[at++] = char(nibbleBase | ((folded >> shift) & 0xf));
    }
}

QByteArray encode(QStringView text) {
    QByteArray out;
    encodeAppend(text, out);
    return out;
}

QByteArray taskText(QStringView title, QStringView plainDescription) {
    QByteArray out;
    out.reserve(title.size() + 1 + plainDescription.size());
    encodeAppend(title, out);
    out.append('\0');
    encodeAppend(plainDescription, out);
    return out;
}

bool contains(QByteArrayView haystack, QByteArrayView needle) {
    const qsizetype k = needle.size();
    const qsizetype n = haystack.size();
    if (k == 0)
        return true;
    if (k > n)
        return false;
    const char* hay = haystack.data();
    const char* pattern = needle.data();
    if (k == 1)
        return std::memchr(hay, pattern[0], std::size_t(n)) != nullptr;
    qsizetype i = 0;
#if defined(__SSE2__)
    // Sixteen places at a time: those where both the first and the last byte of the needle fit are
    // compared in full.
    const __m128i first = _mm_set1_epi8(pattern[0]);
    const __m128i last = _mm_set1_epi8(pattern[k - 1]);
    for (; i + k - 1 + 16 <= n; i += 16) {
        const __m128i atFirst = _mm_loadu_si128(reinterpret_cast<const __m128i*>(hay + i));
        const __m128i atLast = _mm_loadu_si128(reinterpret_cast<const __m128i*>(hay + i + k - 1));
        unsigned mask =
            unsigned(_mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(atFirst, first), _mm_cmpeq_epi8(atLast, last))));
        while (mask != 0) {
            const int bit = __builtin_ctz(mask);
            if (std::memcmp(hay + i + bit + 1, pattern + 1, std::size_t(k - 2)) == 0)
                return true;
            mask &= mask - 1;
        }
    }
#endif
    for (; i + k <= n; ++i) {
        if (hay[i] == pattern[0] && hay[i + k - 1] == pattern[k - 1] &&
            std::memcmp(hay + i, pattern, std::size_t(k)) == 0)
            return true;
    }
    return false;
}

QString normalizedQuery(const QString& typed) {
    return typed.trimmed();
}

QList<std::pair<qsizetype, qsizetype>> matches(QStringView text, QStringView query) {
    QList<std::pair<qsizetype, qsizetype>> found;
    if (query.isEmpty())
        return found;
    const QString foldedText = fold(text);
    const QString foldedQuery = fold(query);
    for (qsizetype at = foldedText.indexOf(foldedQuery); at >= 0;
         at = foldedText.indexOf(foldedQuery, at + foldedQuery.size()))
        found.append({at, foldedQuery.size()});
    return found;
}

} // namespace TaskSearch
