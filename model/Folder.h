#pragma once

#include <QString>

#include <optional>

class JsonValue;
class JsonWriter;

struct Folder {
    qint64 id = 0;
    QString name;
    QString color; // "#RRGGBB"
    std::optional<QString> createdAt;

    static Folder fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;

    bool operator==(const Folder&) const = default;
};
