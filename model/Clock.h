#pragma once

#include <QDateTime>

// Where "now" comes from, so that tests can fix the moment.
class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTimeUtc(); }
};

// A clock that says what it is told; for tests and demonstrations.
class FixedClock final : public Clock {
public:
    explicit FixedClock(QDateTime moment)
        : m_moment(std::move(moment)) {}
    QDateTime now() const override { return m_moment; }
    void set(QDateTime moment) { m_moment = std::move(moment); }
    void advance(qint64 seconds) { m_moment = m_moment.addSecs(seconds); }

private:
    QDateTime m_moment;
};
