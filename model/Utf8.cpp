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
qsizetype utf16LengthScalar(const unsigned char* in, std::size_t size) {
    qsizetype units = 0;
    for (std::size_t i = 0; i < size; ++i)
        units += ((in[i] & 0xC0) != 0x80) + (in[i] >= 0xF0);
    return units;
}

#if defined(VEXO_UTF8_SIMD) && defined(__SSE2__)

// The same count sixteen bytes at a time (SSE2 is part of every x86-64): per-lane byte counters,
// summed before any of them can overflow.
qsizetype utf16Length(const unsigned char* in, std::size_t size) {
    const __m128i continuationBits = _mm_set1_epi8(char(0xC0));
    const __m128i continuation = _mm_set1_epi8(char(0x80));
    const __m128i fourByteLead = _mm_set1_epi8(char(0xF0));
    const __m128i zero = _mm_setzero_si128();
    qsizetype units = 0;
    std::size_t i = 0;
    while (i + 16 <= size) {
        __m128i counts = zero;
        for (int step = 0; step < 127 && i + 16 <= size; ++step, i += 16) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
            // Lanes are -1 where true: subtracting counts them.
            const __m128i lead = _mm_xor_si128(_mm_cmpeq_epi8(_mm_and_si128(bytes, continuationBits), continuation),
                                               _mm_set1_epi8(char(0xFF)));
            const __m128i surrogatePair = _mm_cmpeq_epi8(_mm_max_epu8(bytes, fourByteLead), bytes);
            counts = _mm_sub_epi8(_mm_sub_epi8(counts, lead), surrogatePair);
        }
        const __m128i sums = _mm_sad_epu8(counts, zero);
        units += _mm_cvtsi128_si64(sums) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(sums, sums));
    }
    return units + utf16LengthScalar(in + i, size - i);
}

#else

qsizetype utf16Length(const unsigned char* in, std::size_t size) {
    return utf16LengthScalar(in, size);
}

#endif

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

// Text made of ASCII and two-byte sequences (Latin, Cyrillic, Greek…) sixteen bytes at a time, at a
// fixed stride: a two-byte sequence that straddles two blocks is decoded in the first (the second
// byte is read from the next block) and its continuation byte, like every continuation byte, yields
// nothing in the second. Stops before a block holding a longer sequence, or where fewer than 17
// input bytes or 16 output units remain. Returns how far it got in both, always at a character
// boundary.
__attribute__((target("ssse3,popcnt"))) std::pair<std::size_t, std::size_t>
decodeTwoByteRuns(const unsigned char* in, std::size_t size, char16_t* out, std::size_t outSize) {
    const auto& table = packTable();
    const __m128i limit = _mm_set1_epi8(char(0xDF));
    const __m128i zero = _mm_setzero_si128();
    const __m128i leadBits = _mm_set1_epi16(0x1F);
    const __m128i payloadBits = _mm_set1_epi16(0x3F);
    const __m128i lastContinuation = _mm_set1_epi16(0xBF);
    std::size_t i = 0;
    std::size_t o = 0;
    std::size_t carried = 0; // the block before ended in a lead byte whose partner starts this one
    while (i + 17 <= size && o + 16 <= outSize) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        if (_mm_movemask_epi8(bytes) == 0) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o), _mm_unpacklo_epi8(bytes, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o + 8), _mm_unpackhi_epi8(bytes, zero));
            i += 16;
            o += 16;
            carried = 0;
            continue;
        }
        // No byte of a three- or four-byte sequence in this block.
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(bytes, limit), limit)) != 0xFFFF)
            break;
        const __m128i following = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i + 1));
        const int continuation = _mm_movemask_epi8(
            _mm_cmpeq_epi8(_mm_and_si128(bytes, _mm_set1_epi8(char(0xC0))), _mm_set1_epi8(char(0x80))));
        const int starts = ~continuation & 0xFFFF;

        const auto decodeHalf = [&](__m128i half, __m128i next) {
            const __m128i isLead = _mm_cmpgt_epi16(half, lastContinuation);
            const __m128i pair =
                _mm_or_si128(_mm_slli_epi16(_mm_and_si128(half, leadBits), 6), _mm_and_si128(next, payloadBits));
            return _mm_or_si128(_mm_and_si128(isLead, pair), _mm_andnot_si128(isLead, half));
        };
        const __m128i low = decodeHalf(_mm_unpacklo_epi8(bytes, zero), _mm_unpacklo_epi8(following, zero));
        const __m128i high = decodeHalf(_mm_unpackhi_epi8(bytes, zero), _mm_unpackhi_epi8(following, zero));
        const int lowStarts = starts & 0xFF;
        const int highStarts = starts >> 8;
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(out + o),
            _mm_shuffle_epi8(low, _mm_loadu_si128(reinterpret_cast<const __m128i*>(table[lowStarts].data()))));
        o += std::size_t(_mm_popcnt_u32(unsigned(lowStarts)));
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(out + o),
            _mm_shuffle_epi8(high, _mm_loadu_si128(reinterpret_cast<const __m128i*>(table[highStarts].data()))));
        o += std::size_t(_mm_popcnt_u32(unsigned(highStarts)));
        // Byte 15 a lead (not ASCII, not a continuation): its partner, byte 16, is taken already.
        carried = std::size_t((starts >> 15) & (_mm_movemask_epi8(bytes) >> 15) & 1);
        i += 16;
    }
    return {i + carried, o};
}

bool hasSsse3() {
    static const bool supported = __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt");
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
