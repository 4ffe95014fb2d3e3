#pragma once

#include <QList>
#include <QString>

class JsonValue;
class JsonWriter;

// Activity over a period, as the statistics screen shows it. Every field is required.

struct StatsTotals {
    qint64 created = 0;
    qint64 completed = 0;

    static StatsTotals fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const StatsTotals&) const = default;
};

struct StatsDayCount {
    QString date; // "yyyy-MM-dd"
    qint64 count = 0;

    static StatsDayCount fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const StatsDayCount&) const = default;
};

struct StatsDaily {
    QList<StatsDayCount> created;
    QList<StatsDayCount> completed;

    static StatsDaily fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const StatsDaily&) const = default;
};

struct StatsPriority {
    QString priority; // a priority's raw value, kept as text: an unknown one still decodes
    qint64 count = 0;

    static StatsPriority fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const StatsPriority&) const = default;
};

struct UserStats {
    QString range;
    StatsTotals totals;
    StatsDaily daily;
    QList<StatsPriority> priority;

    static UserStats fromJson(JsonValue& value);
    void toJson(JsonWriter& writer) const;
    bool operator==(const UserStats&) const = default;
};
