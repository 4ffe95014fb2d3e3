// Requests per second and p99 latency of vexo-server on loopback, measured with wrk from another
// process: task lists of 100 and 1,000 tasks, the same lists revalidated (If-None-Match, 304), and
// task creation.
#include "ApiRequest.h"
#include "Secrets.h"
#include "SqliteStorage.h"
#include "TaskListGenerator.h"
#include "VexoServer.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

QString tokenFor(Storage& storage, const QString& telegramId, int tasks, const QString& now) {
    NewUser person;
    person.telegramId = telegramId;
    const qint64 userId = storage.createUser(person, now).user.id;
    for (int i = 0; i < tasks; ++i) {
        NewTask task;
        task.title = u"Задача номер %1: подготовить отчёт"_s.arg(i);
        if (i % 3 != 0)
            task.description =
                u"<p>Описание задачи с <b>разметкой</b> и ссылкой <a href=\"https://example.org\">сюда</a>.</p>"_s;
        if (i % 2 == 0)
            task.deadline = u"2025-03-%1T18:00:00.000Z"_s.arg(1 + i % 28, 2, 10, QChar(u'0'));
        task.priority = allTaskPriorities[i % 3];
        task.source = i % 4 == 0 ? u"bot"_s : u"app"_s;
        storage.insertTask(userId, task, false, now);
    }
    const QString token = Secrets::newSessionToken();
    storage.addSession(userId, Secrets::hash(token), now);
    return token;
}

// The entity tag of the undone-task list, and whether sending it back gives 304.
QByteArray tagOf(VexoServer& server, const QString& token, bool* revalidates) {
    ApiRequest request;
    request.method = "GET";
    request.path = u"/api/tasks"_s;
    request.query = QUrlQuery(u"archived=false"_s);
    request.headers = {{"Authorization", "Bearer " + token.toUtf8()}};
    QByteArray tag;
    for (const auto& [name, value] : server.dispatch(request).headers) {
        if (name == "ETag")
            tag = value;
    }
    request.headers.append({"If-None-Match", tag});
    *revalidates = !tag.isEmpty() && server.dispatch(request).status == 304;
    return tag;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    qputenv("QT_LOGGING_RULES", "vexo.access=false");
    const QString wrk = QStandardPaths::findExecutable(u"wrk"_s);
    if (wrk.isEmpty()) {
        std::printf("wrk not found (apt-get install wrk)\n");
        return 1;
    }
    QTemporaryDir dir;
    SystemClock clock;
    SqliteStorage storage(dir.filePath(u"vexo.db"_s));
    const QString now = clock.now().toString(Qt::ISODateWithMs);
    const QString token100 = tokenFor(storage, u"100"_s, 100, now);
    const QString token1000 = tokenFor(storage, u"1000"_s, 1000, now);
    VexoServer server(storage, clock);
    const quint16 port = server.listen(QHostAddress::LocalHost, 0);
    const QString base = u"http://127.0.0.1:%1"_s.arg(port);
    bool revalidates100 = false;
    bool revalidates1000 = false;
    const QByteArray tag100 = tagOf(server, token100, &revalidates100);
    const QByteArray tag1000 = tagOf(server, token1000, &revalidates1000);
    if (!revalidates100 || !revalidates1000) {
        std::printf("the task list does not answer If-None-Match with 304\n");
        return 1;
    }

    const QString postScript = dir.filePath(u"post.lua"_s);
    QFile lua(postScript);
    if (!lua.open(QIODevice::WriteOnly))
        return 1;
    lua.write(
        "wrk.method = \"POST\"\n"
        "wrk.body = '{\"title\":\"Нагрузочная задача\",\"priority\":\"high\",\"deadline\":\"2025-03-05T18:00:00Z\"}'\n"
        "wrk.headers[\"Content-Type\"] = \"application/json\"\n");
    lua.close();

    struct Run {
        const char* name;
        QStringList arguments;
    };
    const QList<Run> runs{
        {"GET /api/tasks, 100 tasks",
         {u"-H"_s, u"Authorization: Bearer "_s + token100, base + u"/api/tasks?archived=false"_s}},
        {"GET /api/tasks, 1000 tasks",
         {u"-H"_s, u"Authorization: Bearer "_s + token1000, base + u"/api/tasks?archived=false"_s}},
        // What polling an unchanged list costs: the same requests, revalidated.
        {"GET 100 tasks, 304",
         {u"-H"_s, u"Authorization: Bearer "_s + token100, u"-H"_s, u"If-None-Match: "_s + QString::fromLatin1(tag100),
          base + u"/api/tasks?archived=false"_s}},
        {"GET 1000 tasks, 304",
         {u"-H"_s, u"Authorization: Bearer "_s + token1000, u"-H"_s,
          u"If-None-Match: "_s + QString::fromLatin1(tag1000), base + u"/api/tasks?archived=false"_s}},
        {"POST /api/tasks",
         {u"-s"_s, postScript, u"-H"_s, u"Authorization: Bearer "_s + token100, base + u"/api/tasks"_s}},
        // One client alone: what a person waits for when saving a task.
        {"POST /api/tasks, 1 client",
         {u"-c1"_s, u"-s"_s, postScript, u"-H"_s, u"Authorization: Bearer "_s + token100, base + u"/api/tasks"_s}},
    };

    std::printf("%-28s %12s %10s %10s %12s\n", "scenario", "requests/s", "p50", "p99", "transfer/s");
    qsizetype next = 0;
    QProcess process;
    const auto startNext = [&] {
        if (next == runs.size()) {
            QCoreApplication::quit();
            return;
        }
        // A later -c in the run's own arguments wins over the default 8 connections.
        process.start(wrk, QStringList{u"-t1"_s, u"-c8"_s, u"-d5s"_s, u"--latency"_s} + runs[next].arguments);
    };
    QObject::connect(&process, &QProcess::finished, &app, [&] {
        const QString output = QString::fromUtf8(process.readAllStandardOutput());
        const auto grab = [&](const QString& pattern) { return QRegularExpression(pattern).match(output).captured(1); };
        std::printf("%-28s %12s %10s %10s %12s\n", runs[next].name, qPrintable(grab(u"Requests/sec:\\s+([\\d.]+)"_s)),
                    qPrintable(grab(u"50%\\s+([\\d.]+\\w+)"_s)), qPrintable(grab(u"99%\\s+([\\d.]+\\w+)"_s)),
                    qPrintable(grab(u"Transfer/sec:\\s+([\\d.]+\\w+)"_s)));
        if (output.contains(u"Non-2xx"_s))
            std::printf("  (%s)\n", qPrintable(grab(u"(Non-2xx or 3xx responses: \\d+)"_s)));
        std::fflush(stdout);
        ++next;
        startNext();
    });
    QTimer::singleShot(0, &app, startNext);
    return QCoreApplication::exec();
}
