#include "APIService.h"
#include "Await.h"
#include "FeedClient.h"
#include "HttpProbe.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "SqliteStorage.h"

#include <QDirIterator>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

// The permission bits of a file or folder, as octal text for readable failures.
QString modeOf(const QString& path) {
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return u"missing"_s;
    return QString::number(info.st_mode & 0777, 8);
}

// Every file and folder under `root`, itself as ".", each as "path mode", sorted.
QStringList modesUnder(const QString& root) {
    QStringList modes{u". "_s + modeOf(root)};
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        modes << QDir(root).relativeFilePath(path) + u' ' + modeOf(path);
    }
    modes.sort();
    return modes;
}

// The umask for the life of a scope.
class Umask final {
public:
    explicit Umask(mode_t mask)
        : m_old(::umask(mask)) {}
    ~Umask() { ::umask(m_old); }

private:
    mode_t m_old;
};

} // namespace

// The vexo-server executable itself: its commands, a hard kill right after an acknowledged write,
// and a graceful stop.
class tst_ServerProcess final : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_data;
    QNetworkAccessManager m_network;

    QString runCommand(const QStringList& arguments, int expectedExit = 0, const QString& data = QString()) {
        QProcess process;
        process.start(QStringLiteral(VEXO_SERVER_BINARY),
                      arguments + QStringList{u"--data"_s, data.isEmpty() ? m_data.path() : data});
        if (!process.waitForFinished(30'000))
            qFatal("vexo-server did not finish");
        if (process.exitCode() != expectedExit)
            qWarning("%s", process.readAllStandardError().constData());
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }

    // Starts `serve` on an ephemeral port and returns its base address.
    QString startServer(QProcess& process, const QString& data = QString()) {
        process.start(QStringLiteral(VEXO_SERVER_BINARY), {u"serve"_s, u"--listen"_s, u"127.0.0.1:0"_s, u"--data"_s,
                                                           data.isEmpty() ? m_data.path() : data});
        static const QRegularExpression address(u"слушает (http://127\\.0\\.0\\.1:\\d+)"_s);
        QString output;
        while (process.waitForReadyRead(30'000)) {
            output += QString::fromUtf8(process.readAllStandardOutput());
            const auto match = address.match(output);
            if (match.hasMatch())
                return match.captured(1);
        }
        return QString();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_data.isValid()); }

    void commandLine() {
        const QString key = runCommand({u"user"_s, u"add"_s, u"--telegram-id"_s, u"42"_s, u"--first-name"_s, u"Ира"_s});
        QVERIFY2(QRegularExpression(u"^vexo-tasks-[A-Za-z0-9_-]{32}$"_s).match(key).hasMatch(), qPrintable(key));
        runCommand({u"user"_s, u"add"_s, u"--telegram-id"_s, u"42"_s}, 1);

        const QString second = runCommand({u"user"_s, u"key"_s, u"--telegram-id"_s, u"42"_s});
        QVERIFY(second != key);
        const QString taskId = runCommand(
            {u"task"_s, u"add"_s, u"--telegram-id"_s, u"42"_s, u"--title"_s, u"Из бота"_s, u"--priority"_s, u"high"_s});
        QVERIFY(taskId.toLongLong() > 0);
        const QString file = m_data.filePath(u"note.txt"_s);
        QFile note(file);
        QVERIFY(note.open(QIODevice::WriteOnly));
        note.write("заметка");
        note.close();
        QVERIFY(runCommand({u"attach"_s, u"--task"_s, taskId, u"--file"_s, file}).toLongLong() > 0);
        runCommand({u"attach"_s, u"--task"_s, u"999"_s, u"--file"_s, file}, 1);
        runCommand({u"frobnicate"_s}, 2);

        QProcess server;
        const QString base = startServer(server);
        QVERIFY(!base.isEmpty());
        MemoryStore store;
        APIService api(base, m_network, store);
        // Both keys work until one is replaced with --new.
        store.setText(u"vexo_token"_s, await(api.verifyKey(key)).token);
        const auto tasks = await(api.fetchTasks(false, std::nullopt, std::nullopt)).tasks;
        QCOMPARE(tasks.size(), 1);
        QCOMPARE(tasks[0].source, std::optional<QString>(u"bot"_s));
        QCOMPARE(await(api.fetchAttachments(tasks[0].id)).attachments.at(0).filename, u"note.txt"_s);
        await(api.verifyKey(second));
        const QString third = runCommand({u"user"_s, u"key"_s, u"--telegram-id"_s, u"42"_s, u"--new"_s});
        await(api.verifyKey(third));
        QVERIFY_THROWS_EXCEPTION(std::exception, await(api.verifyKey(key)));

        await(api.sendTaskToBot(tasks[0].id));
        QVERIFY(runCommand({u"outbox"_s}).contains(u"Из бота"_s));

        ::kill(pid_t(server.processId()), SIGTERM);
        QVERIFY(server.waitForFinished(10'000));
        QCOMPARE(server.exitStatus(), QProcess::NormalExit);
        QCOMPARE(server.exitCode(), 0);
    }

    // The server process tells a signed-in client of a task the command line adds, as the bot does,
    // and says it is going away when stopped.
    void feedOfTheServerProcess() {
        QTemporaryDir data;
        const QString key = runCommand({u"user"_s, u"add"_s, u"--telegram-id"_s, u"77"_s}, 0, data.path());
        QProcess server;
        const QString base = startServer(server, data.path());
        QVERIFY(!base.isEmpty());
        MemoryStore store;
        APIService api(base, m_network, store);
        const QByteArray token = await(api.verifyKey(key)).token.toUtf8();
        QString events = base;
        FeedClient client(events.replace(u"http://"_s, u"ws://"_s) + u"/api/events"_s, FeedClient::bearer(token));
        QTRY_COMPARE_WITH_TIMEOUT(client.texts(), QStringList{u"{\"type\":\"hello\",\"rev\":0}"_s}, 10'000);

        const QString taskId =
            runCommand({u"task"_s, u"add"_s, u"--telegram-id"_s, u"77"_s, u"--title"_s, u"Из бота"_s}, 0, data.path());
        QTRY_COMPARE_WITH_TIMEOUT(client.changes(), QStringList{u"task created "_s + taskId}, 1'000);

        ::kill(pid_t(server.processId()), SIGTERM);
        QTRY_VERIFY_WITH_TIMEOUT(client.isClosed(), 10'000);
        QCOMPARE(client.closeCode(), 1001);
        // Waiting for the close lets the event loop reap the process: it may be gone already.
        QVERIFY(server.state() == QProcess::NotRunning || server.waitForFinished(10'000));
        QCOMPARE(server.exitStatus(), QProcess::NormalExit);
        QCOMPARE(server.exitCode(), 0);
    }

    // A mistyped option stops the server before it opens any storage or takes any port.
    void misspeltOptionStopsTheServer() {
        QTemporaryDir parent;
        const QString data = parent.filePath(u"data"_s);
        QProcess process;
        process.start(QStringLiteral(VEXO_SERVER_BINARY),
                      {u"serve"_s, u"--listen"_s, u"127.0.0.1:0"_s, u"--databse"_s, data});
        QVERIFY(process.waitForFinished(30'000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 2);
        QVERIFY(process.readAllStandardOutput().isEmpty());
        QVERIFY(QString::fromUtf8(process.readAllStandardError()).contains(u"Неизвестный параметр: --databse"_s));
        QVERIFY(!QFileInfo::exists(data));

        QProcess version;
        version.start(QStringLiteral(VEXO_SERVER_BINARY), {u"--version"_s});
        QVERIFY(version.waitForFinished(30'000));
        QCOMPARE(version.exitCode(), 0);
        QVERIFY(QRegularExpression(u"^vexo-server \\d+\\.\\d+\\.\\d+\n$"_s)
                    .match(QString::fromUtf8(version.readAllStandardOutput()))
                    .hasMatch());
    }

    // With the most permissive umask, everything the service creates is still its user's alone.
    void dataIsPrivateWhateverTheUmask() {
        const Umask open(0);
        QTemporaryDir parent;
        const QString data = parent.filePath(u"data"_s);
        const QString picture = parent.filePath(u"me.png"_s);
        QFile avatar(picture);
        QVERIFY(avatar.open(QIODevice::WriteOnly));
        avatar.write("\x89PNG");
        avatar.close();
        const QString key =
            runCommand({u"user"_s, u"add"_s, u"--telegram-id"_s, u"5"_s, u"--avatar"_s, picture}, 0, data);
        const QString taskId =
            runCommand({u"task"_s, u"add"_s, u"--telegram-id"_s, u"5"_s, u"--title"_s, u"t"_s}, 0, data);
        QVERIFY(runCommand({u"attach"_s, u"--task"_s, taskId, u"--file"_s, picture}, 0, data).toLongLong() > 0);

        QProcess server;
        const QString base = startServer(server, data);
        QVERIFY(!base.isEmpty());
        MemoryStore store;
        APIService api(base, m_network, store);
        const QString token = await(api.verifyKey(key)).token;
        QCOMPARE(probe(m_network, "POST", base + u"/api/tasks/%1/attachments?filename=a.txt"_s.arg(taskId), "file",
                       {{"Authorization", "Bearer " + token.toUtf8()}})
                     .status,
                 201);
        const QStringList modes = modesUnder(data);
        ::kill(pid_t(server.processId()), SIGTERM);
        QVERIFY(server.waitForFinished(10'000));

        QCOMPARE(modes.size(), 9); // the folder, the database with its WAL and index, two folders, three files
        for (const QString& entry : modes) {
            const bool folder = entry.startsWith(u". "_s) || (!entry.contains(u'/') && !entry.startsWith(u"vexo.db"_s));
            QVERIFY2(entry.endsWith(folder ? u" 700"_s : u" 600"_s), qPrintable(modes.join(u", "_s)));
        }

        // What an older version left open to everyone is closed at the next start.
        QFile::setPermissions(data, QFileDevice::Permissions(0x7755));
        QFile::setPermissions(data + u"/vexo.db"_s, QFileDevice::Permissions(0x6644));
        runCommand({u"outbox"_s}, 0, data);
        QCOMPARE(modeOf(data), u"700"_s);
        QCOMPARE(modeOf(data + u"/vexo.db"_s), u"600"_s);
    }

    // The same inside a process that embeds the service.
    void embeddedServiceFilesArePrivate() {
        const Umask open(0);
        LocalService service;
        const QString key = service.addUser(u"8"_s);
        MemoryStore store;
        APIService api(service.baseUrl(), m_network, store);
        const QString token = await(api.verifyKey(key)).token;
        store.setText(u"vexo_token"_s, token);
        const qint64 taskId = await(api.createTask(u"t"_s, TaskPriority::low, {}, {})).task.id;
        QCOMPARE(probe(m_network, "POST", service.baseUrl() + u"/api/tasks/%1/attachments?filename=a.txt"_s.arg(taskId),
                       "file", {{"Authorization", "Bearer " + token.toUtf8()}})
                     .status,
                 201);
        const QStringList modes = modesUnder(service.dataDir());
        for (const QString& entry : modes) {
            const bool folder =
                entry.startsWith(u". "_s) || entry.startsWith(u"attachments "_s) || entry.startsWith(u"avatars "_s);
            QVERIFY2(entry.endsWith(folder ? u" 700"_s : u" 600"_s), qPrintable(modes.join(u", "_s)));
        }
        QVERIFY(modes.join(u' ').contains(u"vexo.db-wal 600"_s));
    }

    // An answer that reports a write waits until the journal holding it is flushed to disk, so a
    // power loss cannot take back what was answered.
    void answeredWritesAreSyncedToDisk() {
        LocalService service;
        auto& storage = dynamic_cast<SqliteStorage&>(service.storage());
        QCOMPARE(storage.setting(u"journal_mode"_s), u"wal"_s);
        const QString key = service.addUser(u"9"_s);
        QVERIFY(storage.hasUndurableWrites());
        MemoryStore store;
        APIService api(service.baseUrl(), m_network, store);
        store.setText(u"vexo_token"_s, await(api.verifyKey(key)).token);
        QVERIFY(!storage.hasUndurableWrites());
        for (int i = 0; i < 3; ++i) {
            const qint64 id = await(api.createTask(u"t"_s, TaskPriority::low, {}, {})).task.id;
            QVERIFY(!storage.hasUndurableWrites());
            await(api.updateTask(id, TaskUpdate{u"u"_s, {}, {}, {}, {}, {}}));
            QVERIFY(!storage.hasUndurableWrites());
            await(api.deleteTask(id));
            QVERIFY(!storage.hasUndurableWrites());
        }
        // A write outside any transaction counts too, and any answer waits for what came before it.
        storage.setApiKey(service.userId(u"9"_s), u"k"_s);
        QVERIFY(storage.hasUndurableWrites());
        await(api.fetchFolders());
        QVERIFY(!storage.hasUndurableWrites());
    }

    void acknowledgedWriteSurvivesKillNine() {
        const QString key = runCommand({u"user"_s, u"add"_s, u"--telegram-id"_s, u"7"_s});
        QProcess server;
        QString base = startServer(server);
        QVERIFY(!base.isEmpty());
        MemoryStore store;
        auto api = std::make_unique<APIService>(base, m_network, store);
        store.setText(u"vexo_token"_s, await(api->verifyKey(key)).token);
        const VexoTask task = await(api->createTask(u"Не потеряй меня"_s, TaskPriority::high, {}, {})).task;
        server.kill(); // SIGKILL, right after the 201
        QVERIFY(server.waitForFinished(10'000));

        QProcess restarted;
        base = startServer(restarted);
        QVERIFY(!base.isEmpty());
        api = std::make_unique<APIService>(base, m_network, store);
        const auto tasks = await(api->fetchTasks(false, std::nullopt, std::nullopt)).tasks;
        QCOMPARE(tasks.size(), 1);
        QCOMPARE(tasks[0].id, task.id);
        QCOMPARE(tasks[0].title, u"Не потеряй меня"_s);
        restarted.kill();
        restarted.waitForFinished();
    }
};

QTEST_GUILESS_MAIN(tst_ServerProcess)
#include "tst_ServerProcess.moc"
