#include "HttpProbe.h"
#include "PostgresCluster.h"
#include "TestStorages.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// Requests kept in flight against one server, each answer recorded with the phase of the test it
// was sent in. A request that takes longer than the time-out counts as hung.
class WriteLoad final : public QObject {
    Q_OBJECT

public:
    struct Answer {
        int phase = 0;
        int status = 0; // 0: no HTTP answer
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        QByteArray retryAfter;
        qint64 elapsedMs = 0;
    };

    WriteLoad(const QString& base, const QByteArray& token, int parallel)
        : m_base(base)
        , m_token(token) {
        m_network.setAutoDeleteReplies(true);
        for (int i = 0; i < parallel; ++i)
            send();
    }

    void setPhase(int phase) { m_phase = phase; }
    // Sends nothing more; what is in flight still ends.
    void stop() { m_running = false; }
    bool idle() const { return m_inFlight == 0; }

    // Ids of the tasks whose creation was answered 201: the acknowledged writes.
    const QList<qint64>& acknowledged() const { return m_acknowledged; }
    const QList<Answer>& answers() const { return m_answers; }
    int count(int phase, int status) const {
        return int(std::count_if(m_answers.begin(), m_answers.end(),
                                 [&](const Answer& a) { return a.phase == phase && a.status == status; }));
    }

private:
    void send() {
        // Mostly writes, and a read now and then.
        const bool read = ++m_sent % 5 == 0;
        QNetworkRequest request(QUrl(m_base + u"/api/tasks"_s + (read ? u"?archived=false"_s : QString())));
        request.setRawHeader("Authorization", "Bearer " + m_token);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/json"));
        request.setTransferTimeout(timeoutMs);
        QNetworkReply* reply =
            read ? m_network.get(request)
                 : m_network.post(request, "{\"title\":\"Запись " + QByteArray::number(m_sent) + "\"}");
        ++m_inFlight;
        const int phase = m_phase;
        QElapsedTimer clock;
        clock.start();
        connect(reply, &QNetworkReply::finished, this, [this, reply, phase, clock] {
            --m_inFlight;
            Answer answer;
            answer.phase = phase;
            answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
            answer.error = reply->error();
            answer.retryAfter = reply->rawHeader("Retry-After");
            answer.elapsedMs = clock.elapsed();
            const QByteArray body = reply->readAll();
            if (answer.status == 201)
                m_acknowledged << QJsonDocument::fromJson(body).object()[u"task"_s].toObject()[u"id"_s].toInteger();
            m_answers << answer;
            if (m_running)
                send();
        });
    }

    static constexpr int timeoutMs = 20'000;
    QNetworkAccessManager m_network;
    QString m_base;
    QByteArray m_token;
    int m_phase = 0;
    int m_sent = 0;
    int m_inFlight = 0;
    bool m_running = true;
    QList<qint64> m_acknowledged;
    QList<Answer> m_answers;
};

} // namespace

// What a deployment keeps when things go wrong under load: a write answered 201 survives kill -9 of
// the instance that answered it, and a restart of PostgreSQL under the instances gives clear 503
// answers (never a 500, never a hang) until they are back on their own, with nothing acknowledged
// lost. On the vexo-server executable, once on each backend.
class tst_Durability final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestStorages> m_storages;
    QNetworkAccessManager m_network;
    bool m_clusterStopped = false; // by this test, which starts it again whatever happens

    // Starts `serve` on an ephemeral port on the test storage; returns its base address.
    QString startServer(QProcess& process) {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral(VEXO_SERVER_BINARY),
                      QStringList{u"serve"_s, u"--listen"_s, u"127.0.0.1:0"_s} + m_storages->arguments());
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

    // A user with a session; returns the bearer token.
    QByteArray signedInUser(const QString& base) {
        QProcess add;
        add.start(QStringLiteral(VEXO_SERVER_BINARY),
                  QStringList{u"user"_s, u"add"_s, u"--telegram-id"_s, u"77"_s} + m_storages->arguments());
        if (!add.waitForFinished(30'000) || add.exitCode() != 0)
            return {};
        const QByteArray key = add.readAllStandardOutput().trimmed();
        const ProbeReply reply = probe(m_network, "POST", base + u"/api/auth/verify"_s, "{\"key\":\"" + key + "\"}",
                                       {{"Content-Type", "application/json"}});
        return QJsonDocument::fromJson(reply.body).object()[u"token"_s].toString().toUtf8();
    }

    // The ids of the user's tasks as the storage has them, read past any server.
    QSet<qint64> storedTaskIds() {
        const auto storage = m_storages->open();
        QSet<qint64> ids;
        for (const VexoTask& task : storage->tasks(storage->userByTelegramId(u"77"_s)->user.id, TaskFilter{}))
            ids.insert(task.id);
        return ids;
    }

private Q_SLOTS:
    void init() { m_storages = std::make_unique<TestStorages>(); }
    void cleanup() {
        if (std::exchange(m_clusterStopped, false))
            QVERIFY(PostgresCluster::shared().start());
        m_storages.reset();
    }

    void killNineLosesNoAcknowledgedWrite() {
        QProcess server;
        const QString base = startServer(server);
        QVERIFY(!base.isEmpty());
        const QByteArray token = signedInUser(base);
        QVERIFY(!token.isEmpty());
        WriteLoad load(base, token, 8);
        QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged().size() >= 150, 60'000);
        server.kill(); // SIGKILL, writes in flight
        QVERIFY(server.waitForFinished(10'000));
        load.stop();
        QTRY_VERIFY_WITH_TIMEOUT(load.idle(), 30'000);

        const QSet<qint64> stored = storedTaskIds();
        const QList<qint64>& acknowledged = load.acknowledged();
        qInfo("%lld writes acknowledged before the kill, %lld rows stored", qint64(acknowledged.size()),
              qint64(stored.size()));
        for (const qint64 id : acknowledged)
            QVERIFY2(stored.contains(id), qPrintable(u"task %1 was answered 201 and is gone"_s.arg(id)));
        QVERIFY(stored.size() >= acknowledged.size());
    }

    void postgresRestartGives503AndRecovers() {
        if (m_storages->backend() != TestBackend::postgres)
            QSKIP("a PostgreSQL server restarting: the PostgreSQL run has it");
        QProcess first;
        QProcess second;
        // Ended as the test ends, however it ends.
        const auto end = qScopeGuard([&] {
            for (QProcess* process : {&first, &second}) {
                process->kill();
                process->waitForFinished();
            }
        });
        const QList<QString> bases{startServer(first), startServer(second)};
        QVERIFY(!bases[0].isEmpty() && !bases[1].isEmpty());
        const QByteArray token = signedInUser(bases[0]);
        QVERIFY(!token.isEmpty());
        WriteLoad loadA(bases[0], token, 4);
        WriteLoad loadB(bases[1], token, 4);
        const QList<WriteLoad*> loads{&loadA, &loadB};
        QTRY_VERIFY_WITH_TIMEOUT(loadA.count(0, 201) >= 20 && loadB.count(0, 201) >= 20, 60'000);

        PostgresCluster& cluster = PostgresCluster::shared();
        m_clusterStopped = true;
        QVERIFY(cluster.stop());
        for (WriteLoad* load : loads)
            load->setPhase(1);
        // Down: every request is answered, and with 503.
        QTRY_VERIFY_WITH_TIMEOUT(loadA.count(1, 503) >= 20 && loadB.count(1, 503) >= 20, 30'000);
        // Requests of the down phase leave before the server comes back (sending takes the event
        // loop, which starting the server holds for a while).
        for (WriteLoad* load : loads)
            load->setPhase(3);
        QTest::qWait(300);
        m_clusterStopped = false;
        QVERIFY(cluster.start());
        for (WriteLoad* load : loads)
            load->setPhase(2);
        // Back by themselves: no restart of the instances.
        QTRY_VERIFY_WITH_TIMEOUT(loadA.count(2, 201) >= 20 && loadB.count(2, 201) >= 20, 60'000);
        for (WriteLoad* load : loads)
            load->stop();
        QTRY_VERIFY_WITH_TIMEOUT(loadA.idle() && loadB.idle(), 30'000);

        QSet<qint64> acknowledged;
        for (WriteLoad* load : loads) {
            for (const WriteLoad::Answer& answer : load->answers()) {
                const QString where = u"phase %1: status %2, error %3, %4 ms"_s.arg(answer.phase)
                                          .arg(answer.status)
                                          .arg(int(answer.error))
                                          .arg(answer.elapsedMs);
                // Every request has an HTTP answer, in good time: 200, 201, or 503 with when to retry.
                QVERIFY2(answer.status == 200 || answer.status == 201 || answer.status == 503, qPrintable(where));
                QVERIFY2(answer.elapsedMs < 10'000, qPrintable(where));
                if (answer.status == 503)
                    QCOMPARE(answer.retryAfter, QByteArray("1"));
                if (answer.phase == 1)
                    QVERIFY2(answer.status == 503, qPrintable(where));
            }
            for (const qint64 id : load->acknowledged())
                acknowledged.insert(id);
        }
        const QSet<qint64> stored = storedTaskIds();
        QVERIFY(stored.contains(acknowledged));
        // The instances read what was written while they were away.
        const ProbeReply list = probe(m_network, "GET", bases[1] + u"/api/tasks?archived=false"_s, {},
                                      {{"Authorization", "Bearer " + token}});
        QCOMPARE(list.status, 200);
        QCOMPARE(QJsonDocument::fromJson(list.body).object()[u"tasks"_s].toArray().size(), stored.size());
    }
};

QTEST_GUILESS_MAIN(tst_Durability)
#include "tst_Durability.moc"
