#pragma once

#include "TaskPriority.h"
#include "TaskStatus.h"

#include <QJsonObject>
#include <QString>

#include <optional>

// Reads the fields of a request body with the service's rules; every violation is a 400 whose
// text names the field and the reason. Unknown keys are ignored.
class JsonFields final {
public:
    explicit JsonFields(QJsonObject object)
        : m_object(std::move(object)) {}

    bool has(const QString& key) const { return m_object.contains(key); }
    bool isNull(const QString& key) const { return m_object.value(key).isNull(); }

    QString requiredString(const QString& key) const;
    // Absent or null: empty.
    std::optional<QString> optionalString(const QString& key) const;
    // Required, not blank after trimming, at most maxLength characters (code points); returned trimmed.
    QString requiredTitle(const QString& key, int maxLength) const;
    std::optional<qint64> optionalId(const QString& key) const;
    bool requiredBool(const QString& key) const;
    std::optional<TaskPriority> optionalPriority(const QString& key) const;
    std::optional<TaskStatus> optionalStatus(const QString& key) const;
    // A deadline in any accepted form, returned in the answer form; absent or null: empty.
    std::optional<QString> optionalDeadline(const QString& key) const;
    QString requiredColor(const QString& key) const;

private:
    QJsonObject m_object;
};

// The accepted deadline forms: ISO 8601 with or without fractional seconds, Z or an offset, or
// "yyyy-MM-dd HH:mm:ss" read as UTC. Answered as ISO 8601 with milliseconds in UTC.
std::optional<QString> normalizeDeadline(const QString& text);

// Characters as a person counts them: an emoji outside the Basic Multilingual Plane is one.
qsizetype codePointCount(const QString& text);
