#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// The one rule for reading any date the service sends. Each accepted form is recognised by its own
// shape, in this order:
//   1. 2025-03-01T14:30:00.123Z   ISO 8601 internet date-time with fractional seconds (Z or ±HH:MM)
//   2. 2025-03-01T14:30:00Z       the same without fractional seconds
//   3. 2025-03-01 14:30:00        the database form, UTC
//   4. 2025-03-01                 a day, midnight UTC
// Anything else is empty. The result is in UTC.
std::optional<QDateTime> parseServerDate(QStringView text);

// The one rule for showing a deadline: "5 мар. 2025, 18:00" in the device's time zone, or
// "Без дедлайна" when the text is absent, empty or unreadable.
QString formatDeadline(const std::optional<QString>& text);
