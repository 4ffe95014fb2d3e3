#include "APIError.h"
#include "JsonValue.h"
#include "JsonWriter.h"
#include "StateRig.h"
#include "TransportError.h"

#include <QTcpServer>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

const QByteArray userJson = R"({"id":7,"telegram_id":"700","first_name":"Ольга","last_name":"Ким"})";
const QByteArray statsJson = R"({"range":"week","totals":{"created":1,"completed":0},)"
                             R"("daily":{"created":[],"completed":[]},"priority":[]})";

} // namespace

// The session: what a new state holds, what a start restores, what signing in and out change and in
// which order, and what they leave alone.
class tst_SessionRules final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;

    // A signed-in state where every property holds something other than its initial value.
    static void fillEverything(StateRig& rig) {
        rig.loadFolders({StateRig::folder(5), StateRig::folder(6)});
        rig.answer(200, R"({"tasks":[)" + StateRig::task(1) + "]}");
        rig.state->selectSidebarItem(SidebarItem::folder(5));
        QTRY_VERIFY(!rig.state->isLoadingTasks());
        rig.state->setSelectedTask(rig.state->tasks().first());
        rig.state->setDateFilter(DateFilter::week);
        rig.state->setPriorityFilter(TaskPriority::high);
        rig.answer(200, R"({"auto_send_bot":true})");
        await(rig.state->loadSettings());
        rig.state->setStatsRange(u"month"_s);
        rig.answer(200, statsJson);
        await(rig.state->loadStats());
        rig.answer(200, R"({"api_key":"vexoapi-1"})");
        await(rig.state->loadApiKey());
        rig.state->setShowCreateTask(true);
        rig.state->setShowEditTask(true);
        rig.state->setEditingTask(rig.state->tasks().first());
        rig.state->setShowSettings(true);
        rig.state->setShowApiKey(true);
        rig.state->setShowAdmin(true);
        rig.state->setShowNewFolder(true);
        rig.state->setShowEditFolder(true);
        rig.state->setEditingFolder(rig.state->folders().first());
        rig.state->showToast(u"Папка создана"_s);
        rig.state->setUserSettings(UserSettings{true});
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }
    void init() {
        m_server.clearRequests();
        m_server.clearReplies();
        m_server.setDefaultReply(ScriptedReply::json(500, "{}"));
    }

    void initialValues() {
        StateRig rig(m_server, false);
        const AppState& s = *rig.state;
        QCOMPARE(s.isLoggedIn(), false);
        QCOMPARE(s.token(), std::nullopt);
        QCOMPARE(s.currentUser(), std::nullopt);
        QCOMPARE(s.sidebarItem(), SidebarItem::allTasks());
        QVERIFY(s.tasks().isEmpty());
        QCOMPARE(s.isLoadingTasks(), false);
        QCOMPARE(s.dateFilter(), DateFilter::all);
        QCOMPARE(s.priorityFilter(), std::nullopt);
        QCOMPARE(s.selectedFolderId(), std::nullopt);
        QCOMPARE(s.selectedTask(), std::nullopt);
        QVERIFY(s.folders().isEmpty());
        QCOMPARE(s.userSettings().autoSendBot, false);
        QCOMPARE(s.toastMessage(), std::nullopt);
        QCOMPARE(s.showCreateTask(), false);
        QCOMPARE(s.showEditTask(), false);
        QCOMPARE(s.editingTask(), std::nullopt);
        QCOMPARE(s.showSettings(), false);
        QCOMPARE(s.showApiKey(), false);
        QCOMPARE(s.showAdmin(), false);
        QCOMPARE(s.showNewFolder(), false);
        QCOMPARE(s.showEditFolder(), false);
        QCOMPARE(s.editingFolder(), std::nullopt);
        QCOMPARE(s.statsData(), std::nullopt);
        QCOMPARE(s.statsRange(), u"week"_s);
        QCOMPARE(s.apiKeyValue(), std::nullopt);
    }

    // A saved token signs in at once, without asking the service anything.
    void restoringAsksNothing() {
        StateRig rig(m_server);
        rig.store.setData(u"vexo_user"_s, userJson);
        rig.restart();
        QVERIFY(rig.state->isLoggedIn());
        QCOMPARE(rig.state->token(), std::optional<QString>(u"t"_s));
        QVERIFY(rig.state->currentUser().has_value());
        QCOMPARE(rig.state->currentUser()->id, 7);
        QTest::qWait(50);
        QCOMPARE(m_server.requests().size(), 0);
    }

    void loginSendsTheKeyUnauthorized() {
        StateRig rig(m_server, false);
        rig.answer(200, R"({"success":true,"token":"tok","user":)" + userJson + "}");
        await(rig.state->login(u"vexo-tasks-KEY"_s));
        const RecordedRequest verify = m_server.requests().first();
        QCOMPARE(verify.method, QByteArray("POST"));
        QCOMPARE(verify.target, QByteArray("/api/auth/verify"));
        QCOMPARE(verify.jsonBody(), QJsonObject({{u"key"_s, u"vexo-tasks-KEY"_s}}));
        QVERIFY(!verify.hasHeader("Authorization"));
    }

    // token, user, signed in, then the session is saved: token first, then the user as data in the
    // user record's own JSON.
    void loginInstallsThenSaves() {
        StateRig rig(m_server, false);
        rig.answer(200, R"({"success":true,"token":"tok","user":)" + userJson + "}");
        await(rig.state->login(u"k"_s));
        QCOMPARE(rig.journal.mid(0, 5),
                 (QStringList{u"token"_s, u"currentUser"_s, u"isLoggedIn"_s, u"set vexo_token"_s, u"set vexo_user"_s}));
        QCOMPARE(rig.state->token(), std::optional<QString>(u"tok"_s));
        QVERIFY(rig.state->currentUser().has_value());
        QCOMPARE(rig.state->currentUser()->displayName(), u"Ольга Ким"_s);
        QCOMPARE(rig.store.text(u"vexo_token"_s), std::optional<QString>(u"tok"_s));
        QVERIFY(rig.store.holdsData(u"vexo_user"_s));
        QCOMPARE(*rig.store.data(u"vexo_user"_s), encodeJson(*rig.state->currentUser()));
        QCOMPARE(decodeJson<User>(*rig.store.data(u"vexo_user"_s)), *rig.state->currentUser());
    }

    // login returns only once tasks, folders and settings of the new session are in, the slowest too.
    void loginWaitsForTheThreeLoads() {
        StateRig rig(m_server, false);
        rig.answer(200, R"({"success":true,"token":"tok","user":)" + userJson + "}");
        m_server.setReplyFor("/api/tasks", ScriptedReply::json(200, R"({"tasks":[)" + StateRig::task(1) + "]}"));
        m_server.setReplyFor("/api/folders", ScriptedReply::json(200, R"({"folders":[)" + StateRig::folder(2) + "]}"));
        ScriptedReply slowSettings = ScriptedReply::json(200, R"({"auto_send_bot":true})");
        slowSettings.delayMs = 300;
        m_server.setReplyFor("/api/user/settings", slowSettings);
        await(rig.state->login(u"k"_s));
        QCOMPARE(rig.taskIds(), QList<qint64>{1});
        QCOMPARE(rig.folderIds(), QList<qint64>{2});
        QCOMPARE(rig.state->userSettings().autoSendBot, true);
        QCOMPARE(m_server.requests().size(), 4);
        QCOMPARE(m_server.requests()[1].header("Authorization"), QByteArray("Bearer tok"));
    }

    void failedLoginChangesNothing_data() {
        QTest::addColumn<bool>("refused");
        QTest::newRow("key rejected") << false;
        QTest::newRow("service unreachable") << true;
    }

    void failedLoginChangesNothing() {
        QFETCH(bool, refused);
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
        const quint16 closedPort = closed.serverPort();
        closed.close();
        MemoryStore store;
        QStringList journal;
        store.setJournal(&journal);
        QNetworkAccessManager network;
        APIService api(refused ? u"http://127.0.0.1:%1"_s.arg(closedPort) : m_server.baseUrl(), network, store);
        FixedClock clock(StateRig::defaultNow());
        AppState state(api, store, clock);
        QStringList notified;
        connect(&state, &AppState::isLoggedInChanged, this, [&] { notified << u"isLoggedIn"_s; });
        connect(&state, &AppState::tokenChanged, this, [&] { notified << u"token"_s; });
        connect(&state, &AppState::currentUserChanged, this, [&] { notified << u"currentUser"_s; });
        connect(&state, &AppState::toastMessageChanged, this, [&] { notified << u"toastMessage"_s; });
        m_server.enqueue(ScriptedReply::json(401, R"({"error":"Неверный ключ"})"));
        try {
            await(state.login(u"wrong"_s));
            QFAIL("signed in with a rejected key");
        } catch (const APIError& error) {
            QVERIFY(!refused);
            QCOMPARE(error.kind(), APIError::Kind::httpError);
            QCOMPARE(error.errorDescription(), u"Неверный ключ"_s);
        } catch (const TransportError& error) {
            QVERIFY(refused);
            QCOMPARE(error.code(), QNetworkReply::ConnectionRefusedError);
        }
        QVERIFY(!state.isLoggedIn());
        QVERIFY(!state.token());
        QVERIFY(!state.currentUser());
        QVERIFY(notified.isEmpty());
        QVERIFY(journal.isEmpty());
        QCOMPARE(m_server.requests().size(), refused ? 0 : 1);
    }

    // In this order: the session, the lists, the selection, then the two keys, token first.
    void logoutOrder() {
        StateRig rig(m_server);
        rig.store.setData(u"vexo_user"_s, userJson);
        rig.restart();
        fillEverything(rig);
        rig.journal.clear();
        rig.state->logout();
        QCOMPARE(rig.journal,
                 (QStringList{u"isLoggedIn"_s, u"token"_s, u"currentUser"_s, u"tasks"_s, u"selectedTask"_s,
                              u"folders"_s, u"sidebarItem"_s, u"remove vexo_token"_s, u"remove vexo_user"_s}));
        QVERIFY(!rig.state->isLoggedIn());
        QVERIFY(!rig.state->token());
        QVERIFY(!rig.state->currentUser());
        QVERIFY(rig.state->tasks().isEmpty());
        QVERIFY(!rig.state->selectedTask());
        QVERIFY(rig.state->folders().isEmpty());
        QCOMPARE(rig.state->sidebarItem(), SidebarItem::allTasks());
        QVERIFY(!rig.store.contains(u"vexo_token"_s));
        QVERIFY(!rig.store.contains(u"vexo_user"_s));
    }

    // Everything else stays for a later sign-in in the same run.
    void logoutKeepsTheRest() {
        StateRig rig(m_server);
        fillEverything(rig);
        const AppState& s = *rig.state;
        const auto statsData = s.statsData();
        const auto editingTask = s.editingTask();
        const auto editingFolder = s.editingFolder();
        QVERIFY(statsData && editingTask && editingFolder);
        rig.state->logout();
        QCOMPARE(s.dateFilter(), DateFilter::week);
        QCOMPARE(s.priorityFilter(), std::optional<TaskPriority>(TaskPriority::high));
        QCOMPARE(s.selectedFolderId(), std::optional<qint64>(5));
        QCOMPARE(s.userSettings().autoSendBot, true);
        QCOMPARE(s.statsData(), statsData);
        QCOMPARE(s.statsRange(), u"month"_s);
        QCOMPARE(s.apiKeyValue(), std::optional<QString>(u"vexoapi-1"_s));
        QVERIFY(s.showCreateTask() && s.showEditTask() && s.showSettings() && s.showApiKey() && s.showAdmin() &&
                s.showNewFolder() && s.showEditFolder());
        QCOMPARE(s.editingTask(), editingTask);
        QCOMPARE(s.editingFolder(), editingFolder);
        QCOMPARE(s.toastMessage(), std::optional<QString>(u"Папка создана"_s));
        QCOMPARE(s.isLoadingTasks(), false);
    }

    // A 401 is an ordinary failure: the session stays.
    void failedRequestNeverSignsOut() {
        StateRig rig(m_server);
        rig.answer(401, R"({"error":"Требуется авторизация"})");
        await(rig.state->loadTasks());
        QVERIFY(rig.state->isLoggedIn());
        QCOMPARE(rig.state->token(), std::optional<QString>(u"t"_s));
        QVERIFY(rig.store.contains(u"vexo_token"_s));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Требуется авторизация"_s));
    }
};

QTEST_GUILESS_MAIN(tst_SessionRules)
#include "tst_SessionRules.moc"
