#include "TaskFiltering.h"
#include "TaskList.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

VexoTask task(qint64 id, int version = 0) {
    VexoTask t;
    t.id = id;
    t.title = u"t%1 v%2"_s.arg(id).arg(version);
    t.createdAt = u"2025-03-01"_s;
    return t;
}

// A list from "3 1 2" or "3 1' 2": ids in order, a quote for a changed version.
QList<VexoTask> tasks(const QString& shorthand) {
    QList<VexoTask> list;
    const QStringList words = shorthand.split(u' ', Qt::SkipEmptyParts);
    for (const QString& word : words)
        list.append(task(QString(word).remove(u'\'').toLongLong(), int(word.count(u'\''))));
    return list;
}

// Keeps its own copy of the list from the model's signals alone, and checks at every signal that the
// model holds what it announced: rows about to go are still there, rows just come are readable.
class Shadow final : public QObject {
public:
    explicit Shadow(TaskList& model)
        : m_model(model) {
        m_rows = m_model.tasks();
        connect(&model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
                [this](const QModelIndex&, int first, int last) {
                    ++removals;
                    for (int row = first; row <= last; ++row)
                        QCOMPARE(m_model.data(m_model.index(row), TaskList::IdRole).toLongLong(), m_rows[row].id);
                });
        connect(&model, &QAbstractItemModel::rowsRemoved, this, [this](const QModelIndex&, int first, int last) {
            m_rows.remove(first, last - first + 1);
            QCOMPARE(m_model.rowCount(), m_rows.size());
        });
        connect(&model, &QAbstractItemModel::rowsAboutToBeInserted, this,
                [this](const QModelIndex&, int, int) { QCOMPARE(m_model.rowCount(), m_rows.size()); });
        connect(&model, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex&, int first, int last) {
            ++insertions;
            for (int row = first; row <= last; ++row)
                m_rows.insert(row, m_model.data(m_model.index(row), TaskList::TaskRole).value<VexoTask>());
            QCOMPARE(m_model.rowCount(), m_rows.size());
        });
        connect(&model, &QAbstractItemModel::dataChanged, this,
                [this](const QModelIndex& topLeft, const QModelIndex& bottomRight) {
                    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
                        ++changedRows;
                        m_rows[row] = m_model.data(m_model.index(row), TaskList::TaskRole).value<VexoTask>();
                    }
                });
        connect(&model, &QAbstractItemModel::modelReset, this, [this] {
            ++resets;
            m_rows = m_model.tasks();
        });
    }

    const QList<VexoTask>& rows() const { return m_rows; }
    int removals = 0;
    int insertions = 0;
    int changedRows = 0;
    int resets = 0;

private:
    TaskList& m_model;
    QList<VexoTask> m_rows;
};

} // namespace

// The loaded list as a model: the fewest row signals, each sent while the list matches it.
class tst_TaskList final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TaskList> m_list;
    std::unique_ptr<QAbstractItemModelTester> m_tester;

private Q_SLOTS:
    void init() {
        m_list = std::make_unique<TaskList>();
        m_tester = std::make_unique<QAbstractItemModelTester>(m_list.get(),
                                                              QAbstractItemModelTester::FailureReportingMode::Fatal);
    }

    void cleanup() {
        m_tester.reset();
        m_list.reset();
    }

    void assign_data() {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<int>("removals");
        QTest::addColumn<int>("insertions");
        QTest::addColumn<int>("changedRows");
        QTest::addColumn<int>("resets");
        QTest::newRow("same list") << u"1 2 3"_s << u"1 2 3"_s << 0 << 0 << 0 << 0;
        QTest::newRow("one task changed") << u"1 2 3"_s << u"1 2' 3"_s << 0 << 0 << 1 << 0;
        QTest::newRow("two runs changed") << u"1 2 3 4 5"_s << u"1' 2' 3 4' 5"_s << 0 << 0 << 3 << 0;
        QTest::newRow("one new in front") << u"1 2 3"_s << u"4 1 2 3"_s << 0 << 1 << 0 << 0;
        QTest::newRow("new ones in two places") << u"1 2 3"_s << u"1 4 5 2 3 6"_s << 0 << 2 << 0 << 0;
        QTest::newRow("one gone") << u"1 2 3"_s << u"1 3"_s << 1 << 0 << 0 << 0;
        QTest::newRow("a run gone") << u"1 2 3 4 5"_s << u"1 5"_s << 1 << 0 << 0 << 0;
        QTest::newRow("one moved to the front") << u"1 2 3 4"_s << u"4 1 2 3"_s << 1 << 1 << 0 << 0;
        QTest::newRow("moved, changed, gone, new") << u"1 2 3 4 5"_s << u"6 4 1 2' 5"_s << 2 << 1 << 1 << 0;
        QTest::newRow("nothing in common") << u"1 2 3"_s << u"4 5"_s << 1 << 1 << 0 << 0;
        QTest::newRow("first load") << QString() << u"1 2 3"_s << 0 << 1 << 0 << 0;
        QTest::newRow("emptied") << u"1 2 3"_s << QString() << 1 << 0 << 0 << 0;
        QTest::newRow("repeated ids") << u"1 2"_s << u"1 1 2"_s << 0 << 0 << 0 << 1;
    }

    void assign() {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(int, removals);
        QFETCH(int, insertions);
        QFETCH(int, changedRows);
        QFETCH(int, resets);
        m_list->assign(tasks(before));
        Shadow shadow(*m_list);
        QCOMPARE(m_list->assign(tasks(after)), before != after);
        QCOMPARE(m_list->tasks(), tasks(after));
        QCOMPARE(shadow.rows(), tasks(after));
        QCOMPARE(shadow.removals, removals);
        QCOMPARE(shadow.insertions, insertions);
        QCOMPARE(shadow.changedRows, changedRows);
        QCOMPARE(shadow.resets, resets);
        for (qsizetype row = 0; row < m_list->tasks().size(); ++row) {
            QCOMPARE(m_list->ids()[row], m_list->tasks()[row].id);
            QCOMPARE(m_list->rowOf(m_list->tasks()[row].id) >= 0, true);
        }
    }

    // Random old and new lists: whatever the difference, the signals alone rebuild the new list,
    // and a task that stayed in order and unchanged is never signalled.
    void assignRandomLists() {
        QRandomGenerator random(20251122);
        for (int round = 0; round < 300; ++round) {
            QList<VexoTask> before;
            for (qint64 id = 1; id <= 30; ++id) {
                if (random.bounded(3) != 0)
                    before.append(task(id));
            }
            QList<VexoTask> after;
            for (const VexoTask& each : std::as_const(before)) {
                const int fate = int(random.bounded(10));
                if (fate == 0)
                    continue; // gone
                after.append(fate == 1 ? task(each.id, 1) : each);
            }
            for (qint64 id = 31; id <= 36; ++id) {
                if (random.bounded(2) == 0)
                    after.insert(random.bounded(after.size() + 1), task(id));
            }
            if (random.bounded(3) == 0 && after.size() > 2)
                after.move(random.bounded(after.size()), random.bounded(after.size()));

            m_list->assign(before);
            Shadow shadow(*m_list);
            int changedInPlace = 0;
            m_list->assign(after);
            QCOMPARE(shadow.rows(), after);
            QCOMPARE(m_list->tasks(), after);
            for (const VexoTask& each : std::as_const(after)) {
                const auto old = std::find_if(before.cbegin(), before.cend(),
                                              [&](const VexoTask& other) { return other.id == each.id; });
                changedInPlace += old != before.cend() && *old != each;
            }
            QVERIFY(shadow.changedRows <= changedInPlace);
            QCOMPARE(shadow.resets, 0);
        }
    }

    void prependReplaceRemove() {
        m_list->assign(tasks(u"1 2 4 3"_s));
        Shadow shadow(*m_list);
        m_list->prepend(task(9));
        QCOMPARE(shadow.insertions, 1);
        QCOMPARE(m_list->tasks().first().id, 9);

        QVERIFY(m_list->replaceFirst(task(4, 2)));
        QCOMPARE(shadow.changedRows, 1);
        QVERIFY(!m_list->replaceFirst(task(4, 2))); // nothing new: no signal
        QVERIFY(!m_list->replaceFirst(task(77)));   // not listed
        QCOMPARE(shadow.changedRows, 1);

        QVERIFY(m_list->removeAll(2));
        QVERIFY(!m_list->removeAll(2));
        QCOMPARE(shadow.rows(), m_list->tasks());
        QCOMPARE(m_list->tasks(), tasks(u"9 1 4'' 3"_s));
    }

    // Every element with the id goes, in runs, and the rest keep their order.
    void removeAllTakesEveryCopy() {
        m_list->assign(tasks(u"5 5 1 5 2 5"_s));
        Shadow shadow(*m_list);
        QVERIFY(m_list->removeAll(5));
        QCOMPARE(m_list->tasks(), tasks(u"1 2"_s));
        QCOMPARE(shadow.rows(), m_list->tasks());
        QCOMPARE(shadow.removals, 3);
    }

    void deadlinesStayInStep() {
        VexoTask due = task(1);
        due.deadline = u"2025-03-05T12:00:00.000Z"_s;
        m_list->assign({task(2), due});
        QCOMPARE(m_list->deadlines().size(), 2);
        QCOMPARE(m_list->deadlines()[1], QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC).toMSecsSinceEpoch());
        m_list->prepend(task(3));
        QCOMPARE(m_list->deadlines()[2], QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC).toMSecsSinceEpoch());
        due.deadline.reset();
        m_list->replaceFirst(due);
        QCOMPARE(m_list->deadlines()[2], TaskFiltering::noDeadline);
    }
};

QTEST_GUILESS_MAIN(tst_TaskList)
#include "tst_TaskList.moc"
