#include "JsonFields.h"

#include "ServerDate.h"
#include "ServerError.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

[[noreturn]] void invalid(const QString& key, const QString& why) {
    throw ServerError::badRequest(u"Поле «%1»: %2"_s.arg(key, why));
}

} // namespace

std::optional<QString> normalizeDeadline(const QString& text) {
    // The bare day form is not a deadline: it has no time.
    if (text.size() == 10)
        return std::nullopt;
    const auto moment = parseServerDate(text);
    if (!moment)
        return std::nullopt;
    // An offset can carry a moment out of the years 1 to 9999, which the answer form cannot write.
    const QString normalized = moment->toUTC().toString(Qt::ISODateWithMs);
    if (normalized.isEmpty() || parseServerDate(normalized) != moment)
        return std::nullopt;
    return normalized;
}

qsizetype codePointCount(const QString& text) {
    qsizetype count = text.size();
    for (QChar c : text) {
        if (c.isLowSurrogate())
            --count;
    }
    return count;
}

QString JsonFields::requiredString(const QString& key) const {
    const QJsonValue value = m_object.value(key);
    if (value.isUndefined())
        invalid(key, u"обязательное поле"_s);
    if (!value.isString())
        invalid(key, u"должно быть строкой"_s);
    return value.toString();
}

std::optional<QString> JsonFields::optionalString(const QString& key) const {
    const QJsonValue value = m_object.value(key);
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    if (!value.isString())
        invalid(key, u"должно быть строкой"_s);
    return value.toString();
}

QString JsonFields::requiredTitle(const QString& key, int maxLength) const {
    const QString text = requiredString(key).trimmed();
    if (text.isEmpty())
        invalid(key, u"не может быть пустым"_s);
    if (codePointCount(text) > maxLength)
        invalid(key, u"не длиннее %1 символов"_s.arg(maxLength));
    return text;
}

std::optional<qint64> JsonFields::optionalId(const QString& key) const {
    const QJsonValue value = m_object.value(key);
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    constexpr qint64 notAnInteger = std::numeric_limits<qint64>::min();
    const qint64 id = value.isDouble() ? value.toInteger(notAnInteger) : notAnInteger;
    if (id == notAnInteger || id <= 0)
        invalid(key, u"должно быть положительным целым числом"_s);
    return id;
}

bool JsonFields::requiredBool(const QString& key) const {
    const QJsonValue value = m_object.value(key);
    if (value.isUndefined())
        invalid(key, u"обязательное поле"_s);
    if (!value.isBool())
        invalid(key, u"должно быть true или false"_s);
    return value.toBool();
}

std::optional<TaskPriority> JsonFields::optionalPriority(const QString& key) const {
    const auto text = optionalString(key);
    if (!text)
        return std::nullopt;
    const auto priority = taskPriorityFromRaw(*text);
    if (!priority)
        invalid(key, u"допустимые значения: high, medium, low"_s);
    return priority;
}

std::optional<TaskStatus> JsonFields::optionalStatus(const QString& key) const {
    const auto text = optionalString(key);
    if (!text)
        return std::nullopt;
    const auto status = taskStatusFromRaw(*text);
    if (!status)
        invalid(key, u"допустимые значения: pending, done, cancelled"_s);
    return status;
}

std::optional<QString> JsonFields::optionalDeadline(const QString& key) const {
    const auto text = optionalString(key);
    if (!text || text->trimmed().isEmpty())
        return std::nullopt;
    const auto normalized = normalizeDeadline(text->trimmed());
    if (!normalized)
        invalid(key, u"ожидается дата в формате ISO 8601 (2025-03-05T18:00:00Z) или «ГГГГ-ММ-ДД ЧЧ:ММ:СС»"_s);
    return normalized;
}

QString JsonFields::requiredColor(const QString& key) const {
    static const QRegularExpression hexColor(u"^#[0-9A-Fa-f]{6}$"_s);
    const QString color = requiredString(key);
    if (!hexColor.match(color).hasMatch())
        invalid(key, u"ожидается цвет вида #RRGGBB"_s);
    return color;
}
