#include "AppState.h"
#include "Await.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "TaskListModel.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

QByteArray taskJson(int id, const char* status = "pending", const char* priority = "medium") {
    return QByteArray(R"({"id":)") + QByteArray::number(id) + R"(,"title":"t)" + QByteArray::number(id) +
           R"(","priority":")" + priority + R"(","status":")" + status + R"(","created_at":"2025-03-01"})";
}

} // namespace

// The list model never resets for a single change: one task, one row signal.
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

    struct Spies {
        QSignalSpy inserted, removed, changed, reset;
        explicit Spies(TaskListModel* model)
            : inserted(model, &QAbstractItemModel::rowsInserted)
            , removed(model, &QAbstractItemModel::rowsRemoved)
            , changed(model, &QAbstractItemModel::dataChanged)
            , reset(model, &QAbstractItemModel::modelReset) {}
    };

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_store.setText(u"vexo_token"_s, u"t"_s);
        m_api = std::make_unique<APIService>(m_server.baseUrl(), m_network, m_store);
        m_state = std::make_unique<AppState>(*m_api, m_store, m_clock);
        m_model = std::make_unique<TaskListModel>(*m_state);
        m_server.enqueue(ScriptedReply::json(200, "{\"tasks\":[" + taskJson(3) + "," + taskJson(2, "done", "high") +
                                                      "," + taskJson(1) + "]}"));
        await(m_state->loadTasks());
        QCOMPARE(m_model->rowCount(), 3);
    }

    void createInsertsOneRow() {
        Spies spies(m_model.get());
        m_server.enqueue(ScriptedReply::json(201, "{\"task\":" + taskJson(4) + "}"));
        await(m_state->createTask(u"t4"_s, TaskPriority::medium, {}, {}));
        QCOMPARE(spies.inserted.count(), 1);
        QCOMPARE(spies.inserted.first().at(1).toInt(), 0);
        QCOMPARE(spies.inserted.first().at(2).toInt(), 0);
        QCOMPARE(spies.reset.count(), 0);
        QCOMPARE(m_model->taskAt(0).id, 4);
    }

    void deleteRemovesOneRow() {
        Spies spies(m_model.get());
        m_server.enqueue(ScriptedReply::json(200, R"({"success":true})"));
        await(m_state->deleteTask(2));
        QCOMPARE(spies.removed.count(), 1);
        QCOMPARE(spies.removed.first().at(1).toInt(), 1);
        QCOMPARE(spies.reset.count(), 0);
        QCOMPARE(spies.changed.count(), 0);
        QCOMPARE(m_model->rowCount(), 2);
    }

    void updateChangesOneRow() {
        Spies spies(m_model.get());
        m_server.enqueue(ScriptedReply::json(200, "{\"task\":" + taskJson(2, "pending", "high") + "}"));
        await(m_state->toggleTask(m_state->tasks()[1]));
        QCOMPARE(spies.changed.count(), 1);
        QCOMPARE(spies.changed.first().at(0).toModelIndex().row(), 1);
        QCOMPARE(spies.inserted.count() + spies.removed.count() + spies.reset.count(), 0);
        QCOMPARE(m_model->taskAt(1).status, TaskStatus::pending);
    }

    void filterChangesFollowTheState() {
        m_state->setPriorityFilter(TaskPriority::high);
        QCOMPARE(m_model->rowCount(), 1);
        QCOMPARE(m_model->data(m_model->index(0), TaskListModel::IdRole).toLongLong(), 2);
        m_state->setPriorityFilter(std::nullopt);
        QCOMPARE(m_model->rowCount(), 3);
        for (int row = 0; row < 3; ++row)
            QCOMPARE(m_model->taskAt(row), m_state->tasks()[row]);
    }
};

QTEST_GUILESS_MAIN(tst_TaskListModel)
#include "tst_TaskListModel.moc"
