#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>
#include <optional>

class AppState;
class APIService;
class ChangeFeed;
class ContentView;
class DesktopNotifier;
class DesktopPreferences;
class EventLoopTimers;
class LiveRefresh;
class MainView;
class PortalColorScheme;
class QNetworkAccessManager;
class ReminderScheduler;
class SettingsStore;
class SystemClock;
class Theme;
class TrayIcon;
class WindowPlacement;

// The application entry: the one network manager, store, service client, state and theme, wired
// together, the main window over them, and the client's life on the desktop: the window's place,
// the desktop's colour scheme, deadline reminders and the tray.
class Vexo_TasksApp final : public QObject {
    Q_OBJECT

public:
    struct Options {
        // A key to offer in the login field (make run's demo key).
        std::optional<QString> offeredKey;
    };

    explicit Vexo_TasksApp(const QString& base, const Options& options = {});
    ~Vexo_TasksApp() override;

    ContentView& window() { return *m_window; }
    AppState& state() { return *m_state; }
    Theme& theme() { return *m_theme; }
    LiveRefresh& live() { return *m_live; }
    DesktopPreferences& preferences() { return *m_preferences; }
    ReminderScheduler& reminders() { return *m_reminders; }
    TrayIcon& tray() { return *m_tray; }

    // Shows the window and, for a new task, opens its sheet when someone is signed in.
    void show(bool newTask = false);
    // What a later start of the client asked for (SingleInstance's messages).
    void handleMessage(const QByteArray& message);
    // Brings the window up and opens the task a reminder was about, if it is still pending.
    void openTask(std::optional<qint64> taskId);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void followSession();
    void wireMainView(MainView* view);
    void firstFrameDone();

    std::unique_ptr<QNetworkAccessManager> m_network;
    std::unique_ptr<SettingsStore> m_store;
    std::unique_ptr<SystemClock> m_clock;
    std::unique_ptr<APIService> m_api;
    std::unique_ptr<AppState> m_state;
    std::unique_ptr<ChangeFeed> m_feed;
    std::unique_ptr<EventLoopTimers> m_timers;
    std::unique_ptr<LiveRefresh> m_live;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<DesktopPreferences> m_preferences;
    std::unique_ptr<PortalColorScheme> m_portal;
    std::unique_ptr<TrayIcon> m_tray;
    std::unique_ptr<DesktopNotifier> m_notifier;
    std::unique_ptr<ReminderScheduler> m_reminders;
    std::unique_ptr<ContentView> m_window;
    std::unique_ptr<WindowPlacement> m_placement;
    QTimer m_followTasks;
    QTimer m_remindersWait;
    bool m_firstFrameDone = false;
};
