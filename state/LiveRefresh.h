#pragma once

#include "AppState.h"
#include "ChangeFeed.h"
#include "TimerSource.h"

#include <QDateTime>
#include <QObject>

#include <chrono>
#include <memory>
#include <optional>

class Clock;

// Keeps what the window shows in step with the service without the user asking: it decides when
// AppState refreshes in the background and says how that goes.
//
// It refreshes at once when the change feed tells of a change, and once each time the feed opens
// (changes may have been missed while it was closed); when the window becomes active after at
// least `away` elsewhere; and, while the window is visible and the feed is not open, every `poll`.
// Failed refreshes are tried again later and later. The feed is opened while someone is signed in
// and opened again after it ends, later and later while it keeps failing; a service that answers
// without a feed comes to be asked only every `feedUnavailableRetry`, and is polled meanwhile,
// silently.
//
// Refreshes never overlap: one asked for while another runs follows it. When background refreshes
// have failed for more than `staleAfter`, the state is stale until the next success (of a refresh
// or of any task list load).
class LiveRefresh final : public QObject {
    Q_OBJECT

public:
    struct Timing {
        std::chrono::milliseconds poll{60'000};
        std::chrono::milliseconds pollMost{600'000}; // the longest wait after failures
        std::chrono::milliseconds away{30'000};
        std::chrono::milliseconds staleAfter{60'000};
        std::chrono::milliseconds feedRetryFirst{1'000};
        std::chrono::milliseconds feedRetryMost{60'000};
        std::chrono::milliseconds feedRefusedRetry{60'000};      // the least wait after 4401
        std::chrono::milliseconds feedUnavailableRetry{600'000}; // the longest, for a service without a feed
        std::chrono::milliseconds feedSteady{60'000};            // open this long: back-off starts over
    };

    enum class FeedState {
        off,         // nobody signed in, or no feed to use
        connecting,  // opening
        open,        // open: changes arrive as they happen
        retrying,    // ended; opened again after a wait
        unavailable, // the service answered without a feed; asked again after a long wait
    };
    Q_ENUM(FeedState)

    // `feed` may be null: then the state is polled. Nothing of `state`'s own behaviour changes.
    LiveRefresh(AppState& state, ChangeFeed* feed, TimerSource& timers, const Clock& clock, Timing timing,
                QObject* parent = nullptr);
    LiveRefresh(AppState& state, ChangeFeed* feed, TimerSource& timers, const Clock& clock, QObject* parent = nullptr);
    ~LiveRefresh() override;

    const Timing& timing() const { return m_timing; }
    // A refresh the user asked for (refreshNow) is under way.
    bool isRefreshing() const { return m_userWaiting; }
    // Any refresh is under way.
    bool isRunning() const { return m_running; }
    bool isStale() const { return m_stale; }
    // When the task list last came from the service (a refresh or a load); absent before the first.
    const std::optional<QDateTime>& lastSuccess() const { return m_lastSuccess; }
    FeedState feedState() const { return m_feedState; }
    // The next timed refresh is scheduled.
    bool isPolling() const;
    bool isWindowVisible() const { return m_visible; }

public Q_SLOTS:
    // F5, Ctrl+R, the refresh button and "Повторить": refresh now, and open a feed that is waiting to
    // be opened again.
    void refreshNow();
    void setWindowActive(bool active);
    // Visible: shown and not minimised. Polling runs only while the window is visible.
    void setWindowVisible(bool visible);

Q_SIGNALS:
    void refreshingChanged();
    void runningChanged();
    void staleChanged();
    void feedStateChanged();
    // A background refresh succeeded: the task list and folders are the service's as of now.
    void refreshed();

private:
    enum class Reason { feedOpened, feedChange, activated, timer, user };

    std::chrono::milliseconds sinceThen(const QDateTime& then) const;
    void request(Reason reason);
    QCoro::Task<void> run();
    void finished(AppState::BackgroundRefresh result);
    void succeeded();
    // Starts the timed refresh when one is wanted and none is scheduled (or anew when `restart`).
    void schedulePoll(bool restart = false);
    void sessionChanged();
    void openFeed();
    void feedOpened();
    void feedChanged(const FeedChange& change);
    void feedEnded(ChangeFeed::Ending ending);
    void setFeedState(FeedState state);
    void setStale(bool stale);
    void setRunning(bool running);
    void setUserWaiting(bool waiting);

    AppState& m_state;
    ChangeFeed* m_feed;
    const Clock& m_clock;
    Timing m_timing;
    std::unique_ptr<OneShotTimer> m_poll;
    std::unique_ptr<OneShotTimer> m_reconnect;
    std::unique_ptr<OneShotTimer> m_staleTimer;

    bool m_running = false;
    bool m_again = false;
    bool m_userWaiting = false;
    bool m_visible = false;
    std::optional<QDateTime> m_inactiveSince;
    int m_failures = 0;
    std::optional<QDateTime> m_failingSince;
    bool m_stale = false;
    std::optional<QDateTime> m_lastSuccess;
    FeedState m_feedState = FeedState::off;
    int m_feedAttempts = 0;
    std::optional<QDateTime> m_feedOpenedAt;
    std::optional<QString> m_feedToken;
};
