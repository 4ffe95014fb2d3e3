#include "AppState.h"
#include "Await.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

const QByteArray taskJson =
    R"({"id":1,"title":"Старая","priority":"low","status":"pending","created_at":"2025-03-01"})";
const QByteArray otherJson = R"({"id":2,"title":"Другая","priority":"high","status":"done","created_at":"2025-03-01"})";

} // namespace

// Every failure ends in exactly one toast and leaves the rest of the state as it was.
class tst_AppStateFailures final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    QNetworkAccessManager m_network;
    MemoryStore m_store;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<APIService> m_api;
    std::unique_ptr<AppState> m_state;

    // A signed-in state holding two tasks (one selected) and one folder.
    void prepare() {
        m_store.setText(u"vexo_token"_s, u"t"_s);
        m_api = std::make_unique<APIService>(m_server.baseUrl(), m_network, m_store);
        m_state = std::make_unique<AppState>(*m_api, m_store, m_clock);
        m_server.enqueue(ScriptedReply::json(200, "{\"tasks\":[" + taskJson + "," + otherJson + "]}"));
        m_server.enqueue(ScriptedReply::json(200, "{\"folders\":[{\"id\":5,\"name\":\"F\",\"color\":\"#000000\"}]}"));
        m_server.enqueue(ScriptedReply::json(200, R"({"auto_send_bot":false})"));
        await(m_state->loadAll());
        m_state->setSelectedTask(m_state->tasks().first());
        m_state->showToast(std::nullopt);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_server.clearRequests();
        prepare();
        QCOMPARE(m_state->tasks().size(), 2);
        QCOMPARE(m_state->folders().size(), 1);
    }

    void failures_data() {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("toast");
        QTest::newRow("update") << u"update"_s << 400 << u"Ошибка обновления: Плохое название"_s;
        QTest::newRow("toggle") << u"toggle"_s << 500 << u"Ошибка обновления: Плохое название"_s;
        QTest::newRow("archive") << u"archive"_s << 404 << u"Ошибка архивации"_s;
        QTest::newRow("delete") << u"delete"_s << 500 << u"Ошибка удаления"_s;
        QTest::newRow("send") << u"send"_s << 502 << u"Ошибка отправки: Плохое название"_s;
        QTest::newRow("create") << u"create"_s << 400 << u"Ошибка: Плохое название"_s;
        QTest::newRow("load tasks") << u"load"_s << 401 << u"Плохое название"_s;
        QTest::newRow("create folder") << u"createFolder"_s << 400 << u"Ошибка: Плохое название"_s;
        QTest::newRow("update folder") << u"updateFolder"_s << 400 << u"Ошибка обновления папки"_s;
        QTest::newRow("delete folder") << u"deleteFolder"_s << 500 << u"Ошибка удаления папки"_s;
        QTest::newRow("save settings") << u"saveSettings"_s << 500 << u"Ошибка сохранения настроек"_s;
        QTest::newRow("load stats") << u"loadStats"_s << 500 << u"Ошибка загрузки статистики"_s;
        QTest::newRow("regenerate key") << u"regenerate"_s << 500 << u"Ошибка обновления ключа"_s;
    }

    void failures() {
        QFETCH(QString, operation);
        QFETCH(int, status);
        QFETCH(QString, toast);
        const QList<VexoTask> tasks = m_state->tasks();
        const auto selected = m_state->selectedTask();
        const QList<Folder> folders = m_state->folders();
        m_server.enqueue(ScriptedReply::json(status, R"({"error":"Плохое название"})"));
        QSignalSpy toasts(m_state.get(), &AppState::toastMessageChanged);

        if (operation == u"update")
            await(m_state->updateTask(1, TaskUpdate{u"x"_s, {}, {}, {}, {}, {}}));
        else if (operation == u"toggle")
            await(m_state->toggleTask(tasks.first()));
        else if (operation == u"archive")
            await(m_state->archiveTask(1));
        else if (operation == u"delete")
            await(m_state->deleteTask(1));
        else if (operation == u"send")
            await(m_state->sendToBot(1));
        else if (operation == u"create")
            await(m_state->createTask(u"x"_s, TaskPriority::high, {}, {}));
        else if (operation == u"load")
            await(m_state->loadTasks());
        else if (operation == u"createFolder")
            await(m_state->createFolder(u"x"_s, u"#000000"_s));
        else if (operation == u"updateFolder")
            await(m_state->updateFolder(5, u"x"_s, u"#000000"_s));
        else if (operation == u"deleteFolder")
            await(m_state->deleteFolder(5));
        else if (operation == u"saveSettings") {
            m_state->setUserSettings(UserSettings{true});
            await(m_state->saveSettings());
            QCOMPARE(m_state->userSettings().autoSendBot, true); // no rollback
        } else if (operation == u"loadStats")
            await(m_state->loadStats());
        else if (operation == u"regenerate")
            await(m_state->regenerateApiKey());

        QCOMPARE(toasts.count(), 1);
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(toast));
        QCOMPARE(m_state->tasks(), tasks);
        QCOMPARE(m_state->selectedTask(), selected);
        QCOMPARE(m_state->folders(), folders);
        QVERIFY(!m_state->isLoadingTasks());
        QVERIFY(!m_state->statsData());
        QVERIFY(!m_state->apiKeyValue());
    }

    void transportErrorShowsItsRussianText() {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 closedPort = probe.serverPort();
        probe.close();
        APIService unreachable(u"http://127.0.0.1:%1"_s.arg(closedPort), m_network, m_store);
        AppState state(unreachable, m_store, m_clock);
        await(state.loadTasks());
        QCOMPARE(state.toastMessage(), std::optional<QString>(u"Сервер отклонил соединение"_s));
        await(state.updateTask(1, TaskUpdate{u"x"_s, {}, {}, {}, {}, {}}));
        QCOMPARE(state.toastMessage(), std::optional<QString>(u"Ошибка обновления: Сервер отклонил соединение"_s));
        await(state.deleteTask(1));
        QCOMPARE(state.toastMessage(), std::optional<QString>(u"Ошибка удаления"_s));
    }

    void silentLoadsStaySilent() {
        m_server.enqueue(ScriptedReply::json(500, "{}"));
        m_server.enqueue(ScriptedReply::json(500, "{}"));
        m_server.enqueue(ScriptedReply::json(500, "{}"));
        QSignalSpy toasts(m_state.get(), &AppState::toastMessageChanged);
        await(m_state->loadFolders());
        await(m_state->loadSettings());
        await(m_state->loadApiKey());
        QCOMPARE(toasts.count(), 0);
        QCOMPARE(m_state->folders().size(), 1);
    }

    void sameToastDoesNotNotifyAgain() {
        QSignalSpy toasts(m_state.get(), &AppState::toastMessageChanged);
        m_server.enqueue(ScriptedReply::json(500, "{}"));
        m_server.enqueue(ScriptedReply::json(500, "{}"));
        await(m_state->deleteTask(1));
        await(m_state->deleteTask(1));
        QCOMPARE(toasts.count(), 1);
        m_state->showToast(std::nullopt);
        QCOMPARE(toasts.count(), 2);
    }

    // An answer for an id no longer listed changes no element, but still the selected task and the toast.
    void answerForAnUnlistedTask() {
        VexoTask ghost = m_state->tasks().first();
        ghost.id = 99;
        m_state->setSelectedTask(ghost);
        const QList<VexoTask> before = m_state->tasks();
        m_server.enqueue(ScriptedReply::json(
            200, R"({"task":{"id":99,"title":"Призрак","priority":"low","status":"done","created_at":"2025-03-01"}})"));
        await(m_state->toggleTask(ghost));
        QCOMPARE(m_state->tasks(), before);
        QCOMPARE(m_state->selectedTask()->title, u"Призрак"_s);
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(u"Задача выполнена ✓"_s));
    }

    void toggleSendsTheOppositeStatus_data() {
        QTest::addColumn<int>("current");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<bool>("toast");
        QTest::newRow("pending") << int(TaskStatus::pending) << QByteArray("done") << true;
        QTest::newRow("cancelled") << int(TaskStatus::cancelled) << QByteArray("done") << true;
        QTest::newRow("done") << int(TaskStatus::done) << QByteArray("pending") << false;
    }

    void toggleSendsTheOppositeStatus() {
        QFETCH(int, current);
        QFETCH(QByteArray, sent);
        QFETCH(bool, toast);
        VexoTask task = m_state->tasks().first();
        task.status = TaskStatus(current);
        m_server.enqueue(ScriptedReply::json(200, "{\"task\":" + taskJson + "}"));
        await(m_state->toggleTask(task));
        QCOMPARE(m_server.lastRequest().jsonBody().value(u"status"_s).toString().toUtf8(), sent);
        QCOMPARE(m_state->toastMessage().has_value(), toast);
    }

    // Two loads racing: no cancelling, no ordering; the answer that arrives last is what stays.
    void lastAnswerToArriveWins() {
        ScriptedReply slow = ScriptedReply::json(200, "{\"tasks\":[" + taskJson + "]}");
        slow.delayMs = 300;
        m_server.enqueue(slow);
        m_server.enqueue(ScriptedReply::json(200, "{\"tasks\":[" + otherJson + "]}"));
        QCoro::Task<void> first = m_state->loadTasks();
        QCoro::Task<void> second = m_state->loadTasks();
        await(std::move(second));
        QCOMPARE(m_state->tasks().size(), 1);
        QCOMPARE(m_state->tasks().first().id, 2);
        await(std::move(first));
        QCOMPARE(m_state->tasks().first().id, 1);
        QVERIFY(!m_state->isLoadingTasks());
    }

    void loadAllRunsThreeRequestsAtOnce() {
        m_server.clearRequests();
        for (int i = 0; i < 3; ++i) {
            ScriptedReply reply = ScriptedReply::json(200, i == 0   ? "{\"tasks\":[]}"
                                                           : i == 1 ? "{\"folders\":[]}"
                                                                    : R"({"auto_send_bot":true})");
            reply.delayMs = 300;
            m_server.enqueue(reply);
        }
        QElapsedTimer clock;
        clock.start();
        await(m_state->loadAll());
        // One after another they would take 900 ms at least.
        QVERIFY2(clock.elapsed() < 800, "the three loads ran one after another");
        QCOMPARE(m_server.requests().size(), 3);
        QCOMPARE(m_server.requests()[0].target, QByteArray("/api/tasks?archived=false"));
        QCOMPARE(m_server.requests()[1].target, QByteArray("/api/folders"));
        QCOMPARE(m_server.requests()[2].target, QByteArray("/api/user/settings"));
        QVERIFY(m_state->userSettings().autoSendBot);
    }

    void sidebarSelectionBuildsTheRequest_data() {
        QTest::addColumn<int>("item");
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("all") << 0 << QByteArray("/api/tasks?archived=false");
        QTest::newRow("pending") << 1 << QByteArray("/api/tasks?archived=false&status=pending");
        QTest::newRow("done") << 2 << QByteArray("/api/tasks?archived=false&status=done");
        QTest::newRow("archive") << 3 << QByteArray("/api/tasks?archived=true");
        QTest::newRow("folder") << 4 << QByteArray("/api/tasks?archived=false&folderId=5");
        QTest::newRow("pending after folder") << 5 << QByteArray("/api/tasks?archived=false&status=pending");
    }

    void sidebarSelectionBuildsTheRequest() {
        QFETCH(int, item);
        QFETCH(QByteArray, target);
        m_server.setDefaultReply(ScriptedReply::json(200, "{\"tasks\":[]}"));
        const SidebarItem items[] = {SidebarItem::allTasks(), SidebarItem::pending(), SidebarItem::done(),
                                     SidebarItem::archived(), SidebarItem::folder(5)};
        if (item == 5) {
            m_state->selectSidebarItem(SidebarItem::folder(5));
            QTRY_VERIFY(!m_state->isLoadingTasks());
            m_state->selectSidebarItem(SidebarItem::pending());
        } else {
            m_state->selectSidebarItem(items[item]);
        }
        QVERIFY(!m_state->selectedTask());
        QTRY_VERIFY(!m_state->isLoadingTasks());
        QCOMPARE(m_server.lastRequest().target, target);
        m_server.setDefaultReply(ScriptedReply::json(200, "{}"));
    }
};

QTEST_GUILESS_MAIN(tst_AppStateFailures)
#include "tst_AppStateFailures.moc"
