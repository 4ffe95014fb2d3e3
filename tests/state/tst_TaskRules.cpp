#include "FixedZone.h"
#include "StateRig.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

// The task list's selection, loading and filtering, and the task operations: each rule on its own,
// with the order of what they change where an observer can see it.
class tst_TaskRules final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;

    static SidebarItem item(const QString& name) {
        if (name == u"folder")
            return SidebarItem::folder(5);
        if (name == u"allTasks")
            return SidebarItem::allTasks();
        if (name == u"pending")
            return SidebarItem::pending();
        if (name == u"done")
            return SidebarItem::done();
        if (name == u"archived")
            return SidebarItem::archived();
        if (name == u"stats")
            return SidebarItem::stats();
        if (name == u"apiKey")
            return SidebarItem::apiKey();
        if (name == u"settings")
            return SidebarItem::settings();
        return SidebarItem::admin();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }
    void init() {
        m_server.clearRequests();
        m_server.clearReplies();
        m_server.setDefaultReply(ScriptedReply::json(500, "{}"));
    }

    void sidebarItemEquality() {
        QVERIFY(SidebarItem::folder(1) == SidebarItem::folder(1));
        QVERIFY(!(SidebarItem::folder(1) == SidebarItem::folder(2)));
        QVERIFY(!(SidebarItem::folder(1) == SidebarItem::allTasks()));
        const QStringList names{u"folder"_s, u"allTasks"_s, u"pending"_s,  u"done"_s, u"archived"_s,
                                u"stats"_s,  u"apiKey"_s,   u"settings"_s, u"admin"_s};
        for (const QString& a : names) {
            for (const QString& b : names)
                QCOMPARE(item(a) == item(b), a == b);
        }
    }

    void dateFilterCases() {
        QCOMPARE(allDateFilters.size(), 4u);
        const char* raw[] = {"all", "today", "tomorrow", "week"};
        const DateFilter cases[] = {DateFilter::all, DateFilter::today, DateFilter::tomorrow, DateFilter::week};
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(allDateFilters[i], cases[i]);
            QCOMPARE(rawValue(cases[i]), QString::fromLatin1(raw[i]));
        }
    }

    void requestForEverySelection_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("folder") << u"folder"_s << QByteArray("/api/tasks?archived=false&folderId=5");
        QTest::newRow("allTasks") << u"allTasks"_s << QByteArray("/api/tasks?archived=false");
        QTest::newRow("pending") << u"pending"_s << QByteArray("/api/tasks?archived=false&status=pending");
        QTest::newRow("done") << u"done"_s << QByteArray("/api/tasks?archived=false&status=done");
        QTest::newRow("archived") << u"archived"_s << QByteArray("/api/tasks?archived=true");
        QTest::newRow("stats") << u"stats"_s << QByteArray("/api/tasks?archived=false");
        QTest::newRow("apiKey") << u"apiKey"_s << QByteArray("/api/tasks?archived=false");
        QTest::newRow("settings") << u"settings"_s << QByteArray("/api/tasks?archived=false");
        QTest::newRow("admin") << u"admin"_s << QByteArray("/api/tasks?archived=false");
    }

    void requestForEverySelection() {
        QFETCH(QString, name);
        QFETCH(QByteArray, target);
        StateRig rig(m_server);
        rig.answer(200, R"({"tasks":[]})");
        rig.state->selectSidebarItem(item(name));
        QCOMPARE(rig.state->sidebarItem(), item(name));
        QCOMPARE(rig.state->selectedFolderId(), item(name).folderId());
        QTRY_VERIFY(!rig.state->isLoadingTasks());
        QCOMPARE(m_server.lastRequest().target, target);
    }

    // In order: the item, both filters, the selected task, the folder; then a load starts and the
    // call returns without waiting for it.
    void selectionSteps() {
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(1)});
        rig.answer(200, R"({"tasks":[]})");
        rig.state->selectSidebarItem(SidebarItem::folder(5));
        QTRY_VERIFY(!rig.state->isLoadingTasks());
        rig.state->setDateFilter(DateFilter::today);
        rig.state->setPriorityFilter(TaskPriority::low);
        rig.loadTasks({StateRig::task(1)});
        rig.state->setSelectedTask(rig.state->tasks().first());
        rig.journal.clear();
        rig.answerLater(200, R"({"tasks":[)" + StateRig::task(2) + "]}", 200);

        rig.state->selectSidebarItem(SidebarItem::pending());
        QCOMPARE(rig.journal, (QStringList{u"sidebarItem"_s, u"dateFilter"_s, u"priorityFilter"_s, u"selectedTask"_s,
                                           u"selectedFolderId"_s, u"isLoadingTasks"_s}));
        QVERIFY(rig.state->isLoadingTasks());
        QCOMPARE(rig.taskIds(), QList<qint64>{1});
        QTRY_COMPARE(rig.taskIds(), QList<qint64>{2});
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks?archived=false&status=pending"));
    }

    void selectionClearsEachFilter_data() {
        QTest::addColumn<int>("date");
        QTest::addColumn<bool>("priority");
        QTest::newRow("date filter only") << int(DateFilter::tomorrow) << false;
        QTest::newRow("priority filter only") << int(DateFilter::all) << true;
        QTest::newRow("both") << int(DateFilter::week) << true;
    }

    // Every selection clears both filters and the selected task, the same item again too; a filter
    // already clear is not touched.
    void selectionClearsEachFilter() {
        QFETCH(int, date);
        QFETCH(bool, priority);
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(1)});
        rig.state->setDateFilter(DateFilter(date));
        if (priority)
            rig.state->setPriorityFilter(TaskPriority::high);
        rig.state->setSelectedTask(rig.state->tasks().first());
        rig.journal.clear();
        rig.answer(200, R"({"tasks":[]})");
        rig.state->selectSidebarItem(SidebarItem::allTasks());
        QCOMPARE(rig.state->dateFilter(), DateFilter::all);
        QCOMPARE(rig.state->priorityFilter(), std::nullopt);
        QCOMPARE(rig.state->selectedTask(), std::nullopt);
        QCOMPARE(rig.journal.contains(u"dateFilter"_s), DateFilter(date) != DateFilter::all);
        QCOMPARE(rig.journal.contains(u"priorityFilter"_s), priority);
        QVERIFY(!rig.journal.contains(u"sidebarItem"_s));
        QTRY_VERIFY(!rig.state->isLoadingTasks());
        QCOMPARE(m_server.requests().size(), 2);
    }

    void loadWhileSignedOutDoesNothing() {
        StateRig rig(m_server, false);
        await(rig.state->loadTasks());
        QVERIFY(rig.journal.isEmpty());
        QCOMPARE(m_server.requests().size(), 0);
    }

    // The list first, then the flag; or the toast first, then the flag.
    void loadOrder() {
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(2), StateRig::task(1)});
        QCOMPARE(rig.journal, (QStringList{u"isLoadingTasks"_s, u"tasks"_s, u"isLoadingTasks"_s}));
        QCOMPARE(rig.taskIds(), (QList<qint64>{2, 1}));
        rig.journal.clear();
        rig.answer(500, R"({"error":"Сервис недоступен"})");
        await(rig.state->loadTasks());
        QCOMPARE(rig.journal, (QStringList{u"isLoadingTasks"_s, u"toastMessage"_s, u"isLoadingTasks"_s}));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Сервис недоступен"_s));
        QCOMPARE(rig.taskIds(), (QList<qint64>{2, 1}));
        QVERIFY(!rig.state->isLoadingTasks());
    }

    // One flag, not a count: the first answer of two clears it; the last answer's list stays.
    void racingLoads() {
        StateRig rig(m_server);
        rig.answerLater(200, R"({"tasks":[)" + StateRig::task(1) + "]}", 400);
        rig.answer(200, R"({"tasks":[)" + StateRig::task(2) + "]}");
        QCoro::Task<void> slow = rig.state->loadTasks();
        QCoro::Task<void> fast = rig.state->loadTasks();
        await(std::move(fast));
        QCOMPARE(rig.taskIds(), QList<qint64>{2});
        QVERIFY(!rig.state->isLoadingTasks());
        await(std::move(slow));
        QCOMPARE(rig.taskIds(), QList<qint64>{1});
        QVERIFY(!rig.state->isLoadingTasks());
    }

    // The folder sent is selectedFolderId whatever the item: after the selected folder is deleted,
    // the folder item asks without one.
    void folderIdComesFromTheSelection() {
        StateRig rig(m_server);
        rig.loadFolders({StateRig::folder(5)});
        rig.answer(200, R"({"tasks":[]})");
        rig.state->selectSidebarItem(SidebarItem::folder(5));
        QTRY_VERIFY(!rig.state->isLoadingTasks());
        rig.answer(200, R"({"success":true})");
        await(rig.state->deleteFolder(5));
        rig.loadTasks({});
        QCOMPARE(rig.state->sidebarItem(), SidebarItem::folder(5));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks?archived=false"));
    }

    // The counters count the loaded list, whatever the filters hide.
    void countersIgnoreTheFilters() {
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(1, "pending", "high", R"("deadline":"2025-03-04T10:00:00Z")"),
                       StateRig::task(2, "done", "low"), StateRig::task(3, "cancelled", "low"),
                       StateRig::task(4, "pending", "low", R"("archived":1)")});
        const TaskFiltering::Counts all = rig.state->counts();
        QCOMPARE(all, (TaskFiltering::Counts{3, 1, 1, 1}));
        rig.state->setPriorityFilter(TaskPriority::high);
        rig.state->setDateFilter(DateFilter::today);
        QVERIFY(rig.state->filteredTasks().isEmpty());
        QCOMPARE(rig.state->counts(), all);
        QCOMPARE(rig.state->totalCount(), 3);
        QCOMPARE(rig.state->pendingCount(), 1);
        QCOMPARE(rig.state->doneCount(), 1);
        QCOMPARE(rig.state->overdueCount(), 1);
    }

    void filteredTasksOfTheState() {
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(1, "pending", "high", R"("deadline":"2025-03-05T15:00:00Z")"),
                       StateRig::task(2, "pending", "low", R"("deadline":"2025-03-05T16:00:00Z")"),
                       StateRig::task(3, "pending", "high")});
        rig.state->setPriorityFilter(TaskPriority::high);
        QCOMPARE(rig.state->filteredTasks().size(), 2);
        rig.state->setDateFilter(DateFilter::today);
        QCOMPARE(rig.state->filteredTasks().size(), 1);
        QCOMPARE(rig.state->filteredTasks().first().id, 1);
        // The archive ignores the date filter, not the priority filter.
        rig.answer(200, R"({"tasks":[)" + StateRig::task(7, "done", "high") + "," + StateRig::task(8) + "]}");
        rig.state->selectSidebarItem(SidebarItem::archived());
        QTRY_VERIFY(!rig.state->isLoadingTasks());
        rig.state->setDateFilter(DateFilter::today);
        QCOMPARE(rig.state->filteredTasks().size(), 2);
        rig.state->setPriorityFilter(TaskPriority::high);
        QCOMPARE(rig.state->filteredTasks().size(), 1);
    }

    void updateSendsOnlyWhatIsGiven_data() {
        QTest::addColumn<int>("which");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("title") << 0 << QByteArray(R"({"title":"Новое"})");
        QTest::newRow("empty deadline") << 1 << QByteArray(R"({"deadline":null})");
        QTest::newRow("deadline and folder") << 2 << QByteArray(R"({"deadline":"2025-03-05 18:00:00","folderId":7})");
        QTest::newRow("all") << 3
                             << QByteArray(R"({"title":"a","description":"","deadline":null,"priority":"low",)"
                                           R"("status":"cancelled","folderId":7})");
    }

    void updateSendsOnlyWhatIsGiven() {
        QFETCH(int, which);
        QFETCH(QByteArray, body);
        const TaskUpdate updates[] = {
            TaskUpdate{u"Новое"_s, {}, {}, {}, {}, {}},
            TaskUpdate{{}, {}, u""_s, {}, {}, {}},
            TaskUpdate{{}, {}, u"2025-03-05 18:00:00"_s, {}, {}, 7},
            TaskUpdate{u"a"_s, u""_s, u""_s, TaskPriority::low, TaskStatus::cancelled, 7},
        };
        StateRig rig(m_server);
        rig.answer(200, StateRig::wrapped("task", StateRig::task(3)));
        await(rig.state->updateTask(3, updates[which]));
        QCOMPARE(m_server.lastRequest().method, QByteArray("PUT"));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/3"));
        QCOMPARE(m_server.lastRequest().jsonBody(), QJsonDocument::fromJson(body).object());
    }

    void toggleSendsOnlyTheStatus() {
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(3)});
        rig.answer(200, StateRig::wrapped("task", StateRig::task(3, "done")));
        await(rig.state->toggleTask(rig.state->tasks().first()));
        QCOMPARE(m_server.lastRequest().jsonBody(), QJsonObject({{u"status"_s, u"done"_s}}));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/3"));
    }

    void updateAndToggle_data() {
        QTest::addColumn<bool>("toggle");
        QTest::newRow("update") << false;
        QTest::newRow("toggle") << true;
    }

    // The first task with the id is replaced and no other; the selected task follows when it has the
    // id, also when the list no longer holds it; an update shows no message.
    void updateAndToggle() {
        QFETCH(bool, toggle);
        const auto run = [&](StateRig& rig, qint64 id) {
            if (toggle) {
                VexoTask task;
                task.id = id;
                return rig.state->toggleTask(task);
            }
            return rig.state->updateTask(id, TaskUpdate{u"x"_s, {}, {}, {}, {}, {}});
        };
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(1), StateRig::task(2), StateRig::task(1, "done")});
        const QList<VexoTask> before = rig.state->tasks();
        rig.state->setSelectedTask(before[1]);
        rig.state->showToast(std::nullopt);
        rig.answer(200, StateRig::wrapped("task", StateRig::task(1, "cancelled", "high")));
        await(run(rig, 1));
        QCOMPARE(rig.state->tasks()[0].priority, TaskPriority::high);
        QCOMPARE(rig.state->tasks()[1], before[1]);
        QCOMPARE(rig.state->tasks()[2], before[2]);
        QCOMPARE(rig.state->selectedTask(), std::optional<VexoTask>(before[1]));
        QCOMPARE(rig.state->toastMessage().has_value(), toggle);

        // An answer for a task no longer listed: no element changes, the selection does.
        VexoTask ghost = before[1];
        ghost.id = 9;
        rig.state->setSelectedTask(ghost);
        const QList<VexoTask> listed = rig.state->tasks();
        rig.answer(200, StateRig::wrapped("task", StateRig::task(9, "done", "low")));
        await(run(rig, 9));
        QCOMPARE(rig.state->tasks(), listed);
        QVERIFY(rig.state->selectedTask().has_value());
        QCOMPARE(rig.state->selectedTask()->status, TaskStatus::done);
        QVERIFY(rig.state->selectedTask().has_value());
        QCOMPARE(rig.state->selectedTask()->priority, TaskPriority::low);
    }

    void archiveAndDelete_data() {
        QTest::addColumn<bool>("archive");
        QTest::newRow("archive") << true;
        QTest::newRow("delete") << false;
    }

    // Every task with the id goes and the rest keep their order; the selected task goes only when it
    // has the id.
    void archiveAndDelete() {
        QFETCH(bool, archive);
        const auto run = [&](StateRig& rig, qint64 id) {
            return archive ? rig.state->archiveTask(id) : rig.state->deleteTask(id);
        };
        const QString toast = archive ? u"Задача архивирована"_s : u"Задача удалена"_s;
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(1), StateRig::task(2), StateRig::task(3), StateRig::task(2, "done")});
        rig.state->setSelectedTask(rig.state->tasks()[2]);
        rig.answer(200, R"({"success":true})");
        await(run(rig, 2));
        QCOMPARE(m_server.lastRequest().target,
                 archive ? QByteArray("/api/tasks/2/archive") : QByteArray("/api/tasks/2"));
        QCOMPARE(rig.taskIds(), (QList<qint64>{1, 3}));
        QVERIFY(rig.state->selectedTask().has_value());
        QCOMPARE(rig.state->selectedTask()->id, 3);
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(toast));
        rig.answer(200, R"({"success":true})");
        await(run(rig, 3));
        QCOMPARE(rig.taskIds(), QList<qint64>{1});
        QCOMPARE(rig.state->selectedTask(), std::nullopt);
    }

    // Only the first task with the id is marked; the selected task is left as it was, same id or not.
    void sendToBotMarksTheFirstListedOnly() {
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(4), StateRig::task(1), StateRig::task(4, "done")});
        rig.state->setSelectedTask(rig.state->tasks()[0]);
        rig.journal.clear();
        rig.answer(200, R"({"success":true})");
        await(rig.state->sendToBot(4));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/4/send-to-bot"));
        QVERIFY(rig.state->tasks()[0].isSentToBot());
        QVERIFY(!rig.state->tasks()[2].isSentToBot());
        QVERIFY(rig.state->selectedTask().has_value());
        QVERIFY(!rig.state->selectedTask()->isSentToBot());
        QVERIFY(!rig.journal.contains(u"selectedTask"_s));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Отправлено в Telegram"_s));
    }

    // A created task goes first, whatever the selection and filters.
    void createdTaskGoesFirst() {
        StateRig rig(m_server);
        rig.answer(200, R"({"tasks":[)" + StateRig::task(1, "done") + "]}");
        rig.state->selectSidebarItem(SidebarItem::done());
        QTRY_VERIFY(!rig.state->isLoadingTasks());
        rig.state->setPriorityFilter(TaskPriority::high);
        rig.answer(201, StateRig::wrapped("task", StateRig::task(9, "pending", "low")));
        await(rig.state->createTask(u"t9"_s, TaskPriority::low, {}, {}));
        QCOMPARE(rig.taskIds(), (QList<qint64>{9, 1}));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Задача создана"_s));
    }

    // Task operations never touch the loading flag.
    void operationsLeaveTheLoadingFlag() {
        StateRig rig(m_server);
        rig.loadTasks({StateRig::task(1), StateRig::task(2)});
        rig.journal.clear();
        rig.answer(200, StateRig::wrapped("task", StateRig::task(1, "done")));
        await(rig.state->toggleTask(rig.state->tasks().first()));
        rig.answer(200, StateRig::wrapped("task", StateRig::task(1)));
        await(rig.state->updateTask(1, TaskUpdate{u"x"_s, {}, {}, {}, {}, {}}));
        rig.answer(200, R"({"success":true})");
        await(rig.state->sendToBot(1));
        rig.answer(200, R"({"success":true})");
        await(rig.state->archiveTask(1));
        rig.answer(200, R"({"success":true})");
        await(rig.state->deleteTask(2));
        rig.answer(201, StateRig::wrapped("task", StateRig::task(3)));
        await(rig.state->createTask(u"t3"_s, TaskPriority::medium, {}, {}));
        QVERIFY(!rig.journal.contains(u"isLoadingTasks"_s));
    }

    void showToast() {
        StateRig rig(m_server);
        rig.state->showToast(u"Задача удалена"_s);
        rig.state->showToast(u"Задача удалена"_s);
        QCOMPARE(rig.journal, QStringList{u"toastMessage"_s});
        rig.state->showToast(u"Задача создана"_s);
        rig.state->showToast(std::nullopt);
        rig.state->showToast(std::nullopt);
        QCOMPARE(rig.journal.size(), 3);
        QCOMPARE(rig.state->toastMessage(), std::nullopt);
    }
};

VEXO_TEST_MAIN_IN_ZONE(tst_TaskRules, "UTC")
#include "tst_TaskRules.moc"
