#include "Vexo_TasksApp.h"

#include "APIService.h"
#include "AppState.h"
#include "ChangeFeed.h"
#include "ContentView.h"
#include "LiveRefresh.h"
#include "MainView.h"
#include "SettingsStore.h"
#include "Theme.h"
#include "WindowPresence.h"

#include <QNetworkAccessManager>

Vexo_TasksApp::Vexo_TasksApp(const QString& base)
    : m_network(std::make_unique<QNetworkAccessManager>())
    , m_store(std::make_unique<SettingsStore>())
    , m_clock(std::make_unique<SystemClock>())
    , m_api(std::make_unique<APIService>(base, *m_network, *m_store))
    , m_state(std::make_unique<AppState>(*m_api, *m_store, *m_clock))
    , m_feed(std::make_unique<ChangeFeed>(base, *m_network))
    , m_timers(std::make_unique<EventLoopTimers>())
    , m_live(std::make_unique<LiveRefresh>(*m_state, m_feed.get(), *m_timers, *m_clock))
    , m_theme(std::make_unique<Theme>(*m_store)) {
    m_theme->apply();
    m_window = std::make_unique<ContentView>(*m_state, *m_theme);
    m_window->mainView()->setLiveRefresh(*m_live);
    new WindowPresence(*m_window, *m_live);
    m_window->setWindowTitle(QStringLiteral("Vexo Tasks"));
    m_window->resize(1100, 720);
}

Vexo_TasksApp::~Vexo_TasksApp() {
    // The window first, then whatever is still on the wire, while the state can still take the news.
    m_window.reset();
    m_api->abortPending();
}
