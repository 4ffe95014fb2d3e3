#pragma once

#include "Clock.h"
#include "TimerSource.h"

#include <QCoreApplication>

#include <algorithm>
#include <memory>
#include <vector>

// Timers that fire only when the test moves time on: advance() sets the clock forward and fires, in
// order of their due times, the timers that come due on the way, letting the event loop run after
// each so that what a timer started can happen. Nothing fires by itself.
class ManualTimers final : public TimerSource {
public:
    explicit ManualTimers(FixedClock& clock)
        : m_clock(clock) {}

    std::unique_ptr<OneShotTimer> oneShot(std::function<void()> onTimeout) override {
        auto timer = std::make_unique<Timer>(*this, std::move(onTimeout));
        m_timers.push_back(timer.get());
        return timer;
    }

    // Moves the clock on by `by`, firing every timer that comes due meanwhile at its due time.
    void advance(std::chrono::milliseconds by) {
        const QDateTime end = m_clock.now().addMSecs(by.count());
        for (;;) {
            Timer* next = nullptr;
            for (Timer* timer : m_timers) {
                if (timer->m_active && timer->m_due <= end && (!next || timer->m_due < next->m_due))
                    next = timer;
            }
            if (!next)
                break;
            if (next->m_due > m_clock.now())
                m_clock.set(next->m_due);
            next->m_active = false;
            next->m_onTimeout();
            QCoreApplication::processEvents();
        }
        m_clock.set(end);
    }

    // Time until the next timer is due, or -1 ms when none is running.
    std::chrono::milliseconds nextDue() const {
        qint64 soonest = -1;
        for (const Timer* timer : m_timers) {
            if (!timer->m_active)
                continue;
            const qint64 in = m_clock.now().msecsTo(timer->m_due);
            if (soonest < 0 || in < soonest)
                soonest = in;
        }
        return std::chrono::milliseconds(soonest);
    }

private:
    class Timer final : public OneShotTimer {
    public:
        Timer(ManualTimers& owner, std::function<void()> onTimeout)
            : m_owner(owner)
            , m_onTimeout(std::move(onTimeout)) {}
        ~Timer() override { std::erase(m_owner.m_timers, this); }
        void start(std::chrono::milliseconds delay) override {
            m_due = m_owner.m_clock.now().addMSecs(delay.count());
            m_active = true;
        }
        void stop() override { m_active = false; }
        bool isActive() const override { return m_active; }

        ManualTimers& m_owner;
        std::function<void()> m_onTimeout;
        QDateTime m_due;
        bool m_active = false;
    };

    FixedClock& m_clock;
    std::vector<Timer*> m_timers;
};
