#include "JsonValue.h"

#include "Utf8.h"

using namespace Qt::StringLiterals;
using simdjson::ondemand::json_type;
using simdjson::ondemand::number_type;

namespace {

QString typeName(json_type type) {
    switch (type) {
    case json_type::array:
        return u"массив"_s;
    case json_type::object:
        return u"объект"_s;
    case json_type::number:
        return u"число"_s;
    case json_type::string:
        return u"строка"_s;
    case json_type::boolean:
        return u"логическое значение"_s;
    case json_type::null:
        return u"null"_s;
    }
    return u"неизвестный тип"_s;
}

QString expectedName(json_type type) {
    switch (type) {
    case json_type::array:
        return u"ожидался массив"_s;
    case json_type::object:
        return u"ожидался объект"_s;
    case json_type::number:
        return u"ожидалось целое число"_s;
    case json_type::string:
        return u"ожидалась строка"_s;
    case json_type::boolean:
        return u"ожидалось логическое значение"_s;
    case json_type::null:
        return u"ожидался null"_s;
    }
    return {};
}

QString syntaxMessage(simdjson::error_code error) {
    switch (error) {
    case simdjson::EMPTY:
        return u"пустой ответ"_s;
    case simdjson::UTF8_ERROR:
        return u"некорректный JSON: недопустимая последовательность UTF-8"_s;
    case simdjson::UNCLOSED_STRING:
        return u"некорректный JSON: незакрытая строка"_s;
    case simdjson::STRING_ERROR:
        return u"некорректный JSON: недопустимая строка"_s;
    case simdjson::DEPTH_ERROR:
        return u"некорректный JSON: слишком глубокая вложенность"_s;
    case simdjson::CAPACITY:
        return u"ответ слишком велик"_s;
    case simdjson::TRAILING_CONTENT:
        return u"некорректный JSON: лишние данные после значения"_s;
    default:
        return u"некорректный JSON (%1)"_s.arg(QString::fromUtf8(simdjson::error_message(error)));
    }
}

} // namespace

void JsonValue::failAt(const JsonPath& path, const QString& what) {
    const QString where = path.toString();
    throw DecodeError(where.isEmpty() ? what : where + u": "_s + what);
}

void JsonValue::fail(const QString& what) const {
    failAt(m_path, what);
}

void JsonValue::check(simdjson::error_code error) const {
    if (error != simdjson::SUCCESS)
        fail(syntaxMessage(error));
}

json_type JsonValue::type() {
    json_type result;
    check(m_value.type().get(result));
    return result;
}

void JsonValue::expectType(json_type expected) {
    const json_type actual = type();
    if (actual != expected)
        fail(expectedName(expected) + u", получено: "_s + typeName(actual));
}

bool JsonValue::isNull() {
    return type() == json_type::null;
}

std::string_view JsonValue::toUtf8View() {
    expectType(json_type::string);
    // Most strings carry no escapes: read them where they stand in the document instead of having
    // the parser copy every one of them into its own buffer first.
    std::string_view raw = m_value.raw_json_token();
    while (!raw.empty() && (raw.back() == ' ' || raw.back() == '\n' || raw.back() == '\r' || raw.back() == '\t'))
        raw.remove_suffix(1);
    if (raw.size() >= 2 && raw.front() == '"' && raw.back() == '"') {
        const std::string_view content = raw.substr(1, raw.size() - 2);
        if (content.find('\\') == std::string_view::npos)
            return content;
    }
    std::string_view text;
    check(m_value.get_string().get(text));
    return text;
}

QString JsonValue::toString() {
    return utf8ToString(toUtf8View());
}

qint64 JsonValue::toInt64() {
    expectType(json_type::number);
    number_type kind;
    check(m_value.get_number_type().get(kind));
    if (kind == number_type::floating_point_number) {
        std::string_view raw = m_value.raw_json_token();
        while (!raw.empty() && (raw.back() == ' ' || raw.back() == '\n' || raw.back() == '\r' || raw.back() == '\t'))
            raw.remove_suffix(1);
        fail(u"ожидалось целое число, получено «%1»"_s.arg(QString::fromUtf8(raw.data(), qsizetype(raw.size()))));
    }
    int64_t number = 0;
    if (kind != number_type::signed_integer || m_value.get_int64().get(number) != simdjson::SUCCESS)
        fail(u"целое число вне 64-битного диапазона"_s);
    return number;
}

bool JsonValue::toBool() {
    expectType(json_type::boolean);
    bool flag = false;
    check(m_value.get_bool().get(flag));
    return flag;
}

std::optional<QString> JsonValue::toOptionalString() {
    if (isNull())
        return std::nullopt;
    return toString();
}

std::optional<qint64> JsonValue::toOptionalInt64() {
    if (isNull())
        return std::nullopt;
    return toInt64();
}

std::optional<bool> JsonValue::toOptionalBool() {
    if (isNull())
        return std::nullopt;
    return toBool();
}

void RequiredKeys::missing(const JsonPath& path, const char* name) {
    JsonValue::failAt(path, u"нет обязательного ключа «%1»"_s.arg(QString::fromUtf8(name)));
}

simdjson::ondemand::parser& JsonDocument::parser() {
    // A parser keeps its buffers between documents; one per thread avoids reallocating them per answer.
    thread_local simdjson::ondemand::parser instance;
    return instance;
}

JsonDocument::JsonDocument(const QByteArray& bytes) {
    simdjson::error_code error;
    const auto size = std::size_t(bytes.size());
    if (std::size_t(bytes.capacity()) >= size + simdjson::SIMDJSON_PADDING) {
        error = parser().iterate(bytes.constData(), size, std::size_t(bytes.capacity())).get(m_document);
    } else {
        m_copy = simdjson::padded_string(bytes.constData(), size);
        error = parser().iterate(m_copy).get(m_document);
    }
    if (error != simdjson::SUCCESS)
        JsonValue::failAt(m_rootPath, syntaxMessage(error));
}

JsonValue JsonDocument::root() {
    // Every answer is an object; a bare scalar would otherwise be reported as an obscure parser error.
    json_type type;
    simdjson::error_code error = m_document.type().get(type);
    if (error != simdjson::SUCCESS)
        JsonValue::failAt(m_rootPath, syntaxMessage(error));
    if (type != json_type::object && type != json_type::array)
        JsonValue::failAt(m_rootPath, expectedName(json_type::object) + u", получено: "_s + typeName(type));
    simdjson::ondemand::value value;
    error = m_document.get_value().get(value);
    if (error != simdjson::SUCCESS)
        JsonValue::failAt(m_rootPath, syntaxMessage(error));
    return JsonValue(value, m_rootPath);
}

void JsonDocument::finish() {
    // Past the root value the iterator has no location left unless something follows it.
    if (m_document.current_location().error() == simdjson::SUCCESS)
        JsonValue::failAt(m_rootPath, syntaxMessage(simdjson::TRAILING_CONTENT));
}
