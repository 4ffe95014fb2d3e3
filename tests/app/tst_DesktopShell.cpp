#include "AppIcon.h"
#include "AppState.h"
#include "Await.h"
#include "ContentView.h"
#include "DesktopPreferences.h"
#include "LocalService.h"
#include "LoginView.h"
#include "MainView.h"
#include "MemoryStore.h"
#include "ReminderScheduler.h"
#include "SettingsStore.h"
#include "SettingsView.h"
#include "SingleInstance.h"
#include "Switch.h"
#include "TaskDetailView.h"
#include "TrayIcon.h"
#include "Vexo_TasksApp.h"
#include "WidgetTest.h"

#include <QDialog>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using vexo::test::await;

// The client as it lives on the desktop, the whole application object against the local service:
// the key handed over by make run, reminders that open their task, later starts, the tray and the
// settings that govern them.
class tst_DesktopShell final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    QString m_key;
    std::unique_ptr<Vexo_TasksApp> m_app;

    void startApp(Vexo_TasksApp::Options options = {}) {
        m_app = std::make_unique<Vexo_TasksApp>(m_service->baseUrl(), options);
        m_app->show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_app->window()));
    }

    void signIn() {
        await(m_app->state().login(m_key));
        QVERIFY(m_app->state().isLoggedIn());
    }

    QTemporaryDir m_runtime;

private Q_SLOTS:
    void initTestCase() {
        // Whatever desktop the tests run on, its notification service and portal stay out of them.
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("XDG_RUNTIME_DIR", m_runtime.path().toLocal8Bit());
    }

    void init() {
        QFile::remove(QDir(qEnvironmentVariable("XDG_CONFIG_HOME")).filePath(u"vexo/vexo-tasks.ini"_s));
        m_service = std::make_unique<LocalService>();
        m_key = m_service->addUser(u"31"_s, false, u"Лиза"_s);
    }

    void cleanup() {
        m_app.reset();
        m_service.reset();
    }

    void theOfferedKeySignsInWithReturn() {
        startApp(Vexo_TasksApp::Options{m_key});
        LoginView* login = m_app->window().loginView();
        QCOMPARE(m_app->window().currentWidget(), login);
        QCOMPARE(login->keyField()->text(), m_key);
        QVERIFY(login->keyField()->hasFocus());
        QTest::keyClick(login->keyField(), Qt::Key_Return);
        QTRY_VERIFY(m_app->state().isLoggedIn());
        QTRY_COMPARE(m_app->window().currentWidget(), m_app->window().mainView());

        // Offered once: after signing out the field is empty as usual.
        m_app->state().logout();
        QCOMPARE(m_app->window().currentWidget(), login);
        QCOMPARE(login->keyField()->text(), QString());
    }

    void aKeyOfferedWhileTheLoginScreenIsUpLandsAtOnce() {
        startApp();
        LoginView* login = m_app->window().loginView();
        QCOMPARE(login->keyField()->text(), QString());
        login->offerKey(m_key);
        QCOMPARE(login->keyField()->text(), m_key);
        // What the user has typed is not overwritten.
        login->keyField()->setText(u"свой"_s);
        login->offerKey(m_key);
        QCOMPARE(login->keyField()->text(), u"свой"_s);
    }

    // They start once the task list is in, not beside it, and stop at once on logout.
    void remindersRunWhileSignedIn() {
        startApp();
        QVERIFY(!m_app->reminders().isActive());
        QSignalSpy loading(&m_app->state(), &AppState::isLoadingTasksChanged);
        signIn();
        // Well before the time they would start without the list.
        QTRY_VERIFY_WITH_TIMEOUT(m_app->reminders().isActive(), 3000);
        QVERIFY(!m_app->state().isLoadingTasks());
        QVERIFY(loading.size() >= 2);
        m_app->state().logout();
        QVERIFY(!m_app->reminders().isActive());
    }

    void aClickedReminderOpensItsTask() {
        startApp();
        signIn();
        const QString deadline = QDateTime::currentDateTimeUtc().addSecs(600).toString(Qt::ISODateWithMs);
        await(m_app->state().createTask(u"Напомни"_s, TaskPriority::high, std::nullopt, deadline));
        const qint64 id = m_app->state().tasks().first().id;
        // The reminders' own list follows the change shortly.
        QTRY_VERIFY_WITH_TIMEOUT(m_app->reminders().pendingTask(id), 10000);

        m_app->state().selectSidebarItem(SidebarItem::stats());
        m_app->window().hide();
        m_app->openTask(id);
        QVERIFY(m_app->window().isVisible());
        QCOMPARE(m_app->state().sidebarItem(), SidebarItem::allTasks());
        QVERIFY(m_app->state().selectedTask());
        QCOMPARE(m_app->state().selectedTask()->id, id);
        QTRY_COMPARE(m_app->window().mainView()->currentDetail(),
                     static_cast<QWidget*>(m_app->window().mainView()->taskDetail()));

        // A summary, or a task gone meanwhile, only brings the window up.
        m_app->state().setSelectedTask(std::nullopt);
        m_app->openTask(std::nullopt);
        m_app->openTask(id + 1000);
        QVERIFY(!m_app->state().selectedTask());
    }

    void aLaterStartShowsTheWindowOrANewTask() {
        startApp();
        m_app->window().hide();
        m_app->handleMessage(SingleInstance::activate);
        QVERIFY(m_app->window().isVisible());
        QVERIFY(!m_app->state().showCreateTask());
        // Not signed in: no sheet to open yet.
        m_app->handleMessage(SingleInstance::newTask);
        QVERIFY(!m_app->state().showCreateTask());
        signIn();
        m_app->handleMessage(SingleInstance::newTask);
        QVERIFY(m_app->state().showCreateTask());
        QTRY_VERIFY(m_app->window().mainView()->openSheet(MainView::Sheet::createTask));
    }

    // Started with --new-task and a saved session: the sheet opens once the window has its pages.
    void aStartForANewTaskOpensItsSheet() {
        {
            SettingsStore store;
            store.setText(u"vexo_token"_s, QString::fromUtf8(m_service->signIn(u"31"_s)));
        }
        m_app = std::make_unique<Vexo_TasksApp>(m_service->baseUrl());
        QVERIFY(m_app->state().isLoggedIn());
        m_app->show(true);
        QVERIFY(m_app->state().showCreateTask());
        QTRY_VERIFY(m_app->window().hasPages());
        QTRY_VERIFY(m_app->window().mainView()->openSheet(MainView::Sheet::createTask));
    }

    void theTrayMenu() {
        startApp();
        signIn();
        QStringList texts;
        for (QAction* action : m_app->tray().menu()->actions()) {
            if (!action->isSeparator())
                texts << action->text();
        }
        QCOMPARE(texts, (QStringList{u"Открыть"_s, u"Новая задача"_s, u"Выйти"_s}));
        m_app->window().hide();
        m_app->tray().action(u"Открыть"_s)->trigger();
        QVERIFY(m_app->window().isVisible());
        m_app->tray().action(u"Новая задача"_s)->trigger();
        QVERIFY(m_app->state().showCreateTask());
    }

    void closingKeepsTheClientInTheTrayOnlyWhenChosen() {
        MemoryStore store;
        DesktopPreferences preferences(store);
        TrayIcon tray(AppIcon::icon(), true);
        QWidget window;
        tray.keepInTray(window, [&] { return preferences.closeToTray(); });
        window.show();
        QVERIFY(window.close());

        preferences.setCloseToTray(true);
        window.show();
        QVERIFY(!window.close());
        QVERIFY(!window.isVisible());

        QSignalSpy quit(&tray, &TrayIcon::quitRequested);
        tray.action(u"Выйти"_s)->trigger();
        QCOMPARE(quit.size(), 1);
        window.show();
        QVERIFY(window.close());

        // A desktop without a tray: closing is closing.
        TrayIcon none(AppIcon::icon(), false);
        QWidget other;
        none.keepInTray(other, [] { return true; });
        other.show();
        QVERIFY(other.close());
    }

    void theSettingsSheetEndsWithReminders() {
        startApp();
        signIn();
        m_app->state().setShowSettings(true);
        QDialog* sheet = m_app->window().mainView()->openSheet(MainView::Sheet::settings);
        QVERIFY(sheet);
        auto* settings = sheet->findChild<SettingsView*>();
        QVERIFY(settings);
        QVERIFY(QTest::qWaitForWindowExposed(sheet));
        // The sections in order, the new one last.
        QStringList headings;
        QList<QLabel*> labels = settings->findChildren<QLabel*>();
        std::sort(labels.begin(), labels.end(), [settings](QLabel* a, QLabel* b) {
            return a->mapTo(settings, QPoint()).y() < b->mapTo(settings, QPoint()).y();
        });
        for (QLabel* each : std::as_const(labels)) {
            if (QStringList{u"Оформление"_s, u"Отправлять в Telegram"_s, u"Горячие клавиши"_s, u"Напоминания"_s,
                            u"Сворачивать в трей"_s}
                    .contains(each->text()))
                headings << each->text();
        }
        QCOMPARE(headings, (QStringList{u"Оформление"_s, u"Отправлять в Telegram"_s, u"Горячие клавиши"_s,
                                        u"Напоминания"_s, u"Сворачивать в трей"_s}));
        QCOMPARE(settings->hotkeyRows().size(), SettingsView::hotkeys().size());
        const int hotkeysBottom = [&] {
            int bottom = 0;
            for (QLabel* each : std::as_const(labels)) {
                if (each->text() == SettingsView::hotkeys().last().first)
                    bottom = each->mapTo(settings, QPoint(0, each->height())).y();
            }
            return bottom;
        }();
        QVERIFY(settings->remindersSwitch()->mapTo(settings, QPoint()).y() > hotkeysBottom);

        // What is chosen is kept, locally.
        DesktopPreferences& preferences = m_app->preferences();
        QVERIFY(settings->remindersSwitch()->isChecked());
        QVERIFY(settings->leadButton(u"За 15 мин"_s)->isChecked());
        QTest::mouseClick(settings->leadButton(u"За 1 час"_s), Qt::LeftButton);
        QCOMPARE(preferences.leadMinutes(), 60);
        QVERIFY(settings->leadButton(u"За 1 час"_s)->isChecked());
        QVERIFY(!settings->leadButton(u"За 15 мин"_s)->isChecked());
        QTest::mouseClick(settings->leadButton(u"В срок"_s), Qt::LeftButton);
        QCOMPARE(preferences.leadMinutes(), 0);
        QTest::mouseClick(settings->remindersSwitch(), Qt::LeftButton);
        QVERIFY(!preferences.remindersEnabled());
        QVERIFY(!settings->leadButton(u"За 5 мин"_s)->isEnabled());
        QTest::mouseClick(settings->traySwitch(), Qt::LeftButton);
        QVERIFY(preferences.closeToTray());
        QStringList leads;
        for (const int minutes : DesktopPreferences::leadChoices())
            leads << SettingsView::leadLabel(minutes);
        QCOMPARE(leads, (QStringList{u"За 5 мин"_s, u"За 15 мин"_s, u"За 30 мин"_s, u"За 1 час"_s, u"В срок"_s}));

        sheet->close();
        m_app.reset();
        startApp();
        QVERIFY(!m_app->preferences().remindersEnabled());
        QCOMPARE(m_app->preferences().leadMinutes(), 0);
        QVERIFY(m_app->preferences().closeToTray());
    }

    void theWindowComesBackWhereItWas() {
        startApp();
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        const QRect placed(screen.left() + 20, screen.top() + 30, screen.width() - 60, screen.height() - 50);
        m_app->window().setGeometry(placed);
        QTRY_COMPARE(m_app->window().geometry(), placed);
        m_app->window().close();
        m_app.reset();
        startApp();
        QCOMPARE(m_app->window().geometry(), placed);
    }

    void theWindowCarriesTheIcon() {
        startApp();
        const QIcon icon = m_app->window().windowIcon();
        QVERIFY(!icon.isNull());
        for (const int size : {16, 32, 48, 256})
            QVERIFY2(icon.availableSizes().contains(QSize(size, size)), qPrintable(QString::number(size)));
        const QImage drawn = AppIcon::render(AppIcon::svgPath(), 64);
        QCOMPARE(drawn.size(), QSize(64, 64));
        // The accent tile, the white bolt, and the transparent corners.
        const QColor tile = drawn.pixelColor(12, 32);
        QVERIFY2(qAbs(tile.red() - 0xE9) < 24 && qAbs(tile.green() - 0x75) < 24 && qAbs(tile.blue() - 0x53) < 24,
                 qPrintable(tile.name()));
        QCOMPARE(drawn.pixelColor(34, 32), QColor(Qt::white));
        QCOMPARE(drawn.pixelColor(0, 0).alpha(), 0);
    }
};

VEXO_WIDGET_TEST_MAIN(tst_DesktopShell)
#include "tst_DesktopShell.moc"
