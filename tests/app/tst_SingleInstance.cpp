#include "SingleInstance.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QLockFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// This test program run again as a later start: it claims the socket given in the environment
// with the message given there, and says by its exit status what came of it.
constexpr const char* secondStartSocket = "VEXO_TEST_SECOND_START_SOCKET";
constexpr const char* secondStartMessage = "VEXO_TEST_SECOND_START_MESSAGE";
// Or it takes the start-up lock given there and holds it until it is killed.
constexpr const char* holdLock = "VEXO_TEST_HOLD_LOCK";

int runHoldingTheLock(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QLockFile lock(qEnvironmentVariable(holdLock));
    if (!lock.lock())
        return 1;
    std::fputs("locked\n", stdout);
    std::fflush(stdout);
    return QCoreApplication::exec();
}

int runAsSecondStart(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    SingleInstance instance(qEnvironmentVariable(secondStartSocket));
    switch (instance.claim(qgetenv(secondStartMessage), 10000)) {
    case SingleInstance::Outcome::handedOver:
        return 0;
    case SingleInstance::Outcome::primary:
        return 3;
    case SingleInstance::Outcome::failed:
        return 1;
    }
    return 1;
}

// A socket file with nobody behind it, as a client that crashed leaves it.
void leaveStaleSocket(const QString& path) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    std::memcpy(address.sun_path, name.constData(), size_t(name.size()));
    QVERIFY(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
    ::close(fd);
    QVERIFY(QFileInfo(path).exists());
}

} // namespace

// One client per user: a later start hands over to the running one, in two real processes.
class tst_SingleInstance final : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString socketPath() const { return m_dir.filePath(u"vexo-tasks.socket"_s); }

    // A later start, as a separate process; its exit status tells what it did.
    int secondStart(const QByteArray& message) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(secondStartSocket), socketPath());
        environment.insert(QString::fromLatin1(secondStartMessage), QString::fromLatin1(message));
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationFilePath(), {});
        if (!process.waitForStarted())
            return -1;
        // The running instance answers from this event loop.
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 60000))
            return -1;
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    static QProcessEnvironment programEnvironment(const QString& runtime, const QString& config) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtime);
        environment.insert(u"XDG_CONFIG_HOME"_s, config);
        environment.insert(u"QT_LOGGING_RULES"_s, u"vexo.app.info=true"_s);
        environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
        // Leaks of a process this test kills are not this test's subject.
        environment.insert(u"ASAN_OPTIONS"_s, u"detect_leaks=0"_s);
        return environment;
    }

private Q_SLOTS:
    void init() { QVERIFY(m_dir.isValid()); }

    void cleanup() {
        QLocalServer::removeServer(socketPath());
        QFile::remove(socketPath() + u".lock"_s);
    }

    void theFirstStartListensOnlyForItsUser() {
        SingleInstance first(socketPath());
        QCOMPARE(first.claim(SingleInstance::activate), SingleInstance::Outcome::primary);
        QCOMPARE(QFileInfo(socketPath()).permissions() &
                     (QFile::ReadOther | QFile::WriteOther | QFile::ReadGroup | QFile::WriteGroup),
                 QFileDevice::Permissions());
        // The lock is only held while a start decides.
        QVERIFY(!QFileInfo::exists(socketPath() + u".lock"_s));
    }

    void aSecondStartHandsOverAndLeaves_data() {
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("show the window") << SingleInstance::activate;
        QTest::newRow("a new task") << SingleInstance::newTask;
    }

    void aSecondStartHandsOverAndLeaves() {
        QFETCH(QByteArray, message);
        SingleInstance first(socketPath());
        QCOMPARE(first.claim(SingleInstance::activate), SingleInstance::Outcome::primary);
        QSignalSpy received(&first, &SingleInstance::messageReceived);
        QCOMPARE(secondStart(message), 0);
        QTRY_COMPARE(received.size(), 1);
        QCOMPARE(received.first().first().toByteArray(), message);
        // And again: the running one keeps listening.
        QCOMPARE(secondStart(message), 0);
        QTRY_COMPARE(received.size(), 2);
    }

    void aSocketLeftByACrashDoesNotBlock() {
        leaveStaleSocket(socketPath());
        SingleInstance next(socketPath());
        QCOMPARE(next.claim(SingleInstance::activate, 3000), SingleInstance::Outcome::primary);
        QSignalSpy received(&next, &SingleInstance::messageReceived);
        QCOMPARE(secondStart(SingleInstance::activate), 0);
        QTRY_COMPARE(received.size(), 1);
    }

    void aLockLeftByACrashDoesNotBlock() {
        // A start that dies while it decides leaves its lock behind.
        QProcess crashed;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(holdLock), socketPath() + u".lock"_s);
        environment.insert(u"ASAN_OPTIONS"_s, u"detect_leaks=0"_s);
        crashed.setProcessEnvironment(environment);
        crashed.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(crashed.waitForReadyRead(30000));
        QCOMPARE(crashed.readAllStandardOutput(), QByteArray("locked\n"));
        crashed.kill();
        QVERIFY(crashed.waitForFinished());
        QVERIFY(QFileInfo::exists(socketPath() + u".lock"_s));

        SingleInstance next(socketPath());
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(next.claim(SingleInstance::activate, 10000), SingleInstance::Outcome::primary);
        QVERIFY(timer.elapsed() < 5000);
    }

    void aStartWithNoOneListeningBecomesTheFirst() { QCOMPARE(secondStart(SingleInstance::activate), 3); }

    void aForeignLineIsDropped() {
        SingleInstance first(socketPath());
        QCOMPARE(first.claim(SingleInstance::activate), SingleInstance::Outcome::primary);
        QSignalSpy received(&first, &SingleInstance::messageReceived);
        QLocalSocket socket;
        socket.connectToServer(socketPath());
        QVERIFY(socket.waitForConnected());
        socket.write(QByteArray(4096, 'x'));
        QTRY_COMPARE(socket.state(), QLocalSocket::UnconnectedState);
        QCOMPARE(received.size(), 0);
    }

    void theProgramItselfHandsOver() {
        QTemporaryDir runtime;
        QTemporaryDir config;
        const QString socket = QDir(runtime.path()).filePath(u"vexo-tasks.socket"_s);
        const auto start = [&](QProcess& process, const QStringList& arguments) {
            process.setProcessEnvironment(programEnvironment(runtime.path(), config.path()));
            process.start(QStringLiteral(VEXO_TASKS_BINARY), arguments);
            return process.waitForStarted();
        };
        const auto waitForLine = [](QProcess& process, QByteArray& log, const QByteArray& line) {
            return QTest::qWaitFor(
                [&] {
                    log += process.readAllStandardError();
                    return log.contains(line);
                },
                60000);
        };

        QProcess first;
        QByteArray firstLog;
        QVERIFY(start(first, {}));
        QVERIFY2(waitForLine(first, firstLog, "listening for later starts"), firstLog.constData());

        QProcess second;
        QVERIFY(start(second, {u"--new-task"_s}));
        QVERIFY(second.waitForFinished(60000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QVERIFY2(waitForLine(first, firstLog, "a second start asked: \"new-task\""), firstLog.constData());
        QCOMPARE(first.state(), QProcess::Running);

        // The first one dies without tidying up; the next start takes its place all the same.
        first.kill();
        QVERIFY(first.waitForFinished());
        QVERIFY(QFileInfo::exists(socket));
        QProcess third;
        QByteArray thirdLog;
        QVERIFY(start(third, {}));
        QVERIFY2(waitForLine(third, thirdLog, "listening for later starts"), thirdLog.constData());
        QProcess fourth;
        QVERIFY(start(fourth, {}));
        QVERIFY(fourth.waitForFinished(60000));
        QCOMPARE(fourth.exitCode(), 0);
        QVERIFY2(waitForLine(third, thirdLog, "a second start asked: \"activate\""), thirdLog.constData());
        QCOMPARE(third.state(), QProcess::Running);
        third.kill();
        QVERIFY(third.waitForFinished());
    }
};

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsSet(secondStartSocket))
        return runAsSecondStart(argc, argv);
    if (qEnvironmentVariableIsSet(holdLock))
        return runHoldingTheLock(argc, argv);
    QCoreApplication app(argc, argv);
    tst_SingleInstance test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_SingleInstance.moc"
