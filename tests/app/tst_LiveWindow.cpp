#include "AdminView.h"
#include "AppState.h"
#include "Await.h"
#include "ChangeFeed.h"
#include "ClientRig.h"
#include "ContentView.h"
#include "EditTaskView.h"
#include "LiveRefresh.h"
#include "LocalService.h"
#include "MainView.h"
#include "ManualTimers.h"
#include "ScriptedServer.h"
#include "SettingsStore.h"
#include "StatsView.h"
#include "TaskDetailView.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "Theme.h"
#include "Vexo_TasksApp.h"
#include "WidgetTest.h"
#include "WindowPresence.h"

#include <QDialog>
#include <QLineEdit>
#include <QListView>
#include <QProcess>
#include <QSignalSpy>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using vexo::test::await;

namespace {

QByteArray task(int id, const QByteArray& title) {
    return "{\"id\":" + QByteArray::number(id) + ",\"title\":\"" + title +
           "\",\"priority\":\"medium\",\"status\":\"pending\",\"created_at\":\"2025-03-01\"}";
}

QByteArray tasks(const QList<QByteArray>& list) {
    return "{\"tasks\":[" + list.join(',') + "]}";
}

} // namespace

// The main window with the background refresh wired in as the application wires it: F5 and Ctrl+R,
// the statistics and the admin panel, an open sheet and an open task page while the list changes,
// the window's visibility and activity, and the whole application against the real service.
class tst_LiveWindow final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<ChangeFeed> m_feed;
    std::unique_ptr<ManualTimers> m_timers;
    std::unique_ptr<LiveRefresh> m_live;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<MainView> m_main;

    int asked(const QByteArray& prefix) const {
        int count = 0;
        for (const RecordedRequest& request : m_server.requests())
            count += request.target.startsWith(prefix) ? 1 : 0;
        return count;
    }

    void answerTasks(const QByteArray& body) { m_server.setReplyFor("/api/tasks", ScriptedReply::json(200, body)); }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_server.listen());
        QCoreApplication::setOrganizationName(u"vexo-live-test"_s);
        QCoreApplication::setApplicationName(u"vexo-tasks"_s);
    }

    void init() {
        m_server.clearReplies();
        m_server.clearRequests();
        m_server.setReplyFor("/api/events", ScriptedReply::json(404, R"({"error":"Not found"})"));
        m_server.setReplyFor("/api/folders", ScriptedReply::json(200, R"({"folders":[]})"));
        m_server.setReplyFor("/api/user/stats",
                             ScriptedReply::json(200, R"({"range":"week","totals":{"created":1,"completed":0},)"
                                                      R"("daily":{"created":[],"completed":[]},"priority":[]})"));
        m_server.setReplyFor("/api/admin/stats",
                             ScriptedReply::json(200, R"({"total_users":1,"total_tasks":2,"active_tasks":1,)"
                                                      R"("completed_tasks":1})"));
        m_server.setReplyFor("/api/admin/users", ScriptedReply::json(200, R"({"users":[]})"));
        answerTasks(tasks({task(1, "Первая"), task(2, "Вторая")}));
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_feed = std::make_unique<ChangeFeed>(m_server.baseUrl(), m_client->network);
        m_timers = std::make_unique<ManualTimers>(m_clock);
        m_live = std::make_unique<LiveRefresh>(m_client->state, m_feed.get(), *m_timers, m_clock);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_theme->apply();
        m_main = std::make_unique<MainView>(m_client->state, *m_theme);
        m_main->setLiveRefresh(*m_live);
        m_main->resize(1100, 720);
        m_main->show();
        m_main->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_main.get()));
        await(m_client->state.loadAll());
        QTRY_COMPARE(m_live->feedState(), LiveRefresh::FeedState::unavailable);
        m_server.clearRequests();
    }

    void cleanup() {
        m_main.reset();
        m_live.reset();
        m_feed.reset();
        m_timers.reset();
        m_client.reset();
    }

    void refreshKeysRefreshTheListQuietly_data() {
        QTest::addColumn<QKeyCombination>("keys");
        QTest::newRow("F5") << QKeyCombination(Qt::Key_F5);
        QTest::newRow("Ctrl+R") << QKeyCombination(Qt::CTRL | Qt::Key_R);
    }
    void refreshKeysRefreshTheListQuietly() {
        QFETCH(QKeyCombination, keys);
        QSignalSpy loading(&m_client->state, &AppState::isLoadingTasksChanged);
        answerTasks(tasks({task(3, "Третья"), task(1, "Первая"), task(2, "Вторая")}));
        QTest::keyClick(m_main.get(), keys.key(), keys.keyboardModifiers());
        QTRY_COMPARE(m_client->state.tasks().size(), 3);
        QCOMPARE(asked("/api/tasks"), 1);
        QCOMPARE(loading.size(), 0);
        QVERIFY(!m_client->state.toastMessage());
        QCOMPARE(m_main->currentDetail(), m_main->taskList());
    }

    void theStatisticsReloadWhenShownAndOnF5() {
        m_client->state.selectSidebarItem(SidebarItem::stats());
        QCOMPARE(m_main->currentDetail(), m_main->stats());
        QTRY_COMPARE(asked("/api/user/stats"), 1);
        QTest::keyClick(m_main.get(), Qt::Key_F5);
        QTRY_COMPARE(asked("/api/user/stats"), 2);
        m_client->state.selectSidebarItem(SidebarItem::allTasks());
        m_client->state.selectSidebarItem(SidebarItem::stats());
        QTRY_COMPARE(asked("/api/user/stats"), 3);
        QCOMPARE(asked("/api/admin/"), 0);
    }

    void theAdminPanelReloadsWhenShownAndOnF5() {
        m_client->state.selectSidebarItem(SidebarItem::admin());
        QCOMPARE(m_main->currentDetail(), m_main->admin());
        QTRY_COMPARE(asked("/api/admin/stats"), 1);
        QTRY_COMPARE(asked("/api/admin/users"), 1);
        QTRY_VERIFY(!m_main->admin()->isLoading());
        QTest::keyClick(m_main.get(), Qt::Key_F5);
        QTRY_COMPARE(asked("/api/admin/stats"), 2);
        QTRY_COMPARE(asked("/api/admin/users"), 2);
        QTRY_VERIFY(!m_main->admin()->isLoading());
        QCOMPARE(m_main->admin()->cardValues().value(1), u"2"_s);
        QCOMPARE(asked("/api/user/stats"), 0);
    }

    void anOpenEditSheetIsLeftAlone() {
        m_client->state.setEditingTask(m_client->state.tasks().first());
        m_client->state.setShowEditTask(true);
        QDialog* sheet = m_main->openSheet(MainView::Sheet::editTask);
        QVERIFY(sheet);
        auto* form = sheet->findChild<EditTaskView*>();
        QVERIFY(form);
        form->titleField()->setText(u"Первая, правлю"_s);
        const VexoTask editing = *m_client->state.editingTask();

        answerTasks(tasks({task(1, "Первая, изменённая в боте"), task(2, "Вторая")}));
        m_live->refreshNow();
        QTRY_VERIFY(!m_live->isRunning());
        QCOMPARE(m_client->state.tasks().first().title, u"Первая, изменённая в боте"_s);
        QCOMPARE(m_main->taskList()->model()->taskAt(0).title, u"Первая, изменённая в боте"_s);
        QCOMPARE(m_main->openSheet(MainView::Sheet::editTask), sheet);
        QVERIFY(sheet->isVisible());
        QCOMPARE(form->titleField()->text(), u"Первая, правлю"_s);
        QVERIFY(m_client->state.showEditTask());
        QCOMPARE(*m_client->state.editingTask(), editing);
    }

    void anOpenTaskPageShowsTheNewVersion() {
        m_client->state.setSelectedTask(m_client->state.tasks().at(1));
        QCOMPARE(m_main->currentDetail(), m_main->taskDetail());
        QCOMPARE(m_main->taskDetail()->titleText(), u"Вторая"_s);

        answerTasks(tasks({task(1, "Первая"), task(2, "Вторая, уже другая")}));
        m_live->refreshNow();
        QTRY_VERIFY(!m_live->isRunning());
        QCOMPARE(m_main->taskDetail()->titleText(), u"Вторая, уже другая"_s);
        QCOMPARE(m_client->state.selectedTask()->title, u"Вторая, уже другая"_s);

        // Deleted elsewhere: the page stays where it is.
        answerTasks(tasks({task(1, "Первая")}));
        m_live->refreshNow();
        QTRY_VERIFY(!m_live->isRunning());
        QCOMPARE(m_client->state.tasks().size(), 1);
        QCOMPARE(m_main->currentDetail(), m_main->taskDetail());
        QCOMPARE(m_main->taskDetail()->titleText(), u"Вторая, уже другая"_s);
    }

    void theWindowSaysWhenItIsVisibleAndInUse() {
        auto* presence = new WindowPresence(*m_main, *m_live);
        QCOMPARE(m_live->timing().away, 30s);
        QVERIFY(presence->parent() == m_main.get());
        QVERIFY(m_live->isWindowVisible());
        m_main->showMinimized();
        QTRY_VERIFY(!m_live->isWindowVisible());
        m_main->showNormal();
        QTRY_VERIFY(m_live->isWindowVisible());
        m_main->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_main.get()));

        // A sheet of its own in front of it is no time away.
        m_client->state.setEditingTask(m_client->state.tasks().first());
        m_client->state.setShowEditTask(true);
        QDialog* sheet = m_main->openSheet(MainView::Sheet::editTask);
        QVERIFY(QTest::qWaitForWindowActive(sheet));
        m_timers->advance(40s);
        m_server.clearRequests();
        sheet->close();
        m_main->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_main.get()));
        QTest::qWait(100);
        QCOMPARE(asked("/api/tasks"), 0);

        // Another window in use for half a minute (the test's own, standing for another
        // application): back, it refreshes.
        QWidget elsewhere;
        elsewhere.resize(200, 100);
        elsewhere.show();
        elsewhere.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&elsewhere));
        m_timers->advance(30s);
        m_server.clearRequests();
        m_main->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_main.get()));
        QTRY_COMPARE(asked("/api/tasks"), 1);

        m_main->hide();
        QVERIFY(!m_live->isWindowVisible());
    }

    // The application as it starts: with a saved session it opens the feed of the real service, and
    // a task added on the command line shows in the open window.
    void theApplicationFollowsTheService() {
        LocalService service;
        service.addUser(u"42"_s);
        {
            SettingsStore store;
            store.setText(u"vexo_token"_s, QString::fromUtf8(service.signIn(u"42"_s)));
        }
        Vexo_TasksApp vexo(service.baseUrl());
        vexo.window().show();
        QTRY_COMPARE(vexo.live().feedState(), LiveRefresh::FeedState::open);
        TaskListView* list = vexo.window().mainView()->taskList();
        QVERIFY(list->refreshButton());
        QVERIFY(list->staleNotice());
        QVERIFY(vexo.live().isWindowVisible());

        QProcess add;
        add.start(QStringLiteral(VEXO_SERVER_BINARY), {u"task"_s, u"add"_s, u"--telegram-id"_s, u"42"_s, u"--title"_s,
                                                       u"Из бота"_s, u"--data"_s, service.dataDir()});
        QVERIFY(add.waitForFinished(60'000));
        QCOMPARE(add.exitCode(), 0);
        QTRY_COMPARE(list->model()->rowCount(), 1);
        QCOMPARE(list->model()->taskAt(0).title, u"Из бота"_s);
        QCOMPARE(list->contentState(), u"list"_s);
        {
            SettingsStore store;
            store.remove(u"vexo_token"_s);
        }
    }
};

VEXO_WIDGET_TEST_MAIN(tst_LiveWindow)
#include "tst_LiveWindow.moc"
