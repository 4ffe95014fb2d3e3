#pragma once

#include "DecodeError.h"
#include "JsonPath.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <simdjson.h>

#include <optional>
#include <string_view>

// One value of a document being decoded, with the strict rules every record shares: required values
// must have the right JSON type, integers must be exact 64-bit integers, optional values may be
// absent or null and are then empty. Every failure throws DecodeError naming the path.
class JsonValue final {
public:
    JsonValue(simdjson::ondemand::value value, const JsonPath& path)
        : m_value(value)
        , m_path(path) {}

    const JsonPath& path() const { return m_path; }

    bool isNull();
    QString toString();
    // The unescaped UTF-8 text of a string value; valid while the document lives.
    std::string_view toUtf8View();
    qint64 toInt64();
    bool toBool();
    std::optional<QString> toOptionalString();
    // The text as UTF-8 bytes of its own (no QString made).
    std::optional<QByteArray> toOptionalUtf8();
    std::optional<qint64> toOptionalInt64();
    std::optional<bool> toOptionalBool();

    // Calls visit(key, value) for every member of an object, in document order. A value that visit
    // leaves unread (an unknown key) is still checked to its end: the parser alone would skip it
    // unchecked, and an answer must be valid JSON throughout.
    template <class Visit> void forEachField(Visit&& visit) {
        simdjson::ondemand::object object;
        expectType(simdjson::ondemand::json_type::object);
        m_read = true;
        check(m_value.get_object().get(object));
        for (auto fieldResult : object) {
            simdjson::ondemand::field field;
            check(std::move(fieldResult).get(field));
            std::string_view key;
            check(field.unescaped_key().get(key));
            const JsonPath childPath(&m_path, key);
            JsonValue child(field.value(), childPath);
            visit(key, child);
            if (!child.m_read)
                child.skip();
        }
    }

    template <class Visit> void forEachElement(Visit&& visit) {
        simdjson::ondemand::array array;
        expectType(simdjson::ondemand::json_type::array);
        m_read = true;
        check(m_value.get_array().get(array));
        qsizetype index = 0;
        for (auto elementResult : array) {
            simdjson::ondemand::value element;
            check(std::move(elementResult).get(element));
            const JsonPath childPath(&m_path, index++);
            JsonValue child(element, childPath);
            visit(child);
            if (!child.m_read)
                child.skip();
        }
    }

    // Checks a value nobody reads, to its end, without building anything of it.
    void skip();

    [[noreturn]] void fail(const QString& what) const;
    [[noreturn]] static void failAt(const JsonPath& path, const QString& what);

    // The Russian text for a parser error, as shown after "Ошибка данных: ".
    static QString syntaxMessage(simdjson::error_code error);

private:
    simdjson::ondemand::json_type type();
    void expectType(simdjson::ondemand::json_type expected);
    void check(simdjson::error_code error) const;
    std::string_view rawScalar();

    simdjson::ondemand::value m_value;
    const JsonPath& m_path;
    bool m_read = false; // read through, or checked by skip()
};

// Tracks which required keys of one object were seen; reports the first missing one.
class RequiredKeys final {
public:
    void seen(int bit) { m_seen |= 1u << bit; }
    // names[i] is the key of bit i; throws for the first one not seen.
    template <std::size_t N> void require(const JsonPath& path, const char* const (&names)[N]) const {
        for (std::size_t i = 0; i < N; ++i) {
            if (!(m_seen & (1u << i)))
                missing(path, names[i]);
        }
    }

private:
    [[noreturn]] static void missing(const JsonPath& path, const char* name);
    unsigned m_seen = 0;
};

// Owns the parser and the padded input of one decoding; the root value lives as long as it does.
class JsonDocument final {
public:
    // Past this size a document leaves no parser buffers behind on its thread: a parser keeps them
    // sized to the largest document it has read, which for one long task list is more than the
    // list itself, for as long as the thread lives.
    static constexpr qsizetype releaseAfterBytes = 1 << 20;

    explicit JsonDocument(const QByteArray& bytes);
    ~JsonDocument();
    JsonDocument(const JsonDocument&) = delete;
    JsonDocument& operator=(const JsonDocument&) = delete;

    JsonValue root();
    // Fails when anything but whitespace follows the root value.
    void finish();

    // What the calling thread's parser holds now, in bytes of input it can take without growing.
    static std::size_t parserCapacity();

private:
    static simdjson::ondemand::parser& parser();
    static void releaseParser();

    qsizetype m_size = 0;
    simdjson::padded_string m_copy;
    simdjson::ondemand::document m_document;
    JsonPath m_rootPath;
};

// A JSON array of records, each decoded by T::fromJson.
template <class T> QList<T> decodeList(JsonValue& value) {
    QList<T> list;
    value.forEachElement([&](JsonValue& element) { list.append(T::fromJson(element)); });
    return list;
}

template <class T> T decodeJson(const QByteArray& bytes) {
    JsonDocument document(bytes);
    JsonValue root = document.root();
    T value = T::fromJson(root);
    document.finish();
    return value;
}
