#include "APIService.h"
#include "Await.h"
#include "MemoryStore.h"

#include <QNetworkAccessManager>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using vexo::test::await;

// The vexo-server executable itself: its commands, a hard kill right after an acknowledged write,
// and a graceful stop.
class tst_ServerProcess final : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_data;
    QNetworkAccessManager m_network;

    QString runCommand(const QStringList& arguments, int expectedExit = 0) {
        QProcess process;
        process.start(QStringLiteral(VEXO_SERVER_BINARY), arguments + QStringList{u"--data"_s, m_data.path()});
        if (!process.waitForFinished(30'000))
            qFatal("vexo-server did not finish");
        if (process.exitCode() != expectedExit)
            qWarning("%s", process.readAllStandardError().constData());
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }

    // Starts `serve` on an ephemeral port and returns its base address.
    QString startServer(QProcess& process) {
        process.start(QStringLiteral(VEXO_SERVER_BINARY),
                      {u"serve"_s, u"--listen"_s, u"127.0.0.1:0"_s, u"--data"_s, m_data.path()});
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
