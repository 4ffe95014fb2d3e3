#include "APIService.h"
#include "Await.h"
#include "ClientRig.h"
#include "LocalService.h"
#include "RowJournal.h"
#include "StateRig.h"
#include "TaskListModel.h"

#include <QAbstractItemModelTester>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;
using Result = AppState::BackgroundRefresh;

Q_DECLARE_METATYPE(Result)

namespace {

QByteArray tasksBody(const QList<QByteArray>& tasks) {
    return R"({"tasks":[)" + tasks.join(',') + "]}";
}

QByteArray tasksBody(const QList<qint64>& ids) {
    QList<QByteArray> tasks;
    for (qint64 id : ids)
        tasks << StateRig::task(id);
    return tasksBody(tasks);
}

ScriptedReply tagged(const QByteArray& body, const QByteArray& etag) {
    ScriptedReply reply = ScriptedReply::json(200, body);
    reply.headers.append({QByteArray("ETag"), etag});
    return reply;
}

ScriptedReply notModified(const QByteArray& etag) {
    ScriptedReply reply = ScriptedReply::raw(304, QByteArray(), QByteArray());
    reply.headers.append({QByteArray("ETag"), etag});
    return reply;
}

} // namespace

// AppState's background refresh: it applies only what changed, row by row, with no loading flag, no
// toast and no sheet touched, and it drops an answer that a newer load or an operation has made old.
class tst_BackgroundRefresh final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    std::unique_ptr<StateRig> m_rig;
    std::unique_ptr<TaskListModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_listTester;
    std::unique_ptr<QAbstractItemModelTester> m_modelTester;

    AppState& state() { return *m_rig->state; }
    const TaskList& list() { return m_rig->state->taskList(); }

    // Journal entries other than the store's.
    QStringList notices() const {
        QStringList notices = m_rig->journal;
        notices.removeIf(
            [](const QString& entry) { return entry.startsWith(u"set ") || entry.startsWith(u"remove "); });
        return notices;
    }

    // The state's model and the filtered model, each under a tester, and journals of both.
    void watchModels() {
        m_model = std::make_unique<TaskListModel>(state());
        // The tester only reads.
        m_listTester = std::make_unique<QAbstractItemModelTester>(
            const_cast<TaskList*>(&list()), QAbstractItemModelTester::FailureReportingMode::Fatal);
        m_modelTester = std::make_unique<QAbstractItemModelTester>(
            m_model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    }

    Result refresh() { return await(state().refreshInBackground()); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_server.clearReplies();
        m_server.clearRequests();
        m_server.setReplyFor("/api/folders", ScriptedReply::json(200, R"({"folders":[]})"));
        m_rig = std::make_unique<StateRig>(m_server);
        watchModels();
    }

    void cleanup() {
        m_modelTester.reset();
        m_listTester.reset();
        m_model.reset();
        m_rig.reset();
    }

    void onlyWhatChangedIsApplied_data() {
        QTest::addColumn<QList<QByteArray>>("before");
        QTest::addColumn<QList<QByteArray>>("after");
        QTest::addColumn<Result>("result");
        QTest::addColumn<QStringList>("rows");
        const QByteArray renamed = StateRig::task(2, "pending", "medium", R"("description":"new")");
        QTest::newRow("a task added at the front")
            << QList<QByteArray>{StateRig::task(1), StateRig::task(2)}
            << QList<QByteArray>{StateRig::task(3), StateRig::task(1), StateRig::task(2)} << Result::changed
            << QStringList{u"inserted 0-0"_s};
        QTest::newRow("a task gone") << QList<QByteArray>{StateRig::task(1), StateRig::task(2), StateRig::task(3)}
                                     << QList<QByteArray>{StateRig::task(1), StateRig::task(3)} << Result::changed
                                     << QStringList{u"removed 1-1"_s};
        QTest::newRow("a task changed") << QList<QByteArray>{StateRig::task(1), StateRig::task(2), StateRig::task(3)}
                                        << QList<QByteArray>{StateRig::task(1), renamed, StateRig::task(3)}
                                        << Result::changed << QStringList{u"changed 1-1"_s};
        QTest::newRow("nothing") << QList<QByteArray>{StateRig::task(1), StateRig::task(2)}
                                 << QList<QByteArray>{StateRig::task(1), StateRig::task(2)} << Result::unchanged
                                 << QStringList{};
    }
    void onlyWhatChangedIsApplied() {
        QFETCH(QList<QByteArray>, before);
        QFETCH(QList<QByteArray>, after);
        QFETCH(Result, result);
        QFETCH(QStringList, rows);
        m_rig->loadTasks(before);
        RowJournal listRows(list());
        RowJournal modelRows(*m_model);
        m_rig->journal.clear();
        m_rig->answer(200, tasksBody(after));
        QCOMPARE(refresh(), result);
        QCOMPARE(listRows.entries(), rows);
        QCOMPARE(modelRows.entries(), rows);
        // Nothing but the list itself: no loading flag, no toast.
        QCOMPARE(notices(), rows.isEmpty() ? QStringList{} : QStringList{u"tasks"_s});
    }

    void theSameQueryAsTheLoad_data() {
        QTest::addColumn<int>("item");
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("all tasks") << 0 << QByteArray("/api/tasks?archived=false");
        QTest::newRow("pending") << 1 << QByteArray("/api/tasks?archived=false&status=pending");
        QTest::newRow("archive") << 2 << QByteArray("/api/tasks?archived=true");
        QTest::newRow("folder 7") << 3 << QByteArray("/api/tasks?archived=false&folderId=7");
    }
    void theSameQueryAsTheLoad() {
        QFETCH(int, item);
        QFETCH(QByteArray, target);
        const SidebarItem items[] = {SidebarItem::allTasks(), SidebarItem::pending(), SidebarItem::archived(),
                                     SidebarItem::folder(7)};
        m_rig->answer(200, tasksBody(QList<qint64>{}));
        state().selectSidebarItem(items[item]);
        QTRY_VERIFY(!state().isLoadingTasks());
        m_server.clearRequests();
        m_rig->answer(200, tasksBody(QList<qint64>{1}));
        QCOMPARE(refresh(), Result::changed);
        QList<QByteArray> targets;
        for (const RecordedRequest& request : m_server.requests())
            targets << request.target;
        std::sort(targets.begin(), targets.end());
        QCOMPARE(targets, (QList<QByteArray>{"/api/folders", target}));
    }

    void notModifiedLeavesEverythingAlone() {
        m_rig->loadTasks({StateRig::task(1), StateRig::task(2)});
        m_server.enqueue(tagged(tasksBody(QList<qint64>{1, 2}), "\"v1\""));
        m_server.setReplyFor("/api/folders", tagged(R"({"folders":[]})", "\"f1\""));
        QCOMPARE(refresh(), Result::unchanged);

        RowJournal listRows(list());
        RowJournal modelRows(*m_model);
        m_rig->journal.clear();
        m_server.clearRequests();
        m_server.enqueue(notModified("\"v1\""));
        m_server.setReplyFor("/api/folders", notModified("\"f1\""));
        QCOMPARE(refresh(), Result::unchanged);
        QCOMPARE(listRows.entries(), QStringList());
        QCOMPARE(modelRows.entries(), QStringList());
        QCOMPARE(notices(), QStringList());
        QCOMPARE(m_rig->taskIds(), (QList<qint64>{1, 2}));
        for (const RecordedRequest& request : m_server.requests())
            QCOMPARE(request.header("if-none-match"), request.target == "/api/folders" ? "\"f1\"" : "\"v1\"");
    }

    void notModifiedMeansTheTaggedListEvenAfterALocalCreate() {
        m_server.enqueue(tagged(tasksBody(QList<qint64>{1}), "\"v1\""));
        QCOMPARE(refresh(), Result::changed);
        // Created here; the service's list for this query, as the tag says, does not hold it.
        m_rig->answer(200, R"({"task":)" + StateRig::task(9) + "}");
        await(state().createTask(u"t9"_s, TaskPriority::medium, {}, {}));
        QCOMPARE(m_rig->taskIds(), (QList<qint64>{9, 1}));
        m_server.enqueue(notModified("\"v1\""));
        QCOMPARE(refresh(), Result::changed);
        QCOMPARE(m_rig->taskIds(), (QList<qint64>{1}));
    }

    void failuresAreQuiet_data() {
        QTest::addColumn<int>("status");
        QTest::newRow("500") << 500;
        QTest::newRow("401") << 401;
        QTest::newRow("no connection") << 0;
    }
    void failuresAreQuiet() {
        QFETCH(int, status);
        m_rig->loadTasks({StateRig::task(1)});
        RowJournal listRows(list());
        m_rig->journal.clear();
        if (status == 0)
            m_server.enqueue(ScriptedReply::closeWithoutAnswer());
        else
            m_rig->answer(status, R"({"error":"Нет"})");
        QCOMPARE(refresh(), Result::failed);
        QCOMPARE(notices(), QStringList());
        QCOMPARE(listRows.entries(), QStringList());
        QCOMPARE(m_rig->taskIds(), QList<qint64>{1});
        QVERIFY(!state().toastMessage());
    }

    void foldersAreAssignedOnlyWhenTheyDiffer() {
        const QByteArray folders = "{\"folders\":[" + StateRig::folder(1) + "]}";
        m_server.setReplyFor("/api/folders", ScriptedReply::json(200, folders));
        m_rig->answer(200, tasksBody(QList<qint64>{}));
        QCOMPARE(refresh(), Result::changed);
        QCOMPARE(notices(), QStringList{u"folders"_s});
        m_rig->journal.clear();
        m_rig->answer(200, tasksBody(QList<qint64>{}));
        QCOMPARE(refresh(), Result::unchanged);
        QCOMPARE(notices(), QStringList());
        m_server.setReplyFor("/api/folders",
                             ScriptedReply::json(200, "{\"folders\":[" + StateRig::folder(1, "Другая") + "]}"));
        m_rig->answer(200, tasksBody(QList<qint64>{}));
        QCOMPARE(refresh(), Result::changed);
        QCOMPARE(notices(), QStringList{u"folders"_s});
        QCOMPARE(state().folders().first().name, u"Другая"_s);
    }

    void theOpenTaskFollowsItsNewVersion_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<bool>("notified");
        QTest::newRow("changed elsewhere")
            << tasksBody({StateRig::task(1, "done"), StateRig::task(2)}) << u"done"_s << true;
        QTest::newRow("the same") << tasksBody({StateRig::task(1), StateRig::task(2)}) << u"pending"_s << false;
        QTest::newRow("gone from the list stays shown") << tasksBody({StateRig::task(2)}) << u"pending"_s << false;
    }
    void theOpenTaskFollowsItsNewVersion() {
        QFETCH(QByteArray, answer);
        QFETCH(QString, shown);
        QFETCH(bool, notified);
        m_rig->loadTasks({StateRig::task(1), StateRig::task(2)});
        state().setSelectedTask(state().tasks().first());
        m_rig->journal.clear();
        m_rig->answer(200, answer);
        refresh();
        QVERIFY(state().selectedTask());
        QCOMPARE(state().selectedTask()->id, 1);
        QCOMPARE(rawValue(state().selectedTask()->status), shown);
        QCOMPARE(notices().contains(u"selectedTask"_s), notified);
    }

    void theEditSheetIsLeftAlone() {
        m_rig->loadTasks({StateRig::task(1)});
        state().setEditingTask(state().tasks().first());
        state().setShowEditTask(true);
        const VexoTask editing = *state().editingTask();
        m_rig->journal.clear();
        m_rig->answer(200, tasksBody({StateRig::task(1, "done")}));
        QCOMPARE(refresh(), Result::changed);
        QCOMPARE(notices(), QStringList{u"tasks"_s});
        QVERIFY(state().showEditTask());
        QCOMPARE(*state().editingTask(), editing);
    }

    // A refresh whose answer comes after a newer load has started is dropped, whatever that load is.
    void anAnswerOlderThanANewerLoadIsDropped_data() {
        QTest::addColumn<QString>("newer");
        QTest::addColumn<QList<qint64>>("shown");
        QTest::newRow("loadTasks") << u"loadTasks"_s << QList<qint64>{2};
        QTest::newRow("another selection") << u"select"_s << QList<qint64>{2};
        QTest::newRow("another refresh") << u"refresh"_s << QList<qint64>{2};
        QTest::newRow("logout") << u"logout"_s << QList<qint64>{};
        QTest::newRow("login") << u"login"_s << QList<qint64>{2};
    }
    void anAnswerOlderThanANewerLoadIsDropped() {
        QFETCH(QString, newer);
        QFETCH(QList<qint64>, shown);
        m_rig->answerLater(200, tasksBody(QList<qint64>{1}), 400);
        auto background = state().refreshInBackground();
        QTRY_COMPARE(m_server.requests().size(), 2);
        m_rig->answer(200, tasksBody(QList<qint64>{2}));
        std::optional<Result> second;
        if (newer == u"loadTasks") {
            await(state().loadTasks());
        } else if (newer == u"select") {
            state().selectSidebarItem(SidebarItem::pending());
            QTRY_VERIFY(!state().isLoadingTasks());
        } else if (newer == u"refresh") {
            second = await(state().refreshInBackground());
        } else if (newer == u"logout") {
            state().logout();
        } else {
            m_server.setReplyFor(
                "/api/auth/verify",
                ScriptedReply::json(200, R"({"success":true,"token":"t2","user":{"id":1,"telegram_id":"1"}})"));
            m_server.setReplyFor("/api/user/settings", ScriptedReply::json(200, R"({"auto_send_bot":false})"));
            await(state().login(u"key"_s));
        }
        QCOMPARE(await(std::move(background)), Result::superseded);
        if (second)
            QCOMPARE(*second, Result::changed);
        QCOMPARE(m_rig->taskIds(), shown);
    }

    void anAnswerOlderThanAnOperationIsDroppedAsOvertaken() {
        m_rig->loadTasks({StateRig::task(1), StateRig::task(2)});
        m_rig->answerLater(200, tasksBody({StateRig::task(1), StateRig::task(2)}), 400);
        auto background = state().refreshInBackground();
        QTRY_COMPARE(m_server.requests().size(), 3);
        m_rig->answer(200, R"({"task":)" + StateRig::task(1, "done") + "}");
        await(state().toggleTask(state().tasks().first()));
        QCOMPARE(await(std::move(background)), Result::overtaken);
        QCOMPARE(state().tasks().first().status, TaskStatus::done);
    }

    void aFolderDeletedWhileShownKeepsItsList() {
        m_rig->answer(200, tasksBody(QList<qint64>{5}));
        state().selectSidebarItem(SidebarItem::folder(7));
        QTRY_VERIFY(!state().isLoadingTasks());
        m_server.setReplyFor("/api/folders/7", ScriptedReply::json(200, R"({"success":true})"));
        await(state().deleteFolder(7));
        QVERIFY(!state().selectedFolderId());
        m_server.clearRequests();
        QCOMPARE(refresh(), Result::unchanged);
        QCOMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/folders"));
        QCOMPARE(m_rig->taskIds(), QList<qint64>{5});
    }

    void aQueryThatNoLongerHoldsIsDropped() {
        m_rig->answer(200, tasksBody(QList<qint64>{5}));
        state().selectSidebarItem(SidebarItem::folder(7));
        QTRY_VERIFY(!state().isLoadingTasks());
        m_rig->answerLater(200, tasksBody(QList<qint64>{}), 400);
        auto background = state().refreshInBackground();
        QTRY_COMPARE(m_server.requests().size(), 3);
        m_server.setReplyFor("/api/folders/7", ScriptedReply::json(200, R"({"success":true})"));
        await(state().deleteFolder(7));
        QCOMPARE(await(std::move(background)), Result::superseded);
        QCOMPARE(m_rig->taskIds(), QList<qint64>{5});
    }

    void nobodySignedInAsksNothing() {
        StateRig signedOut(m_server, false);
        m_server.clearRequests();
        QCOMPARE(await(signedOut.state->refreshInBackground()), Result::skipped);
        QCOMPARE(m_server.requests().size(), 0);
    }

    // The real service: an added task is one row more, and an unchanged list is a 304 that moves nothing.
    void againstTheLocalService() {
        LocalService service;
        service.addUser(u"1"_s);
        ClientRig client(service.baseUrl(), service.clock(), QString::fromUtf8(service.signIn(u"1"_s)));
        AppState& local = client.state;
        TaskListModel model(local);
        QAbstractItemModelTester listTester(const_cast<TaskList*>(&local.taskList()),
                                            QAbstractItemModelTester::FailureReportingMode::Fatal);
        QAbstractItemModelTester modelTester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
        const VexoTask first = await(client.api.createTask(u"Первая"_s, TaskPriority::high, {}, {})).task;
        await(local.loadAll());
        QCOMPARE(await(local.refreshInBackground()), Result::unchanged);

        RowJournal listRows(local.taskList());
        RowJournal modelRows(model);
        QCOMPARE(await(local.refreshInBackground()), Result::unchanged);
        QCOMPARE(listRows.entries(), QStringList());
        QCOMPARE(modelRows.entries(), QStringList());

        const VexoTask second = await(client.api.createTask(u"Вторая"_s, TaskPriority::low, {}, {})).task;
        QCOMPARE(await(local.refreshInBackground()), Result::changed);
        QCOMPARE(listRows.entries(), QStringList{u"inserted 0-0"_s});
        QCOMPARE(modelRows.entries(), QStringList{u"inserted 0-0"_s});
        QCOMPARE(local.tasks().first().id, second.id);
        QCOMPARE(local.tasks().last().id, first.id);
    }
};

QTEST_GUILESS_MAIN(tst_BackgroundRefresh)
#include "tst_BackgroundRefresh.moc"
