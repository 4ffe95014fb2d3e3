#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>

// A timer that fires once after the delay it was last started with.
class OneShotTimer {
public:
    virtual ~OneShotTimer() = default;
    // Starts it again from now when it is running already.
    virtual void start(std::chrono::milliseconds delay) = 0;
    virtual void stop() = 0;
    virtual bool isActive() const = 0;
};

// Where timers come from, so that tests can move time on instead of waiting for it.
class TimerSource {
public:
    virtual ~TimerSource() = default;
    // `onTimeout` runs on the event loop each time the timer fires.
    virtual std::unique_ptr<OneShotTimer> oneShot(std::function<void()> onTimeout) = 0;
};

// Timers of the event loop. They are coarse: waits of seconds and minutes need no precision, and
// coarse timers let the system wake the process less often.
class EventLoopTimers final : public TimerSource {
public:
    std::unique_ptr<OneShotTimer> oneShot(std::function<void()> onTimeout) override;
};
