#include "CommandLine.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(CommandLine::Action)

// vexo-tasks' command line: what it accepts, what it refuses, and that --help and --version answer
// before any window system is asked for.
class tst_CommandLine final : public QObject {
    Q_OBJECT

private:
    // The real program, in an environment with no display: a GUI start there would fail.
    static QProcess* startProgram(const QStringList& arguments, const QString& runtimeDir) {
        auto* process = new QProcess;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"DISPLAY"_s);
        environment.remove(u"WAYLAND_DISPLAY"_s);
        environment.remove(u"QT_QPA_PLATFORM"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtimeDir);
        process->setProcessEnvironment(environment);
        process->start(QStringLiteral(VEXO_TASKS_BINARY), arguments);
        return process;
    }

private Q_SLOTS:
    void parse_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<CommandLine::Action>("action");
        QTest::addColumn<QString>("baseUrl");
        QTest::addColumn<bool>("newTask");
        QTest::addColumn<QString>("keyFile");
        QTest::addColumn<QStringList>("qtArguments");
        QTest::addColumn<QString>("error");
        const auto run = CommandLine::Action::run;
        const auto refuse = CommandLine::Action::refuse;
        const QStringList bare{u"vexo-tasks"_s};

        QTest::newRow("nothing") << QStringList{} << run << QString() << false << QString() << bare << QString();
        QTest::newRow("--help") << QStringList{u"--help"_s} << CommandLine::Action::help << QString() << false
                                << QString() << bare << QString();
        QTest::newRow("-h wins over a wrong option after it")
            << QStringList{u"-h"_s, u"--nonsense"_s} << CommandLine::Action::help << QString() << false << QString()
            << bare << QString();
        QTest::newRow("--version") << QStringList{u"--version"_s} << CommandLine::Action::version << QString() << false
                                   << QString() << bare << QString();
        QTest::newRow("-v") << QStringList{u"-v"_s} << CommandLine::Action::version << QString() << false << QString()
                            << bare << QString();
        QTest::newRow("--base-url URL") << QStringList{u"--base-url"_s, u"https://tasks.example.org/"_s} << run
                                        << u"https://tasks.example.org"_s << false << QString() << bare << QString();
        QTest::newRow("--base-url=URL with a port and a path")
            << QStringList{u"--base-url=http://127.0.0.1:9000/vexo"_s} << run << u"http://127.0.0.1:9000/vexo"_s
            << false << QString() << bare << QString();
        QTest::newRow("--new-task") << QStringList{u"--new-task"_s} << run << QString() << true << QString() << bare
                                    << QString();
        QTest::newRow("--login-key-file") << QStringList{u"--login-key-file"_s, u"/tmp/key"_s} << run << QString()
                                          << false << u"/tmp/key"_s << bare << QString();
        QTest::newRow("Qt's own options pass to Qt")
            << QStringList{u"-style"_s, u"fusion"_s, u"--new-task"_s, u"-reverse"_s, u"-platform=offscreen"_s} << run
            << QString() << true << QString()
            << QStringList{u"vexo-tasks"_s, u"-style"_s, u"fusion"_s, u"-reverse"_s, u"-platform=offscreen"_s}
            << QString();

        QTest::newRow("unknown") << QStringList{u"--frobnicate"_s} << refuse << QString() << false << QString() << bare
                                 << u"неизвестный параметр «--frobnicate»\n"_s;
        QTest::newRow("misspelt") << QStringList{u"--bse-url"_s, u"http://h"_s} << refuse << QString() << false
                                  << QString() << bare
                                  << u"неизвестный параметр «--bse-url». Может быть, --base-url?"_s;
        QTest::newRow("single dash for a long one")
            << QStringList{u"-version"_s} << refuse << QString() << false << QString() << bare
            << u"неизвестный параметр «-version». Может быть, --version?"_s;
        QTest::newRow("a Qt option misspelt") << QStringList{u"-plaform"_s, u"xcb"_s} << refuse << QString() << false
                                              << QString() << bare << u"неизвестный параметр «-plaform»"_s;
        QTest::newRow("missing value") << QStringList{u"--base-url"_s} << refuse << QString() << false << QString()
                                       << bare << u"у параметра --base-url нет значения"_s;
        QTest::newRow("not a web address")
            << QStringList{u"--base-url"_s, u"ftp://h"_s} << refuse << QString() << false << QString() << bare
            << u"--base-url: нужен адрес вида http://хост:порт или https://хост, а не «ftp://h»"_s;
        QTest::newRow("no host") << QStringList{u"--base-url=http://"_s} << refuse << QString() << false << QString()
                                 << bare << u"нужен адрес"_s;
        QTest::newRow("a value for a switch") << QStringList{u"--new-task=yes"_s} << refuse << QString() << false
                                              << QString() << bare << u"параметр --new-task не принимает значения"_s;
        QTest::newRow("a stray word") << QStringList{u"tasks.txt"_s} << refuse << QString() << false << QString()
                                      << bare << u"лишний аргумент «tasks.txt»"_s;
        QTest::newRow("an empty key file name") << QStringList{u"--login-key-file="_s} << refuse << QString() << false
                                                << QString() << bare << u"у параметра --login-key-file нет значения"_s;
    }

    void parse() {
        QFETCH(QStringList, arguments);
        QFETCH(CommandLine::Action, action);
        QFETCH(QString, baseUrl);
        QFETCH(bool, newTask);
        QFETCH(QString, keyFile);
        QFETCH(QStringList, qtArguments);
        QFETCH(QString, error);
        const CommandLine line = CommandLine::parse(QStringList{u"vexo-tasks"_s} + arguments);
        QCOMPARE(line.action, action);
        if (action == CommandLine::Action::refuse) {
            QVERIFY2(line.error.contains(error), qPrintable(line.error));
            QVERIFY(line.error.startsWith(u"vexo-tasks: "_s));
            QVERIFY(line.error.endsWith(u"Справка: vexo-tasks --help\n"_s));
            return;
        }
        QCOMPARE(line.baseUrl.value_or(QString()), baseUrl);
        QCOMPARE(line.newTask, newTask);
        QCOMPARE(line.loginKeyFile.value_or(QString()), keyFile);
        QCOMPARE(line.qtArguments, qtArguments);
    }

    void helpNamesEveryOption() {
        const QString help = CommandLine::helpText(u"http://127.0.0.1:8765"_s);
        for (const QString& option : {u"--base-url"_s, u"--new-task"_s, u"--login-key-file"_s, u"--help"_s,
                                      u"--version"_s, u"VEXO_BASE_URL"_s, u"http://127.0.0.1:8765"_s})
            QVERIFY2(help.contains(option), qPrintable(option));
    }

    void theProgramAnswersWithoutADisplay_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        QTest::newRow("--help") << QStringList{u"--help"_s} << 0 << u"Использование: vexo-tasks"_s << QString();
        QTest::newRow("--version") << QStringList{u"--version"_s} << 0 << u"vexo-tasks " VEXO_VERSION "\n"_s
                                   << QString();
        QTest::newRow("unknown") << QStringList{u"--helpp"_s} << 2 << QString()
                                 << u"vexo-tasks: неизвестный параметр «--helpp». Может быть, --help?"_s;
        QTest::newRow("bad address") << QStringList{u"--base-url"_s, u"localhost"_s} << 2 << QString()
                                     << u"vexo-tasks: --base-url: нужен адрес"_s;
        QTest::newRow("a start with no display says so")
            << QStringList{} << 1 << QString() << u"vexo-tasks: нет дисплея"_s;
    }

    void theProgramAnswersWithoutADisplay() {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QTemporaryDir runtime;
        std::unique_ptr<QProcess> process(startProgram(arguments, runtime.path()));
        QVERIFY(process->waitForFinished(60000));
        const QString stdOut = QString::fromUtf8(process->readAllStandardOutput());
        const QString stdErr = QString::fromUtf8(process->readAllStandardError());
        QCOMPARE(process->exitStatus(), QProcess::NormalExit);
        QVERIFY2(process->exitCode() == exitCode, qPrintable(stdErr));
        if (out.isEmpty())
            QVERIFY(stdOut.isEmpty());
        else
            QVERIFY2(stdOut.startsWith(out), qPrintable(stdOut));
        if (err.isEmpty())
            QVERIFY2(stdErr.isEmpty(), qPrintable(stdErr));
        else
            QVERIFY2(stdErr.startsWith(err), qPrintable(stdErr));
        // Nothing of the running client was touched: no socket, no lock.
        QCOMPARE(QDir(runtime.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot), QStringList());
    }
};

QTEST_GUILESS_MAIN(tst_CommandLine)
#include "tst_CommandLine.moc"
