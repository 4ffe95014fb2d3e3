#include "APIService.h"
#include "Await.h"
#include "ChangeFeed.h"
#include "ClientRig.h"
#include "HttpProbe.h"
#include "LiveRefresh.h"
#include "LocalService.h"
#include "ManualTimers.h"
#include "RowJournal.h"
#include "ScriptedServer.h"
#include "TaskListModel.h"

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using vexo::test::await;
using FeedState = LiveRefresh::FeedState;

namespace {

QDateTime start() {
    return QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC);
}

// A signed-in client as the application wires it, with time that moves only when the test says:
// the state, its filtered model (under testers), the change feed and the background refresh.
struct LiveClient {
    LiveClient(const QString& base, const QString& token, bool withFeed = true)
        : client(base, clock, token)
        , feed(base, client.network)
        , timers(clock)
        , model(client.state)
        , live(client.state, withFeed ? &feed : nullptr, timers, clock) {
        QObject::connect(&live, &LiveRefresh::feedStateChanged, &live, [this] { states << live.feedState(); });
    }

    AppState& state() { return client.state; }
    bool hasTask(qint64 id) const {
        for (int row = 0; row < model.rowCount(); ++row) {
            if (model.taskAt(row).id == id)
                return client.state.taskList().rowOf(id) >= 0;
        }
        return false;
    }
    // How many times the feed was opened since `from` (an index into `states`).
    qsizetype attemptsSince(qsizetype from) const { return states.mid(from).count(FeedState::connecting); }

    // Moves time on by `by` a timer at a time, letting what each timer started settle (a feed
    // attempt ends, a refresh comes back) before the next one comes due.
    bool advanceSettled(std::chrono::milliseconds by) {
        while (by > 0ms) {
            const auto next = timers.nextDue();
            const auto step = next < 0ms || next > by ? by : next;
            timers.advance(step);
            by -= step;
            if (!QTest::qWaitFor([this] { return !feed.isOpening() && !live.isRunning(); }, 10'000))
                return false;
        }
        return true;
    }

    FixedClock clock{start()};
    ClientRig client;
    ChangeFeed feed;
    ManualTimers timers;
    TaskListModel model;
    // The testers only read.
    QAbstractItemModelTester listTester{const_cast<TaskList*>(&client.state.taskList()),
                                        QAbstractItemModelTester::FailureReportingMode::Fatal};
    QAbstractItemModelTester modelTester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
    LiveRefresh live;
    QList<FeedState> states; // every state the feed went through
};

// A service that offers no feed: /api/events is 404, the lists are scripted.
void withoutFeed(ScriptedServer& server, const QByteArray& tasks = R"({"tasks":[]})") {
    server.clearReplies();
    server.setReplyFor("/api/events", ScriptedReply::json(404, R"({"error":"Not found"})"));
    server.setReplyFor("/api/folders", ScriptedReply::json(200, R"({"folders":[]})"));
    server.setReplyFor("/api/tasks", ScriptedReply::json(200, tasks));
}

int countOf(const ScriptedServer& server, const QByteArray& prefix) {
    int count = 0;
    for (const RecordedRequest& request : server.requests())
        count += request.target.startsWith(prefix) ? 1 : 0;
    return count;
}

} // namespace

// When the client refreshes by itself, and what it says while it cannot: the change feed of the real
// local service, activation, polling without a feed, back-off, staleness. Timers move only when the
// test moves them, so nothing here is a timed assertion.
class tst_LiveRefresh final : public QObject {
    Q_OBJECT

private:
    QNetworkAccessManager m_network;

    // Runs the vexo-server command line against the service's data and returns what it printed.
    QString runCommand(const LocalService& service, QStringList arguments) {
        QProcess process;
        process.start(QStringLiteral(VEXO_SERVER_BINARY), arguments << u"--data"_s << service.dataDir());
        if (!process.waitForFinished(60'000))
            qFatal("vexo-server did not finish");
        if (process.exitCode() != 0)
            qWarning("%s", process.readAllStandardError().constData());
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }

private Q_SLOTS:
    // A task added anywhere else reaches a running client's state and list model through the feed
    // alone: no timer moves here, so nothing polls.
    void aTaskAddedElsewhereArrivesThroughTheFeed_data() {
        QTest::addColumn<QString>("source");
        QTest::newRow("vexo-server task add") << u"command line"_s;
        QTest::newRow("the external API") << u"external API"_s;
        QTest::newRow("another client") << u"another client"_s;
    }
    void aTaskAddedElsewhereArrivesThroughTheFeed() {
        QFETCH(QString, source);
        LocalService service;
        service.addUser(u"77"_s);
        LiveClient live(service.baseUrl(), QString::fromUtf8(service.signIn(u"77"_s)));
        await(live.state().loadAll());
        QTRY_COMPARE(live.live.feedState(), FeedState::open);
        QTRY_VERIFY(!live.live.isRunning());
        QSignalSpy refreshed(&live.live, &LiveRefresh::refreshed);

        qint64 id = 0;
        if (source == u"command line") {
            id = runCommand(service, {u"task"_s, u"add"_s, u"--telegram-id"_s, u"77"_s, u"--title"_s, u"Из бота"_s})
                     .toLongLong();
        } else if (source == u"external API") {
            const QString key = await(live.client.api.fetchApiKey()).apiKey;
            const ProbeReply reply =
                probe(m_network, "POST", service.baseUrl() + u"/api/external/tasks"_s, R"({"title":"Извне"})",
                      {{"x-api-key", key.toUtf8()}, {"Content-Type", "application/json"}});
            QCOMPARE(reply.status, 201);
            id = QJsonDocument::fromJson(reply.body).object().value(u"task"_s).toObject().value(u"id"_s).toInteger();
        } else {
            ClientRig other(service.baseUrl(), service.clock(), QString::fromUtf8(service.signIn(u"77"_s)));
            id = await(other.api.createTask(u"С телефона"_s, TaskPriority::low, {}, {})).task.id;
        }
        QVERIFY(id > 0);
        QElapsedTimer arrival;
        arrival.start();
        QTRY_VERIFY_WITH_TIMEOUT(live.hasTask(id), 10'000);
        qInfo("arrived %lld ms after the change was made", arrival.elapsed());
        QCOMPARE(live.state().tasks().first().id, id);
        QVERIFY(refreshed.size() >= 1);
        QVERIFY(!live.state().toastMessage());
        QVERIFY(!live.state().isLoadingTasks());
    }

    void oneUsersChangesNeverReachAnother() {
        LocalService service;
        service.addUser(u"1"_s);
        service.addUser(u"2"_s);
        LiveClient first(service.baseUrl(), QString::fromUtf8(service.signIn(u"1"_s)));
        LiveClient second(service.baseUrl(), QString::fromUtf8(service.signIn(u"2"_s)));
        QTRY_COMPARE(first.live.feedState(), FeedState::open);
        QTRY_COMPARE(second.live.feedState(), FeedState::open);
        QTRY_VERIFY(!first.live.isRunning() && !second.live.isRunning());
        QSignalSpy heard(&second.feed, &ChangeFeed::changed);
        QSignalSpy refreshed(&second.live, &LiveRefresh::refreshed);
        RowJournal rows(second.model);

        const qint64 id = await(first.client.api.createTask(u"Только моё"_s, TaskPriority::high, {}, {})).task.id;
        await(first.client.api.createFolder(u"Моя папка"_s, u"#FF6B6B"_s));
        QTRY_VERIFY(first.hasTask(id));
        QTRY_COMPARE(first.state().folders().size(), 1);
        QTest::qWait(300);
        QCOMPARE(heard.size(), 0);
        QCOMPARE(refreshed.size(), 0);
        QCOMPARE(rows.entries(), QStringList());
        QVERIFY(second.state().tasks().isEmpty());
        QVERIFY(second.state().folders().isEmpty());
    }

    void aFeedThatDiesFallsBackToPolling() {
        LocalService service;
        service.addUser(u"5"_s);
        LiveClient live(service.baseUrl(), QString::fromUtf8(service.signIn(u"5"_s)));
        live.live.setWindowVisible(true);
        QTRY_COMPARE(live.live.feedState(), FeedState::open);
        QTRY_VERIFY(!live.live.isRunning());
        QVERIFY(!live.live.isPolling());

        // The service restarts without its feed (every feed socket refused as "full").
        const quint16 port = service.port();
        service.stop();
        QTRY_COMPARE(live.live.feedState(), FeedState::retrying);
        QVERIFY(live.live.isPolling());
        VexoServer restarted(service.storage(), service.clock());
        FeedLimits noFeed;
        noFeed.maxSockets = 0;
        restarted.setFeedLimits(noFeed);
        QCOMPARE(restarted.listen(QHostAddress::LocalHost, port), port);
        QVERIFY(live.advanceSettled(1s));
        QCOMPARE(live.live.feedState(), FeedState::unavailable);

        NewTask task;
        task.title = u"Пока ленты нет"_s;
        task.source = u"bot"_s;
        const qint64 id =
            service.storage()
                .insertTask(service.userId(u"5"_s), task, false, service.clock().now().toString(Qt::ISODateWithMs))
                .id;
        QVERIFY(live.advanceSettled(58s));
        QVERIFY(!live.hasTask(id));
        QVERIFY(live.advanceSettled(1s));
        QVERIFY(live.hasTask(id));
        QVERIFY(!live.live.isStale());
        QVERIFY(!live.state().toastMessage());
    }

    void theFeedReconnectsLaterAndLater() {
        LocalService service;
        service.addUser(u"5"_s);
        LiveClient live(service.baseUrl(), QString::fromUtf8(service.signIn(u"5"_s)));
        QTRY_COMPARE(live.live.feedState(), FeedState::open);
        const quint16 port = service.port();
        service.stop();
        QTRY_COMPARE(live.live.feedState(), FeedState::retrying);
        for (const auto wait : {1000ms, 2000ms, 4000ms, 8000ms, 16000ms}) {
            const qsizetype before = live.states.size();
            QVERIFY(live.advanceSettled(wait - 1ms));
            QCOMPARE(live.attemptsSince(before), 0);
            QVERIFY(live.advanceSettled(1ms));
            QCOMPARE(live.attemptsSince(before), 1);
            QCOMPARE(live.live.feedState(), FeedState::retrying);
        }
        // Back again: the next attempt opens the feed, and the client refreshes at once.
        VexoServer restarted(service.storage(), service.clock());
        QCOMPARE(restarted.listen(QHostAddress::LocalHost, port), port);
        QSignalSpy refreshed(&live.live, &LiveRefresh::refreshed);
        QVERIFY(live.advanceSettled(32s));
        QTRY_COMPARE(live.live.feedState(), FeedState::open);
        QTRY_COMPARE(refreshed.size(), 1);
    }

    void aSessionTheFeedRefusesIsNotAskedAgainSoon() {
        LocalService service;
        service.addUser(u"5"_s);
        LiveClient live(service.baseUrl(), u"revoked"_s);
        QTRY_COMPARE(live.live.feedState(), FeedState::retrying);
        QCOMPARE(live.timers.nextDue(), 60s);
        const qsizetype before = live.states.size();
        QVERIFY(live.advanceSettled(59s));
        QCOMPARE(live.attemptsSince(before), 0);
        QVERIFY(live.advanceSettled(1s));
        QCOMPARE(live.attemptsSince(before), 1);
        QCOMPARE(live.timers.nextDue(), 60s);
    }

    // A service without a feed is polled every minute while the window is visible, and never said to
    // be anything but fine.
    void withoutAFeedTheVisibleWindowPolls() {
        ScriptedServer server;
        QVERIFY(server.listen());
        withoutFeed(server);
        LiveClient live(server.baseUrl(), u"t"_s);
        QTRY_COMPARE(live.live.feedState(), FeedState::unavailable);
        QCOMPARE(countOf(server, "/api/tasks"), 0);
        QVERIFY(!live.live.isPolling());

        live.live.setWindowVisible(true);
        live.timers.advance(59s);
        QCOMPARE(countOf(server, "/api/tasks"), 0);
        live.timers.advance(1s);
        QTRY_COMPARE(countOf(server, "/api/tasks"), 1);
        QTRY_VERIFY(live.live.isPolling());
        live.timers.advance(60s);
        QTRY_COMPARE(countOf(server, "/api/tasks"), 2);
        QTRY_VERIFY(live.live.isPolling());

        live.live.setWindowVisible(false);
        QVERIFY(!live.live.isPolling());
        live.timers.advance(10min);
        QCOMPARE(countOf(server, "/api/tasks"), 2);

        QVERIFY(!live.state().toastMessage());
        QVERIFY(!live.live.isStale());
        QCOMPARE(countOf(server, "/api/user/settings"), 0);
    }

    void aServiceWithoutAFeedIsAskedForOneRarely() {
        ScriptedServer server;
        QVERIFY(server.listen());
        withoutFeed(server);
        LiveClient live(server.baseUrl(), u"t"_s);
        QTRY_COMPARE(countOf(server, "/api/events"), 1);
        QTRY_COMPARE(live.live.feedState(), FeedState::unavailable);
        // Later and later: after 1, 2, 4… 512 s, then every ten minutes.
        QVERIFY(live.advanceSettled(1h));
        QCOMPARE(countOf(server, "/api/events"), 15);
        QVERIFY(live.advanceSettled(1h));
        QCOMPARE(countOf(server, "/api/events"), 21);
        QCOMPARE(live.live.feedState(), FeedState::unavailable);
    }

    // The lists do not show settings, and the settings screen keeps what the user set there.
    void aChangeOfSettingsRefreshesNothing() {
        LocalService service;
        service.addUser(u"5"_s);
        LiveClient live(service.baseUrl(), QString::fromUtf8(service.signIn(u"5"_s)));
        QTRY_COMPARE(live.live.feedState(), FeedState::open);
        QTRY_VERIFY(!live.live.isRunning());
        QSignalSpy heard(&live.feed, &ChangeFeed::changed);
        QSignalSpy refreshed(&live.live, &LiveRefresh::refreshed);
        ClientRig other(service.baseUrl(), service.clock(), QString::fromUtf8(service.signIn(u"5"_s)));
        await(other.api.updateSettings(true));
        QTRY_COMPARE(heard.size(), 1);
        QTest::qWait(100);
        QVERIFY(!live.live.isRunning());
        QCOMPARE(refreshed.size(), 0);
    }

    void noPollingWhileTheFeedIsOpen() {
        LocalService service;
        service.addUser(u"5"_s);
        LiveClient live(service.baseUrl(), QString::fromUtf8(service.signIn(u"5"_s)));
        live.live.setWindowVisible(true);
        QTRY_COMPARE(live.live.feedState(), FeedState::open);
        QTRY_VERIFY(!live.live.isRunning());
        QSignalSpy refreshed(&live.live, &LiveRefresh::refreshed);
        QVERIFY(!live.live.isPolling());
        live.timers.advance(10min);
        QTest::qWait(100);
        QCOMPARE(refreshed.size(), 0);
    }

    void comingBackAfterAwayRefreshes_data() {
        QTest::addColumn<int>("awaySeconds");
        QTest::addColumn<int>("refreshes");
        QTest::newRow("29 s") << 29 << 0;
        QTest::newRow("30 s") << 30 << 1;
        QTest::newRow("an hour") << 3600 << 1;
    }
    void comingBackAfterAwayRefreshes() {
        QFETCH(int, awaySeconds);
        QFETCH(int, refreshes);
        ScriptedServer server;
        QVERIFY(server.listen());
        withoutFeed(server);
        LiveClient live(server.baseUrl(), u"t"_s);
        live.live.setWindowActive(true);
        live.live.setWindowActive(false);
        live.timers.advance(std::chrono::seconds(awaySeconds));
        server.clearRequests();
        live.live.setWindowActive(true);
        QTRY_VERIFY(!live.live.isRunning());
        QTest::qWait(50);
        QCOMPARE(countOf(server, "/api/tasks"), refreshes);
        // Becoming active again right away is no time away.
        live.live.setWindowActive(false);
        live.live.setWindowActive(true);
        QTest::qWait(50);
        QCOMPARE(countOf(server, "/api/tasks"), refreshes);
    }

    void failuresBackOff() {
        ScriptedServer server;
        QVERIFY(server.listen());
        withoutFeed(server);
        LiveClient live(server.baseUrl(), u"t"_s);
        live.live.setWindowVisible(true);
        QVERIFY(live.advanceSettled(60s));
        QCOMPARE(countOf(server, "/api/tasks"), 1);
        QCOMPARE(*live.live.lastSuccess(), live.clock.now());

        server.setReplyFor("/api/tasks", ScriptedReply::json(500, R"({"error":"Сбой"})"));
        QList<qint64> asked; // seconds from the last success
        const QDateTime lastSuccess = live.clock.now();
        for (int polls = countOf(server, "/api/tasks"); asked.size() < 7;) {
            const auto next = live.timers.nextDue();
            QVERIFY(next > 0ms);
            QVERIFY(live.advanceSettled(next));
            if (countOf(server, "/api/tasks") > polls) {
                polls = countOf(server, "/api/tasks");
                asked << lastSuccess.secsTo(live.clock.now());
            }
        }
        // 60 s, then 60, 120, 240, 480 s after each failure, and never more than ten minutes.
        QCOMPARE(asked, (QList<qint64>{60, 120, 240, 480, 960, 1560, 2160}));
        QCOMPARE(*live.live.lastSuccess(), lastSuccess);
        QVERIFY(live.live.isStale());
        QVERIFY(!live.state().toastMessage());

        // The next success ends it: not stale, and a poll a minute on.
        server.setReplyFor("/api/tasks", ScriptedReply::json(200, R"({"tasks":[]})"));
        live.live.refreshNow();
        QTRY_VERIFY(!live.live.isRunning());
        QVERIFY(!live.live.isStale());
        QCOMPARE(*live.live.lastSuccess(), live.clock.now());
        const int polls = countOf(server, "/api/tasks");
        QVERIFY(live.advanceSettled(59s));
        QCOMPARE(countOf(server, "/api/tasks"), polls);
        QVERIFY(live.advanceSettled(1s));
        QCOMPARE(countOf(server, "/api/tasks"), polls + 1);
    }

    void failingForOverAMinuteIsStale() {
        ScriptedServer server;
        QVERIFY(server.listen());
        withoutFeed(server);
        server.setReplyFor("/api/tasks", ScriptedReply::json(500, R"({"error":"Сбой"})"));
        LiveClient live(server.baseUrl(), u"t"_s);
        QSignalSpy stale(&live.live, &LiveRefresh::staleChanged);
        live.live.refreshNow();
        QTRY_VERIFY(!live.live.isRunning());
        QVERIFY(live.advanceSettled(30s));
        live.live.refreshNow();
        QTRY_VERIFY(!live.live.isRunning());
        QVERIFY(live.advanceSettled(29s));
        QVERIFY(!live.live.isStale());
        QVERIFY(live.advanceSettled(1s));
        QVERIFY(live.live.isStale());
        QCOMPARE(stale.size(), 1);
        QVERIFY(!live.live.lastSuccess());
        QVERIFY(!live.state().toastMessage());

        server.setReplyFor("/api/tasks", ScriptedReply::json(200, R"({"tasks":[]})"));
        live.live.refreshNow();
        QTRY_VERIFY(!live.live.isStale());
        QCOMPARE(stale.size(), 2);
    }

    void aLoadTheUserStartedEndsStaleness() {
        ScriptedServer server;
        QVERIFY(server.listen());
        withoutFeed(server);
        server.setReplyFor("/api/tasks", ScriptedReply::json(500, R"({"error":"Сбой"})"));
        LiveClient live(server.baseUrl(), u"t"_s);
        live.live.refreshNow();
        QTRY_VERIFY(!live.live.isRunning());
        live.timers.advance(60s);
        QVERIFY(live.live.isStale());
        server.setReplyFor("/api/tasks", ScriptedReply::json(200, R"({"tasks":[]})"));
        await(live.state().loadTasks());
        QVERIFY(!live.live.isStale());
    }

    void refreshesNeverOverlap() {
        ScriptedServer server;
        QVERIFY(server.listen());
        withoutFeed(server);
        ScriptedReply slow = ScriptedReply::json(200, R"({"tasks":[]})");
        slow.delayMs = 300;
        server.setReplyFor("/api/tasks", slow);
        LiveClient live(server.baseUrl(), u"t"_s);
        QTRY_COMPARE(live.live.feedState(), FeedState::unavailable);
        QSignalSpy busy(&live.live, &LiveRefresh::refreshingChanged);
        live.live.refreshNow();
        QVERIFY(live.live.isRefreshing());
        live.live.refreshNow();
        live.live.refreshNow();
        QTRY_VERIFY(!live.live.isRunning());
        QCOMPARE(countOf(server, "/api/tasks"), 2);
        QVERIFY(!live.live.isRefreshing());
        QCOMPARE(busy.size(), 2);
    }

    void anOperationMeanwhileAsksAgain() {
        ScriptedServer server;
        QVERIFY(server.listen());
        withoutFeed(server, "{\"tasks\":[{\"id\":1,\"title\":\"t\",\"priority\":\"high\",\"status\":\"pending\","
                            "\"created_at\":\"2025-03-01\"}]}");
        LiveClient live(server.baseUrl(), u"t"_s);
        await(live.state().loadTasks());
        ScriptedReply slow = ScriptedReply::json(200, "{\"tasks\":[{\"id\":1,\"title\":\"t\",\"priority\":\"high\","
                                                      "\"status\":\"pending\",\"created_at\":\"2025-03-01\"}]}");
        slow.delayMs = 300;
        server.setReplyFor("/api/tasks?", slow);
        live.live.refreshNow();
        QTRY_COMPARE(countOf(server, "/api/tasks?"), 2);
        server.setReplyFor("/api/tasks/1", ScriptedReply::json(200, "{\"task\":{\"id\":1,\"title\":\"t\",\"priority\":"
                                                                    "\"high\",\"status\":\"done\",\"created_at\":"
                                                                    "\"2025-03-01\"}}"));
        await(live.state().toggleTask(live.state().tasks().first()));
        QTRY_VERIFY(!live.live.isRunning());
        QCOMPARE(countOf(server, "/api/tasks?"), 3);
    }

    void signingOutStopsEverything() {
        LocalService service;
        service.addUser(u"5"_s);
        LiveClient live(service.baseUrl(), QString::fromUtf8(service.signIn(u"5"_s)));
        live.live.setWindowVisible(true);
        QTRY_COMPARE(service.server().feed().socketCount(), 1);
        live.state().logout();
        QCOMPARE(live.live.feedState(), FeedState::off);
        QVERIFY(!live.live.isPolling());
        QVERIFY(!live.live.lastSuccess());
        QTRY_COMPARE(service.server().feed().socketCount(), 0);
        live.timers.advance(1h);
        QTest::qWait(100);
        QCOMPARE(service.server().feed().socketCount(), 0);
        QCOMPARE(live.live.feedState(), FeedState::off);
    }

    void signingInOpensTheFeed() {
        LocalService service;
        const QString key = service.addUser(u"5"_s);
        FixedClock clock(start());
        ClientRig client(service.baseUrl(), clock);
        ChangeFeed feed(service.baseUrl(), client.network);
        ManualTimers timers(clock);
        LiveRefresh live(client.state, &feed, timers, clock);
        QCOMPARE(live.feedState(), FeedState::off);
        await(client.state.login(key));
        QTRY_COMPARE(live.feedState(), FeedState::open);
        QCOMPARE(service.server().feed().socketCount(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_LiveRefresh)
#include "tst_LiveRefresh.moc"
