#include "Vexo_TasksApp.h"

#include "APIService.h"
#include "AppState.h"
#include "ContentView.h"
#include "SettingsStore.h"
#include "Theme.h"

#include <QNetworkAccessManager>

Vexo_TasksApp::Vexo_TasksApp(const QString& base)
    : m_network(std::make_unique<QNetworkAccessManager>())
    , m_store(std::make_unique<SettingsStore>())
    , m_clock(std::make_unique<SystemClock>())
    , m_api(std::make_unique<APIService>(base, *m_network, *m_store))
    , m_state(std::make_unique<AppState>(*m_api, *m_store, *m_clock))
    , m_theme(std::make_unique<Theme>(*m_store)) {
    m_theme->apply();
    m_window = std::make_unique<ContentView>(*m_state, *m_theme);
    m_window->setWindowTitle(QStringLiteral("Vexo Tasks"));
    m_window->resize(1100, 720);
}

Vexo_TasksApp::~Vexo_TasksApp() {
    // The window first, then whatever is still on the wire, while the state can still take the news.
    m_window.reset();
    m_api->abortPending();
}
