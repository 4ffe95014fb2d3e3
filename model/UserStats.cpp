#include "UserStats.h"

#include "JsonValue.h"
#include "JsonWriter.h"

StatsTotals StatsTotals::fromJson(JsonValue& value) {
    StatsTotals totals;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "created") {
            totals.created = field.toInt64();
            required.seen(0);
        } else if (key == "completed") {
            totals.completed = field.toInt64();
            required.seen(1);
        }
    });
    required.require(value.path(), {"created", "completed"});
    return totals;
}

void StatsTotals::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("created", created);
    writer.field("completed", completed);
    writer.endObject();
}

StatsDayCount StatsDayCount::fromJson(JsonValue& value) {
    StatsDayCount day;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "date") {
            day.date = field.toString();
            required.seen(0);
        } else if (key == "count") {
            day.count = field.toInt64();
            required.seen(1);
        }
    });
    required.require(value.path(), {"date", "count"});
    return day;
}

void StatsDayCount::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("date", date);
    writer.field("count", count);
    writer.endObject();
}

StatsDaily StatsDaily::fromJson(JsonValue& value) {
    StatsDaily daily;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "created") {
            daily.created = decodeList<StatsDayCount>(field);
            required.seen(0);
        } else if (key == "completed") {
            daily.completed = decodeList<StatsDayCount>(field);
            required.seen(1);
        }
    });
    required.require(value.path(), {"created", "completed"});
    return daily;
}

void StatsDaily::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writeList(writer, "created", created);
    writeList(writer, "completed", completed);
    writer.endObject();
}

StatsPriority StatsPriority::fromJson(JsonValue& value) {
    StatsPriority entry;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "priority") {
            entry.priority = field.toString();
            required.seen(0);
        } else if (key == "count") {
            entry.count = field.toInt64();
            required.seen(1);
        }
    });
    required.require(value.path(), {"priority", "count"});
    return entry;
}

void StatsPriority::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("priority", priority);
    writer.field("count", count);
    writer.endObject();
}

UserStats UserStats::fromJson(JsonValue& value) {
    UserStats stats;
    RequiredKeys required;
    value.forEachField([&](std::string_view key, JsonValue& field) {
        if (key == "range") {
            stats.range = field.toString();
            required.seen(0);
        } else if (key == "totals") {
            stats.totals = StatsTotals::fromJson(field);
            required.seen(1);
        } else if (key == "daily") {
            stats.daily = StatsDaily::fromJson(field);
            required.seen(2);
        } else if (key == "priority") {
            stats.priority = decodeList<StatsPriority>(field);
            required.seen(3);
        }
    });
    required.require(value.path(), {"range", "totals", "daily", "priority"});
    return stats;
}

void UserStats::toJson(JsonWriter& writer) const {
    writer.beginObject();
    writer.field("range", range);
    writer.key("totals");
    totals.toJson(writer);
    writer.key("daily");
    daily.toJson(writer);
    writeList(writer, "priority", priority);
    writer.endObject();
}
