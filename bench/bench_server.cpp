// Requests per second and p99 latency of vexo-server on loopback, measured with wrk from another
// process: task lists of 100 and 1,000 tasks, the same lists revalidated (If-None-Match, 304), and
// task creation. Each list is measured beside two floors taken in the same run: Node serving the
// very same answer (status, headers, body) from memory, the ceiling of any server on this machine,
// and the list read through QtSql and the shared encoder instead of straight from SQLite. How busy
// each party was (in cores) tells what limits a figure on a machine where wrk runs too.
#include "AnswerCache.h"
#include "ApiRequest.h"
#include "Secrets.h"
#include "SqliteStorage.h"
#include "VexoServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

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

// CPU time of a process so far, in clock ticks (user + system).
qint64 cpuTicks(qint64 pid) {
    QFile stat(u"/proc/%1/stat"_s.arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray line = stat.readAll();
    // The fields after the command name, which is in parentheses and may hold spaces.
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 12 ? fields[11].toLongLong() + fields[12].toLongLong() : 0;
}

// Serves one recorded answer to every request, from memory, with Node's own HTTP server.
const char* const replayScript = R"(
const http = require('http');
const answer = JSON.parse(require('fs').readFileSync(process.argv[1], 'utf8'));
const body = Buffer.from(answer.body, 'base64');
const server = http.createServer((request, response) => {
    request.resume();
    response.writeHead(answer.status, answer.headers);
    response.end(answer.status === 304 ? undefined : body);
});
server.keepAliveTimeout = 60000;
server.listen(0, '127.0.0.1', () => console.log(server.address().port));
)";

struct Load {
    double requests = 0; // per second
    QString p50;
    QString p99;
    double ownCores = 0; // this process, or the replaying Node
    double wrkCores = 0;
    QString trouble; // non-2xx answers or socket errors, when there were any
};

class Bench {
public:
    Bench(QString wrk, QString node, QTemporaryDir& dir)
        : m_wrk(std::move(wrk))
        , m_node(std::move(node))
        , m_dir(dir) {}

    // wrk for five seconds against `url`, the event loop serving meanwhile; `serverPid` is whoever answers.
    Load run(const QStringList& arguments, qint64 serverPid) const {
        const long ticksPerSecond = ::sysconf(_SC_CLK_TCK);
        QProcess process;
        QEventLoop loop;
        QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
        const qint64 serverBefore = cpuTicks(serverPid);
        process.start(m_wrk, QStringList{u"-t1"_s, u"-c8"_s, u"-d5s"_s, u"--latency"_s} + arguments);
        if (!process.waitForStarted())
            return {};
        const qint64 wrkPid = process.processId();
        qint64 wrkTicks = 0;
        QTimer sample;
        QObject::connect(&sample, &QTimer::timeout, &loop, [&] { wrkTicks = qMax(wrkTicks, cpuTicks(wrkPid)); });
        sample.start(100);
        QElapsedTimer clock;
        clock.start();
        loop.exec();
        const double seconds = clock.elapsed() / 1000.0;
        const auto cores = [&](qint64 ticks) { return double(ticks) / ticksPerSecond / seconds; };
        const QString output = QString::fromUtf8(process.readAllStandardOutput());
        const auto grab = [&](const QString& pattern) { return QRegularExpression(pattern).match(output).captured(1); };
        Load load;
        load.requests = std::strtod(grab(u"Requests/sec:\\s+([\\d.]+)"_s).toLatin1().constData(), nullptr);
        load.p50 = grab(u"50%\\s+([\\d.]+\\w+)"_s);
        load.p99 = grab(u"99%\\s+([\\d.]+\\w+)"_s);
        load.ownCores = cores(cpuTicks(serverPid) - serverBefore);
        load.wrkCores = cores(wrkTicks);
        if (output.contains(u"Non-2xx"_s) || output.contains(u"Socket errors"_s))
            load.trouble = grab(u"(Non-2xx or 3xx responses: \\d+)"_s) + u' ' + grab(u"(Socket errors:[^\\n]*)"_s);
        return load;
    }

    // The same requests answered by Node from `reply`.
    Load replay(const HttpReply& reply, const QStringList& headers, const QString& path) const {
        QJsonObject replyHeaders{{u"Content-Type"_s, QString::fromLatin1(reply.contentType)}};
        for (const auto& [name, value] : reply.headers)
            replyHeaders.insert(QString::fromLatin1(name), QString::fromLatin1(value));
        const QJsonObject answer{{u"status"_s, reply.status},
                                 {u"headers"_s, replyHeaders},
                                 {u"body"_s, QString::fromLatin1(reply.body.toBase64())}};
        QFile file(m_dir.filePath(u"answer.json"_s));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return {};
        file.write(QJsonDocument(answer).toJson(QJsonDocument::Compact));
        file.close();
        QProcess node;
        node.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        node.start(m_node, {u"-e"_s, QString::fromUtf8(replayScript), file.fileName()});
        if (!node.waitForReadyRead(10'000))
            return {};
        const int port = node.readLine().trimmed().toInt();
        const Load load = run(headers + QStringList{u"http://127.0.0.1:%1%2"_s.arg(port).arg(path)}, node.processId());
        node.kill();
        node.waitForFinished();
        return load;
    }

private:
    QString m_wrk;
    QString m_node;
    QTemporaryDir& m_dir;
};

struct ListScenario {
    const char* name;
    QString token;
    bool revalidate;
    // Built from the rows for every request, none answered from the lists kept while unchanged.
    bool built;
    // Ceiling ÷ ours at most this, ours ÷ QtSql path at least that (0: no such target).
    double ceilingFactor;
    double overQtSql;
};

QString cores(const Load& load) {
    return u"%1/%2"_s.arg(load.ownCores, 0, 'f', 2).arg(load.wrkCores, 0, 'f', 2);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    qputenv("QT_LOGGING_RULES", "vexo.access=false");
    const QString wrk = QStandardPaths::findExecutable(u"wrk"_s);
    const QString node = QStandardPaths::findExecutable(u"node"_s);
    if (wrk.isEmpty() || node.isEmpty()) {
        std::printf("wrk or node not found (scripts/bootstrap installs them)\n");
        return 1;
    }
    QTemporaryDir dir;
    SystemClock clock;
    SqliteStorage storage(dir.filePath(u"vexo.db"_s));
    const QString now = clock.now().toString(Qt::ISODateWithMs);
    const QString token100 = tokenFor(storage, u"100"_s, 100, now);
    const QString token1000 = tokenFor(storage, u"1000"_s, 1000, now);
    storage.makeWritesDurable();
    VexoServer server(storage, clock);
    const quint16 port = server.listen(QHostAddress::LocalHost, 0);
    const QString base = u"http://127.0.0.1:%1"_s.arg(port);
    const QString path = u"/api/tasks?archived=false"_s;
    const qint64 self = QCoreApplication::applicationPid();
    const Bench bench(wrk, node, dir);

    // The answer a client gets, as the server gives it; with its entity tag, it must revalidate.
    const auto answerFor = [&](const QString& token, const QByteArray& tag) {
        ApiRequest request;
        request.method = "GET";
        request.path = u"/api/tasks"_s;
        request.query = QUrlQuery(u"archived=false"_s);
        request.headers = {{"Authorization", "Bearer " + token.toUtf8()}};
        if (!tag.isEmpty())
            request.headers.append({"If-None-Match", tag});
        return server.dispatch(request);
    };
    const auto tagOf = [](const HttpReply& reply) {
        for (const auto& [name, value] : reply.headers) {
            if (name == "ETag")
                return value;
        }
        return QByteArray();
    };

    std::printf("Task lists: requests/s of vexo-server, of the same list through QtSql and the shared encoder,\n"
                "and of Node serving the same answer from memory (the ceiling), in one run. A list asked for\n"
                "again while unchanged is answered from the bytes kept for it; \"built\" rows build every\n"
                "answer from the rows. Busy cores: server/wrk.\n");
    std::printf("%-22s %10s %8s %9s %10s %9s %10s %9s %9s  %s\n", "scenario", "requests/s", "p99", "cores", "via QtSql",
                "cores", "Node", "cores", "ceil/ours", "targets");
    bool allMet = true;
    const QList<ListScenario> lists{
        {"GET 100 tasks", token100, false, false, 6, 0},     {"GET 100 tasks, built", token100, false, true, 0, 2},
        {"GET 1000 tasks", token1000, false, false, 8, 0},   {"GET 1000 tasks, built", token1000, false, true, 0, 3},
        {"GET 100 tasks, 304", token100, true, false, 2, 0}, {"GET 1000 tasks, 304", token1000, true, false, 2, 0},
    };
    Load ceiling;
    for (const ListScenario& list : lists) {
        const HttpReply full = answerFor(list.token, {});
        const QByteArray tag = tagOf(full);
        const HttpReply reply = list.revalidate ? answerFor(list.token, tag) : full;
        if (tag.isEmpty() || (list.revalidate && reply.status != 304)) {
            std::printf("the task list does not answer If-None-Match with 304\n");
            return 1;
        }
        QStringList headers{u"-H"_s, u"Authorization: Bearer "_s + list.token};
        if (list.revalidate)
            headers << u"-H"_s << u"If-None-Match: "_s + QString::fromLatin1(tag);
        // The built rows follow the same list answered from memory, against the same ceiling.
        if (!list.built)
            ceiling = bench.replay(reply, headers, path);
        server.setListCacheBudget(list.built ? 0 : AnswerCache::defaultBudget);
        const Load ours = bench.run(headers + QStringList{base + path}, self);
        Load viaQtSql;
        if (list.overQtSql > 0) {
            storage.setDirectTaskList(false);
            viaQtSql = bench.run(headers + QStringList{base + path}, self);
            storage.setDirectTaskList(true);
        }
        server.setListCacheBudget(AnswerCache::defaultBudget);
        const double toCeiling = ours.requests > 0 ? ceiling.requests / ours.requests : 0;
        QStringList targets;
        bool met = ours.requests > 0 && (list.ceilingFactor == 0 || toCeiling <= list.ceilingFactor);
        if (list.ceilingFactor > 0)
            targets << u"ceiling ≤%1× %2"_s.arg(list.ceilingFactor).arg(met ? u"met"_s : u"MISSED"_s);
        if (list.overQtSql > 0) {
            const bool over = viaQtSql.requests > 0 && ours.requests >= list.overQtSql * viaQtSql.requests;
            targets << u"≥%1× QtSql (%2×) %3"_s.arg(list.overQtSql)
                           .arg(viaQtSql.requests > 0 ? ours.requests / viaQtSql.requests : 0, 0, 'f', 1)
                           .arg(over ? u"met"_s : u"MISSED"_s);
            met = met && over;
        }
        allMet = allMet && met;
        std::printf("%-22s %10.0f %8s %9s %10s %9s %10.0f %9s %8.1f×  %s\n", list.name, ours.requests,
                    qPrintable(ours.p99), qPrintable(cores(ours)),
                    list.overQtSql > 0 ? qPrintable(QString::number(viaQtSql.requests, 'f', 0)) : "-",
                    list.overQtSql > 0 ? qPrintable(cores(viaQtSql)) : "-", ceiling.requests,
                    qPrintable(cores(ceiling)), toCeiling, qPrintable(targets.join(u"; "_s)));
        for (const Load* load : std::initializer_list<const Load*>{&ours, &viaQtSql, &ceiling}) {
            if (!load->trouble.isEmpty())
                std::printf("  (%s)\n", qPrintable(load->trouble));
        }
        std::fflush(stdout);
    }
    std::printf("%s\n\n", allMet ? "every task-list target met" : "SOME TASK-LIST TARGETS MISSED");

    const QString postScript = dir.filePath(u"post.lua"_s);
    QFile lua(postScript);
    if (!lua.open(QIODevice::WriteOnly))
        return 1;
    lua.write(
        "wrk.method = \"POST\"\n"
        "wrk.body = '{\"title\":\"Нагрузочная задача\",\"priority\":\"high\",\"deadline\":\"2025-03-05T18:00:00Z\"}'\n"
        "wrk.headers[\"Content-Type\"] = \"application/json\"\n");
    lua.close();
    std::printf("%-28s %12s %10s %10s\n", "scenario", "requests/s", "p50", "p99");
    const QStringList post{u"-s"_s, postScript, u"-H"_s, u"Authorization: Bearer "_s + token100,
                           base + u"/api/tasks"_s};
    // A later -c wins over the default 8 connections: one client alone is what a person waits for
    // when saving a task.
    for (const auto& [name, arguments] :
         {std::pair{"POST /api/tasks", post}, std::pair{"POST /api/tasks, 1 client", QStringList{u"-c1"_s} + post}}) {
        const Load load = bench.run(arguments, self);
        std::printf("%-28s %12.0f %10s %10s\n", name, load.requests, qPrintable(load.p50), qPrintable(load.p99));
        if (!load.trouble.isEmpty())
            std::printf("  (%s)\n", qPrintable(load.trouble));
    }
    return 0;
}
