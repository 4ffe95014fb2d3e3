#include "ServerDate.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace {

bool readDigits(QStringView text, qsizetype at, int count, int& out) {
    if (at + count > text.size())
        return false;
    int value = 0;
    for (int i = 0; i < count; ++i) {
        const char16_t c = text[at + i].unicode();
        if (c < u'0' || c > u'9')
            return false;
        value = value * 10 + (c - u'0');
    }
    out = value;
    return true;
}

bool readSeparator(QStringView text, qsizetype at, char16_t separator) {
    return at < text.size() && text[at].unicode() == separator;
}

// yyyy-MM-dd at the start of text.
std::optional<QDate> readDay(QStringView text) {
    int year = 0, month = 0, day = 0;
    if (!readDigits(text, 0, 4, year) || !readSeparator(text, 4, u'-') || !readDigits(text, 5, 2, month) ||
        !readSeparator(text, 7, u'-') || !readDigits(text, 8, 2, day))
        return std::nullopt;
    const QDate date(year, month, day);
    if (!date.isValid())
        return std::nullopt;
    return date;
}

// HH:mm:ss starting at `at`.
std::optional<QTime> readClock(QStringView text, qsizetype at) {
    int hour = 0, minute = 0, second = 0;
    if (!readDigits(text, at, 2, hour) || !readSeparator(text, at + 2, u':') || !readDigits(text, at + 3, 2, minute) ||
        !readSeparator(text, at + 5, u':') || !readDigits(text, at + 6, 2, second))
        return std::nullopt;
    if (hour > 23 || minute > 59 || second > 59)
        return std::nullopt;
    return QTime(hour, minute, second);
}

QDateTime utc(QDate date, QTime time) {
    return QDateTime(date, time, Qt::UTC);
}

// Forms 1 and 2: the date-time, then optional fractional seconds, then Z or ±HH:MM, then nothing.
std::optional<QDateTime> readInternetDateTime(QStringView text, bool withFraction) {
    const auto date = readDay(text);
    if (!date || !readSeparator(text, 10, u'T'))
        return std::nullopt;
    auto time = readClock(text, 11);
    if (!time)
        return std::nullopt;
    qsizetype at = 19;
    if (withFraction) {
        if (!readSeparator(text, at, u'.'))
            return std::nullopt;
        ++at;
        int millis = 0;
        int digits = 0;
        while (at < text.size() && text[at].isDigit() && text[at].unicode() < 128) {
            if (digits < 3)
                millis = millis * 10 + (text[at].unicode() - u'0');
            ++digits;
            ++at;
        }
        if (digits == 0)
            return std::nullopt;
        for (int i = digits; i < 3; ++i)
            millis *= 10;
        time = time->addMSecs(millis);
    }
    if (readSeparator(text, at, u'Z')) {
        if (at + 1 != text.size())
            return std::nullopt;
        return utc(*date, *time);
    }
    if (!readSeparator(text, at, u'+') && !readSeparator(text, at, u'-'))
        return std::nullopt;
    const int sign = text[at].unicode() == u'-' ? -1 : 1;
    int offsetHours = 0, offsetMinutes = 0;
    if (!readDigits(text, at + 1, 2, offsetHours) || !readSeparator(text, at + 3, u':') ||
        !readDigits(text, at + 4, 2, offsetMinutes) || at + 6 != text.size())
        return std::nullopt;
    if (offsetHours > 23 || offsetMinutes > 59)
        return std::nullopt;
    const int offsetSeconds = sign * (offsetHours * 3600 + offsetMinutes * 60);
    return utc(*date, *time).addSecs(-offsetSeconds);
}

} // namespace

std::optional<QDateTime> parseServerDate(QStringView text) {
    if (auto withFraction = readInternetDateTime(text, true))
        return withFraction;
    if (auto withoutFraction = readInternetDateTime(text, false))
        return withoutFraction;
    if (text.size() == 19 && readSeparator(text, 10, u' ')) {
        const auto date = readDay(text);
        const auto time = readClock(text, 11);
        if (date && time)
            return utc(*date, *time);
        return std::nullopt;
    }
    if (text.size() == 10) {
        if (const auto date = readDay(text))
            return utc(*date, QTime(0, 0));
    }
    return std::nullopt;
}

QString formatDeadline(const std::optional<QString>& text) {
    const QString none = u"Без дедлайна"_s;
    if (!text || text->isEmpty())
        return none;
    const auto moment = parseServerDate(*text);
    if (!moment)
        return none;
    static const QLocale russian(QLocale::Russian, QLocale::Russia);
    return russian.toString(moment->toLocalTime(), u"d MMM yyyy, HH:mm"_s);
}
