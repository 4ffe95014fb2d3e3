// The client's start-up and list performance, each measured in a fresh client process:
//   startup: cold start to the first painted main window (signed in, demo data from vexo-server)
//            and to the demo tasks on screen, with peak RSS;
//   list N:  first paint of a list of N tasks after the answer arrived, frame times while scrolling
//            through it, and peak RSS (the answer comes from a separate scripted server).
#include "APIService.h"
#include "AppState.h"
#include "ContentView.h"
#include "JsonWriter.h"
#include "MainView.h"
#include "ScriptedServer.h"
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

#include <algorithm>
#include <cstdio>
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

// Milliseconds since the kernel started this process (10 ms resolution), so exec and dynamic
// linking count too.
double sinceExecMs() {
    QFile stat(u"/proc/self/stat"_s);
    QFile uptime(u"/proc/uptime"_s);
    if (!stat.open(QIODevice::ReadOnly) || !uptime.open(QIODevice::ReadOnly))
        return -1;
    const QString text = QString::fromLatin1(stat.readAll());
    const QStringList fields = text.mid(text.lastIndexOf(u')') + 2).split(u' ');
    const double startTicks = fields.value(19).toDouble();
    const double now = QString::fromLatin1(uptime.readAll()).section(u' ', 0, 0).toDouble();
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
    QListView* list = vexo.window().mainView()->taskList()->listView();
    FirstPaint window(
        &vexo.window(), [] { return true; },
        [&] {
            std::printf("first-paint %.1f %.1f\n", double(sinceMain.nsecsElapsed()) / 1e6, sinceExecMs());
            std::fflush(stdout);
        });
    FirstPaint tasks(
        list->viewport(), [list] { return list->isVisible() && list->model()->rowCount() > 0; },
        [&] {
            std::printf("tasks-on-screen %.1f %.1f\n", double(sinceMain.nsecsElapsed()) / 1e6, sinceExecMs());
            std::printf("peak-rss %lld\n", peakRssKb());
            std::fflush(stdout);
            QApplication::quit();
        });
    vexo.window().show();
    QTimer::singleShot(20'000, &app, [] { QApplication::exit(1); });
    return QApplication::exec();
}

int runClientList() {
    QApplication app(
        *new int(1), new char* [1] { const_cast<char*>("bench_ui") });
    QApplication::setOrganizationName(u"vexo"_s);
    QApplication::setApplicationName(u"vexo-tasks"_s);
    Vexo_TasksApp vexo(APIService::configuredBase());
    TaskListView* view = vexo.window().mainView()->taskList();
    QListView* list = view->listView();
    QElapsedTimer sinceAnswer;
    QObject::connect(&vexo.state(), &AppState::tasksChanged, &app, [&] { sinceAnswer.start(); });
    FirstPaint firstList(
        list->viewport(), [list] { return list->isVisible() && list->model()->rowCount() > 0; },
        [&] {
            std::printf("list-paint %.2f\n", double(sinceAnswer.nsecsElapsed()) / 1e6);
            std::fflush(stdout);
            // Let the batched layout finish, then scroll through the list frame by frame.
            QTimer::singleShot(0, &app, [&] {
                // Batched layout places the rest of the rows over the next event-loop turns and sets the
                // scroll range once it is done; every row is at least 63 px high.
                QElapsedTimer layout;
                layout.start();
                const qint64 fullRange = qint64(list->model()->rowCount()) * 63 - list->viewport()->height();
                while (list->verticalScrollBar()->maximum() < fullRange && layout.elapsed() < 60'000)
                    QApplication::processEvents();
                std::printf("layout-complete %.0f\n", double(layout.elapsed()));
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
                std::printf("scroll-frames %lld mean %.2f p99 %.2f max %.2f\n", static_cast<long long>(frames.size()),
                            sum / double(frames.size()), p99, frames.last());
                std::printf("peak-rss %lld\n", peakRssKb());
                std::fflush(stdout);
                QApplication::quit();
            });
        });
    vexo.window().show();
    QTimer::singleShot(60'000, &app, [] { QApplication::exit(1); });
    return QApplication::exec();
}

QString runClient(const QString& mode, const QString& base, const QString& configDir) {
    QProcess client;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(u"VEXO_BASE_URL"_s, base);
    env.insert(u"XDG_CONFIG_HOME"_s, configDir);
    env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    client.setProcessEnvironment(env);
    client.start(QCoreApplication::applicationFilePath(), {u"--client"_s, mode});
    client.waitForFinished(120'000);
    return QString::fromUtf8(client.readAllStandardOutput());
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

    std::printf("cold start, signed in, demo data (40 tasks); median of 5 runs\n");
    QList<double> paints, onScreen, paintsExec, onScreenExec;
    qint64 rss = 0;
    for (int run = 0; run < 5; ++run) {
        const QString out = runClient(u"startup"_s, base, dir.filePath(u"startup"_s));
        paints << grab(out, u"first-paint ([\\d.]+)"_s).toDouble();
        paintsExec << grab(out, u"first-paint [\\d.]+ ([\\d.]+)"_s).toDouble();
        onScreen << grab(out, u"tasks-on-screen ([\\d.]+)"_s).toDouble();
        onScreenExec << grab(out, u"tasks-on-screen [\\d.]+ ([\\d.]+)"_s).toDouble();
        rss = std::max(rss, grab(out, u"peak-rss (\\d+)"_s).toLongLong());
    }
    const auto median = [](QList<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    std::printf("  first painted main window: %6.1f ms after main(), %6.0f ms after exec (target < 150)\n",
                median(paints), median(paintsExec));
    std::printf("  demo tasks on screen:      %6.1f ms after main(), %6.0f ms after exec (target < 250)\n",
                median(onScreen), median(onScreenExec));
    std::printf("  peak RSS:                  %6.1f MB (target < 60)\n\n", double(rss) / 1024.0);
    server.terminate();
    server.waitForFinished();

    for (int count : {10'000, 100'000}) {
        const QByteArray answer = generateTasksResponse(count);
        ScriptedServer scripted;
        scripted.listen();
        scripted.setReplyFor("/api/tasks", ScriptedReply::json(200, answer));
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
        const double answerMb = double(answer.size()) / 1e6;
        std::printf("%d tasks (answer %.1f MB)\n", count, answerMb);
        std::printf("  first list paint after the answer: %7.2f ms (target < 50)\n",
                    grab(out, u"list-paint ([\\d.]+)"_s).toDouble());
        std::printf("  batched layout of every row done after %s ms\n",
                    qPrintable(grab(out, u"layout-complete (\\d+)"_s)));
        std::printf("  scrolling: %s frames, mean %s ms, p99 %s ms, max %s ms (target < 16 each)\n",
                    qPrintable(grab(out, u"scroll-frames (\\d+)"_s)), qPrintable(grab(out, u"mean ([\\d.]+)"_s)),
                    qPrintable(grab(out, u"p99 ([\\d.]+)"_s)), qPrintable(grab(out, u"max ([\\d.]+)"_s)));
        const double peak = grab(out, u"peak-rss (\\d+)"_s).toDouble() / 1024.0;
        std::printf("  peak RSS: %.1f MB (target < %.1f = 60 + 1.5 × answer)\n\n", peak, 60 + 1.5 * answerMb);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && QByteArray(argv[1]) == "--client")
        return QByteArray(argv[2]) == "startup" ? runClientStartup() : runClientList();
    return runHarness();
}
