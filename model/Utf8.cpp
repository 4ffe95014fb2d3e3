#include "Utf8.h"

#include <array>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VEXO_UTF8_SIMD 1
#endif

namespace {

// UTF-16 code units needed: one per lead byte, one more per four-byte sequence (a surrogate pair).
qsizetype utf16Length(const unsigned char* in, std::size_t size) {
    qsizetype units = 0;
    for (std::size_t i = 0; i < size; ++i)
        units += ((in[i] & 0xC0) != 0x80) + (in[i] >= 0xF0);
    return units;
}

#ifdef VEXO_UTF8_SIMD

// For each 8-bit mask of the bytes that start a character, the shuffle that packs their 16-bit
// values to the front.
const std::array<std::array<std::uint8_t, 16>, 256>& packTable() {
    static const auto table = [] {
        std::array<std::array<std::uint8_t, 16>, 256> t{};
        for (int mask = 0; mask < 256; ++mask) {
            int out = 0;
            for (int lane = 0; lane < 8; ++lane) {
                if (mask & (1 << lane)) {
                    t[mask][out++] = std::uint8_t(2 * lane);
                    t[mask][out++] = std::uint8_t(2 * lane + 1);
                }
            }
            while (out < 16)
                t[mask][out++] = 0x80;
        }
        return t;
    }();
    return table;
}

// Text made of ASCII and two-byte sequences (Latin, Cyrillic, Greek…) eight bytes at a time;
// stops where a longer sequence starts or where fewer than 16 input bytes or 16 output units
// remain. Returns how far it got in both.
__attribute__((target("ssse3"))) std::pair<std::size_t, std::size_t>
decodeTwoByteRuns(const unsigned char* in, std::size_t size, char16_t* out, std::size_t outSize) {
    const auto& table = packTable();
    const __m128i limit = _mm_set1_epi8(char(0xDF));
    const __m128i zero = _mm_setzero_si128();
    std::size_t i = 0;
    std::size_t o = 0;
    while (i + 16 <= size && o + 16 <= outSize) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        const int ascii = _mm_movemask_epi8(bytes);
        if (ascii == 0) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o), _mm_unpacklo_epi8(bytes, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o + 8), _mm_unpackhi_epi8(bytes, zero));
            i += 16;
            o += 16;
            continue;
        }
        // Bytes 0..8 must all be below 0xE0: no three- or four-byte sequence in this step.
        const int small = _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(bytes, limit), limit));
        if ((small & 0x1FF) != 0x1FF)
            break;
        const __m128i low = _mm_unpacklo_epi8(bytes, zero);                     // b[0..7] as 16-bit
        const __m128i high = _mm_unpacklo_epi8(_mm_srli_si128(bytes, 1), zero); // b[1..8]
        const __m128i isLead = _mm_cmpgt_epi16(low, _mm_set1_epi16(0xBF));
        const __m128i pair = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(low, _mm_set1_epi16(0x1F)), 6),
                                          _mm_and_si128(high, _mm_set1_epi16(0x3F)));
        const __m128i values = _mm_or_si128(_mm_and_si128(isLead, pair), _mm_andnot_si128(isLead, low));
        // Continuation bytes (10xxxxxx) start no character.
        const __m128i top = _mm_and_si128(bytes, _mm_set1_epi8(char(0xC0)));
        const int continuation = _mm_movemask_epi8(_mm_cmpeq_epi8(top, _mm_set1_epi8(char(0x80))));
        const int starts = ~continuation & 0xFF;
        const __m128i packed =
            _mm_shuffle_epi8(values, _mm_loadu_si128(reinterpret_cast<const __m128i*>(table[starts].data())));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o), packed);
        o += std::size_t(__builtin_popcount(unsigned(starts)));
        // A lead byte at 7 took its continuation at 8 with it.
        i += 8 + ((continuation >> 8) & 1);
    }
    return {i, o};
}

bool hasSsse3() {
    static const bool supported = __builtin_cpu_supports("ssse3");
    return supported;
}

#endif

} // namespace

QString utf8ToString(std::string_view validUtf8) {
    const auto* in = reinterpret_cast<const unsigned char*>(validUtf8.data());
    const std::size_t size = validUtf8.size();
    if (size == 0)
        return QString();

    QString result(utf16Length(in, size), Qt::Uninitialized);
    auto* out = reinterpret_cast<char16_t*>(result.data());
    std::size_t i = 0;
    char16_t* const begin = out;
#ifdef VEXO_UTF8_SIMD
    const bool simd = hasSsse3();
#endif
    while (i < size) {
#ifdef VEXO_UTF8_SIMD
        // Long runs go sixteen or eight bytes at a time; the scalar steps below take what the
        // vector step cannot (longer sequences, the tail) one character at a time.
        if (simd && i + 16 <= size) {
            const std::size_t written = std::size_t(out - begin);
            const auto [consumed, produced] =
                decodeTwoByteRuns(in + i, size - i, out, std::size_t(result.size()) - written);
            i += consumed;
            out += produced;
            if (i >= size)
                break;
        }
#endif
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
