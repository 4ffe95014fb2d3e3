#include "ContentView.h"

#include "AppState.h"
#include "LoginView.h"
#include "MainView.h"
#include "WindowShortcuts.h"

#include <QApplication>
#include <QTimer>

ContentView::ContentView(AppState& state, Theme& theme, QWidget* parent, Pages pages)
    : QStackedWidget(parent)
    , m_state(state)
    , m_theme(theme) {
    setObjectName(QStringLiteral("vexoRoot"));
    setAttribute(Qt::WA_StyledBackground);
    new WindowShortcuts(state, this);
    connect(&m_state, &AppState::isLoggedInChanged, this, [this] {
        if (m_following)
            follow();
        else
            fitMinimumSize();
    });
    fitMinimumSize();
    if (pages == Pages::now) {
        mainView();
        startFollowing();
    }
}

LoginView* ContentView::loginView() {
    if (!m_login) {
        m_login = new LoginView(
            m_theme, [this](QString key) { return m_state.login(std::move(key)); }, this);
        insertWidget(0, m_login);
    }
    return m_login;
}

MainView* ContentView::mainView() {
    if (!m_main) {
        m_main = new MainView(m_state, m_theme, this);
        addWidget(m_main);
        Q_EMIT mainViewMade(m_main);
        // Wired now (its sheet factories among it), it can open what was asked for before it was made.
        if (m_following)
            m_main->syncSheets();
    }
    return m_main;
}

bool ContentView::event(QEvent* event) {
    const bool handled = QStackedWidget::event(event);
    // The empty frame is on screen: the pages come next, after whatever else the frame set off.
    if (!m_following && event->type() == QEvent::Paint)
        QTimer::singleShot(0, this, &ContentView::startFollowing);
    return handled;
}

void ContentView::startFollowing() {
    if (m_following)
        return;
    m_following = true;
    follow();
    if (m_main)
        m_main->syncSheets();
    // Pages that come after the window was activated get no focus from the activation.
    if (isActiveWindow() && !QApplication::focusWidget())
        focusNextPrevChild(true);
}

void ContentView::follow() {
    setCurrentWidget(m_state.isLoggedIn() ? static_cast<QWidget*>(mainView()) : loginView());
    fitMinimumSize();
}

void ContentView::fitMinimumSize() {
    if (m_state.isLoggedIn())
        setMinimumSize(760, 520);
    else
        setMinimumSize(460, 560);
}

void ContentView::showEvent(QShowEvent* event) {
    QStackedWidget::showEvent(event);
    if (m_loadedOnce)
        return;
    m_loadedOnce = true;
    (void)m_state.loadAll();
}
