#pragma once

#include <QStackedWidget>

class AppState;
class LoginView;
class MainView;
class Theme;

// The window's root: the login screen while no one is signed in, the main view otherwise. Runs the
// start-up load once when it first appears.
class ContentView final : public QStackedWidget {
    Q_OBJECT

public:
    // When the pages are made: at once, or right after the window's first frame, so that a start
    // puts its window on screen as soon as a bare one would be, in the theme's colour, and fills it
    // in the next moment.
    enum class Pages { now, afterFirstFrame };

    ContentView(AppState& state, Theme& theme, QWidget* parent = nullptr, Pages pages = Pages::now);

    // Each made when first needed: a start with a saved session builds no login screen.
    LoginView* loginView();
    MainView* mainView();
    // Whether the pages follow the session yet (always, unless they wait for the first frame).
    bool hasPages() const { return m_following; }

Q_SIGNALS:
    // The main view was made; whatever it is wired to can be wired now.
    void mainViewMade(MainView* view);

protected:
    bool event(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void startFollowing();
    void follow();
    void fitMinimumSize();

    AppState& m_state;
    Theme& m_theme;
    LoginView* m_login = nullptr;
    MainView* m_main = nullptr;
    bool m_following = false;
    bool m_loadedOnce = false;
};
