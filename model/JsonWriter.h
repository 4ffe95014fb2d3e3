#pragma once

#include "Utf8Text.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>
#include <string_view>

// Compact JSON written straight into bytes, keys in the order they are written (QJsonObject would
// sort them). Optional helpers leave empty optionals out, as every record's encoding does.
class JsonWriter final {
public:
    JsonWriter() = default;

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    void key(std::string_view name);

    void value(const QString& text);
    void value(std::string_view utf8);
    void value(qint64 number);
    void value(int number) { value(qint64(number)); }
    void value(bool flag);
    void nullValue();

    void field(std::string_view name, const QString& text) {
        key(name);
        value(text);
    }
    void field(std::string_view name, const Utf8Text& text) {
        key(name);
        value(std::string_view(text.utf8().constData(), std::size_t(text.utf8().size())));
    }
    void field(std::string_view name, qint64 number) {
        key(name);
        value(number);
    }
    void field(std::string_view name, bool flag) {
        key(name);
        value(flag);
    }
    template <class T> void optionalField(std::string_view name, const std::optional<T>& optional) {
        if (optional)
            field(name, *optional);
    }

    const QByteArray& bytes() const { return m_out; }
    QByteArray take() { return std::move(m_out); }

private:
    void separate();

    QByteArray m_out;
    bool m_needComma = false;
};

template <class T> void writeList(JsonWriter& writer, std::string_view name, const QList<T>& list) {
    writer.key(name);
    writer.beginArray();
    for (const T& item : list)
        item.toJson(writer);
    writer.endArray();
}

// Encodes one record that offers toJson(JsonWriter&).
template <class T> QByteArray encodeJson(const T& record) {
    JsonWriter writer;
    record.toJson(writer);
    return writer.take();
}
