// How live the client is, each part measured in a fresh client process:
//   live:       from `vexo-server task add` to the new row painted in a running, signed-in client
//               (real vexo-server, change feed), 50 runs; a background refresh that finds nothing
//               changed (two 304s); the CPU an idle client costs with the feed open;
//   poll:       the CPU an idle client costs against a service without a feed (polling every 60 s);
//   refresh10k: a background refresh of 10,000 tasks of which one changed: rows repainted and the
//               longest main-thread stall, recorded by a 1 ms timer.
#include "AppState.h"
#include "ContentView.h"
#include "LiveRefresh.h"
#include "MainView.h"
#include "ScriptedServer.h"
#include "TaskListGenerator.h"
#include "TaskListView.h"
#include "Vexo_TasksApp.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QListView>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPaintEvent>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int addRuns = 50;
constexpr int idleSeconds = 30;

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double median(QList<double> values) {
    if (values.isEmpty())
        return -1;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double maximum(const QList<double>& values) {
    return values.isEmpty() ? -1 : *std::max_element(values.begin(), values.end());
}

bool waitFor(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::msleep(1);
    }
    return true;
}

void idleFor(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Every paint of a widget, and the rows of a list it covered.
class PaintWatch final : public QObject {
public:
    explicit PaintWatch(QWidget* target) { target->installEventFilter(this); }
    std::function<void(const QRegion&)> onPaint;

    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint && onPaint)
            onPaint(static_cast<QPaintEvent*>(event)->region());
        return false;
    }
};

// The longest time the event loop did not get round to a 1 ms timer.
class StallRecorder final : public QObject {
public:
    StallRecorder() {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            m_longest = std::max(m_longest, double(m_since.nsecsElapsed()) / 1e6);
            m_since.restart();
        });
    }
    void start() {
        m_longest = 0;
        m_since.start();
        m_timer.start();
    }
    double stop() {
        m_timer.stop();
        return m_longest;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_since;
    double m_longest = 0;
};

// A scripted service on a thread of its own, so its serving does not count as the client's
// main-thread time.
class ThreadedService final {
public:
    ThreadedService() {
        m_thread.start();
        m_home.moveToThread(&m_thread);
        run([this] {
            m_server = new ScriptedServer;
            m_server->listen();
        });
    }
    ~ThreadedService() {
        run([this] { delete m_server; });
        m_thread.quit();
        m_thread.wait();
    }
    void run(const std::function<void()>& work) {
        QMetaObject::invokeMethod(&m_home, work, Qt::BlockingQueuedConnection);
    }
    ScriptedServer& server() { return *m_server; }

private:
    QThread m_thread;
    QObject m_home;
    ScriptedServer* m_server = nullptr;
};

struct ClientApp {
    ClientApp()
        : app(
              *new int(1), new char* [1] { const_cast<char*>("bench_live") }) {
        QApplication::setOrganizationName(u"vexo"_s);
        QApplication::setApplicationName(u"vexo-tasks"_s);
    }
    QApplication app;
};

QListView* listOf(Vexo_TasksApp& vexo) {
    return vexo.window().mainView()->taskList()->listView();
}

bool waitForList(Vexo_TasksApp& vexo) {
    QListView* list = listOf(vexo);
    return waitFor([&] { return list->isVisible() && list->model()->rowCount() > 0 && !vexo.live().isRunning(); },
                   60'000);
}

int runLive(const QString& dataDir) {
    ClientApp client;
    Vexo_TasksApp vexo(APIService::configuredBase());
    vexo.window().show();
    if (!waitForList(vexo) ||
        !waitFor([&] { return vexo.live().feedState() == LiveRefresh::FeedState::open; }, 30'000)) {
        std::printf("error the client did not open the feed\n");
        return 1;
    }
    idleFor(500);

    QListView* list = listOf(vexo);
    PaintWatch watch(list->viewport());
    QList<double> arrivals, commands;
    for (int run = 0; run < addRuns; ++run) {
        const QString title = u"Замер %1"_s.arg(run);
        QElapsedTimer since;
        bool painted = false;
        watch.onPaint = [&](const QRegion&) {
            const auto& tasks = vexo.state().tasks();
            if (!painted && !tasks.isEmpty() && tasks.first().title == title) {
                painted = true;
                arrivals << double(since.nsecsElapsed()) / 1e6;
            }
        };
        QProcess add;
        since.start();
        add.start(QStringLiteral(VEXO_SERVER_BINARY),
                  {u"task"_s, u"add"_s, u"--telegram-id"_s, u"77"_s, u"--title"_s, title, u"--data"_s, dataDir});
        add.waitForStarted();
        if (!waitFor([&] { return add.state() == QProcess::NotRunning; }, 30'000))
            return 1;
        commands << double(since.nsecsElapsed()) / 1e6;
        if (!waitFor([&] { return painted; }, 10'000)) {
            std::printf("error run %d never painted\n", run);
            return 1;
        }
        watch.onPaint = nullptr;
        idleFor(100);
    }
    std::printf("add-paint median %.1f max %.1f\n", median(arrivals), maximum(arrivals));
    std::printf("add-command median %.1f\n", median(commands));

    QList<double> unchanged;
    for (int run = 0; run < addRuns; ++run) {
        QElapsedTimer since;
        since.start();
        vexo.live().refreshNow();
        if (!waitFor([&] { return !vexo.live().isRunning(); }, 10'000))
            return 1;
        unchanged << double(since.nsecsElapsed()) / 1e6;
    }
    std::printf("unchanged-refresh median %.2f max %.2f\n", median(unchanged), maximum(unchanged));

    const double before = cpuSeconds();
    idleFor(idleSeconds * 1000);
    std::printf("idle-feed %.4f\n", (cpuSeconds() - before) / idleSeconds * 100.0);
    std::fflush(stdout);
    return 0;
}

int runPoll() {
    ClientApp client;
    ThreadedService service;
    service.run([&] {
        ScriptedServer& server = service.server();
        server.setReplyFor("/api/events", ScriptedReply::json(404, R"({"error":"Not found"})"));
        server.setReplyFor("/api/tasks", ScriptedReply::json(200, generateTasksResponse(40)));
        server.setReplyFor("/api/folders", ScriptedReply::json(200, R"({"folders":[]})"));
        server.setReplyFor("/api/user/settings", ScriptedReply::json(200, R"({"auto_send_bot":false})"));
    });
    qputenv("VEXO_BASE_URL", service.server().baseUrl().toUtf8());
    Vexo_TasksApp vexo(APIService::configuredBase());
    vexo.window().show();
    if (!waitForList(vexo) ||
        !waitFor([&] { return vexo.live().feedState() == LiveRefresh::FeedState::unavailable; }, 30'000)) {
        std::printf("error the client did not give up on the feed\n");
        return 1;
    }
    idleFor(500);
    const double before = cpuSeconds();
    idleFor(idleSeconds * 1000);
    const double idle = (cpuSeconds() - before) / idleSeconds;
    // Each poll costs what a refresh costs; one falls every poll interval.
    constexpr int polls = 20;
    const double beforePolls = cpuSeconds();
    for (int run = 0; run < polls; ++run) {
        vexo.live().refreshNow();
        if (!waitFor([&] { return !vexo.live().isRunning(); }, 10'000))
            return 1;
    }
    const double perPoll = (cpuSeconds() - beforePolls) / polls;
    const double interval = double(vexo.live().timing().poll.count()) / 1000.0;
    std::printf("idle-poll %.4f per-poll-ms %.2f\n", (idle + perPoll / interval) * 100.0, perPoll * 1000.0);
    std::fflush(stdout);
    return 0;
}

int runRefresh10k() {
    ClientApp client;
    ThreadedService service;
    const QByteArray before = generateTasksResponse(10'000);
    QByteArray after = before;
    // One task's title changes: the first in the answer.
    const qsizetype title = after.indexOf("\"title\":\"") + qsizetype(sizeof("\"title\":\"") - 1);
    after.insert(title, "Изменено: ");
    service.run([&] {
        ScriptedServer& server = service.server();
        server.setReplyFor("/api/events", ScriptedReply::json(404, R"({"error":"Not found"})"));
        server.setReplyFor("/api/tasks", ScriptedReply::json(200, before));
        server.setReplyFor("/api/folders", ScriptedReply::json(200, R"({"folders":[]})"));
        server.setReplyFor("/api/user/settings", ScriptedReply::json(200, R"({"auto_send_bot":false})"));
    });
    qputenv("VEXO_BASE_URL", service.server().baseUrl().toUtf8());
    Vexo_TasksApp vexo(APIService::configuredBase());
    vexo.window().show();
    if (!waitForList(vexo))
        return 1;
    idleFor(1000);

    service.run([&] { service.server().setReplyFor("/api/tasks", ScriptedReply::json(200, after)); });
    QListView* list = listOf(vexo);
    PaintWatch watch(list->viewport());
    QRegion painted;
    int paints = 0;
    watch.onPaint = [&](const QRegion& region) {
        painted += region;
        ++paints;
    };
    StallRecorder stalls;
    stalls.start();
    QElapsedTimer whole;
    whole.start();
    vexo.live().refreshNow();
    if (!waitFor([&] { return !vexo.live().isRunning(); }, 30'000))
        return 1;
    const double took = double(whole.nsecsElapsed()) / 1e6;
    idleFor(200);
    const double longest = stalls.stop();
    const int rowHeight = std::max(1, list->visualRect(list->model()->index(0, 0)).height());
    std::printf("refresh10k took %.1f stall %.2f paints %d painted-height %d row-height %d\n", took, longest, paints,
                painted.boundingRect().height(), rowHeight);
    std::fflush(stdout);
    return 0;
}

QString grab(const QString& output, const QString& pattern) {
    return QRegularExpression(pattern).match(output).captured(1);
}

QString runClient(const QStringList& arguments, const QProcessEnvironment& env) {
    QProcess client;
    client.setProcessEnvironment(env);
    client.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    client.start(QCoreApplication::applicationFilePath(), QStringList{u"--client"_s} + arguments);
    client.waitForFinished(600'000);
    return QString::fromUtf8(client.readAllStandardOutput());
}

QString runServerCommand(const QStringList& arguments) {
    QProcess command;
    command.start(QStringLiteral(VEXO_SERVER_BINARY), arguments);
    command.waitForFinished(60'000);
    return QString::fromUtf8(command.readAllStandardOutput()).trimmed();
}

int runHarness() {
    QCoreApplication app(
        *new int(1), new char* [1] { const_cast<char*>("bench_live") });
    QTemporaryDir dir;
    const QString data = dir.filePath(u"data"_s);
    const QString key = runServerCommand({u"user"_s, u"add"_s, u"--telegram-id"_s, u"77"_s, u"--data"_s, data});
    runServerCommand({u"task"_s, u"add"_s, u"--telegram-id"_s, u"77"_s, u"--title"_s, u"Первая"_s, u"--data"_s, data});

    QProcess server;
    server.start(QStringLiteral(VEXO_SERVER_BINARY), {u"serve"_s, u"--listen"_s, u"127.0.0.1:0"_s, u"--data"_s, data});
    QString serverOut;
    while (server.waitForReadyRead(20'000)) {
        serverOut += QString::fromUtf8(server.readAllStandardOutput());
        if (serverOut.contains(u"слушает"_s))
            break;
    }
    const QString base = grab(serverOut, u"(http://127\\.0\\.0\\.1:\\d+)"_s);
    QNetworkAccessManager network;
    QNetworkRequest verify(QUrl(base + u"/api/auth/verify"_s));
    verify.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    QNetworkReply* reply = network.post(verify, "{\"key\":\"" + key.toUtf8() + "\"}");
    QEventLoop wait;
    QObject::connect(reply, &QNetworkReply::finished, &wait, &QEventLoop::quit);
    wait.exec();
    const QJsonObject auth = QJsonDocument::fromJson(reply->readAll()).object();
    reply->deleteLater();
    // The same session serves every client run: each reads it from its own configuration.
    const auto environment = [&](const QString& name, const QString& serviceBase) {
        const QString config = dir.filePath(name);
        QDir().mkpath(config + u"/vexo"_s);
        QSettings settings(config + u"/vexo/vexo-tasks.ini"_s, QSettings::IniFormat);
        settings.setValue(u"vexo_token"_s, auth.value(u"token"_s).toString());
        settings.setValue(
            u"vexo_user"_s,
            QString::fromUtf8(QJsonDocument(auth.value(u"user"_s).toObject()).toJson(QJsonDocument::Compact)));
        settings.sync();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"XDG_CONFIG_HOME"_s, config);
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        if (!serviceBase.isEmpty())
            env.insert(u"VEXO_BASE_URL"_s, serviceBase);
        return env;
    };

    const QString live = runClient({u"live"_s, data}, environment(u"live"_s, base));
    server.terminate();
    server.waitForFinished();
    const QString poll = runClient({u"poll"_s}, environment(u"poll"_s, QString()));
    const QString refresh = runClient({u"refresh10k"_s}, environment(u"refresh"_s, QString()));

    std::printf("a task added with `vexo-server task add`, to its row painted in a running client (%d runs)\n",
                addRuns);
    std::printf("  median %s ms, max %s ms (target < 200); the command alone runs %s ms\n",
                qPrintable(grab(live, u"add-paint median ([\\d.]+)"_s)),
                qPrintable(grab(live, u"add-paint median [\\d.]+ max ([\\d.]+)"_s)),
                qPrintable(grab(live, u"add-command median ([\\d.]+)"_s)));
    std::printf("a background refresh that finds nothing changed (two 304 round trips): median %s ms, max %s ms\n",
                qPrintable(grab(live, u"unchanged-refresh median ([\\d.]+)"_s)),
                qPrintable(grab(live, u"unchanged-refresh median [\\d.]+ max ([\\d.]+)"_s)));
    std::printf("idle client, %d s, CPU of one core (target < 0.1 %%)\n", idleSeconds);
    std::printf("  feed open:  %s %%\n", qPrintable(grab(live, u"idle-feed ([\\d.]+)"_s)));
    std::printf("  polling:    %s %% (a poll of 40 tasks costs %s ms of CPU, one a minute)\n",
                qPrintable(grab(poll, u"idle-poll ([\\d.]+)"_s)), qPrintable(grab(poll, u"per-poll-ms ([\\d.]+)"_s)));
    const int painted = grab(refresh, u"painted-height (\\d+)"_s).toInt();
    const int rowHeight = std::max(1, grab(refresh, u"row-height (\\d+)"_s).toInt());
    std::printf("a background refresh of 10,000 tasks, one changed\n");
    std::printf("  took %s ms; longest main-thread stall %s ms (target < 16)\n",
                qPrintable(grab(refresh, u"took ([\\d.]+)"_s)), qPrintable(grab(refresh, u"stall ([\\d.]+)"_s)));
    std::printf("  repainted %s time(s), %d px high: %.1f row(s) (target: the one row)\n",
                qPrintable(grab(refresh, u"paints (\\d+)"_s)), painted, double(painted) / rowHeight);
    for (const QString& output : {live, poll, refresh}) {
        const QString error = grab(output, u"(error[^\n]*)"_s);
        if (!error.isEmpty())
            std::printf("%s\n", qPrintable(error));
    }
    const bool failed = live.contains(u"error"_s) || poll.contains(u"error"_s) || refresh.isEmpty();
    return failed ? 1 : 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && QByteArray(argv[1]) == "--client") {
        const QByteArray mode = argv[2];
        if (mode == "live" && argc >= 4)
            return runLive(QString::fromLocal8Bit(argv[3]));
        if (mode == "poll")
            return runPoll();
        return runRefresh10k();
    }
    return runHarness();
}
