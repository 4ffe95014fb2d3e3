#include "Vexo_TasksApp.h"

#include "APIService.h"
#include "AppIcon.h"
#include "AppLog.h"
#include "AppState.h"
#include "ChangeFeed.h"
#include "ContentView.h"
#include "DesktopNotifier.h"
#include "DesktopPreferences.h"
#include "LiveRefresh.h"
#include "LoginView.h"
#include "MainView.h"
#include "PortalColorScheme.h"
#include "ReminderScheduler.h"
#include "SettingsStore.h"
#include "SettingsView.h"
#include "SingleInstance.h"
#include "Theme.h"
#include "TrayIcon.h"
#include "WindowPlacement.h"
#include "WindowPresence.h"

#include <QApplication>
#include <QDialog>
#include <QNetworkAccessManager>

using namespace Qt::StringLiterals;

namespace {

// How long the start waits for the desktop's colour scheme, so the first frame is already right.
constexpr int portalWaitMs = 300;
// Changes of the tasks on screen are followed by the reminders' own list this much later, once.
constexpr int followTasksMs = 2000;
// After a sign-in the reminders start with the task list, or this much later if it does not come.
constexpr int remindersWaitMs = 5000;
// The feed opens after the main view's first frame, or this much after the start at the latest.
constexpr int feedWaitMs = 500;

// The feed, held until the main view's first frame is painted.
std::unique_ptr<ChangeFeed> heldFeed(const QString& base, const QNetworkAccessManager& network) {
    auto feed = std::make_unique<ChangeFeed>(base, network);
    feed->hold();
    return feed;
}

} // namespace

Vexo_TasksApp::Vexo_TasksApp(const QString& base, const Options& options)
    : m_network(std::make_unique<QNetworkAccessManager>())
    , m_store(std::make_unique<SettingsStore>())
    , m_clock(std::make_unique<SystemClock>())
    , m_api(std::make_unique<APIService>(base, *m_network, *m_store))
    , m_state(std::make_unique<AppState>(*m_api, *m_store, *m_clock))
    , m_feed(heldFeed(base, *m_network))
    , m_timers(std::make_unique<EventLoopTimers>())
    , m_live(std::make_unique<LiveRefresh>(*m_state, m_feed.get(), *m_timers, *m_clock))
    , m_theme(std::make_unique<Theme>(*m_store))
    , m_preferences(std::make_unique<DesktopPreferences>(*m_store)) {
    const QDBusConnection bus = DesktopNotifier::sessionBusIfAny();
    m_portal = std::make_unique<PortalColorScheme>(bus);
    m_portal->readNow(portalWaitMs);
    m_theme->setDesktopScheme(m_portal->prefersDark());
    connect(m_portal.get(), &PortalColorScheme::changed, this,
            [this] { m_theme->setDesktopScheme(m_portal->prefersDark()); });
    m_theme->apply();

    m_window = std::make_unique<ContentView>(*m_state, *m_theme, nullptr, ContentView::Pages::afterFirstFrame);
    m_window->setWindowTitle(u"Vexo Tasks"_s);
    m_window->setWindowIcon(AppIcon::icon());
    new WindowPresence(*m_window, *m_live);
    m_placement = std::make_unique<WindowPlacement>(*m_store, *m_window, nullptr);
    connect(m_window.get(), &ContentView::mainViewMade, this, &Vexo_TasksApp::wireMainView);
    if (options.offeredKey)
        m_window->loginView()->offerKey(*options.offeredKey);

    m_tray = std::make_unique<TrayIcon>(AppIcon::icon());
    m_tray->keepInTray(*m_window, [this] { return m_preferences->closeToTray(); });
    connect(m_tray.get(), &TrayIcon::openRequested, this, [this] { show(); });
    connect(m_tray.get(), &TrayIcon::newTaskRequested, this, [this] { show(true); });
    connect(m_tray.get(), &TrayIcon::quitRequested, this, [this] {
        m_placement->save();
        QApplication::quit();
    });
    connect(m_tray.get(), &TrayIcon::messageClicked, this, &Vexo_TasksApp::openTask);

    m_notifier = std::make_unique<DesktopNotifier>(
        bus, [this](const Notification& notification) { m_tray->showMessage(notification); });
    connect(m_notifier.get(), &DesktopNotifier::activated, this, &Vexo_TasksApp::openTask);
    m_reminders = std::make_unique<ReminderScheduler>(*m_api, *m_store, *m_clock, *m_preferences, *m_notifier);
    // The reminders' first list waits for the one on screen: two large answers decoded at the same
    // time would double the memory a start takes.
    m_remindersWait.setSingleShot(true);
    m_remindersWait.setInterval(remindersWaitMs);
    connect(&m_remindersWait, &QTimer::timeout, this, [this] { m_reminders->setActive(m_state->isLoggedIn()); });
    connect(m_state.get(), &AppState::isLoadingTasksChanged, this, [this] {
        if (!m_state->isLoadingTasks() && m_remindersWait.isActive()) {
            m_remindersWait.stop();
            m_reminders->setActive(m_state->isLoggedIn());
        }
    });
    connect(m_state.get(), &AppState::isLoggedInChanged, this, &Vexo_TasksApp::followSession);
    // A task created, edited, done or archived here is seen by the reminders without waiting for their
    // next round; a burst of changes costs one fetch.
    m_followTasks.setSingleShot(true);
    m_followTasks.setInterval(followTasksMs);
    connect(&m_followTasks, &QTimer::timeout, m_reminders.get(), &ReminderScheduler::refresh);
    connect(m_state.get(), &AppState::tasksChanged, &m_followTasks, qOverload<>(&QTimer::start));
    // What the bot or another client changed reaches the reminders with the list.
    connect(m_live.get(), &LiveRefresh::refreshed, &m_followTasks, qOverload<>(&QTimer::start));
    followSession();

    // Nothing of the feed is needed for the first frames; a window that is not painted soon (never
    // shown, or hidden, or showing the login screen) does not keep it waiting.
    QTimer::singleShot(feedWaitMs, this, &Vexo_TasksApp::firstFrameDone);
}

void Vexo_TasksApp::wireMainView(MainView* view) {
    view->setLiveRefresh(*m_live);
    m_placement->followSplitter(view->splitter());
    view->setSheetFactory(MainView::Sheet::settings, [this](QDialog* dialog) {
        dialog->setWindowTitle(u"Настройки"_s);
        auto* settings = new SettingsView(
            *m_state, *m_theme, [dialog] { dialog->close(); }, dialog);
        settings->addRemindersSection(*m_preferences);
        return settings;
    });
    if (!m_firstFrameDone)
        view->installEventFilter(this);
}

void Vexo_TasksApp::followSession() {
    if (!m_state->isLoggedIn()) {
        m_remindersWait.stop();
        m_reminders->setActive(false);
    } else if (!m_reminders->isActive()) {
        m_remindersWait.start();
    }
}

bool Vexo_TasksApp::eventFilter(QObject* watched, QEvent* event) {
    // The main view's first frame: let go once the paint is done (the filter sees it before).
    if (event->type() == QEvent::Paint && qobject_cast<MainView*>(watched)) {
        watched->removeEventFilter(this);
        QTimer::singleShot(0, this, &Vexo_TasksApp::firstFrameDone);
    }
    return false;
}

void Vexo_TasksApp::firstFrameDone() {
    if (std::exchange(m_firstFrameDone, true))
        return;
    m_feed->letGo();
}

Vexo_TasksApp::~Vexo_TasksApp() {
    if (m_window->isVisible())
        m_placement->save();
    // The window first, then whatever is still on the wire, while the state can still take the news.
    m_placement.reset();
    m_window.reset();
    m_api->abortPending();
}

void Vexo_TasksApp::show(bool newTask) {
    m_window->show();
    if (m_window->isMinimized())
        m_window->setWindowState((m_window->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    m_window->raise();
    m_window->activateWindow();
    if (newTask && m_state->isLoggedIn())
        m_state->setShowCreateTask(true);
}

void Vexo_TasksApp::handleMessage(const QByteArray& message) {
    qCInfo(lcApp) << "a second start asked:" << message;
    show(message == SingleInstance::newTask);
}

void Vexo_TasksApp::openTask(std::optional<qint64> taskId) {
    show();
    if (!taskId || !m_state->isLoggedIn())
        return;
    std::optional<VexoTask> task = m_reminders->pendingTask(*taskId);
    for (const VexoTask& each : m_state->tasks()) {
        if (each.id == *taskId)
            task = each;
    }
    if (!task)
        return;
    // The statistics and administration pages have no room for a task: back to the list first.
    const SidebarItem::Kind kind = m_state->sidebarItem().kind();
    if (kind == SidebarItem::Kind::stats || kind == SidebarItem::Kind::admin)
        m_state->selectSidebarItem(SidebarItem::allTasks());
    m_state->setSelectedTask(task);
}
