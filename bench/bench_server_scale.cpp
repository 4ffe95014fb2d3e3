// Requests per second and p99 latency of vexo-server processes under wrk, on the same data in three
// deployments: SQLite with one instance, PostgreSQL with one instance, PostgreSQL with two instances
// (wrk's two threads each keep their connections to one of them, so requests alternate evenly).
// Each run also says how busy each party was, in cores: the servers, PostgreSQL and wrk itself,
// which on a machine of two cores shows what limits the figure.
#include "PostgresCluster.h"
#include "PostgresStorage.h"
#include "Secrets.h"
#include "SqliteStorage.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <memory>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

struct Tokens {
    QString hundred;
    QString thousand;
};

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

Tokens fill(Storage& storage) {
    const QString now = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    Tokens tokens{tokenFor(storage, u"100"_s, 100, now), tokenFor(storage, u"1000"_s, 1000, now)};
    storage.makeWritesDurable();
    return tokens;
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

qint64 parentOf(qint64 pid) {
    QFile stat(u"/proc/%1/stat"_s.arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 1 ? fields[1].toLongLong() : 0;
}

// The PostgreSQL server and every process it started (a backend per connection).
QList<qint64> postgresProcesses(const PostgresCluster* cluster) {
    if (!cluster)
        return {};
    QFile pidFile(cluster->dataFolder() + u"/postmaster.pid"_s);
    if (!pidFile.open(QIODevice::ReadOnly))
        return {};
    const qint64 postmaster = pidFile.readLine().trimmed().toLongLong();
    QList<qint64> pids{postmaster};
    for (const QString& entry : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        bool ok = false;
        const qint64 pid = entry.toLongLong(&ok);
        if (ok && parentOf(pid) == postmaster)
            pids << pid;
    }
    return pids;
}

qint64 ticksOf(const QList<qint64>& pids) {
    qint64 sum = 0;
    for (const qint64 pid : pids)
        sum += cpuTicks(pid);
    return sum;
}

class Deployment final {
public:
    Deployment(const QString& name, const QStringList& storageArguments, int instances, PostgresCluster* cluster)
        : m_name(name)
        , m_cluster(cluster) {
        for (int i = 0; i < instances; ++i) {
            auto process = std::make_unique<QProcess>();
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(u"QT_LOGGING_RULES"_s, u"vexo.access=false"_s);
            process->setProcessEnvironment(environment);
            process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            process->start(QStringLiteral(VEXO_SERVER_BINARY),
                           QStringList{u"serve"_s, u"--listen"_s, u"127.0.0.1:0"_s} + storageArguments);
            static const QRegularExpression address(u"слушает http://127\\.0\\.0\\.1:(\\d+)"_s);
            QString output;
            while (process->waitForReadyRead(30'000)) {
                output += QString::fromUtf8(process->readAllStandardOutput());
                if (const auto match = address.match(output); match.hasMatch()) {
                    m_ports << match.captured(1).toUShort();
                    break;
                }
            }
            m_processes.push_back(std::move(process));
        }
    }
    ~Deployment() {
        for (const auto& process : m_processes) {
            process->terminate();
            process->waitForFinished(10'000);
        }
    }

    bool ready() const { return m_ports.size() == int(m_processes.size()); }
    const QString& name() const { return m_name; }
    const QList<quint16>& ports() const { return m_ports; }
    QList<qint64> serverPids() const {
        QList<qint64> pids;
        for (const auto& process : m_processes)
            pids << process->processId();
        return pids;
    }
    PostgresCluster* cluster() const { return m_cluster; }

private:
    QString m_name;
    PostgresCluster* m_cluster;
    std::vector<std::unique_ptr<QProcess>> m_processes;
    QList<quint16> m_ports;
};

struct Scenario {
    const char* name;
    bool post;
    bool thousand;
};

// wrk's Lua: each thread's connections go to one instance, in turn; the request itself.
QString script(const QList<quint16>& ports, bool post) {
    QStringList list;
    for (const quint16 port : ports)
        list << u"\"%1\""_s.arg(port);
    QString lua = u"local ports = {%1}\nlocal n = 0\n"
                  u"function setup(thread)\n"
                  u"  thread.addr = wrk.lookup(\"127.0.0.1\", ports[n %% #ports + 1])[1]\n"
                  u"  n = n + 1\n"
                  u"end\n"_s.arg(list.join(u", "_s));
    lua.replace(u"%%"_s, u"%"_s);
    if (post) {
        lua += u"wrk.method = \"POST\"\n"
               u"wrk.body = '{\"title\":\"Нагрузочная задача\",\"priority\":\"high\","
               u"\"deadline\":\"2025-03-05T18:00:00Z\"}'\n"
               u"wrk.headers[\"Content-Type\"] = \"application/json\"\n"_s;
    }
    return lua;
}

void measure(const QString& wrk, const Deployment& deployment, const Tokens& tokens, QTemporaryDir& dir) {
    static const QList<Scenario> scenarios{
        {"GET 100 tasks", false, false},
        {"GET 1000 tasks", false, true},
        {"POST a task", true, false},
    };
    const long ticksPerSecond = ::sysconf(_SC_CLK_TCK);
    for (const Scenario& scenario : scenarios) {
        const QString lua = dir.filePath(u"run.lua"_s);
        QFile file(lua);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return;
        file.write(script(deployment.ports(), scenario.post).toUtf8());
        file.close();
        const QString token = scenario.thousand ? tokens.thousand : tokens.hundred;
        const QString url = u"http://127.0.0.1:%1/api/tasks"_s.arg(deployment.ports().first()) +
                            (scenario.post ? QString() : u"?archived=false"_s);

        // A second unmeasured first: caches, prepared statements and PostgreSQL's first WAL files
        // (each made and synced on first use) belong to no one figure.
        QProcess warmUp;
        warmUp.start(wrk,
                     {u"-t2"_s, u"-c8"_s, u"-d1s"_s, u"-s"_s, lua, u"-H"_s, u"Authorization: Bearer "_s + token, url});
        warmUp.waitForFinished();

        const QList<qint64> servers = deployment.serverPids();
        const QList<qint64> postgres = postgresProcesses(deployment.cluster());
        const qint64 serverBefore = ticksOf(servers);
        const qint64 postgresBefore = ticksOf(postgres);
        QProcess process;
        process.start(wrk, {u"-t2"_s, u"-c8"_s, u"-d5s"_s, u"--latency"_s, u"-s"_s, lua, u"-H"_s,
                            u"Authorization: Bearer "_s + token, url});
        process.waitForStarted();
        const qint64 wrkPid = process.processId();
        QElapsedTimer clock;
        clock.start();
        qint64 wrkTicks = 0;
        // wrk's own time, read while it still runs.
        while (!process.waitForFinished(200))
            wrkTicks = qMax(wrkTicks, cpuTicks(wrkPid));
        const double seconds = clock.elapsed() / 1000.0;
        const auto cores = [&](qint64 ticks) { return double(ticks) / ticksPerSecond / seconds; };
        const double serverCores = cores(ticksOf(servers) - serverBefore);
        // Backends started during the run count from nothing.
        const double postgresCores = cores(ticksOf(postgresProcesses(deployment.cluster())) - postgresBefore);

        const QString output = QString::fromUtf8(process.readAllStandardOutput());
        const auto grab = [&](const QString& pattern) { return QRegularExpression(pattern).match(output).captured(1); };
        std::printf("%-26s %-16s %10s %10s   %6.2f %6.2f %6.2f\n", qPrintable(deployment.name()), scenario.name,
                    qPrintable(grab(u"Requests/sec:\\s+([\\d.]+)"_s)), qPrintable(grab(u"99%\\s+([\\d.]+\\w+)"_s)),
                    serverCores, postgresCores, cores(wrkTicks));
        if (output.contains(u"Non-2xx"_s) || output.contains(u"Socket errors"_s))
            std::printf("  (%s %s)\n", qPrintable(grab(u"(Non-2xx or 3xx responses: \\d+)"_s)),
                        qPrintable(grab(u"(Socket errors:[^\\n]*)"_s)));
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    qputenv("QT_LOGGING_RULES", "vexo.*=false");
    const QString wrk = QStandardPaths::findExecutable(u"wrk"_s);
    if (wrk.isEmpty()) {
        std::printf("wrk not found (apt-get install wrk)\n");
        return 1;
    }
    QTemporaryDir dir;
    std::printf("%-26s %-16s %10s %10s   %6s %6s %6s\n", "deployment", "scenario", "requests/s", "p99", "server",
                "pgsql", "wrk");
    std::printf("%-26s %-16s %10s %10s   %20s\n", "", "", "", "", "(busy cores)");

    // SQLite: the data folder, filled before the server opens it.
    {
        const QString data = dir.filePath(u"sqlite"_s);
        QDir().mkpath(data);
        Tokens tokens;
        {
            SqliteStorage storage(data + u"/vexo.db"_s);
            tokens = fill(storage);
        }
        const Deployment deployment(u"SQLite, 1 instance"_s, {u"--data"_s, data}, 1, nullptr);
        if (!deployment.ready())
            return 1;
        measure(wrk, deployment, tokens, dir);
    }

    // PostgreSQL, syncing every commit as a production server does; a fresh database for each, with
    // the same data.
    PostgresCluster cluster(true);
    for (const int instances : {1, 2}) {
        const QString address = cluster.address(cluster.createDatabase());
        Tokens tokens;
        {
            PostgresStorage storage(*PostgresAddress::parse(address));
            tokens = fill(storage);
        }
        const Deployment deployment(u"PostgreSQL, %1 instance%2"_s.arg(instances).arg(instances > 1 ? u"s"_s : u""_s),
                                    {u"--database"_s, address}, instances, &cluster);
        if (!deployment.ready())
            return 1;
        measure(wrk, deployment, tokens, dir);
    }
    return 0;
}
