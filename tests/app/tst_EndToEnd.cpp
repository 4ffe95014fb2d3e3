#include "APIKeyView.h"
#include "AppState.h"
#include "Await.h"
#include "ContentView.h"
#include "CreateTaskView.h"
#include "EditTaskView.h"
#include "FolderEditView.h"
#include "LocalService.h"
#include "LoginView.h"
#include "MainView.h"
#include "MemoryStore.h"
#include "SidebarView.h"
#include "StatsView.h"
#include "TaskDetailView.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QDialog>
#include <QLineEdit>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QPushButton>

using namespace Qt::StringLiterals;

// A whole day with the real client against the real local service, through the widgets.
class tst_EndToEnd final : public QObject {
    Q_OBJECT

private:
    static void trigger(QMenu* menu, const QString& text) {
        for (QAction* action : menu->actions()) {
            if (action->text() == text) {
                action->trigger();
                return;
            }
        }
        QFAIL(qPrintable(u"no menu item "_s + text));
    }

private Q_SLOTS:
    void aDayOfUse() {
        LocalService service;
        const QString key = service.addUser(u"2024"_s, false, u"Вера"_s);
        QNetworkAccessManager network;
        MemoryStore store;
        APIService api(service.baseUrl(), network, store);
        SystemClock clock;
        AppState state(api, store, clock);
        Theme theme(store);
        ContentView window(state, theme);
        window.resize(1100, 760);
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        MainView* main = window.mainView();

        // Sign in.
        window.loginView()->keyField()->setText(key);
        QTest::keyClick(window.loginView()->keyField(), Qt::Key_Return);
        QTRY_COMPARE(window.currentWidget(), main);
        QCOMPARE(main->sidebar()->userName(), u"Вера"_s);

        // A folder, through its sheet.
        QTest::mouseClick(main->sidebar()->newFolderButton(), Qt::LeftButton);
        QDialog* sheet = main->openSheet(MainView::Sheet::newFolder);
        QVERIFY(sheet);
        auto* folderEditor = sheet->findChild<FolderEditView*>();
        folderEditor->nameField()->setText(u"Работа"_s);
        folderEditor->confirm();
        QTRY_COMPARE(state.folders().size(), 1);
        QTRY_COMPARE(main->sidebar()->folderButtons().size(), 1);
        const qint64 folderId = state.folders().first().id;
        QTest::mouseClick(main->sidebar()->folderButtons().first(), Qt::LeftButton);
        QTRY_VERIFY(!state.isLoadingTasks());
        QCOMPARE(main->taskList()->title(), u"Работа"_s);

        // Two tasks with the wizard, then into the folder.
        for (const QString& title : {u"Отчёт за март"_s, u"Созвон с командой"_s}) {
            window.activateWindow(); // a closed sheet hands activation back on a desktop
            QVERIFY(QTest::qWaitForWindowActive(&window));
            QTest::keyClick(&window, Qt::Key_N);
            QTRY_VERIFY(main->openSheet(MainView::Sheet::createTask));
            auto* wizard = main->openSheet(MainView::Sheet::createTask)->findChild<CreateTaskView*>();
            wizard->titleField()->setText(title);
            QTest::keyClick(wizard->titleField(), Qt::Key_Return);
            wizard->buttonNamed(u"Далее"_s)->click();
            wizard->buttonNamed(u"Завтра"_s)->click();
            wizard->buttonNamed(u"Создать задачу"_s)->click();
            QTRY_VERIFY(!main->openSheet(MainView::Sheet::createTask));
            QTRY_COMPARE(state.toastMessage(), std::optional<QString>(u"Задача создана"_s));
            state.showToast(std::nullopt);
            vexo::test::await(state.updateTask(state.tasks().first().id, TaskUpdate{{}, {}, {}, {}, {}, folderId}));
        }
        QCOMPARE(main->taskList()->model()->rowCount(), 2);
        QVERIFY(state.tasks().first().deadline.has_value());

        // Edit one through the row menu and the form.
        const VexoTask call = state.tasks().first();
        trigger(main->taskList()->contextMenuFor(call, main), u"Редактировать"_s);
        QTRY_VERIFY(main->openSheet(MainView::Sheet::editTask));
        auto* editor = main->openSheet(MainView::Sheet::editTask)->findChild<EditTaskView*>();
        editor->titleField()->setText(u"Созвон с командой в 11:00"_s);
        editor->save();
        QTRY_COMPARE(state.tasks().first().title, u"Созвон с командой в 11:00"_s);

        // Complete one from its page, send the other, archive the completed one.
        state.setSelectedTask(state.tasks().first());
        QCOMPARE(main->currentDetail(), main->taskDetail());
        main->taskDetail()->actionButton(u"Отметить выполненной"_s)->click();
        QTRY_COMPARE(state.tasks().first().status, TaskStatus::done);
        main->taskDetail()->actionButton(u"Архивировать"_s)->click();
        QTRY_COMPARE(state.tasks().size(), 1);
        QCOMPARE(main->currentDetail(), main->taskList());
        trigger(main->taskList()->contextMenuFor(state.tasks().first(), main), u"Отправить в Telegram"_s);
        QTRY_VERIFY(state.tasks().first().isSentToBot());
        QCOMPARE(service.storage().outbox().size(), 1);

        // Statistics.
        QTest::mouseClick(main->sidebar()->itemButton(u"Статистика"_s), Qt::LeftButton);
        QCOMPARE(main->currentDetail(), main->stats());
        QTRY_VERIFY(state.statsData().has_value());
        QCOMPARE(main->stats()->totalsTexts().first(), u"Всего создано|2|За неделю"_s);
        QCOMPARE(main->stats()->totalsTexts().last(), u"Выполнено задач|1|За неделю"_s);

        // A new key, and a task from outside with the example exactly as printed.
        QTest::mouseClick(main->sidebar()->itemButton(u"API ключ"_s), Qt::LeftButton);
        QTRY_VERIFY(main->openSheet(MainView::Sheet::apiKey));
        auto* keyView = main->openSheet(MainView::Sheet::apiKey)->findChild<APIKeyView*>();
        QTRY_VERIFY(state.apiKeyValue().has_value());
        const QString oldKey = *state.apiKeyValue();
        keyView->setConfirm([](QWidget*) { return true; });
        keyView->regenerate();
        QTRY_VERIFY(state.apiKeyValue() != std::optional<QString>(oldKey));
        const QString example = keyView->example();
        QVERIFY(example.contains(*state.apiKeyValue()));
        QProcess shell;
        shell.start(u"sh"_s, {u"-c"_s, example + u" --silent --show-error --fail"_s});
        QVERIFY(shell.waitForStarted());
        while (shell.state() != QProcess::NotRunning)
            QTest::qWait(20); // the service answers from this event loop
        QVERIFY2(shell.exitCode() == 0, shell.readAllStandardError().constData());
        main->openSheet(MainView::Sheet::apiKey)->close();

        // It appears after a reload.
        QTest::mouseClick(main->sidebar()->itemButton(u"Все задачи"_s), Qt::LeftButton);
        QTRY_VERIFY(!state.isLoadingTasks());
        QCOMPARE(state.tasks().first().title, u"Моя задача"_s);
        QCOMPARE(state.tasks().first().source, std::optional<QString>(u"api"_s));

        // Out and back in.
        QTest::mouseClick(main->sidebar()->logoutButton(), Qt::LeftButton);
        QCOMPARE(window.currentWidget(), window.loginView());
        QVERIFY(!store.text(u"vexo_token"_s));
        window.loginView()->keyField()->setText(key);
        QTest::keyClick(window.loginView()->keyField(), Qt::Key_Return);
        QTRY_COMPARE(window.currentWidget(), main);
        QTRY_COMPARE(state.tasks().size(), 2);
        QCOMPARE(state.folders().size(), 1);
    }
};

VEXO_WIDGET_TEST_MAIN(tst_EndToEnd)
#include "tst_EndToEnd.moc"
