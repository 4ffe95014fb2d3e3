#pragma once

#include <QString>

#include <memory>

class AppState;
class APIService;
class ChangeFeed;
class ContentView;
class EventLoopTimers;
class LiveRefresh;
class QNetworkAccessManager;
class SettingsStore;
class SystemClock;
class Theme;

// The application entry: the one network manager, store, service client, state and theme, wired
// together, and the main window over them.
class Vexo_TasksApp final {
public:
    explicit Vexo_TasksApp(const QString& base);
    ~Vexo_TasksApp();

    ContentView& window() { return *m_window; }
    AppState& state() { return *m_state; }
    Theme& theme() { return *m_theme; }
    LiveRefresh& live() { return *m_live; }

private:
    std::unique_ptr<QNetworkAccessManager> m_network;
    std::unique_ptr<SettingsStore> m_store;
    std::unique_ptr<SystemClock> m_clock;
    std::unique_ptr<APIService> m_api;
    std::unique_ptr<AppState> m_state;
    std::unique_ptr<ChangeFeed> m_feed;
    std::unique_ptr<EventLoopTimers> m_timers;
    std::unique_ptr<LiveRefresh> m_live;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<ContentView> m_window;
};
