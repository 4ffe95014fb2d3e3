#include "TimerSource.h"

namespace {

class EventLoopTimer final : public OneShotTimer {
public:
    explicit EventLoopTimer(std::function<void()> onTimeout) {
        m_timer.setSingleShot(true);
        m_timer.setTimerType(Qt::CoarseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, std::move(onTimeout));
    }
    void start(std::chrono::milliseconds delay) override { m_timer.start(delay); }
    void stop() override { m_timer.stop(); }
    bool isActive() const override { return m_timer.isActive(); }

private:
    QTimer m_timer;
};

} // namespace

std::unique_ptr<OneShotTimer> EventLoopTimers::oneShot(std::function<void()> onTimeout) {
    return std::make_unique<EventLoopTimer>(std::move(onTimeout));
}
