#include "AppState.h"
#include "Await.h"
#include "ChangeFeed.h"
#include "ClientRig.h"
#include "HoverGuard.h"
#include "Icons.h"
#include "LiveRefresh.h"
#include "ManualTimers.h"
#include "RefreshButton.h"
#include "ScriptedServer.h"
#include "StaleNotice.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QAbstractItemModelTester>
#include <QBoxLayout>
#include <QListView>
#include <QPaintEvent>
#include <QPushButton>
#include <QScrollBar>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using vexo::test::await;

namespace {

QByteArray task(int id, const QByteArray& title = {}) {
    return "{\"id\":" + QByteArray::number(id) + ",\"title\":\"" +
           (title.isEmpty() ? "Задача " + QByteArray::number(id) : title) +
           "\",\"priority\":\"medium\",\"status\":\"pending\",\"created_at\":\"2025-03-01\"}";
}

QByteArray tasks(int count, int renamed = -1) {
    QList<QByteArray> list;
    for (int id = 1; id <= count; ++id)
        list << task(id, id == renamed ? QByteArray("Другое название") : QByteArray());
    return "{\"tasks\":[" + list.join(',') + "]}";
}

// Every region the viewport paints, from the moment it is watched.
class PaintRecorder final : public QObject {
public:
    explicit PaintRecorder(QWidget* target) { target->installEventFilter(this); }
    QRegion painted() const { return m_painted; }
    int paints() const { return m_paints; }
    void clear() {
        m_painted = QRegion();
        m_paints = 0;
    }

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            m_painted += static_cast<QPaintEvent*>(event)->region();
            ++m_paints;
        }
        return false;
    }

private:
    QRegion m_painted;
    int m_paints = 0;
};

} // namespace

// The list's refresh button and stale line on real widgets, and what a background refresh leaves
// alone on screen. The clock is 2025-03-05 12:00 UTC, 15:00 in Moscow, the zone of this test.
class tst_LiveRefreshViews final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<ChangeFeed> m_feed;
    std::unique_ptr<ManualTimers> m_timers;
    std::unique_ptr<LiveRefresh> m_live;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<TaskListView> m_view;
    std::unique_ptr<QAbstractItemModelTester> m_tester;

    void answerTasks(const QByteArray& body, int delayMs = 0) {
        ScriptedReply reply = ScriptedReply::json(200, body);
        reply.delayMs = delayMs;
        m_server.setReplyFor("/api/tasks", reply);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_server.clearReplies();
        m_server.clearRequests();
        m_server.setReplyFor("/api/events", ScriptedReply::json(404, R"({"error":"Not found"})"));
        m_server.setReplyFor("/api/folders", ScriptedReply::json(200, R"({"folders":[]})"));
        answerTasks(tasks(3));
        m_clock.set(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_feed = std::make_unique<ChangeFeed>(m_server.baseUrl(), m_client->network);
        m_timers = std::make_unique<ManualTimers>(m_clock);
        m_live = std::make_unique<LiveRefresh>(m_client->state, m_feed.get(), *m_timers, m_clock);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_theme->apply();
        m_view = std::make_unique<TaskListView>(m_client->state, *m_theme);
        m_view->setLiveRefresh(*m_live);
        m_tester = std::make_unique<QAbstractItemModelTester>(m_view->model(),
                                                              QAbstractItemModelTester::FailureReportingMode::Fatal);
        m_view->resize(900, 700);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
        await(m_client->state.loadTasks());
        QTRY_COMPARE(m_live->feedState(), LiveRefresh::FeedState::unavailable);
    }

    void cleanup() {
        m_tester.reset();
        m_view.reset();
        m_live.reset();
        m_feed.reset();
        m_timers.reset();
        m_client.reset();
    }

    void theButtonSitsRightBeforeNewTask() {
        RefreshButton* button = m_view->refreshButton();
        QVERIFY(button);
        VexoButton* newTask = m_view->newTaskButton();
        QBoxLayout* header = nullptr;
        for (QBoxLayout* row : m_view->findChildren<QBoxLayout*>()) {
            if (row->indexOf(newTask) >= 0)
                header = row;
        }
        QVERIFY(header);
        QCOMPARE(header->indexOf(button), header->indexOf(newTask) - 1);
        QVERIFY(button->isVisible());
        QVERIFY(button->geometry().right() < newTask->geometry().left());
        QVERIFY(qAbs(button->geometry().center().y() - newTask->geometry().center().y()) <= 1);
        QCOMPARE(button->toolTip(), u"Обновить (F5)"_s);
        QCOMPARE(button->accessibleName(), u"Обновить"_s);
        QCOMPARE(RefreshButton::iconName(), u"arrow.clockwise"_s);
        QVERIFY(Icons::has(RefreshButton::iconName()));
        QCOMPARE(button->property("vexoRole").toString(), u"iconButton"_s);
        // Only once, however often it is asked.
        m_view->setLiveRefresh(*m_live);
        QCOMPARE(m_view->findChildren<RefreshButton*>().size(), 1);
        QCOMPARE(m_view->findChildren<StaleNotice*>().size(), 1);
    }

    void theButtonRefreshesAndTurnsMeanwhile() {
        answerTasks(tasks(4), 400);
        m_server.clearRequests();
        RefreshButton* button = m_view->refreshButton();
        QVERIFY(!button->isSpinning());
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(m_live->isRefreshing());
        QVERIFY(button->isSpinning());
        QTRY_VERIFY(button->angle() != 0);
        // No spinner over the list, and the rows stay on screen.
        QCOMPARE(m_view->contentState(), u"list"_s);
        QVERIFY(!m_client->state.isLoadingTasks());
        QTRY_COMPARE(m_view->model()->rowCount(), 4);
        QVERIFY(!m_live->isRefreshing());
        // The turn it began is finished, then it rests upright.
        QTRY_VERIFY(!button->isSpinning());
        QCOMPARE(button->angle(), 0);
        QVERIFY(!m_client->state.toastMessage());
    }

    void aRefreshThatRunsByItselfDoesNotTurnTheButton() {
        answerTasks(tasks(4), 300);
        m_live->setWindowActive(false);
        m_timers->advance(30s);
        m_live->setWindowActive(true);
        QVERIFY(m_live->isRunning());
        QVERIFY(!m_view->refreshButton()->isSpinning());
        QTRY_VERIFY(!m_live->isRunning());
        QCOMPARE(m_view->model()->rowCount(), 4);
        QVERIFY(!m_view->refreshButton()->isSpinning());
    }

    void theStaleLine_data() {
        QTest::addColumn<bool>("succeededBefore");
        QTest::addColumn<QString>("text");
        QTest::newRow("after a success") << true << u"Нет связи с сервисом · обновлено в 15:00"_s;
        QTest::newRow("with no success yet") << false << u"Нет связи с сервисом"_s;
    }
    void theStaleLine() {
        QFETCH(bool, succeededBefore);
        QFETCH(QString, text);
        if (!succeededBefore) {
            // A refresh that has heard nothing from the service yet, on a list of its own.
            m_tester.reset();
            m_view.reset();
            m_live = std::make_unique<LiveRefresh>(m_client->state, m_feed.get(), *m_timers, m_clock);
            m_view = std::make_unique<TaskListView>(m_client->state, *m_theme);
            m_view->setLiveRefresh(*m_live);
            m_view->resize(900, 700);
            m_view->show();
            QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
        }
        StaleNotice* line = m_view->staleNotice();
        QVERIFY(line);
        QVERIFY(!line->isVisible());
        if (succeededBefore) {
            m_timers->advance(7min);
            m_live->refreshNow();
            QTRY_VERIFY(!m_live->isRunning());
            QCOMPARE(m_live->lastSuccess()->toUTC(), QDateTime(QDate(2025, 3, 5), QTime(12, 7), Qt::UTC));
            text.replace(u"15:00"_s, u"15:07"_s);
        } else {
            QVERIFY(!m_live->lastSuccess());
        }
        m_timers->advance(2min);
        m_server.setReplyFor("/api/tasks", ScriptedReply::json(503, R"({"error":"Сбой"})"));
        m_live->refreshNow();
        QTRY_VERIFY(!m_live->isRunning());
        QVERIFY(!line->isVisible());
        m_timers->advance(60s);
        QVERIFY(line->isVisible());
        QCOMPARE(line->text(), text);
        QCOMPARE(line->retryButton()->text(), u"Повторить"_s);
        QVERIFY(!m_client->state.toastMessage());
        // Under the header, above the filters.
        const int top = line->mapTo(m_view.get(), QPoint(0, 0)).y();
        QVERIFY(top >= m_view->newTaskButton()->mapTo(m_view.get(), QPoint(0, m_view->newTaskButton()->height())).y());
        QVERIFY(top + line->height() <= m_view->dateChips().first()->mapTo(m_view.get(), QPoint(0, 0)).y());

        // "Повторить" asks again; the next success takes the line away.
        answerTasks(tasks(3));
        m_server.clearRequests();
        QTest::mouseClick(line->retryButton(), Qt::LeftButton);
        QTRY_VERIFY(!line->isVisible());
        QVERIFY(!m_server.requests().isEmpty());
    }

    // A refresh that changes one visible task repaints that row alone, and leaves the current row,
    // the scroll position and the hovered row as they were.
    void aRefreshTouchesOnlyTheRowThatChanged() {
        answerTasks(tasks(60));
        await(m_client->state.loadTasks());
        QListView* list = m_view->listView();
        QTRY_COMPARE(m_view->model()->rowCount(), 60);
        list->verticalScrollBar()->setValue(list->verticalScrollBar()->maximum() / 2);
        QApplication::processEvents();
        const int scroll = list->verticalScrollBar()->value();
        QVERIFY(scroll > 0);
        const QModelIndex top = list->indexAt(QPoint(10, 10));
        const int hoveredRow = top.row() + 1;
        const int changedRow = top.row() + 3;
        list->setCurrentIndex(m_view->model()->index(top.row() + 2, 0));
        const qint64 currentId = m_view->model()->taskAt(top.row() + 2).id;
        const QRect hovered = list->visualRect(m_view->model()->index(hoveredRow, 0));
        QTest::mouseMove(list->viewport(), hovered.center());
        QTRY_VERIFY(list->viewport()->underMouse());
        // The row fades into its hover look; it is compared once there.
        QTest::qWait(400);
        const QImage hoveredLook = list->viewport()->grab(hovered).toImage();

        PaintRecorder recorder(list->viewport());
        // What was still to paint from the set-up, first.
        QTest::qWait(200);
        recorder.clear();
        answerTasks(tasks(60, int(m_view->model()->taskAt(changedRow).id)));
        m_live->refreshNow();
        QTRY_VERIFY(!m_live->isRunning());
        QTRY_VERIFY(recorder.paints() > 0);
        QApplication::processEvents();
        const QRect changed = list->visualRect(m_view->model()->index(changedRow, 0));
        QCOMPARE(m_view->model()->taskAt(changedRow).title, u"Другое название"_s);
        QVERIFY2(changed.contains(recorder.painted().boundingRect()),
                 qPrintable(u"painted %1,%2 %3×%4"_s.arg(recorder.painted().boundingRect().x())
                                .arg(recorder.painted().boundingRect().y())
                                .arg(recorder.painted().boundingRect().width())
                                .arg(recorder.painted().boundingRect().height())));
        QCOMPARE(list->verticalScrollBar()->value(), scroll);
        QCOMPARE(m_view->model()->taskAt(list->currentIndex().row()).id, currentId);
        QCOMPARE(list->visualRect(m_view->model()->index(hoveredRow, 0)), hovered);
        QCOMPARE(list->viewport()->grab(hovered).toImage(), hoveredLook);
        // The look compared is the hover's own: without it the row looks otherwise.
        HoverGuard::clear(list);
        QTest::qWait(400);
        QVERIFY(list->viewport()->grab(hovered).toImage() != hoveredLook);
    }

    // A row that needs more room than before is laid out again with the rows after it.
    void aRowThatGrowsMovesTheRowsBelow() {
        QListView* list = m_view->listView();
        QTRY_COMPARE(m_view->model()->rowCount(), 3);
        QTest::qWait(200);
        const QRect first = list->visualRect(m_view->model()->index(0, 0));
        const QRect second = list->visualRect(m_view->model()->index(1, 0));
        answerTasks("{\"tasks\":[" + task(1).replace("}", ",\"description\":\"<p>Подробности</p>\"}") + "," + task(2) +
                    "," + task(3) + "]}");
        m_live->refreshNow();
        QTRY_VERIFY(!m_live->isRunning());
        QTRY_VERIFY(list->visualRect(m_view->model()->index(0, 0)).height() > first.height());
        QCOMPARE(list->visualRect(m_view->model()->index(1, 0)).top() - second.top(),
                 list->visualRect(m_view->model()->index(0, 0)).height() - first.height());
    }
};

VEXO_WIDGET_TEST_MAIN_IN_ZONE(tst_LiveRefreshViews, "Europe/Moscow")
#include "tst_LiveRefreshViews.moc"
