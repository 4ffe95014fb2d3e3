#include "AppState.h"
#include "Await.h"
#include "FixedZone.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "TaskListModel.h"

#include <QAbstractItemModelTester>
#include <QMimeData>
#include <QNetworkAccessManager>
#include <QRegularExpression>
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

QByteArray describedJson(int id, const char* title, const char* description, const char* priority = "medium") {
    QByteArray json = taskJson(id, "pending", priority, nullptr, title);
    json.chop(1);
    return json + R"(,"description":")" + description + "\"}";
}

QString withoutTags(const QString& html) {
    QString plain = html;
    plain.remove(QRegularExpression(u"<[^>]+>"_s));
    return plain;
}

// The search's rule told plainly: lower case, ё as е, in the title or the description's text.
QString plainFold(const QString& text) {
    return text.toLower().replace(u'ё', u'е');
}

bool found(const VexoTask& task, const QString& query) {
    const QString needle = plainFold(query.trimmed());
    return plainFold(task.title).contains(needle) ||
           plainFold(withoutTags(task.description.value_or(QString()))).contains(needle);
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

    // What the rows must be with a search text: the state's filtered list, narrowed, in its order.
    void matchesSearch(const QString& query) {
        QList<qint64> expected;
        for (const VexoTask& task : m_state->filteredTasks()) {
            if (found(task, query))
                expected << task.id;
        }
        QCOMPARE(rowIds(), expected);
        for (int row = 0; row < m_model->rowCount(); ++row)
            QCOMPARE(m_model->data(m_model->index(row), TaskListModel::SearchTextRole).toString(), query.trimmed());
    }

    void loadSearchable() {
        load({describedJson(1, "Купить ёлку", "<p>до <b>пятницы</b></p>", "high"),
              describedJson(2, "Позвонить маме", "<p>про елку</p>", "low"),
              describedJson(3, "Отчёт за квартал", "<ul><li>таблица</li></ul>", "high"),
              describedJson(4, "Релиз", "<p>Отчет <i>готов</i></p>", "medium"), taskJson(5, "done", "high")});
        m_model->setPlainText(withoutTags);
    }

    // The search narrows what the filters leave, by title or description text, е and ё alike.
    void searchNarrowsAfterTheFilters_data() {
        QTest::addColumn<QString>("query");
        QTest::addColumn<std::optional<TaskPriority>>("priority");
        QTest::addColumn<QList<qint64>>("ids");
        using P = std::optional<TaskPriority>;
        QTest::newRow("ёлку by елку") << u"елку"_s << P() << QList<qint64>{1, 2};
        QTest::newRow("отчет by Отчёт") << u"ОТЧЁТ"_s << P() << QList<qint64>{3, 4};
        QTest::newRow("after the priority filter") << u"отчет"_s << P(TaskPriority::high) << QList<qint64>{3};
        QTest::newRow("description text, not markup") << u"пятницы"_s << P() << QList<qint64>{1};
        QTest::newRow("markup itself is not searched") << u"<b>"_s << P() << QList<qint64>{};
        QTest::newRow("blank is no search") << u"   "_s << P(TaskPriority::high) << QList<qint64>{1, 3, 5};
    }

    void searchNarrowsAfterTheFilters() {
        QFETCH(QString, query);
        QFETCH(std::optional<TaskPriority>, priority);
        QFETCH(QList<qint64>, ids);
        loadSearchable();
        m_state->setPriorityFilter(priority);
        const TaskFiltering::Counts counts = m_state->counts();
        m_model->setSearchText(query);
        QCOMPARE(rowIds(), ids);
        matchesSearch(query);
        QCOMPARE(m_state->counts(), counts); // the counters are the state's, untouched
        // The filter changing under a search keeps both.
        m_state->setPriorityFilter(std::nullopt);
        matchesSearch(query);
        m_model->setSearchText(QString());
        matchesState();
    }

    // Typing on narrows the rows shown; taking letters back widens from the whole list again.
    void typingOnAndBack() {
        loadSearchable();
        Spies spies(m_model.get());
        for (const QString& query : {u"о"_s, u"от"_s, u"отч"_s, u"отче"_s, u"отчет"_s, u"отч"_s, u"о"_s, QString()}) {
            m_model->setSearchText(query);
            matchesSearch(query);
        }
        matchesState();
        QVERIFY(spies.rowSignals() > 0);
    }

    // Highlighting follows the text even when the rows stay the same.
    void searchTextRoleChangesWithTheRows() {
        loadSearchable();
        m_model->setSearchText(u"отч"_s);
        QSignalSpy changed(m_model.get(), &QAbstractItemModel::dataChanged);
        m_model->setSearchText(u"отчё"_s);
        QCOMPARE(rowIds(), (QList<qint64>{3, 4}));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().at(2).value<QList<int>>(), QList<int>{TaskListModel::SearchTextRole});
        QCOMPARE(m_model->searchText(), u"отчё"_s);
    }

    // Tasks added, changed and removed while a search is on are judged by it too.
    void changesUnderASearch() {
        loadSearchable();
        m_model->setSearchText(u"ёлк"_s);
        matchesSearch(u"ёлк"_s);
        answer("{\"task\":" + describedJson(6, "Нарядить елку", "") + "}");
        await(m_state->createTask(u"Нарядить елку"_s, TaskPriority::medium, {}, {}));
        answer("{\"task\":" + describedJson(7, "Другое", "") + "}");
        await(m_state->createTask(u"Другое"_s, TaskPriority::medium, {}, {}));
        matchesSearch(u"ёлк"_s);
        QCOMPARE(rowIds(), (QList<qint64>{6, 1, 2}));
        answer("{\"task\":" + describedJson(3, "Ёлочные игрушки", "") + "}");
        await(m_state->updateTask(3, TaskUpdate{u"Ёлочные игрушки"_s, {}, {}, {}, {}, {}}));
        matchesSearch(u"ёлк"_s); // "ёлоч" is no match
        answer("{\"task\":" + describedJson(2, "Позвонить маме", "<p>ни слова</p>") + "}");
        await(m_state->updateTask(2, TaskUpdate{{}, u"<p>ни слова</p>"_s, {}, {}, {}, {}}));
        matchesSearch(u"ёлк"_s);
        QCOMPARE(rowIds(), (QList<qint64>{6, 1}));
        answer(R"({"success":true})");
        await(m_state->deleteTask(1));
        matchesSearch(u"ёлк"_s);
        load({describedJson(9, "Ёлка", ""), describedJson(8, "Пальма", "")});
        matchesSearch(u"ёлк"_s);
    }

    // A long list is searched once the worker has made its texts; until then the rows stay.
    void aLongListWaitsForTheWorker() {
        QList<QByteArray> many;
        const int count = int(TaskSearchIndex::syncLimit) * 2;
        for (int id = 1; id <= count; ++id)
            many << describedJson(id, id % 7 == 0 ? "Отчёт" : "Задача", id % 5 == 0 ? "<p>про отчет</p>" : "");
        load(many);
        m_model->setPlainText(withoutTags);
        m_model->setSearchOpen(true);
        QVERIFY(m_model->searchIndex().isBuilding());
        m_model->setSearchText(u"отчет"_s);
        QVERIFY(m_model->searchPending());
        QCOMPARE(m_model->rowCount(), count); // unchanged while waiting
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->searchPending(), 20'000);
        matchesSearch(u"отчет"_s);
        // The next letters are searched at once.
        m_model->setSearchText(u"отчет з"_s);
        QVERIFY(!m_model->searchPending());
        matchesSearch(u"отчет з"_s);
        // Closing drops the texts and the text.
        m_model->setSearchOpen(false);
        QVERIFY(!m_model->searchIndex().isActive());
        QCOMPARE(m_model->searchText(), QString());
        matchesState();
    }

    void dragCarriesTheTaskId() {
        QVERIFY(m_model->flags(m_model->index(1)) & Qt::ItemIsDragEnabled);
        QCOMPARE(m_model->mimeTypes(), QStringList{TaskListModel::taskMimeType});
        std::unique_ptr<QMimeData> data(m_model->mimeData({m_model->index(1)}));
        QCOMPARE(TaskListModel::taskIdIn(data.get()), std::optional<qint64>(2));
        QMimeData other;
        other.setText(u"2"_s);
        QCOMPARE(TaskListModel::taskIdIn(&other), std::nullopt);
    }

    void accessibleText() {
        QCOMPARE(m_model->data(m_model->index(0), Qt::AccessibleTextRole).toString(), u"t3"_s);
        m_model->setAccessibleText([](const VexoTask& task) { return u"Задача "_s + task.title; });
        QCOMPARE(m_model->data(m_model->index(0), Qt::AccessibleTextRole).toString(), u"Задача t3"_s);
    }
};

VEXO_TEST_MAIN_IN_ZONE(tst_TaskListModel, "UTC")
#include "tst_TaskListModel.moc"
