#include "FixedZone.h"
#include "TaskFiltering.h"

#include <QTest>

using namespace Qt::StringLiterals;

// The list's narrowing and counters with the clock fixed at Wednesday 2025-03-05 14:30 in Moscow
// (11:30 UTC). The test runs with TZ=Europe/Moscow so calendar days differ from UTC days.
class tst_TaskFiltering final : public QObject {
    Q_OBJECT

private:
    const QDateTime m_now = QDateTime(QDate(2025, 3, 5), QTime(11, 30), Qt::UTC);

    static VexoTask task(qint64 id, std::optional<QString> deadline, TaskPriority priority = TaskPriority::medium,
                         TaskStatus status = TaskStatus::pending, std::optional<qint64> archived = std::nullopt) {
        VexoTask t;
        t.id = id;
        t.title = u"t%1"_s.arg(id);
        t.deadline = std::move(deadline);
        t.priority = priority;
        t.status = status;
        t.archived = archived;
        t.createdAt = u"2025-03-01"_s;
        return t;
    }

    QList<qint64> visibleIds(const QList<VexoTask>& tasks, DateFilter filter,
                             std::optional<TaskPriority> priority = std::nullopt,
                             SidebarItem item = SidebarItem::allTasks()) const {
        QList<qint64> ids;
        const QList<qint64> deadlines = TaskFiltering::deadlinesOf(tasks);
        for (qsizetype index : TaskFiltering::visibleIndexes(tasks, deadlines, item, filter, priority, m_now))
            ids << tasks[index].id;
        return ids;
    }

private Q_SLOTS:
    void initTestCase() { QCOMPARE(QDateTime(m_now).toLocalTime().time(), QTime(14, 30)); }

    void dateFilters_data() {
        QTest::addColumn<QString>("deadline");
        QTest::addColumn<bool>("today");
        QTest::addColumn<bool>("tomorrow");
        QTest::addColumn<bool>("week");

        // Moscow is UTC+3: the local day 2025-03-05 runs from 03-04 21:00 UTC to 03-05 21:00 UTC.
        QTest::newRow("earlier today") << u"2025-03-05T06:00:00.000Z"_s << true << false << false;
        QTest::newRow("later today") << u"2025-03-05T18:00:00Z"_s << true << false << true;
        QTest::newRow("start of the local day") << u"2025-03-04T21:00:00.000Z"_s << true << false << false;
        QTest::newRow("last minute of the local day") << u"2025-03-05T20:59:00Z"_s << true << false << true;
        QTest::newRow("UTC today but local tomorrow") << u"2025-03-05T21:30:00Z"_s << false << true << true;
        QTest::newRow("tomorrow, database form") << u"2025-03-06 09:00:00"_s << false << true << true;
        QTest::newRow("day after tomorrow") << u"2025-03-07T09:00:00Z"_s << false << false << true;
        QTest::newRow("exactly seven days on") << u"2025-03-12T11:30:00.000Z"_s << false << false << true;
        QTest::newRow("a minute past seven days") << u"2025-03-12T11:31:00.000Z"_s << false << false << false;
        QTest::newRow("exactly now") << u"2025-03-05T11:30:00.000Z"_s << true << false << true;
        QTest::newRow("yesterday") << u"2025-03-04T12:00:00Z"_s << false << false << false;
        QTest::newRow("unreadable") << u"05.03.2025"_s << false << false << false;
        QTest::newRow("empty") << u""_s << false << false << false;
    }

    void dateFilters() {
        QFETCH(QString, deadline);
        QFETCH(bool, today);
        QFETCH(bool, tomorrow);
        QFETCH(bool, week);
        const QList<VexoTask> tasks{task(1, deadline)};
        QCOMPARE(visibleIds(tasks, DateFilter::all), QList<qint64>{1});
        QCOMPARE(!visibleIds(tasks, DateFilter::today).isEmpty(), today);
        QCOMPARE(!visibleIds(tasks, DateFilter::tomorrow).isEmpty(), tomorrow);
        QCOMPARE(!visibleIds(tasks, DateFilter::week).isEmpty(), week);
    }

    void absentDeadlineOnlyUnderAll() {
        const QList<VexoTask> tasks{task(1, std::nullopt)};
        QCOMPARE(visibleIds(tasks, DateFilter::all), QList<qint64>{1});
        QVERIFY(visibleIds(tasks, DateFilter::today).isEmpty());
    }

    void theArchiveIgnoresTheDateFilter() {
        const QList<VexoTask> tasks{task(1, std::nullopt, TaskPriority::low, TaskStatus::done, 1),
                                    task(2, u"2020-01-01"_s, TaskPriority::high, TaskStatus::done, 1)};
        QCOMPARE(visibleIds(tasks, DateFilter::today, std::nullopt, SidebarItem::archived()), (QList<qint64>{1, 2}));
        QCOMPARE(visibleIds(tasks, DateFilter::today, TaskPriority::high, SidebarItem::archived()), QList<qint64>{2});
    }

    void priorityFilterKeepsTheServiceOrder() {
        const QList<VexoTask> tasks{task(5, {}, TaskPriority::high), task(3, {}, TaskPriority::low),
                                    task(9, {}, TaskPriority::high),
                                    task(1, u"2025-03-05T18:00:00Z"_s, TaskPriority::high)};
        QCOMPARE(visibleIds(tasks, DateFilter::all, TaskPriority::high), (QList<qint64>{5, 9, 1}));
        QCOMPARE(visibleIds(tasks, DateFilter::today, TaskPriority::high), QList<qint64>{1});
        QCOMPARE(visibleIds(tasks, DateFilter::today, TaskPriority::low), QList<qint64>{});
    }

    void counters() {
        const QList<VexoTask> tasks{
            task(1, u"2025-03-05T11:29:00Z"_s),                                  // pending, overdue
            task(2, u"2025-03-05T11:30:00Z"_s),                                  // due exactly now: not overdue
            task(3, u"garbage"_s),                                               // unreadable deadline
            task(4, u"2025-03-01"_s, TaskPriority::low, TaskStatus::done),       // done, past
            task(5, u"2025-03-01"_s, TaskPriority::low, TaskStatus::cancelled),  // total only
            task(6, u"2025-03-01"_s, TaskPriority::low, TaskStatus::pending, 1), // archived: nowhere
            task(7, u"2025-03-01 00:00:00"_s, TaskPriority::low, TaskStatus::pending, 0), // archived=0 counts
            task(8, u"2025-03-01"_s, TaskPriority::low, TaskStatus::pending, 2),          // only 1 means archived
        };
        const TaskFiltering::Counts counts = TaskFiltering::count(tasks, TaskFiltering::deadlinesOf(tasks), m_now);
        QCOMPARE(counts.total, 7);
        QCOMPARE(counts.pending, 5);
        QCOMPARE(counts.done, 1);
        QCOMPARE(counts.overdue, 3);
    }
};

VEXO_TEST_MAIN_IN_ZONE(tst_TaskFiltering, "Europe/Moscow")
#include "tst_TaskFiltering.moc"
