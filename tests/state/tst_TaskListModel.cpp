#include "AppState.h"
#include "Await.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "TaskListModel.h"

#include <QAbstractItemModelTester>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

// now: Wednesday 2025-03-05 12:00 UTC
QByteArray taskJson(int id, const char* status = "pending", const char* priority = "medium",
                    const char* deadline = nullptr, const char* title = nullptr) {
    QByteArray json = R"({"id":)" + QByteArray::number(id) + R"(,"title":")" +
                      (title ? QByteArray(title) : "t" + QByteArray::number(id)) + R"(","priority":")" + priority +
                      R"(","status":")" + status + R"(","created_at":"2025-03-01")";
    if (deadline)
        json += R"(,"deadline":")" + QByteArray(deadline) + '"';
    return json + '}';
}

QByteArray listJson(const QList<QByteArray>& tasks) {
    return R"({"tasks":[)" + tasks.join(',') + "]}";
}

} // namespace

// The list the view shows, over AppState's loaded list: both run under Qt's model checker, which
// aborts on any breach of the model contract, through every operation that changes tasks, filters
// or the time of day. After each, the rows are exactly AppState's filteredTasks.
class tst_TaskListModel final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    QNetworkAccessManager m_network;
    MemoryStore m_store;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<APIService> m_api;
    std::unique_ptr<AppState> m_state;
    std::unique_ptr<TaskListModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_sourceTester;
    std::unique_ptr<QAbstractItemModelTester> m_modelTester;

    struct Spies {
        QSignalSpy inserted, removed, changed, reset;
        explicit Spies(TaskListModel* model)
            : inserted(model, &QAbstractItemModel::rowsInserted)
            , removed(model, &QAbstractItemModel::rowsRemoved)
            , changed(model, &QAbstractItemModel::dataChanged)
            , reset(model, &QAbstractItemModel::modelReset) {}
        int rowSignals() const { return int(inserted.count() + removed.count() + changed.count() + reset.count()); }
    };

    void load(const QList<QByteArray>& tasks) {
        m_server.enqueue(ScriptedReply::json(200, listJson(tasks)));
        await(m_state->loadTasks());
    }

    void answer(const QByteArray& body) { m_server.enqueue(ScriptedReply::json(200, body)); }

    QList<qint64> rowIds() const {
        QList<qint64> ids;
        for (int row = 0; row < m_model->rowCount(); ++row)
            ids << m_model->data(m_model->index(row), TaskListModel::IdRole).toLongLong();
        return ids;
    }

    // The rows are what the state says the list shows, in its order.
    void matchesState() {
        const QList<VexoTask> shown = m_state->filteredTasks();
        QCOMPARE(m_model->rowCount(), shown.size());
        for (int row = 0; row < m_model->rowCount(); ++row) {
            QCOMPARE(m_model->taskAt(row), shown[row]);
            QCOMPARE(m_model->data(m_model->index(row), TaskListModel::TaskRole).value<VexoTask>(), shown[row]);
            QCOMPARE(m_model->rowOf(shown[row].id), row);
        }
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_clock.set(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_store.setText(u"vexo_token"_s, u"t"_s);
        m_api = std::make_unique<APIService>(m_server.baseUrl(), m_network, m_store);
        m_state = std::make_unique<AppState>(*m_api, m_store, m_clock);
        m_model = std::make_unique<TaskListModel>(*m_state);
        // The checker only reads and listens; it merely wants a model it could write to.
        m_sourceTester = std::make_unique<QAbstractItemModelTester>(
            const_cast<TaskList*>(&m_state->taskList()), QAbstractItemModelTester::FailureReportingMode::Fatal);
        m_modelTester = std::make_unique<QAbstractItemModelTester>(
            m_model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        load({taskJson(3), taskJson(2, "done", "high"), taskJson(1)});
        QCOMPARE(rowIds(), (QList<qint64>{3, 2, 1}));
    }

    void cleanup() {
        m_modelTester.reset();
        m_sourceTester.reset();
        m_model.reset();
        m_state.reset();
        m_api.reset();
    }

    void createInsertsOneRow() {
        Spies spies(m_model.get());
        answer("{\"task\":" + taskJson(4) + "}");
        await(m_state->createTask(u"t4"_s, TaskPriority::medium, {}, {}));
        QCOMPARE(spies.inserted.count(), 1);
        QCOMPARE(spies.inserted.first().at(1).toInt(), 0);
        QCOMPARE(spies.inserted.first().at(2).toInt(), 0);
        QCOMPARE(spies.rowSignals(), 1);
        QCOMPARE(m_model->taskAt(0).id, 4);
        matchesState();
    }

    // Whoever hears "about to be removed" can still read the row, in both models.
    void deleteRemovesOneRowStillReadable() {
        Spies spies(m_model.get());
        QList<qint64> readBeforeRemoval;
        connect(m_model.get(), &QAbstractItemModel::rowsAboutToBeRemoved, this,
                [&](const QModelIndex&, int first, int last) {
                    for (int row = first; row <= last; ++row)
                        readBeforeRemoval << m_model->data(m_model->index(row), TaskListModel::IdRole).toLongLong();
                });
        const QAbstractItemModel& source = m_state->taskList();
        connect(&source, &QAbstractItemModel::rowsAboutToBeRemoved, this, [&](const QModelIndex&, int first, int last) {
            for (int row = first; row <= last; ++row)
                readBeforeRemoval << source.data(source.index(row, 0), TaskList::IdRole).toLongLong();
        });
        answer(R"({"success":true})");
        await(m_state->deleteTask(2));
        QCOMPARE(readBeforeRemoval, (QList<qint64>{2, 2}));
        QCOMPARE(spies.removed.count(), 1);
        QCOMPARE(spies.removed.first().at(1).toInt(), 1);
        QCOMPARE(spies.rowSignals(), 1);
        QCOMPARE(rowIds(), (QList<qint64>{3, 1}));
        matchesState();
    }

    void archiveRemovesOneRow() {
        Spies spies(m_model.get());
        answer(R"({"success":true})");
        await(m_state->archiveTask(3));
        QCOMPARE(spies.removed.count(), 1);
        QCOMPARE(spies.rowSignals(), 1);
        matchesState();
    }

    void updateChangesOneRow() {
        Spies spies(m_model.get());
        answer("{\"task\":" + taskJson(2, "pending", "high") + "}");
        await(m_state->toggleTask(m_state->tasks()[1]));
        QCOMPARE(spies.changed.count(), 1);
        QCOMPARE(spies.changed.first().at(0).toModelIndex().row(), 1);
        QCOMPARE(spies.rowSignals(), 1);
        QCOMPARE(m_model->taskAt(1).status, TaskStatus::pending);
        matchesState();
    }

    void sendToBotChangesOneRow() {
        Spies spies(m_model.get());
        answer(R"({"success":true})");
        await(m_state->sendToBot(1));
        QCOMPARE(spies.changed.count(), 1);
        QCOMPARE(spies.changed.first().at(0).toModelIndex().row(), 2);
        QCOMPARE(spies.rowSignals(), 1);
        QVERIFY(m_model->taskAt(2).isSentToBot());
        matchesState();
    }

    // A change that takes a task out of the filter removes its row; one that brings it in inserts it.
    void updatesCrossTheFilter() {
        m_state->setPriorityFilter(TaskPriority::medium);
        QCOMPARE(rowIds(), (QList<qint64>{3, 1}));
        Spies spies(m_model.get());
        answer("{\"task\":" + taskJson(3, "pending", "low") + "}");
        await(m_state->updateTask(3, TaskUpdate{{}, {}, {}, TaskPriority::low, {}, {}}));
        QCOMPARE(rowIds(), (QList<qint64>{1}));
        QCOMPARE(spies.removed.count(), 1);
        answer("{\"task\":" + taskJson(2, "done", "medium") + "}");
        await(m_state->updateTask(2, TaskUpdate{{}, {}, {}, TaskPriority::medium, {}, {}}));
        QCOMPARE(rowIds(), (QList<qint64>{2, 1}));
        QCOMPARE(spies.inserted.count(), 1);
        // A hidden task comes and goes without a row signal.
        answer(R"({"success":true})");
        await(m_state->deleteTask(3));
        QCOMPARE(spies.rowSignals(), 2);
        answer("{\"task\":" + taskJson(5, "pending", "high") + "}");
        await(m_state->createTask(u"t5"_s, TaskPriority::high, {}, {}));
        QCOMPARE(spies.rowSignals(), 2);
        QCOMPARE(m_model->rowOf(5), -1);
        matchesState();
    }

    // A reload that brings mostly the same tasks touches only what differs: unchanged rows get no
    // signal, so their selection and place survive.
    void reloadTouchesOnlyWhatChanged() {
        Spies spies(m_model.get());
        load({taskJson(3), taskJson(2, "done", "high"), taskJson(1)});
        QCOMPARE(spies.rowSignals(), 0);
        load({taskJson(4), taskJson(3), taskJson(2, "pending", "high"), taskJson(1)});
        QCOMPARE(spies.inserted.count(), 1);
        QCOMPARE(spies.changed.count(), 1);
        QCOMPARE(spies.changed.first().at(0).toModelIndex().row(), 2);
        QCOMPARE(spies.rowSignals(), 2);
        matchesState();
        load({taskJson(4), taskJson(1)});
        QCOMPARE(spies.removed.count(), 1);
        QCOMPARE(spies.reset.count(), 0);
        matchesState();
    }

    void wholeNewListAndLogout() {
        load({taskJson(10), taskJson(11), taskJson(12)});
        QCOMPARE(rowIds(), (QList<qint64>{10, 11, 12}));
        matchesState();
        m_state->logout();
        QCOMPARE(m_model->rowCount(), 0);
        matchesState();
    }

    void filtersAndSidebar() {
        load({taskJson(1, "pending", "high", "2025-03-05T15:00:00.000Z"),
              taskJson(2, "pending", "low", "2025-03-06T10:00:00.000Z"),
              taskJson(3, "pending", "high", "2025-03-06T11:00:00.000Z"), taskJson(4, "pending", "low"),
              taskJson(5, "done", "high", "2025-03-05T16:00:00.000Z"),
              taskJson(6, "pending", "medium", "2025-03-09T16:00:00.000Z")});
        for (DateFilter date : allDateFilters) {
            for (auto priority :
                 {std::optional<TaskPriority>(), std::optional(TaskPriority::high), std::optional(TaskPriority::low)}) {
                m_state->setDateFilter(date);
                m_state->setPriorityFilter(priority);
                matchesState();
            }
        }
        m_state->setPriorityFilter(std::nullopt);
        m_state->setDateFilter(DateFilter::today);
        QCOMPARE(rowIds(), (QList<qint64>{1, 5}));
        // The archive ignores the date filter.
        m_server.setDefaultReply(ScriptedReply::json(200, listJson({taskJson(1), taskJson(7)})));
        m_state->selectSidebarItem(SidebarItem::archived());
        matchesState();
        QTRY_VERIFY(!m_state->isLoadingTasks());
        matchesState();
        m_state->setDateFilter(DateFilter::today);
        QCOMPARE(rowIds(), (QList<qint64>{1, 7}));
        m_server.setDefaultReply(ScriptedReply::json(200, "{}"));
    }

    // "Today" moves on its own: the clock's tick brings the rows in line.
    void timePassing() {
        load({taskJson(1, "pending", "medium", "2025-03-05T20:00:00.000Z"),
              taskJson(2, "pending", "medium", "2025-03-06T10:00:00.000Z")});
        m_state->setDateFilter(DateFilter::today);
        QCOMPARE(rowIds(), (QList<qint64>{1}));
        Spies spies(m_model.get());
        m_clock.advance(24 * 3600);
        m_model->refresh();
        QCOMPARE(rowIds(), (QList<qint64>{2}));
        QCOMPARE(spies.reset.count(), 0);
        matchesState();
    }

    // Many rows coming and going at once may be one reset; the models stay consistent either way.
    void manyScatteredChanges() {
        QList<QByteArray> many;
        for (int id = 1; id <= 60; ++id)
            many << taskJson(id, "pending", id % 3 == 0 ? "high" : id % 3 == 1 ? "medium" : "low");
        load(many);
        m_state->setPriorityFilter(TaskPriority::high);
        matchesState();
        m_state->setPriorityFilter(TaskPriority::low);
        matchesState();
        m_state->setPriorityFilter(std::nullopt);
        matchesState();
        QList<QByteArray> shuffled;
        for (int id = 60; id >= 1; id -= 2)
            shuffled << taskJson(id, "pending", "high");
        load(shuffled);
        matchesState();
    }

    void rowOfHiddenAndUnknown() {
        m_state->setPriorityFilter(TaskPriority::high);
        QCOMPARE(m_model->rowOf(2), 0);
        QCOMPARE(m_model->rowOf(3), -1);
        QCOMPARE(m_model->rowOf(99), -1);
    }

    void accessibleText() {
        QCOMPARE(m_model->data(m_model->index(0), Qt::AccessibleTextRole).toString(), u"t3"_s);
        m_model->setAccessibleText([](const VexoTask& task) { return u"Задача "_s + task.title; });
        QCOMPARE(m_model->data(m_model->index(0), Qt::AccessibleTextRole).toString(), u"Задача t3"_s);
    }
};

QTEST_GUILESS_MAIN(tst_TaskListModel)
#include "tst_TaskListModel.moc"
