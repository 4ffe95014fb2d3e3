#include "LiveRefresh.h"

#include "Clock.h"
#include "StateLog.h"

#include <QPointer>

#include <algorithm>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

// first, 2 × first, 4 × first… but never more than `most`.
milliseconds doubling(milliseconds first, int times, milliseconds most) {
    milliseconds delay = first;
    for (int i = 0; i < times && delay < most; ++i)
        delay *= 2;
    return std::min(delay, most);
}

} // namespace

LiveRefresh::LiveRefresh(AppState& state, ChangeFeed* feed, TimerSource& timers, const Clock& clock, QObject* parent)
    : LiveRefresh(state, feed, timers, clock, Timing(), parent) {}

LiveRefresh::LiveRefresh(AppState& state, ChangeFeed* feed, TimerSource& timers, const Clock& clock, Timing timing,
                         QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_feed(feed)
    , m_clock(clock)
    , m_timing(timing)
    , m_poll(timers.oneShot([this] { request(Reason::timer); }))
    , m_reconnect(timers.oneShot([this] { openFeed(); }))
    , m_staleTimer(timers.oneShot([this] {
        if (m_failingSince)
            setStale(true);
    })) {
    connect(&m_state, &AppState::isLoggedInChanged, this, &LiveRefresh::sessionChanged);
    connect(&m_state, &AppState::tokenChanged, this, &LiveRefresh::sessionChanged);
    // A load the user started proves the service answers as well as a refresh does.
    connect(&m_state, &AppState::tasksLoaded, this, &LiveRefresh::succeeded);
    if (m_feed) {
        connect(m_feed, &ChangeFeed::opened, this, &LiveRefresh::feedOpened);
        connect(m_feed, &ChangeFeed::changed, this, &LiveRefresh::feedChanged);
        connect(m_feed, &ChangeFeed::ended, this, [this](ChangeFeed::Ending ending) { feedEnded(ending); });
    }
    sessionChanged();
}

LiveRefresh::~LiveRefresh() = default;

bool LiveRefresh::isPolling() const {
    return m_poll->isActive();
}

milliseconds LiveRefresh::sinceThen(const QDateTime& then) const {
    return milliseconds(then.msecsTo(m_clock.now()));
}

void LiveRefresh::refreshNow() {
    if (!m_state.isLoggedIn())
        return;
    setUserWaiting(true);
    if (m_feedState == FeedState::retrying)
        openFeed();
    request(Reason::user);
}

void LiveRefresh::setWindowActive(bool active) {
    if (!active) {
        if (!m_inactiveSince)
            m_inactiveSince = m_clock.now();
        return;
    }
    const bool wasAway = m_inactiveSince && sinceThen(*m_inactiveSince) >= m_timing.away;
    m_inactiveSince.reset();
    if (wasAway)
        request(Reason::activated);
}

void LiveRefresh::setWindowVisible(bool visible) {
    if (m_visible == visible)
        return;
    m_visible = visible;
    schedulePoll();
}

void LiveRefresh::request(Reason reason) {
    if (!m_state.isLoggedIn())
        return;
    qCDebug(lcState) << "refresh asked for, reason" << int(reason) << (m_running ? "(after the running one)" : "");
    if (m_running) {
        m_again = true;
        return;
    }
    // Detached: it finishes (and frees itself) on its own.
    (void)run();
}

QCoro::Task<void> LiveRefresh::run() {
    QPointer<LiveRefresh> self(this);
    QPointer<AppState> state(&m_state);
    setRunning(true);
    m_poll->stop();
    AppState::BackgroundRefresh result = AppState::BackgroundRefresh::skipped;
    do {
        m_again = false;
        result = co_await m_state.refreshInBackground();
        if (!self || !state)
            co_return;
        // A list changed by an operation meanwhile may hide changes made elsewhere: ask again.
        if (result == AppState::BackgroundRefresh::overtaken)
            m_again = true;
    } while (m_again && m_state.isLoggedIn());
    finished(result);
    setRunning(false);
    setUserWaiting(false);
    schedulePoll(true);
}

void LiveRefresh::finished(AppState::BackgroundRefresh result) {
    switch (result) {
    case AppState::BackgroundRefresh::changed:
    case AppState::BackgroundRefresh::unchanged:
        succeeded();
        Q_EMIT refreshed();
        break;
    case AppState::BackgroundRefresh::failed:
        ++m_failures;
        if (!m_failingSince) {
            m_failingSince = m_clock.now();
            m_staleTimer->start(m_timing.staleAfter);
        }
        break;
    case AppState::BackgroundRefresh::superseded:
    case AppState::BackgroundRefresh::overtaken:
    case AppState::BackgroundRefresh::skipped:
        break;
    }
}

void LiveRefresh::succeeded() {
    m_failures = 0;
    m_failingSince.reset();
    m_staleTimer->stop();
    m_lastSuccess = m_clock.now();
    setStale(false);
}

void LiveRefresh::schedulePoll(bool restart) {
    const bool wanted =
        m_state.isLoggedIn() && m_visible && !m_running && (m_feedState != FeedState::open || m_failures > 0);
    if (!wanted) {
        m_poll->stop();
        return;
    }
    if (m_poll->isActive() && !restart)
        return;
    m_poll->start(m_failures == 0 ? m_timing.poll : doubling(m_timing.poll, m_failures - 1, m_timing.pollMost));
}

void LiveRefresh::sessionChanged() {
    if (!m_state.isLoggedIn()) {
        if (m_feed)
            m_feed->close();
        m_reconnect->stop();
        m_poll->stop();
        m_staleTimer->stop();
        m_failures = 0;
        m_failingSince.reset();
        m_lastSuccess.reset();
        m_feedAttempts = 0;
        m_feedOpenedAt.reset();
        m_feedToken.reset();
        setStale(false);
        setFeedState(FeedState::off);
        return;
    }
    if (m_feedToken != m_state.token()) {
        // Another session: its own feed, from the start.
        m_feedToken = m_state.token();
        if (m_feed)
            m_feed->close();
        m_reconnect->stop();
        m_feedAttempts = 0;
        m_feedOpenedAt.reset();
        openFeed();
    }
    schedulePoll();
}

void LiveRefresh::openFeed() {
    m_reconnect->stop();
    if (!m_feed || !m_state.isLoggedIn()) {
        setFeedState(FeedState::off);
        return;
    }
    if (m_feed->isOpen() || m_feed->isOpening())
        return;
    setFeedState(FeedState::connecting);
    m_feed->open(m_state.token().value_or(QString()));
}

void LiveRefresh::feedOpened() {
    m_feedOpenedAt = m_clock.now();
    setFeedState(FeedState::open);
    schedulePoll();
    request(Reason::feedOpened);
}

void LiveRefresh::feedChanged(const FeedChange& change) {
    // Settings are not shown by the lists, and the settings screen keeps what the user set.
    if (change.kind == u"settings"_s)
        return;
    request(Reason::feedChange);
}

void LiveRefresh::feedEnded(ChangeFeed::Ending ending) {
    if (!m_state.isLoggedIn())
        return;
    if (m_feedOpenedAt && sinceThen(*m_feedOpenedAt) >= m_timing.feedSteady)
        m_feedAttempts = 0;
    m_feedOpenedAt.reset();
    milliseconds delay;
    switch (ending) {
    case ChangeFeed::Ending::unavailable:
        delay = doubling(m_timing.feedRetryFirst, m_feedAttempts++, m_timing.feedUnavailableRetry);
        setFeedState(FeedState::unavailable);
        break;
    case ChangeFeed::Ending::refused:
        delay = std::max(doubling(m_timing.feedRetryFirst, m_feedAttempts++, m_timing.feedRetryMost),
                         m_timing.feedRefusedRetry);
        setFeedState(FeedState::retrying);
        break;
    case ChangeFeed::Ending::dropped:
    case ChangeFeed::Ending::unreachable:
        delay = doubling(m_timing.feedRetryFirst, m_feedAttempts++, m_timing.feedRetryMost);
        setFeedState(FeedState::retrying);
        break;
    }
    m_reconnect->start(delay);
    schedulePoll();
}

void LiveRefresh::setFeedState(FeedState state) {
    if (m_feedState == state)
        return;
    m_feedState = state;
    qCInfo(lcState) << "change feed:" << state;
    Q_EMIT feedStateChanged();
}

void LiveRefresh::setStale(bool stale) {
    if (m_stale == stale)
        return;
    m_stale = stale;
    Q_EMIT staleChanged();
}

void LiveRefresh::setRunning(bool running) {
    if (m_running == running)
        return;
    m_running = running;
    Q_EMIT runningChanged();
}

void LiveRefresh::setUserWaiting(bool waiting) {
    if (m_userWaiting == waiting)
        return;
    m_userWaiting = waiting;
    Q_EMIT refreshingChanged();
}
