#pragma once

#include <QString>

#include <string_view>

// Where a value sits inside a document, kept as a chain of stack frames so that the happy path
// allocates nothing; the text is built only when decoding fails.
class JsonPath final {
public:
    JsonPath() = default;
    JsonPath(const JsonPath* parent, std::string_view key)
        : m_parent(parent)
        , m_key(key) {}
    JsonPath(const JsonPath* parent, qsizetype index)
        : m_parent(parent)
        , m_index(index) {}

    QString toString() const;

private:
    const JsonPath* m_parent = nullptr;
    std::string_view m_key;
    qsizetype m_index = -1;
};
