#include "JsonText.h"

#include <simdjson.h>

#include <charconv>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// Where the first byte JSON must escape is, from `from`; ORs every byte looked at into `seen`.
inline std::size_t scan(const unsigned char* bytes, std::size_t from, std::size_t size, unsigned& seen) {
    std::size_t i = from;
#if defined(__SSE2__)
    const __m128i quote = _mm_set1_epi8('"');
    const __m128i backslash = _mm_set1_epi8('\\');
    const __m128i highestControl = _mm_set1_epi8(0x1f);
    __m128i all = _mm_setzero_si128();
    for (; i + 16 <= size; i += 16) {
        const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
        all = _mm_or_si128(all, chunk);
        // A byte is a control character when the unsigned maximum with 0x1f leaves it at 0x1f.
        const __m128i control = _mm_cmpeq_epi8(_mm_max_epu8(chunk, highestControl), highestControl);
        const __m128i special =
            _mm_or_si128(control, _mm_or_si128(_mm_cmpeq_epi8(chunk, quote), _mm_cmpeq_epi8(chunk, backslash)));
        if (const int mask = _mm_movemask_epi8(special)) {
            seen |= unsigned(_mm_movemask_epi8(all)) ? 0x80u : 0u;
            return i + std::size_t(__builtin_ctz(unsigned(mask)));
        }
    }
    seen |= unsigned(_mm_movemask_epi8(all)) ? 0x80u : 0u;
#endif
    for (; i < size; ++i) {
        seen |= bytes[i];
        if (bytes[i] < 0x20 || bytes[i] == '"' || bytes[i] == '\\')
            return i;
    }
    return size;
}

} // namespace

std::size_t firstEscapedByte(std::string_view utf8) {
    unsigned seen = 0;
    return scan(reinterpret_cast<const unsigned char*>(utf8.data()), 0, utf8.size(), seen);
}

JsonText::JsonText(qsizetype expectedSize) {
    m_bytes.resize(qMax<qsizetype>(expectedSize, 64));
    m_data = m_bytes.data();
}

void JsonText::grow(qsizetype more) {
    m_bytes.resize(qMax(m_size + more, m_bytes.size() * 2));
    m_data = m_bytes.data();
}

void JsonText::number(qint64 value) {
    reserve(20);
    m_size = std::to_chars(m_data + m_size, m_data + m_size + 20, value).ptr - m_data;
}

bool JsonText::string(std::string_view utf8) {
    static constexpr char hex[] = "0123456789abcdef";
    const auto* bytes = reinterpret_cast<const unsigned char*>(utf8.data());
    const std::size_t size = utf8.size();
    // Every byte escaped as \u00XX is the worst case.
    reserve(qsizetype(size) * 6 + 2);
    char* out = m_data + m_size;
    *out++ = '"';
    unsigned seen = 0;
    for (std::size_t done = 0;;) {
        const std::size_t next = scan(bytes, done, size, seen);
        std::memcpy(out, bytes + done, next - done);
        out += next - done;
        if (next == size)
            break;
        const unsigned char c = bytes[next];
        done = next + 1;
        *out++ = '\\';
        switch (c) {
        case '"':
            *out++ = '"';
            break;
        case '\\':
            *out++ = '\\';
            break;
        case '\n':
            *out++ = 'n';
            break;
        case '\r':
            *out++ = 'r';
            break;
        case '\t':
            *out++ = 't';
            break;
        case '\b':
            *out++ = 'b';
            break;
        case '\f':
            *out++ = 'f';
            break;
        default:
            out[0] = 'u';
            out[1] = '0';
            out[2] = '0';
            out[3] = hex[c >> 4];
            out[4] = hex[c & 0xF];
            out += 5;
        }
    }
    *out++ = '"';
    m_size = out - m_data;
    // ASCII is valid as it is; anything else is checked whole, at the speed of the SIMD validator.
    // The processor's best implementation, looked up once: simdjson's own entry point asks on each call.
    static const simdjson::implementation* const validator =
        simdjson::get_available_implementations().detect_best_supported();
    return (seen & 0x80) == 0 || validator->validate_utf8(utf8.data(), size);
}

QByteArray JsonText::take() {
    m_bytes.truncate(m_size);
    m_data = nullptr;
    m_size = 0;
    return std::move(m_bytes);
}
