#include "ContentView.h"

#include "AppState.h"
#include "LoginView.h"
#include "MainView.h"
#include "WindowShortcuts.h"

ContentView::ContentView(AppState& state, Theme& theme, QWidget* parent)
    : QStackedWidget(parent)
    , m_state(state) {
    setObjectName(QStringLiteral("vexoRoot"));
    setAttribute(Qt::WA_StyledBackground);
    m_login = new LoginView(
        theme, [&state](QString key) { return state.login(std::move(key)); }, this);
    m_main = new MainView(state, theme, this);
    addWidget(m_login);
    addWidget(m_main);
    new WindowShortcuts(state, this);
    connect(&m_state, &AppState::isLoggedInChanged, this, &ContentView::follow);
    follow();
}

void ContentView::follow() {
    if (m_state.isLoggedIn()) {
        setCurrentWidget(m_main);
        setMinimumSize(760, 520);
    } else {
        setCurrentWidget(m_login);
        setMinimumSize(460, 560);
    }
}

void ContentView::showEvent(QShowEvent* event) {
    QStackedWidget::showEvent(event);
    if (m_loadedOnce)
        return;
    m_loadedOnce = true;
    (void)m_state.loadAll();
}
