#include "Await.h"
#include "DesktopPreferences.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "ReminderScheduler.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

class RecordingNotifier final : public Notifier {
public:
    void notify(const Notification& notification) override { shown.append(notification); }
    QList<Notification> shown;
};

const QDateTime start(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC);

} // namespace

// Deadline reminders against the real local service, with a clock the test turns.
class tst_ReminderScheduler final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    QNetworkAccessManager m_network;
    std::unique_ptr<MemoryStore> m_store;
    std::unique_ptr<APIService> m_api;
    std::unique_ptr<FixedClock> m_clock;
    std::unique_ptr<DesktopPreferences> m_preferences;
    RecordingNotifier m_notifier;
    std::unique_ptr<ReminderScheduler> m_scheduler;

    qint64 addTask(const QString& title, std::optional<QDateTime> deadline) {
        const std::optional<QString> text =
            deadline ? std::optional<QString>(deadline->toString(Qt::ISODateWithMs)) : std::nullopt;
        return await(m_api->createTask(title, TaskPriority::medium, std::nullopt, text)).task.id;
    }

    QDateTime in(int minutes) const { return m_clock->now().addSecs(minutes * 60); }

    // A scheduler that has fetched once, as a client that has just started.
    void startScheduler() {
        m_scheduler = std::make_unique<ReminderScheduler>(*m_api, *m_store, *m_clock, *m_preferences, m_notifier);
        QSignalSpy refreshed(m_scheduler.get(), &ReminderScheduler::refreshed);
        m_scheduler->setActive(true);
        QVERIFY(refreshed.wait(10000));
    }

    void refetch() {
        QSignalSpy refreshed(m_scheduler.get(), &ReminderScheduler::refreshed);
        m_scheduler->refresh();
        QVERIFY(refreshed.wait(10000));
    }

    void advance(int minutes) {
        m_clock->advance(qint64(minutes) * 60);
        m_scheduler->check();
    }

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>(start);
        m_store = std::make_unique<MemoryStore>();
        m_api = std::make_unique<APIService>(m_service->baseUrl(), m_network, *m_store);
        const QString key = m_service->addUser(u"501"_s, false, u"Нина"_s);
        m_store->setText(u"vexo_token"_s, await(m_api->verifyKey(key)).token);
        m_clock = std::make_unique<FixedClock>(start);
        m_preferences = std::make_unique<DesktopPreferences>(*m_store);
        m_notifier.shown.clear();
    }

    void cleanup() {
        m_scheduler.reset();
        m_api->abortPending();
    }

    void leadTime_data() {
        QTest::addColumn<int>("lead");
        QTest::addColumn<int>("minutesLeft");
        QTest::addColumn<bool>("reminded");
        QTest::newRow("15 min, 20 left") << 15 << 20 << false;
        QTest::newRow("15 min, 15 left") << 15 << 15 << true;
        QTest::newRow("15 min, 1 left") << 15 << 1 << true;
        QTest::newRow("5 min, 6 left") << 5 << 6 << false;
        QTest::newRow("5 min, 5 left") << 5 << 5 << true;
        QTest::newRow("30 min, 29 left") << 30 << 29 << true;
        QTest::newRow("60 min, 61 left") << 60 << 61 << false;
        QTest::newRow("60 min, 60 left") << 60 << 60 << true;
        QTest::newRow("at the deadline, 1 left") << 0 << 1 << false;
    }

    void leadTime() {
        QFETCH(int, lead);
        QFETCH(int, minutesLeft);
        QFETCH(bool, reminded);
        m_preferences->setLeadMinutes(lead);
        const qint64 id = addTask(u"Сдать отчёт"_s, in(minutesLeft));
        startScheduler();
        if (!reminded) {
            QCOMPARE(m_notifier.shown.size(), 0);
            return;
        }
        QCOMPARE(m_notifier.shown.size(), 1);
        QCOMPARE(m_notifier.shown.first(),
                 (Notification{u"Дедлайн через %1 мин"_s.arg(minutesLeft), u"Сдать отчёт"_s, id}));
    }

    void overdueAfterTheLeadReminderOnceEach() {
        const qint64 id = addTask(u"Позвонить"_s, in(10));
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 1);
        advance(9);
        m_scheduler->check();
        QCOMPARE(m_notifier.shown.size(), 1);
        advance(1);
        QCOMPARE(m_notifier.shown.size(), 2);
        QCOMPARE(m_notifier.shown.last(), (Notification{u"Срок задачи истёк"_s, u"Позвонить"_s, id}));
        advance(30);
        refetch();
        QCOMPARE(m_notifier.shown.size(), 2);
    }

    void atTheDeadlineRemindsOnlyThen() {
        m_preferences->setLeadMinutes(0);
        const qint64 id = addTask(u"Отправить"_s, in(3));
        startScheduler();
        advance(2);
        QCOMPARE(m_notifier.shown.size(), 0);
        advance(1);
        QCOMPARE(m_notifier.shown.size(), 1);
        QCOMPARE(m_notifier.shown.first(), (Notification{u"Срок задачи истёк"_s, u"Отправить"_s, id}));
    }

    void firesOnceAcrossARestart() {
        addTask(u"Купить билеты"_s, in(10));
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 1);

        // The client starts again later, before the deadline: nothing is shown twice.
        m_scheduler.reset();
        m_clock->advance(60);
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 1);

        // The overdue reminder is another one, and it too fires once across a restart.
        advance(10);
        QCOMPARE(m_notifier.shown.size(), 2);
        m_scheduler.reset();
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 2);
    }

    void aNewDeadlineRemindsAgain() {
        const qint64 id = addTask(u"Презентация"_s, in(10));
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 1);
        TaskUpdate update;
        update.deadline = in(60).toString(Qt::ISODateWithMs);
        await(m_api->updateTask(id, update));
        refetch();
        QCOMPARE(m_notifier.shown.size(), 1);
        advance(45);
        QCOMPARE(m_notifier.shown.size(), 2);
        QCOMPARE(m_notifier.shown.last().summary, u"Дедлайн через 15 мин"_s);
    }

    void manyAtOnceMakeOneSummary() {
        for (const QString& title : {u"Один"_s, u"Два"_s, u"Три"_s, u"Четыре"_s})
            addTask(title, in(5));
        addTask(u"Потом"_s, in(120));
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 1);
        QCOMPARE(m_notifier.shown.first(), (Notification{u"Напоминания о дедлайнах: 4 задачи"_s,
                                                         u"• Один\n• Два\n• Три\nи ещё 1"_s, std::nullopt}));
        // Each of them has fired: when they become overdue, that is the next (single) summary.
        advance(5);
        QCOMPARE(m_notifier.shown.size(), 2);
        QCOMPARE(m_notifier.shown.last().summary, u"Напоминания о дедлайнах: 4 задачи"_s);
    }

    void upToTheThresholdEachHasItsOwn() {
        for (const QString& title : {u"Один"_s, u"Два"_s, u"Три"_s})
            addTask(title, in(5));
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), ReminderScheduler::summaryThreshold);
        QStringList bodies;
        for (const Notification& each : std::as_const(m_notifier.shown)) {
            QVERIFY(each.taskId);
            bodies << each.body;
        }
        QCOMPARE(bodies, (QStringList{u"Один"_s, u"Два"_s, u"Три"_s}));
    }

    void summaryWords_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("summary");
        QTest::newRow("4") << 4 << u"Напоминания о дедлайнах: 4 задачи"_s;
        QTest::newRow("5") << 5 << u"Напоминания о дедлайнах: 5 задач"_s;
        QTest::newRow("11") << 11 << u"Напоминания о дедлайнах: 11 задач"_s;
        QTest::newRow("12") << 12 << u"Напоминания о дедлайнах: 12 задач"_s;
        QTest::newRow("21") << 21 << u"Напоминания о дедлайнах: 21 задача"_s;
        QTest::newRow("22") << 22 << u"Напоминания о дедлайнах: 22 задачи"_s;
        QTest::newRow("111") << 111 << u"Напоминания о дедлайнах: 111 задач"_s;
    }

    void summaryWords() {
        QFETCH(int, count);
        QFETCH(QString, summary);
        QList<VexoTask> tasks(count);
        QCOMPARE(ReminderScheduler::summaryFor(tasks).summary, summary);
    }

    void everyPendingUnarchivedTaskNotOnlyTheListOnScreen() {
        const qint64 folder = await(m_api->createFolder(u"Дом"_s, u"#FF6B6B"_s)).folder.id;
        const qint64 inFolder = addTask(u"В папке"_s, in(5));
        TaskUpdate move;
        move.folderId = folder;
        await(m_api->updateTask(inFolder, move));
        const qint64 done = addTask(u"Сделано"_s, in(5));
        await(m_api->putTaskStatus(done, TaskStatus::pending));
        const qint64 archived = addTask(u"В архиве"_s, in(5));
        await(m_api->postTaskArchive(archived));
        addTask(u"Без дедлайна"_s, std::nullopt);
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 1);
        QCOMPARE(m_notifier.shown.first().taskId, std::optional<qint64>(inFolder));
        QCOMPARE(m_scheduler->pendingTasks().size(), 2);
        QVERIFY(m_scheduler->pendingTask(inFolder));
        QVERIFY(!m_scheduler->pendingTask(done));
    }

    void anOldOverdueTaskStaysQuiet() {
        addTask(u"Позавчера"_s, in(-ReminderScheduler::overdueWindowSecs / 60 - 1));
        addTask(u"Час назад"_s, in(-60));
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 1);
        QCOMPARE(m_notifier.shown.first().body, u"Час назад"_s);
    }

    void switchedOffNothingIsShownUntilSwitchedOn() {
        m_preferences->setRemindersEnabled(false);
        addTask(u"Тихо"_s, in(5));
        startScheduler();
        advance(1);
        QCOMPARE(m_notifier.shown.size(), 0);
        m_preferences->setRemindersEnabled(true);
        QCOMPARE(m_notifier.shown.size(), 1);
    }

    void aLongerLeadTimeAppliesAtOnce() {
        addTask(u"Через полчаса"_s, in(25));
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 0);
        m_preferences->setLeadMinutes(30);
        QCOMPARE(m_notifier.shown.size(), 1);
        QCOMPARE(m_notifier.shown.first().summary, u"Дедлайн через 25 мин"_s);
    }

    void inactiveFetchesNothingAndForgets() {
        addTask(u"Задача"_s, in(5));
        m_scheduler = std::make_unique<ReminderScheduler>(*m_api, *m_store, *m_clock, *m_preferences, m_notifier);
        QSignalSpy refreshed(m_scheduler.get(), &ReminderScheduler::refreshed);
        m_scheduler->refresh();
        m_scheduler->check();
        QVERIFY(!refreshed.wait(300));
        QCOMPARE(m_notifier.shown.size(), 0);

        QVERIFY(refreshed.isEmpty());
        m_scheduler->setActive(true);
        QVERIFY(refreshed.wait(10000));
        QCOMPARE(m_scheduler->pendingTasks().size(), 1);
        m_scheduler->setActive(false);
        QVERIFY(m_scheduler->pendingTasks().isEmpty());
        QVERIFY(m_scheduler->nextCheck().count() < 0);
    }

    void aFailedFetchKeepsTheList() {
        addTask(u"Задача"_s, in(50));
        startScheduler();
        QCOMPARE(m_scheduler->pendingTasks().size(), 1);
        m_service.reset();
        refetch();
        QCOMPARE(m_scheduler->pendingTasks().size(), 1);
        advance(40);
        QCOMPARE(m_notifier.shown.size(), 1);
    }

    void aRefreshDuringAFetchFetchesOnceMore() {
        startScheduler();
        QSignalSpy refreshed(m_scheduler.get(), &ReminderScheduler::refreshed);
        // The first starts a fetch; the other two, asked while it is on the wire, make one more.
        m_scheduler->refresh();
        m_scheduler->refresh();
        m_scheduler->refresh();
        QTRY_COMPARE_WITH_TIMEOUT(refreshed.size(), 2, 10000);
        QVERIFY(!refreshed.wait(500));
    }

    void theNextCheckComesWhenAReminderFallsDue() {
        addTask(u"Скоро"_s, m_clock->now().addSecs(15 * 60 + 10));
        startScheduler();
        QCOMPARE(m_notifier.shown.size(), 0);
        const qint64 next = m_scheduler->nextCheck().count();
        QVERIFY2(next > 8000 && next <= 10000, QByteArray::number(next));
        m_clock->advance(10);
        m_scheduler->check();
        QCOMPARE(m_notifier.shown.size(), 1);
        QVERIFY(m_scheduler->nextCheck() <= std::chrono::milliseconds(ReminderScheduler::checkInterval));
    }

    void firedRecordsArePrunedOnceUseless() {
        addTask(u"Первая"_s, in(5));
        startScheduler();
        QCOMPARE(m_store->text(u"vexo_reminders_fired"_s).value_or(QString()).split(u'\n').size(), 1);
        advance(5);
        QCOMPARE(m_store->text(u"vexo_reminders_fired"_s).value_or(QString()).split(u'\n').size(), 2);
        // Two days on, the next reminder to fire saves a list without the old records.
        m_clock->advance(2 * 24 * 3600);
        addTask(u"Вторая"_s, in(5));
        refetch();
        const QStringList records = m_store->text(u"vexo_reminders_fired"_s).value_or(QString()).split(u'\n');
        QCOMPARE(records.size(), 1);
        QVERIFY(records.first().contains(u"\tsoon\t"_s));
    }
};

QTEST_GUILESS_MAIN(tst_ReminderScheduler)
#include "tst_ReminderScheduler.moc"
