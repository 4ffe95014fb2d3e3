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
    ContentView(AppState& state, Theme& theme, QWidget* parent = nullptr);

    LoginView* loginView() const { return m_login; }
    MainView* mainView() const { return m_main; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void follow();

    AppState& m_state;
    LoginView* m_login;
    MainView* m_main;
    bool m_loadedOnce = false;
};
