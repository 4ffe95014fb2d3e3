#include "ServerCli.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The vexo-server command line, read strictly: every refusal names what it refuses and exits 2
// before anything is opened or created.
class tst_ServerCli final : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_home;

    struct Outcome {
        int code = -1;
        QString out;
        QString err;
    };

    Outcome run(const QStringList& arguments) {
        Outcome outcome;
        QTextStream out(&outcome.out);
        QTextStream err(&outcome.err);
        ServerCli cli(out, err);
        outcome.code = cli.run(arguments);
        out.flush();
        err.flush();
        return outcome;
    }

    // Where the data would go: a fresh folder the refused command line must leave uncreated.
    QString data() const { return m_home.filePath(u"data"_s); }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_home.isValid());
        // The default data folder, should anything fall back to it.
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_home.filePath(u"xdg"_s)));
    }

    void commandLine_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        const QString d = u"@DATA@"_s;
        const auto row = [](const char* name, const QStringList& arguments, int code, const QString& out,
                            const QString& err) { QTest::newRow(name) << arguments << code << out << err; };

        row("--help", {u"--help"_s}, 0, u"Использование: vexo-server КОМАНДА"_s, QString());
        row("-h", {u"-h"_s}, 0, u"Команды:"_s, QString());
        row("--version", {u"--version"_s}, 0, u"vexo-server " VEXO_VERSION "\n"_s, QString());
        row("help of a command", {u"serve"_s, u"--help"_s}, 0, u"vexo-server serve [--listen АДРЕС:ПОРТ]"_s, QString());
        row("help of a two-word command", {u"task"_s, u"add"_s, u"--help"_s}, 0, u"--title НАЗВАНИЕ"_s, QString());
        row("help wins over missing options", {u"user"_s, u"add"_s, u"-h"_s}, 0, u"--telegram-id ID"_s, QString());

        row("no command", {}, 2, QString(), u"Не указана команда"_s);
        row("unknown command", {u"frobnicate"_s}, 2, QString(), u"Неизвестная команда: frobnicate"_s);
        row("half a command", {u"user"_s}, 2, QString(), u"Укажите команду: user add или user key"_s);
        row("unknown subcommand", {u"task"_s, u"remove"_s}, 2, QString(), u"Неизвестная команда: task remove"_s);
        row("unknown option", {u"serve"_s, u"--bogus"_s, u"1"_s}, 2, QString(), u"Неизвестный параметр: --bogus"_s);
        row("misspelt --data", {u"outbox"_s, u"--datadir"_s, d}, 2, QString(), u"Неизвестный параметр: --datadir"_s);
        row("unknown option points at the command", {u"outbox"_s, u"--bogus"_s}, 2, QString(),
            u"Подробнее: vexo-server outbox --help"_s);
        row("unknown option with --help", {u"--help"_s, u"--bogus"_s}, 2, QString(),
            u"Неизвестный параметр: --bogus"_s);
        row("unknown option with --version", {u"--version"_s, u"--verbose"_s}, 2, QString(),
            u"Неизвестный параметр: --verbose"_s);
        row("single-dash option", {u"outbox"_s, u"-x"_s}, 2, QString(), u"Неизвестный параметр: -x"_s);
        row("option of another command", {u"serve"_s, u"--title"_s, u"x"_s}, 2, QString(),
            u"Параметр --title не подходит для команды serve"_s);
        row("--version with a command", {u"outbox"_s, u"--version"_s}, 2, QString(),
            u"Параметр --version не подходит для команды outbox"_s);
        row("missing value at the end", {u"outbox"_s, u"--data"_s}, 2, QString(), u"У параметра --data нет значения"_s);
        row("option instead of a value", {u"serve"_s, u"--listen"_s, u"--demo"_s}, 2, QString(),
            u"У параметра --listen нет значения"_s);
        row("repeated option", {u"outbox"_s, u"--data"_s, d, u"--data"_s, d + u"2"_s}, 2, QString(),
            u"Параметр --data указан дважды"_s);
        row("value given to a switch", {u"serve"_s, u"--demo=yes"_s}, 2, QString(),
            u"Параметр --demo не принимает значения"_s);
        row("stray argument", {u"outbox"_s, u"now"_s}, 2, QString(), u"Лишний аргумент: now"_s);
        row("stray argument after a command", {u"user"_s, u"key"_s, u"42"_s, u"--telegram-id"_s, u"1"_s}, 2, QString(),
            u"Лишний аргумент: 42"_s);
        row("missing required option", {u"task"_s, u"add"_s, u"--telegram-id"_s, u"1"_s}, 2, QString(),
            u"Нужен параметр --title"_s);
        row("empty required option", {u"task"_s, u"add"_s, u"--telegram-id"_s, u"1"_s, u"--title="_s}, 2, QString(),
            u"Параметр --title не может быть пустым"_s);
        row("value outside the choices",
            {u"task"_s, u"add"_s, u"--telegram-id"_s, u"1"_s, u"--title"_s, u"t"_s, u"--priority"_s, u"urgent"_s}, 2,
            QString(), u"Параметр --priority: допустимые значения: high, medium, low"_s);
        row("task that is not a number", {u"attach"_s, u"--task"_s, u"seven"_s, u"--file"_s, u"f"_s}, 2, QString(),
            u"Параметр --task: ожидается номер задачи, а не «seven»"_s);
        row("bad listen address", {u"serve"_s, u"--listen"_s, u"localhost"_s}, 2, QString(),
            u"Неверный адрес --listen: localhost"_s);

        row("bad trusted proxy", {u"serve"_s, u"--trusted-proxy"_s, u"127.0.0.1,nginx"_s}, 2, QString(),
            u"Неверный адрес --trusted-proxy: nginx"_s);
        const QString pg = u"postgresql://vexo@db.example:5432/vexo"_s;
        row("--database that is not an address", {u"outbox"_s, u"--database"_s, d}, 2, QString(),
            u"Параметр --database: ожидается адрес вида postgresql://"_s);
        row("--database with a password", {u"outbox"_s, u"--database"_s, u"postgresql://vexo:secret@db/vexo"_s}, 2,
            QString(), u"Параметр --database: пароль в адресе виден всем"_s);
        row("--database with a password parameter",
            {u"serve"_s, u"--database"_s, u"postgresql:///vexo?password=secret"_s}, 2, QString(), u"PGPASSFILE"_s);
        row("--data and --database", {u"outbox"_s, u"--data"_s, d, u"--database"_s, pg}, 2, QString(),
            u"Параметры --data и --database не указываются вместе"_s);
        row("--from without --to", {u"migrate"_s, u"--from"_s, d}, 2, QString(),
            u"Параметр --from нужен вместе с --to"_s);
        row("--to without --from", {u"migrate"_s, u"--to"_s, pg}, 2, QString(),
            u"Параметр --to нужен вместе с --from"_s);
        row("--to that is not an address", {u"migrate"_s, u"--from"_s, d, u"--to"_s, u"vexo.db"_s}, 2, QString(),
            u"Параметр --to: ожидается адрес"_s);
        row("--data while copying", {u"migrate"_s, u"--from"_s, d, u"--to"_s, pg, u"--data"_s, d}, 2, QString(),
            u"Параметр --data не нужен при переносе"_s);
        row("--from with another command", {u"outbox"_s, u"--from"_s, d}, 2, QString(),
            u"Параметр --from не подходит для команды outbox"_s);

        // What is accepted runs.
        row("--data=DIR", {u"outbox"_s, u"--data="_s + d}, 0, QString(), QString());
        row("migrate brings the schema up to date", {u"migrate"_s, u"--data"_s, d}, 0, u"Схема хранилища: версия"_s,
            QString());
        row("options before the command", {u"--data"_s, d, u"outbox"_s}, 0, QString(), QString());
        row("an empty description is allowed",
            {u"task"_s, u"add"_s, u"--telegram-id"_s, u"404"_s, u"--title"_s, u"t"_s, u"--description"_s, u""_s,
             u"--data"_s, d},
            1, QString(), u"Пользователь с telegram_id 404 не найден"_s);
    }

    void commandLine() {
        QFETCH(QStringList, arguments);
        QFETCH(int, code);
        QFETCH(QString, out);
        QFETCH(QString, err);
        arguments.replaceInStrings(u"@DATA@"_s, data());
        QDir(data()).removeRecursively();
        QDir(m_home.filePath(u"xdg"_s)).removeRecursively();
        const Outcome outcome = run(arguments);
        QCOMPARE(outcome.code, code);
        QVERIFY2(outcome.out.contains(out), qPrintable(outcome.out));
        QVERIFY2(outcome.err.contains(err), qPrintable(outcome.err));
        if (code != 1)
            QVERIFY2(code == 0 || outcome.out.isEmpty(), qPrintable(outcome.out));
        // A refused command line touches no storage, neither the one it named nor the default.
        if (code == 2) {
            QVERIFY(!QFileInfo::exists(data()));
            QVERIFY(!QFileInfo::exists(m_home.filePath(u"xdg"_s)));
            QVERIFY(outcome.err.contains(u"--help"_s));
        }
        if (code == 0 && arguments.contains(u"outbox"_s))
            QVERIFY(QFileInfo::exists(data() + u"/vexo.db"_s));
        // Nothing of a password ever reaches the output, accepted or not.
        QVERIFY(!outcome.out.contains(u"secret"_s) && !outcome.err.contains(u"secret"_s));
    }

    void everyCommandHasItsHelp() {
        const Outcome general = run({u"--help"_s});
        for (const QString& command :
             {u"serve"_s, u"user add"_s, u"user key"_s, u"task add"_s, u"attach"_s, u"outbox"_s, u"migrate"_s}) {
            QVERIFY2(general.out.contains(u"  "_s + command + u' '), qPrintable(command));
            const Outcome own = run(command.split(u' ') + QStringList{u"--help"_s});
            QCOMPARE(own.code, 0);
            QVERIFY(own.out.startsWith(u"Использование: vexo-server "_s + command));
            QVERIFY(own.out.contains(u"--data КАТАЛОГ"_s));
            QVERIFY(own.out.contains(u"--database АДРЕС"_s));
            QVERIFY(own.out.contains(u"--files КАТАЛОГ"_s));
        }
    }
};

QTEST_GUILESS_MAIN(tst_ServerCli)
#include "tst_ServerCli.moc"
