// The client's start-up and list performance, each measured in a fresh client process, beside the
// floors measured in the same run:
//   startup: cold start to the first painted main window (signed in, demo data from vexo-server)
//            and to the demo tasks on screen, with peak RSS, next to a bare Qt window;
//   list N:  the longest stall of the event loop while a list of N tasks arrives, is decoded and
//            shown, the first layout of its rows, frame times while scrolling through it, peak and
//            steady memory, next to Node's JSON.parse holding the same bytes (the answer comes from a
//            separate scripted server).
#include "APIService.h"
#include "AppState.h"
#include "ContentView.h"
#include "Envelopes.h"
#include "JsonValue.h"
#include "JsonWriter.h"
#include "MainView.h"
#include "ReminderScheduler.h"
#include "ScriptedServer.h"
#include "TaskList.h"
#include "TaskListGenerator.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "Vexo_TasksApp.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QListView>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <QSemaphore>
#include <QStandardPaths>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

qint64 peakRssKb() {
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QRegularExpression hwm(u"VmHWM:\\s+(\\d+)"_s);
    return hwm.match(QString::fromLatin1(status.readAll())).captured(1).toLongLong();
}

qint64 rssKb() {
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QRegularExpression rss(u"VmRSS:\\s+(\\d+)"_s);
    return rss.match(QString::fromLatin1(status.readAll())).captured(1).toLongLong();
}

// The system-wide monotonic clock in milliseconds: the harness and the client it starts read the same one.
double monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// CPU time of the calling thread, in milliseconds.
double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// The event loop as a user feels it: a 1 ms timer whose longest gap between two ticks is the
// longest time the loop could not answer.
class StallMeter final : public QObject {
public:
    void start() {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            const double now = monotonicMs();
            m_longest = std::max(m_longest, now - m_last);
            m_last = now;
        });
        m_last = monotonicMs();
        m_timer.start();
    }
    void stop() { m_timer.stop(); }
    double longest() const { return m_longest; }

private:
    QTimer m_timer;
    double m_last = 0;
    double m_longest = 0;
};

// A decimal number as the C locale writes it; 0 for anything else.
double number(const QString& text) {
    return std::strtod(text.toLatin1().constData(), nullptr);
}

// Milliseconds since the kernel started this process (10 ms resolution), so exec and dynamic
// linking count too.
double sinceExecMs() {
    QFile stat(u"/proc/self/stat"_s);
    QFile uptime(u"/proc/uptime"_s);
    if (!stat.open(QIODevice::ReadOnly) || !uptime.open(QIODevice::ReadOnly))
        return -1;
    const QString text = QString::fromLatin1(stat.readAll());
    const QStringList fields = text.mid(text.lastIndexOf(u')') + 2).split(u' ');
    const double startTicks = number(fields.value(19));
    const double now = number(QString::fromLatin1(uptime.readAll()).section(u' ', 0, 0));
    return (now - startTicks / double(sysconf(_SC_CLK_TCK))) * 1000.0;
}

// Reports the first paint of a widget, once.
class FirstPaint final : public QObject {
public:
    FirstPaint(QWidget* target, std::function<bool()> ready, std::function<void()> onPaint)
        : m_ready(std::move(ready))
        , m_onPaint(std::move(onPaint)) {
        target->installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !m_done && m_ready()) {
            m_done = true;
            // After the paint has happened: the filter runs before it.
            QTimer::singleShot(0, watched, m_onPaint);
        }
        return false;
    }

private:
    std::function<bool()> m_ready;
    std::function<void()> m_onPaint;
    bool m_done = false;
};

int runClientStartup() {
    QElapsedTimer sinceMain;
    sinceMain.start();
    QApplication app(
        *new int(1), new char* [1] { const_cast<char*>("bench_ui") });
    QApplication::setOrganizationName(u"vexo"_s);
    QApplication::setApplicationName(u"vexo-tasks"_s);
    Vexo_TasksApp vexo(APIService::configuredBase());
    const auto report = [&](const char* what) {
        std::printf("%s %.1f %.1f at %.3f\n", what, double(sinceMain.nsecsElapsed()) / 1e6, sinceExecMs(),
                    monotonicMs());
        std::fflush(stdout);
    };
    FirstPaint window(
        &vexo.window(), [] { return true; }, [&] { report("first-paint"); });
    // The pages come right after the window's first frame: watched as they are made.
    std::unique_ptr<FirstPaint> page;
    std::unique_ptr<FirstPaint> tasks;
    QObject::connect(&vexo.window(), &ContentView::mainViewMade, &app, [&](MainView* view) {
        page = std::make_unique<FirstPaint>(
            view, [] { return true; }, [&] { report("main-view-paint"); });
        QListView* list = view->taskList()->listView();
        tasks = std::make_unique<FirstPaint>(
            list->viewport(), [list] { return list->isVisible() && list->model()->rowCount() > 0; },
            [&] {
                report("tasks-on-screen");
                std::printf("peak-rss %lld\n", peakRssKb());
                std::fflush(stdout);
                QApplication::quit();
            });
    });
    vexo.show();
    QTimer::singleShot(20'000, &app, [] { QApplication::exit(1); });
    return QApplication::exec();
}

// The floor for start-up: a bare Qt window of the same size, on the same platform.
int runBareWindow() {
    QApplication app(
        *new int(1), new char* [1] { const_cast<char*>("bench_ui") });
    QWidget window;
    window.resize(1100, 720);
    FirstPaint paint(
        &window, [] { return true; },
        [&] {
            std::printf("first-paint at %.3f\n", monotonicMs());
            std::printf("peak-rss %lld\n", peakRssKb());
            std::fflush(stdout);
            QApplication::quit();
        });
    window.show();
    QTimer::singleShot(20'000, &app, [] { QApplication::exit(1); });
    return QApplication::exec();
}

// The list as the client keeps it, decoded the way the client decodes it (on a worker thread),
// from a file of the answer's bytes: RSS before the bytes were read and after they are gone.
int runHold(const QString& file) {
    QCoreApplication app(
        *new int(1), new char* [1] { const_cast<char*>("bench_ui") });
    const qint64 before = rssKb();
    TaskList list;
    {
        QFile in(file);
        if (!in.open(QIODevice::ReadOnly))
            return 1;
        QByteArray bytes;
        bytes.reserve(in.size() + 64);
        bytes.resize(in.size());
        if (in.read(bytes.data(), bytes.size()) != bytes.size())
            return 1;
        TaskList::Rows rows;
        std::thread worker([&] { rows = TaskList::prepare(decodeJson<TasksResponse>(bytes).tasks); });
        worker.join();
        bytes = QByteArray();
        list.assign(std::move(rows));
    }
    std::printf("hold %lld %lld\n", static_cast<long long>((rssKb() - before) * 1024),
                static_cast<long long>(list.rowCount()));
    return 0;
}

int runClientList() {
    QApplication app(
        *new int(1), new char* [1] { const_cast<char*>("bench_ui") });
    QApplication::setOrganizationName(u"vexo"_s);
    QApplication::setApplicationName(u"vexo-tasks"_s);
    Vexo_TasksApp vexo(APIService::configuredBase());
    TaskListView* view = vexo.window().mainView()->taskList();
    QListView* list = view->listView();
    StallMeter stalls;
    qint64 rssBefore = 0;
    double cpuAtSwap = 0;
    QElapsedTimer sinceAnswer;
    QObject::connect(&vexo.state(), &AppState::tasksChanged, &app, [&] {
        sinceAnswer.start();
        cpuAtSwap = threadCpuMs();
    });
    // The answer is held back until the window is up: from here on the loop only waits for it.
    FirstPaint firstWindow(
        &vexo.window(), [] { return true; },
        [&] {
            rssBefore = rssKb();
            stalls.start();
        });
    QTimer layoutPoll;
    bool remindersIn = false;
    std::function<void()> afterReminders;
    QObject::connect(&vexo.reminders(), &ReminderScheduler::refreshed, &app, [&] {
        if (std::exchange(remindersIn, true) || !afterReminders)
            return;
        QTimer::singleShot(200, &app, afterReminders);
    });
    const auto waitForReminders = [&](std::function<void()> then) {
        afterReminders = std::move(then);
        if (remindersIn)
            QTimer::singleShot(200, &app, afterReminders);
    };
    FirstPaint firstList(
        list->viewport(), [list] { return list->isVisible() && list->model()->rowCount() > 0; },
        [&] {
            std::printf("list-paint %.2f\n", double(sinceAnswer.nsecsElapsed()) / 1e6);
            std::fflush(stdout);
            // Batched layout places the rest of the rows over the next event-loop turns and sets the
            // scroll range once it is done; every row is at least 63 px high. Polled from the event
            // loop, so that waiting costs no CPU of its own.
            const qint64 fullRange = qint64(list->model()->rowCount()) * 63 - list->viewport()->height();
            layoutPoll.setInterval(5);
            QObject::connect(&layoutPoll, &QTimer::timeout, &app, [&, fullRange] {
                if (list->verticalScrollBar()->maximum() < fullRange && sinceAnswer.elapsed() < 60'000)
                    return;
                layoutPoll.stop();
                std::printf("layout-complete %.0f cpu %.1f\n", double(sinceAnswer.elapsed()),
                            threadCpuMs() - cpuAtSwap);
                // On until the reminders' own list is in as well (it follows the one on screen), and a
                // moment more for whatever that sets off.
                waitForReminders([&] {
                    stalls.stop();
                    std::printf("stall %.2f\n", stalls.longest());
                    std::printf("steady %lld\n", static_cast<long long>((rssKb() - rssBefore) * 1024));
                    QList<double> frames;
                    QScrollBar* bar = list->verticalScrollBar();
                    const int step = qMax(240, bar->maximum() / 600);
                    for (int frame = 0; frame < 600 && bar->value() < bar->maximum(); ++frame) {
                        QElapsedTimer timer;
                        timer.start();
                        bar->setValue(bar->value() + step); // 600 frames from top to bottom
                        // grab() renders the viewport for certain, whether or not a screen is attached.
                        const QPixmap frameImage = list->viewport()->grab();
                        Q_UNUSED(frameImage);
                        frames << double(timer.nsecsElapsed()) / 1e6;
                    }
                    std::sort(frames.begin(), frames.end());
                    const double p99 = frames.value(qsizetype(frames.size() * 0.99));
                    double sum = 0;
                    for (double f : frames)
                        sum += f;
                    std::printf("scroll-frames %lld mean %.2f p99 %.2f max %.2f\n",
                                static_cast<long long>(frames.size()), sum / double(frames.size()), p99, frames.last());
                    std::printf("peak-rss %lld\n", peakRssKb());
                    std::fflush(stdout);
                    QApplication::quit();
                });
            });
            layoutPoll.start();
        });
    vexo.window().show();
    QTimer::singleShot(90'000, &app, [] { QApplication::exit(1); });
    return QApplication::exec();
}

QString runClient(const QString& mode, const QString& base, const QString& configDir, double* startedAt = nullptr,
                  const QStringList& extra = {}) {
    QProcess client;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(u"VEXO_BASE_URL"_s, base);
    env.insert(u"XDG_CONFIG_HOME"_s, configDir);
    env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    client.setProcessEnvironment(env);
    if (startedAt)
        *startedAt = monotonicMs();
    client.start(QCoreApplication::applicationFilePath(), QStringList{u"--client"_s, mode} + extra);
    client.waitForFinished(120'000);
    return QString::fromUtf8(client.readAllStandardOutput());
}

// Node holding JSON.parse of the bytes in `file`: its RSS growth once the text is gone and garbage
// collected, and its peak RSS in kB; {-1, -1} without node.
std::pair<double, double> nodeMemory(const QString& file) {
    const QString node = QStandardPaths::findExecutable(u"node"_s);
    if (node.isEmpty())
        return {-1, -1};
    const QString script = uR"(const fs = require('fs');
global.gc();
const before = process.memoryUsage().rss;
let text = fs.readFileSync(process.argv[1], 'utf8');
const value = JSON.parse(text);
text = null;
global.gc(); global.gc();
const after = process.memoryUsage().rss;
console.log((after - before) + ' ' + process.resourceUsage().maxRSS + ' ' + value.tasks.length);)"_s;
    QProcess process;
    process.start(node, {u"--expose-gc"_s, u"-e"_s, script, file});
    process.waitForFinished(600'000);
    const QStringList fields = QString::fromUtf8(process.readAllStandardOutput()).trimmed().split(u' ');
    return {number(fields.value(0)), number(fields.value(1))};
}

// The pending, unarchived tasks of an answer, as the service answers the reminders' own request.
QByteArray pendingAnswer(const QByteArray& answer) {
    TasksResponse all = decodeJson<TasksResponse>(answer);
    TasksResponse pending;
    for (const VexoTask& task : std::as_const(all.tasks)) {
        if (task.status == TaskStatus::pending && !task.isArchived())
            pending.tasks.append(task);
    }
    return encodeJson(pending);
}

double median(QList<double> values) {
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values[values.size() / 2];
}

void writeSession(const QString& configDir, const QString& token, const QByteArray& user) {
    QDir().mkpath(configDir + u"/vexo"_s);
    QSettings settings(configDir + u"/vexo/vexo-tasks.ini"_s, QSettings::IniFormat);
    settings.setValue(u"vexo_token"_s, token);
    settings.setValue(u"vexo_user"_s, user);
}

QString grab(const QString& output, const QString& pattern) {
    return QRegularExpression(pattern).match(output).captured(1);
}

double grabNumber(const QString& output, const QString& pattern) {
    return number(grab(output, pattern));
}

int runHarness() {
    QCoreApplication app(
        *new int(1), new char* [1] { const_cast<char*>("bench_ui") });
    QTemporaryDir dir;
    QNetworkAccessManager network;

    // Start-up against the demo service, signed in.
    QProcess server;
    server.start(QStringLiteral(VEXO_SERVER_BINARY),
                 {u"serve"_s, u"--demo"_s, u"--listen"_s, u"127.0.0.1:0"_s, u"--data"_s, dir.filePath(u"data"_s)});
    QString serverOut;
    while (server.waitForReadyRead(20'000)) {
        serverOut += QString::fromUtf8(server.readAllStandardOutput());
        if (serverOut.contains(u"слушает"_s))
            break;
    }
    const QString base = grab(serverOut, u"(http://127\\.0\\.0\\.1:\\d+)"_s);
    const QString key = grab(serverOut, u"(vexo-tasks-[A-Za-z0-9_-]+)"_s);
    QNetworkRequest verify(QUrl(base + u"/api/auth/verify"_s));
    verify.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    QNetworkReply* reply = network.post(verify, "{\"key\":\"" + key.toUtf8() + "\"}");
    QEventLoop wait;
    QObject::connect(reply, &QNetworkReply::finished, &wait, &QEventLoop::quit);
    wait.exec();
    const QJsonObject auth = QJsonDocument::fromJson(reply->readAll()).object();
    writeSession(dir.filePath(u"startup"_s), auth.value(u"token"_s).toString(),
                 QJsonDocument(auth.value(u"user"_s).toObject()).toJson(QJsonDocument::Compact));

    // Interleaved, so that whatever else the machine does weighs on both alike.
    std::printf("cold start to the first painted window, signed in, demo data (40 tasks); median of 7 runs\n");
    QList<double> bare, paints, onScreen, paintsMain, pages;
    qint64 rss = 0;
    qint64 bareRss = 0;
    for (int run = 0; run < 7; ++run) {
        double startedAt = 0;
        QString out = runClient(u"bare"_s, base, dir.filePath(u"bare"_s), &startedAt);
        bare << grabNumber(out, u"first-paint at ([\\d.]+)"_s) - startedAt;
        bareRss = std::max(bareRss, grab(out, u"peak-rss (\\d+)"_s).toLongLong());
        out = runClient(u"startup"_s, base, dir.filePath(u"startup"_s), &startedAt);
        paints << grabNumber(out, u"first-paint [\\d.]+ [\\d.-]+ at ([\\d.]+)"_s) - startedAt;
        paintsMain << grabNumber(out, u"first-paint ([\\d.]+)"_s);
        onScreen << grabNumber(out, u"tasks-on-screen [\\d.]+ [\\d.-]+ at ([\\d.]+)"_s) - startedAt;
        pages << grabNumber(out, u"main-view-paint [\\d.]+ [\\d.-]+ at ([\\d.]+)"_s) - startedAt;
        rss = std::max(rss, grab(out, u"peak-rss (\\d+)"_s).toLongLong());
    }
    const double bareMs = median(bare);
    std::printf("  bare Qt window (floor):    %6.1f ms, peak RSS %.1f MB\n", bareMs, double(bareRss) / 1024.0);
    std::printf(
        "  first painted main window: %6.1f ms = %.2f× the bare window (target ≤ 1.50×); %.1f ms after main()\n",
        median(paints), median(paints) / bareMs, median(paintsMain));
    std::printf("  the same window filled (sidebar and list drawn, before the tasks are in): %.1f ms = %.2f× the bare "
                "window\n",
                median(pages), median(pages) / bareMs);
    std::printf("  demo tasks on screen:      %6.1f ms (target < 250)\n", median(onScreen));
    std::printf("  peak RSS:                  %6.1f MB (target < 60)\n\n", double(rss) / 1024.0);
    server.terminate();
    server.waitForFinished();

    for (int count : {10'000, 100'000}) {
        const QByteArray answer = generateTasksResponse(count);
        const QByteArray pending = pendingAnswer(answer);
        const QString answerFile = dir.filePath(u"tasks-%1.json"_s.arg(count));
        {
            QFile out(answerFile);
            if (!out.open(QIODevice::WriteOnly) || out.write(answer) != answer.size())
                return 1;
        }
        ScriptedServer scripted;
        scripted.listen();
        // Both lists come once the window is up, the reminders' at the same moment as the list's.
        ScriptedReply pendingReply = ScriptedReply::json(200, pending);
        pendingReply.delayMs = 1000;
        scripted.setReplyFor("/api/tasks?archived=false&status=pending", pendingReply);
        ScriptedReply listReply = ScriptedReply::json(200, answer);
        listReply.delayMs = 1000;
        scripted.setReplyFor("/api/tasks", listReply);
        scripted.setReplyFor("/api/folders", ScriptedReply::json(200, "{\"folders\":[]}"));
        scripted.setReplyFor("/api/user/settings", ScriptedReply::json(200, "{\"auto_send_bot\":false}"));
        User user;
        user.id = 1;
        user.telegramId = u"1"_s;
        user.firstName = u"Бенч"_s;
        const QString config = dir.filePath(u"list-%1"_s.arg(count));
        writeSession(config, u"bench"_s, encodeJson(user));
        // The scripted server answers from this process's event loop while the client runs.
        QProcess client;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"VEXO_BASE_URL"_s, scripted.baseUrl());
        env.insert(u"XDG_CONFIG_HOME"_s, config);
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        client.setProcessEnvironment(env);
        client.start(QCoreApplication::applicationFilePath(), {u"--client"_s, u"list"_s});
        QEventLoop loop;
        QObject::connect(&client, &QProcess::finished, &loop, &QEventLoop::quit);
        loop.exec();
        const QString out = QString::fromUtf8(client.readAllStandardOutput());
        const QString held = runClient(u"hold"_s, QString(), dir.filePath(u"hold"_s), nullptr, {answerFile});
        const auto [nodeSteady, nodePeakKb] = nodeMemory(answerFile);
        const double answerMb = double(answer.size()) / 1e6;
        std::printf("%d tasks (answer %.1f MB; the reminders' pending tasks %.1f MB)\n", count, answerMb,
                    double(pending.size()) / 1e6);
        std::printf("  longest event-loop stall, answers in to every row laid out: %6.2f ms (target ≤ 16)\n",
                    grabNumber(out, u"stall ([\\d.]+)"_s));
        std::printf("  first list paint after the answer:  %7.2f ms (target < 50)\n",
                    grabNumber(out, u"list-paint ([\\d.]+)"_s));
        std::printf("  first layout of every row: %s ms CPU on the event loop's thread, done after %s ms (target < 100 "
                    "CPU)\n",
                    qPrintable(grab(out, u"layout-complete \\d+ cpu ([\\d.]+)"_s)),
                    qPrintable(grab(out, u"layout-complete (\\d+)"_s)));
        std::printf("  scrolling: %s frames, mean %s ms, p99 %s ms, p100 %s ms (target < 16 each)\n",
                    qPrintable(grab(out, u"scroll-frames (\\d+)"_s)), qPrintable(grab(out, u"mean ([\\d.]+)"_s)),
                    qPrintable(grab(out, u"p99 ([\\d.]+)"_s)), qPrintable(grab(out, u"max ([\\d.]+)"_s)));
        const double peak = grabNumber(out, u"peak-rss (\\d+)"_s) / 1024.0;
        std::printf("  peak RSS: %.1f MB; Node JSON.parse of the same bytes: %.1f MB (target ≤ Node)\n", peak,
                    nodePeakKb / 1024.0);
        const double heldPerTask = grabNumber(held, u"hold (-?\\d+)"_s) / count;
        std::printf("  steady memory per task, the list as the client holds it: %.0f B; Node holding JSON.parse of "
                    "the same bytes: %.0f B (target ≤ Node)\n",
                    heldPerTask, nodeSteady / count);
        std::printf("  steady memory per task, the whole client (list, rows, reminders' pending tasks): %.0f B\n\n",
                    grabNumber(out, u"steady (-?\\d+)"_s) / count);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && QByteArray(argv[1]) == "--client") {
        const QByteArray mode(argv[2]);
        if (mode == "startup")
            return runClientStartup();
        if (mode == "bare")
            return runBareWindow();
        if (mode == "hold" && argc >= 4)
            return runHold(QString::fromLocal8Bit(argv[3]));
        return runClientList();
    }
    return runHarness();
}
