#include "Utf8.h"

#include <cstdint>
#include <cstring>

namespace {

// UTF-16 code units needed: one per lead byte, one more per four-byte sequence (a surrogate pair).
qsizetype utf16Length(const unsigned char* in, std::size_t size) {
    qsizetype units = 0;
    for (std::size_t i = 0; i < size; ++i)
        units += ((in[i] & 0xC0) != 0x80) + (in[i] >= 0xF0);
    return units;
}

} // namespace

QString utf8ToString(std::string_view validUtf8) {
    const auto* in = reinterpret_cast<const unsigned char*>(validUtf8.data());
    const std::size_t size = validUtf8.size();
    if (size == 0)
        return QString();

    QString result(utf16Length(in, size), Qt::Uninitialized);
    auto* out = reinterpret_cast<char16_t*>(result.data());
    std::size_t i = 0;
    while (i < size) {
        // Runs of Cyrillic are runs of two-byte sequences: take two of them per step when we can.
        if (i + 4 <= size) {
            std::uint32_t word;
            std::memcpy(&word, in + i, 4);
            if ((word & 0xC0E0C0E0u) == 0x80C080C0u) {
                out[0] = char16_t(((word & 0x1F) << 6) | ((word >> 8) & 0x3F));
                out[1] = char16_t(((word >> 10) & 0x7C0) | ((word >> 24) & 0x3F));
                out += 2;
                i += 4;
                continue;
            }
            if ((word & 0x80808080u) == 0) {
                out[0] = char16_t(word & 0x7F);
                out[1] = char16_t((word >> 8) & 0x7F);
                out[2] = char16_t((word >> 16) & 0x7F);
                out[3] = char16_t(word >> 24);
                out += 4;
                i += 4;
                continue;
            }
        }
        const unsigned char lead = in[i];
        if (lead < 0x80) {
            *out++ = lead;
            i += 1;
        } else if (lead < 0xE0) {
            *out++ = char16_t(((lead & 0x1F) << 6) | (in[i + 1] & 0x3F));
            i += 2;
        } else if (lead < 0xF0) {
            *out++ = char16_t(((lead & 0x0F) << 12) | ((in[i + 1] & 0x3F) << 6) | (in[i + 2] & 0x3F));
            i += 3;
        } else {
            const char32_t code =
                ((lead & 0x07) << 18) | ((in[i + 1] & 0x3F) << 12) | ((in[i + 2] & 0x3F) << 6) | (in[i + 3] & 0x3F);
            *out++ = char16_t(0xD800 + ((code - 0x10000) >> 10));
            *out++ = char16_t(0xDC00 + ((code - 0x10000) & 0x3FF));
            i += 4;
        }
    }
    return result;
}
