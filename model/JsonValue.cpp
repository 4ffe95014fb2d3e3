#include "JsonValue.h"

#include "Utf8.h"

#include <memory>

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

// A number as JSON writes it: -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
bool isJsonNumber(std::string_view text) {
    std::size_t i = 0;
    const auto digits = [&] {
        const std::size_t from = i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9')
            ++i;
        return i > from;
    };
    if (i < text.size() && text[i] == '-')
        ++i;
    if (i < text.size() && text[i] == '0')
        ++i;
    else if (!digits())
        return false;
    if (i < text.size() && text[i] == '.') {
        ++i;
        if (!digits())
            return false;
    }
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-'))
            ++i;
        if (!digits())
            return false;
    }
    return i == text.size();
}

} // namespace

QString JsonValue::syntaxMessage(simdjson::error_code error) {
    switch (error) {
    case simdjson::SUCCESS:
        return {};
    case simdjson::EMPTY:
        return u"пустой ответ"_s;
    case simdjson::CAPACITY:
        return u"ответ слишком велик"_s;
    case simdjson::MEMALLOC:
        return u"не хватило памяти для разбора ответа"_s;
    case simdjson::TAPE_ERROR:
        return u"некорректный JSON: нарушена структура (запятые, скобки или ключи)"_s;
    case simdjson::DEPTH_ERROR:
        return u"некорректный JSON: слишком глубокая вложенность"_s;
    case simdjson::STRING_ERROR:
        return u"некорректный JSON: недопустимая строка"_s;
    case simdjson::T_ATOM_ERROR:
    case simdjson::F_ATOM_ERROR:
        return u"некорректный JSON: недопустимое логическое значение"_s;
    case simdjson::N_ATOM_ERROR:
        return u"некорректный JSON: недопустимое значение null"_s;
    case simdjson::NUMBER_ERROR:
        return u"некорректный JSON: недопустимое число"_s;
    case simdjson::NUMBER_OUT_OF_RANGE:
        return u"число вне допустимого диапазона"_s;
    case simdjson::UTF8_ERROR:
        return u"некорректный JSON: недопустимая последовательность UTF-8"_s;
    case simdjson::UNESCAPED_CHARS:
        return u"некорректный JSON: неэкранированный управляющий символ в строке"_s;
    case simdjson::UNCLOSED_STRING:
        return u"некорректный JSON: незакрытая строка"_s;
    case simdjson::INCORRECT_TYPE:
        return u"некорректный JSON: недопустимое значение"_s;
    case simdjson::INCOMPLETE_ARRAY_OR_OBJECT:
    case simdjson::OUT_OF_BOUNDS:
        return u"некорректный JSON: ответ оборван"_s;
    case simdjson::TRAILING_CONTENT:
        return u"некорректный JSON: лишние данные после значения"_s;
    case simdjson::SCALAR_DOCUMENT_AS_VALUE:
        return expectedName(json_type::object);
    case simdjson::UNSUPPORTED_ARCHITECTURE:
        return u"разбор JSON не поддерживается этим процессором"_s;
    default:
        // The rest are the parser's own misuse, never the document's fault.
        return u"внутренняя ошибка разбора JSON"_s;
    }
}

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
    json_type result{};
    check(m_value.type().get(result));
    return result;
}

void JsonValue::expectType(json_type expected) {
    const json_type actual = type();
    if (actual != expected)
        fail(expectedName(expected) + u", получено: "_s + typeName(actual));
}

std::string_view JsonValue::rawScalar() {
    std::string_view raw = m_value.raw_json_token();
    while (!raw.empty() && (raw.back() == ' ' || raw.back() == '\n' || raw.back() == '\r' || raw.back() == '\t'))
        raw.remove_suffix(1);
    return raw;
}

bool JsonValue::isNull() {
    if (type() != json_type::null)
        return false;
    // The type is guessed from the first letter: "nul" or "nullx" must not pass for null.
    bool null = false;
    if (m_value.is_null().get(null) != simdjson::SUCCESS || !null)
        fail(syntaxMessage(simdjson::N_ATOM_ERROR));
    m_read = true;
    return true;
}

void JsonValue::skip() {
    m_read = true;
    switch (type()) {
    case json_type::object:
        forEachField([](std::string_view, JsonValue&) {});
        return;
    case json_type::array:
        forEachElement([](JsonValue&) {});
        return;
    case json_type::string: {
        // Stage one has checked UTF-8 and control characters already; only escapes are left.
        const std::string_view raw = rawScalar();
        if (raw.find('\\') != std::string_view::npos) {
            std::string_view text;
            check(m_value.get_string().get(text));
        }
        return;
    }
    case json_type::number:
        // Checked as text: JSON has no limit on a number's size, the parser's number types do.
        if (!isJsonNumber(rawScalar()))
            fail(syntaxMessage(simdjson::NUMBER_ERROR));
        return;
    case json_type::boolean: {
        const std::string_view raw = rawScalar();
        if (raw != "true" && raw != "false")
            fail(syntaxMessage(simdjson::T_ATOM_ERROR));
        return;
    }
    case json_type::null:
        isNull();
        return;
    }
}

namespace {

// The content of a JSON string (between its quotes; stage one has checked its UTF-8) with its escapes
// resolved, written straight into a buffer of its own rather than through the parser's, which for
// a long list would grow by every escaped string read. Nothing for anything but the plain escapes
// (the code of a surrogate, an escape JSON does not have): the parser then resolves or refuses those its own way.
std::optional<QByteArray> unescaped(std::string_view content) {
    QByteArray out;
    out.reserve(qsizetype(content.size()));
    std::size_t at = 0;
    for (;;) {
        const std::size_t escape = content.find('\\', at);
        if (escape == std::string_view::npos) {
            out.append(content.data() + at, qsizetype(content.size() - at));
            return out;
        }
        out.append(content.data() + at, qsizetype(escape - at));
        if (escape + 1 >= content.size())
            return std::nullopt;
        at = escape + 2;
        switch (content[escape + 1]) {
        case '"':
        case '\\':
        case '/':
            out.append(content[escape + 1]);
            break;
        case 'b':
            out.append('\b');
            break;
        case 'f':
            out.append('\f');
            break;
        case 'n':
            out.append('\n');
            break;
        case 'r':
            out.append('\r');
            break;
        case 't':
            out.append('\t');
            break;
        case 'u': {
            if (escape + 6 > content.size())
                return std::nullopt;
            unsigned code = 0;
            for (std::size_t i = escape + 2; i < escape + 6; ++i) {
                const int digit = hexDigitValue(content[i]);
                if (digit < 0)
                    return std::nullopt;
                code = code * 16 + unsigned(digit);
            }
            if (code >= 0xD800 && code <= 0xDFFF)
                return std::nullopt;
            if (code < 0x80) {
                out.append(char(code));
            } else if (code < 0x800) {
                out.append(char(0xC0 | (code >> 6)));
                out.append(char(0x80 | (code & 0x3F)));
            } else {
                out.append(char(0xE0 | (code >> 12)));
                out.append(char(0x80 | ((code >> 6) & 0x3F)));
                out.append(char(0x80 | (code & 0x3F)));
            }
            at = escape + 6;
            break;
        }
        default:
            return std::nullopt;
        }
    }
}

} // namespace

std::string_view JsonValue::toUtf8View() {
    expectType(json_type::string);
    m_read = true;
    // Most strings carry no escapes: read them where they stand in the document instead of having
    // the parser copy every one of them into its own buffer first.
    const std::string_view raw = rawScalar();
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
    m_read = true;
    number_type kind{};
    check(m_value.get_number_type().get(kind));
    if (kind == number_type::floating_point_number) {
        const std::string_view raw = rawScalar();
        fail(u"ожидалось целое число, получено «%1»"_s.arg(QString::fromUtf8(raw.data(), qsizetype(raw.size()))));
    }
    int64_t number = 0;
    const simdjson::error_code error =
        kind == number_type::signed_integer ? m_value.get_int64().get(number) : simdjson::NUMBER_OUT_OF_RANGE;
    if (error == simdjson::NUMBER_ERROR)
        fail(syntaxMessage(error));
    if (error != simdjson::SUCCESS)
        fail(u"целое число вне 64-битного диапазона"_s);
    return number;
}

bool JsonValue::toBool() {
    expectType(json_type::boolean);
    m_read = true;
    bool flag = false;
    if (m_value.get_bool().get(flag) != simdjson::SUCCESS)
        fail(syntaxMessage(simdjson::T_ATOM_ERROR));
    return flag;
}

std::optional<QString> JsonValue::toOptionalString() {
    if (isNull())
        return std::nullopt;
    return toString();
}

std::optional<QByteArray> JsonValue::toOptionalUtf8() {
    if (isNull())
        return std::nullopt;
    expectType(json_type::string);
    const std::string_view raw = rawScalar();
    if (raw.size() >= 2 && raw.front() == '"' && raw.back() == '"') {
        if (auto text = unescaped(raw.substr(1, raw.size() - 2))) {
            m_read = true;
            return text;
        }
    }
    const std::string_view text = toUtf8View();
    return QByteArray(text.data(), qsizetype(text.size()));
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

namespace {

// A parser keeps its buffers between documents; one per thread avoids reallocating them for every
// small answer.
thread_local std::unique_ptr<simdjson::ondemand::parser> threadParser;

} // namespace

simdjson::ondemand::parser& JsonDocument::parser() {
    if (!threadParser)
        threadParser = std::make_unique<simdjson::ondemand::parser>();
    return *threadParser;
}

void JsonDocument::releaseParser() {
    threadParser.reset();
}

std::size_t JsonDocument::parserCapacity() {
    return threadParser ? threadParser->capacity() : 0;
}

JsonDocument::~JsonDocument() {
    // The document reads nothing from the parser once it is destroyed.
    if (m_size > releaseAfterBytes)
        releaseParser();
}

JsonDocument::JsonDocument(const QByteArray& bytes)
    : m_size(bytes.size()) {
    simdjson::error_code error;
    const auto size = std::size_t(bytes.size());
    if (std::size_t(bytes.capacity()) >= size + simdjson::SIMDJSON_PADDING) {
        error = parser().iterate(bytes.constData(), size, std::size_t(bytes.capacity())).get(m_document);
    } else {
        m_copy = simdjson::padded_string(bytes.constData(), size);
        error = parser().iterate(m_copy).get(m_document);
    }
    if (error != simdjson::SUCCESS)
        JsonValue::failAt(m_rootPath, JsonValue::syntaxMessage(error));
}

JsonValue JsonDocument::root() {
    // Every answer is an object; a bare scalar would otherwise be reported as an obscure parser error.
    json_type type;
    simdjson::error_code error = m_document.type().get(type);
    if (error != simdjson::SUCCESS)
        JsonValue::failAt(m_rootPath, JsonValue::syntaxMessage(error));
    if (type != json_type::object && type != json_type::array)
        JsonValue::failAt(m_rootPath, expectedName(json_type::object) + u", получено: "_s + typeName(type));
    simdjson::ondemand::value value;
    error = m_document.get_value().get(value);
    if (error != simdjson::SUCCESS)
        JsonValue::failAt(m_rootPath, JsonValue::syntaxMessage(error));
    return JsonValue(value, m_rootPath);
}

void JsonDocument::finish() {
    // Past the root value the iterator has no location left unless something follows it.
    if (m_document.current_location().error() == simdjson::SUCCESS)
        JsonValue::failAt(m_rootPath, JsonValue::syntaxMessage(simdjson::TRAILING_CONTENT));
}
