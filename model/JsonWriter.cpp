#include "JsonWriter.h"

namespace {

void appendEscaped(QByteArray& out, std::string_view utf8) {
    static constexpr char hex[] = "0123456789abcdef";
    out.append('"');
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        out.append(utf8.data() + runStart, qsizetype(i - runStart));
        runStart = i + 1;
        switch (c) {
        case '"':
            out.append("\\\"", 2);
            break;
        case '\\':
            out.append("\\\\", 2);
            break;
        case '\n':
            out.append("\\n", 2);
            break;
        case '\r':
            out.append("\\r", 2);
            break;
        case '\t':
            out.append("\\t", 2);
            break;
        case '\b':
            out.append("\\b", 2);
            break;
        case '\f':
            out.append("\\f", 2);
            break;
        default: {
            const char escaped[6] = {'\\', 'u', '0', '0', hex[c >> 4], hex[c & 0xF]};
            out.append(escaped, 6);
        }
        }
    }
    out.append(utf8.data() + runStart, qsizetype(utf8.size() - runStart));
    out.append('"');
}

} // namespace

void JsonWriter::separate() {
    if (m_needComma)
        m_out.append(',');
}

void JsonWriter::beginObject() {
    separate();
    m_out.append('{');
    m_needComma = false;
}

void JsonWriter::endObject() {
    m_out.append('}');
    m_needComma = true;
}

void JsonWriter::beginArray() {
    separate();
    m_out.append('[');
    m_needComma = false;
}

void JsonWriter::endArray() {
    m_out.append(']');
    m_needComma = true;
}

void JsonWriter::key(std::string_view name) {
    separate();
    appendEscaped(m_out, name);
    m_out.append(':');
    m_needComma = false;
}

void JsonWriter::value(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    value(std::string_view(utf8.constData(), std::size_t(utf8.size())));
}

void JsonWriter::value(std::string_view utf8) {
    separate();
    appendEscaped(m_out, utf8);
    m_needComma = true;
}

void JsonWriter::value(qint64 number) {
    separate();
    m_out.append(QByteArray::number(number));
    m_needComma = true;
}

void JsonWriter::value(bool flag) {
    separate();
    m_out.append(flag ? "true" : "false");
    m_needComma = true;
}

void JsonWriter::nullValue() {
    separate();
    m_out.append("null");
    m_needComma = true;
}
