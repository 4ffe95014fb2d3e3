#pragma once

#include <QString>

#include <string_view>

// UTF-8 to QString for text that is already known to be valid UTF-8 (the JSON parser validates the
// whole document before any value is read). Skipping validation and sizing the string exactly
// makes this several times faster than QString::fromUtf8 on Cyrillic text, which is most of the
// cost of decoding a task list.
QString utf8ToString(std::string_view validUtf8);

// The value of one hexadecimal digit (either case), or -1: for the \u escapes of JSON strings.
constexpr int hexDigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
