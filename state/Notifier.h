#pragma once

#include <QString>

#include <optional>

// One desktop notification: a summary line, the text under it, and the task a click opens (none for
// a notification about several tasks).
struct Notification {
    QString summary;
    QString body;
    std::optional<qint64> taskId;

    bool operator==(const Notification&) const = default;
};

// Where reminders go: the desktop's notification service, or whatever stands in for it.
class Notifier {
public:
    virtual ~Notifier() = default;
    virtual void notify(const Notification& notification) = 0;
};
