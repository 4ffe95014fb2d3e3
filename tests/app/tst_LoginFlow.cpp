#include "APIError.h"
#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "ContentView.h"
#include "LocalService.h"
#include "LoginView.h"
#include "MainView.h"
#include "MemoryStore.h"
#include "SidebarView.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QCoroTimer>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

// The window from the login screen to the main view and back, against the local service.
class tst_LoginFlow final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<ContentView> m_window;

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>();
        m_client = std::make_unique<ClientRig>(m_service->baseUrl(), m_service->clock());
        m_theme = std::make_unique<Theme>(m_client->store);
        m_window = std::make_unique<ContentView>(m_client->state, *m_theme);
        m_window->resize(1000, 700);
        m_window->show();
    }

    void cleanup() {
        m_window.reset();
        m_client.reset();
    }

    // A window that waits for its first frame is painted empty, in the theme's colour, and the page
    // for the session follows by itself, with the keyboard in it; the main view is made only when
    // someone signs in.
    void pagesComeAfterTheFirstFrame() {
        m_window.reset();
        ContentView window(m_client->state, *m_theme, nullptr, ContentView::Pages::afterFirstFrame);
        QSignalSpy made(&window, &ContentView::mainViewMade);
        QCOMPARE(window.count(), 0);
        window.resize(1000, 700);
        window.show();
        window.activateWindow();
        QVERIFY(!window.hasPages());
        QTRY_VERIFY(window.hasPages());
        QCOMPARE(window.currentWidget(), window.loginView());
        QTRY_VERIFY(window.loginView()->keyField()->hasFocus());
        QCOMPARE(made.size(), 0);

        vexo::test::await(m_client->state.login(m_service->addUser(u"9"_s)));
        QCOMPARE(made.size(), 1);
        QCOMPARE(window.currentWidget(), window.mainView());
    }

    void refusedKeyShowsTheServicesWords() {
        LoginView* login = m_window->loginView();
        QCOMPARE(m_window->currentWidget(), login);
        QTest::keyClicks(login->keyField(), u"vexo-tasks-wrong"_s);
        QTest::mouseClick(login->loginButton(), Qt::LeftButton);
        QCOMPARE(login->loginButton()->text(), u"Проверка..."_s);
        QTRY_COMPARE(login->errorText(), u"Неверный ключ"_s);
        QCOMPARE(login->keyField()->text(), u"vexo-tasks-wrong"_s);
        QCOMPARE(login->loginButton()->text(), u"Войти"_s);
        QCOMPARE(m_window->currentWidget(), login);
    }

    void unreachableServiceSaysSo() {
        ClientRig nowhere(u"http://127.0.0.1:1"_s, m_service->clock());
        ContentView window(nowhere.state, *m_theme);
        window.show();
        QTest::keyClicks(window.loginView()->keyField(), u"vexo-tasks-x"_s);
        QTest::keyClick(window.loginView()->keyField(), Qt::Key_Return);
        QTRY_VERIFY(!window.loginView()->errorText().isEmpty());
    }

    void goodKeyWithSpacesSwapsToTheMainView() {
        const QString key = m_service->addUser(u"9"_s, false, u"Лев"_s);
        LoginView* login = m_window->loginView();
        login->keyField()->setText(u"  \t"_s + key + u"  "_s);
        QTest::keyClick(login->keyField(), Qt::Key_Return);
        QTRY_COMPARE(m_window->currentWidget(), m_window->mainView());
        QCOMPARE(m_client->state.currentUser()->firstName, std::optional<QString>(u"Лев"_s));
        QCOMPARE(m_client->store.text(u"vexo_token"_s), m_client->state.token());

        m_client->state.logout();
        QCOMPARE(m_window->currentWidget(), login);
    }

    // Every time the screen appears it starts clean: an empty field, no error, not checking.
    void theScreenStartsCleanEveryTime() {
        LoginView* login = m_window->loginView();
        QTest::keyClicks(login->keyField(), u"vexo-tasks-wrong"_s);
        QTest::keyClick(login->keyField(), Qt::Key_Return);
        QTRY_COMPARE(login->errorText(), u"Неверный ключ"_s);

        const QString key = m_service->addUser(u"9"_s);
        login->keyField()->setText(key);
        QTest::keyClick(login->keyField(), Qt::Key_Return);
        QTRY_COMPARE(m_window->currentWidget(), m_window->mainView());
        QTest::mouseClick(m_window->mainView()->sidebar()->logoutButton(), Qt::LeftButton);
        QCOMPARE(m_window->currentWidget(), login);
        QCOMPARE(login->keyField()->text(), QString());
        QCOMPARE(login->errorText(), QString());
        QVERIFY(!login->isLoading());
        QCOMPARE(login->loginButton()->text(), u"Войти"_s);
        QVERIFY(login->loginButton()->isEnabled());

        // A key typed now is that key alone.
        QTest::keyClicks(login->keyField(), u"vexo-tasks-next"_s);
        QCOMPARE(login->keyField()->text(), u"vexo-tasks-next"_s);
    }

    // A check still running when the screen goes away does not come back to haunt the next visit.
    void aCheckFromTheLastVisitLeavesNoTrace() {
        bool release = false;
        LoginView login(*m_theme, [&](QString) -> QCoro::Task<void> {
            while (!release)
                co_await QCoro::sleepFor(std::chrono::milliseconds(10));
            throw APIError::httpError(401, u"Неверный ключ"_s);
        });
        login.show();
        login.keyField()->setText(u"vexo-tasks-a"_s);
        login.submit();
        QVERIFY(login.isLoading());
        login.hide();
        login.show();
        QVERIFY(!login.isLoading());
        QCOMPARE(login.keyField()->text(), QString());
        release = true;
        QTest::qWait(100);
        QCOMPARE(login.errorText(), QString());
        QVERIFY(!login.isLoading());
    }

    void sheetsOpenAsWindowModalDialogsThatEscCloses() {
        vexo::test::await(m_client->state.login(m_service->addUser(u"9"_s)));
        MainView* main = m_window->mainView();
        main->setSheetFactory(MainView::Sheet::createTask,
                              [](QDialog* dialog) { return new QLabel(u"мастер"_s, dialog); });
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QTest::keyClick(m_window.get(), Qt::Key_N);
        QTRY_VERIFY(m_client->state.showCreateTask()); // a button's shortcut clicks it after its press animation
        QDialog* sheet = main->openSheet(MainView::Sheet::createTask);
        QVERIFY(sheet);
        QCOMPARE(sheet->windowModality(), Qt::WindowModal);
        QTest::keyClick(sheet, Qt::Key_Escape);
        QTRY_VERIFY(!m_client->state.showCreateTask());
        QVERIFY(!main->openSheet(MainView::Sheet::createTask));

        // Closing from the state closes the window too.
        m_client->state.setShowCreateTask(true);
        QVERIFY(main->openSheet(MainView::Sheet::createTask));
        m_client->state.setShowCreateTask(false);
        QVERIFY(!main->openSheet(MainView::Sheet::createTask));
    }
};

VEXO_WIDGET_TEST_MAIN(tst_LoginFlow)
#include "tst_LoginFlow.moc"
