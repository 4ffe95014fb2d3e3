#pragma once

#include <QByteArray>

#include <cstring>
#include <string_view>

// An answer's JSON written into a buffer sized ahead, without the per-append checks of QByteArray:
// every write first makes room for its worst case, then copies with raw pointers. Strings get the
// escapes JsonWriter gives them, byte for byte; runs that need none (almost all of any text) are
// found sixteen bytes at a time and copied whole.
class JsonText final {
public:
    explicit JsonText(qsizetype expectedSize = 4096);

    qsizetype size() const { return m_size; }
    // Back to an earlier size(), dropping what was written after it.
    void truncate(qsizetype size) { m_size = size; }

    void raw(std::string_view bytes) {
        reserve(qsizetype(bytes.size()));
        std::memcpy(m_data + m_size, bytes.data(), bytes.size());
        m_size += qsizetype(bytes.size());
    }
    void raw(char c) {
        reserve(1);
        m_data[m_size++] = c;
    }
    void number(qint64 value);
    // `utf8` in quotes, escaped. False when it is not valid UTF-8 (it is written all the same).
    bool string(std::string_view utf8);

    QByteArray take();

private:
    void reserve(qsizetype more) {
        if (m_size + more > m_bytes.size())
            grow(more);
    }
    void grow(qsizetype more);

    QByteArray m_bytes;
    char* m_data = nullptr;
    qsizetype m_size = 0;
};

// Where the first byte that JSON must escape (a control character, a quote or a backslash) is
// in `utf8`; its size when there is none.
std::size_t firstEscapedByte(std::string_view utf8);
