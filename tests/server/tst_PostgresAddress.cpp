#include "PostgresAddress.h"

#include <QSqlDatabase>
#include <QTest>

using namespace Qt::StringLiterals;

// Reading --database: libpq's URI form, a password refused wherever it is written, and the settings
// that keep a request from waiting forever on a database that went away.
class tst_PostgresAddress final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void accepted_data() {
        QTest::addColumn<QString>("uri");
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("database");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("described");
        QTest::newRow("server") << u"postgresql://vexo@db.example:5432/vexo"_s << u"db.example"_s << 5432 << u"vexo"_s
                                << u"vexo"_s << u"PostgreSQL «vexo» на db.example:5432, пользователь vexo"_s;
        QTest::newRow("short scheme") << u"postgres://db/tasks"_s << u"db"_s << -1 << u"tasks"_s << QString()
                                      << u"PostgreSQL «tasks» на db"_s;
        QTest::newRow("unix socket") << u"postgresql:///vexo?host=/run/postgresql&user=vexo"_s << u"/run/postgresql"_s
                                     << -1 << u"vexo"_s << u"vexo"_s
                                     << u"PostgreSQL «vexo» на /run/postgresql, пользователь vexo"_s;
        QTest::newRow("socket folder percent-encoded")
            << u"postgresql://%2Fvar%2Frun%2Fpostgresql/vexo"_s << u"/var/run/postgresql"_s << -1 << u"vexo"_s
            << QString() << u"PostgreSQL «vexo» на /var/run/postgresql"_s;
        QTest::newRow("everything from the environment")
            << u"postgresql://"_s << QString() << -1 << QString() << QString() << u"PostgreSQL"_s;
        QTest::newRow("parameters win") << u"postgresql://a@h:1/d?user=b&port=6432&dbname=e"_s << u"h"_s << 6432
                                        << u"e"_s << u"b"_s << u"PostgreSQL «e» на h:6432, пользователь b"_s;
        QTest::newRow("IPv6") << u"postgresql://[::1]:5433/vexo"_s << u"::1"_s << 5433 << u"vexo"_s << QString()
                              << u"PostgreSQL «vexo» на ::1:5433"_s;
    }

    void accepted() {
        QFETCH(QString, uri);
        QString problem;
        const auto address = PostgresAddress::parse(uri, &problem);
        QVERIFY2(address, qPrintable(problem));
        QFETCH(QString, host);
        QFETCH(int, port);
        QFETCH(QString, database);
        QFETCH(QString, user);
        QFETCH(QString, described);
        QCOMPARE(address->host(), host);
        QCOMPARE(address->port(), port);
        QCOMPARE(address->databaseName(), database);
        QCOMPARE(address->userName(), user);
        QCOMPARE(address->describe(), described);
    }

    void refused_data() {
        QTest::addColumn<QString>("uri");
        QTest::addColumn<QString>("problem");
        const QString password = u"пароль в адресе виден всем"_s;
        QTest::newRow("password in the user part") << u"postgresql://vexo:secret@db/vexo"_s << password;
        QTest::newRow("password parameter") << u"postgresql://db/vexo?password=secret"_s << password;
        QTest::newRow("not an address") << u"/var/lib/vexo"_s << u"ожидается адрес вида postgresql://"_s;
        QTest::newRow("another scheme") << u"mysql://db/vexo"_s << u"ожидается адрес"_s;
        QTest::newRow("a path for a database") << u"postgresql://db/a/b"_s << u"ожидается адрес"_s;
        QTest::newRow("a port that is not one") << u"postgresql:///vexo?port=http"_s << u"неверный порт «http»"_s;
        QTest::newRow("a keyword that is not one")
            << u"postgresql:///vexo?Host=x"_s << u"неизвестный параметр «Host»"_s;
        QTest::newRow("a separator in a value") << u"postgresql:///vexo?sslmode=require;x"_s << u"«;»"_s;
    }

    void refused() {
        QFETCH(QString, uri);
        QFETCH(QString, problem);
        QString said;
        QVERIFY(!PostgresAddress::parse(uri, &said));
        QVERIFY2(said.contains(problem), qPrintable(said));
        QVERIFY(!said.contains(u"secret"_s));
    }

    // The connection never carries a password of its own, always has time-outs, and the address's own
    // parameters are passed on (the server options added to ours rather than replacing them).
    void connectionSettings() {
        const auto address = PostgresAddress::parse(
            u"postgresql://vexo@db:5432/vexo?sslmode=verify-full&connect_timeout=2&options=-c%20work_mem%3D8MB"_s);
        QVERIFY(address);
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QPSQL"_s, u"settings"_s);
        address->configure(db);
        QCOMPARE(db.hostName(), u"db"_s);
        QCOMPARE(db.port(), 5432);
        QCOMPARE(db.databaseName(), u"vexo"_s);
        QCOMPARE(db.userName(), u"vexo"_s);
        QVERIFY(db.password().isEmpty());
        const QStringList options = db.connectOptions().split(u';');
        QVERIFY(options.contains(u"sslmode='verify-full'"_s));
        // Given in the address, it comes after ours: libpq takes the last.
        QVERIFY(options.indexOf(u"connect_timeout='2'"_s) > options.indexOf(u"connect_timeout=5"_s));
        QVERIFY(options.contains(u"keepalives=1"_s));
        const QString server = options.filter(u"options="_s).value(0);
        QVERIFY2(server.contains(u"statement_timeout="_s) && server.contains(u"lock_timeout="_s) &&
                     server.contains(u"idle_in_transaction_session_timeout="_s) &&
                     server.contains(u"-c work_mem=8MB"_s),
                 qPrintable(server));
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(u"settings"_s);
    }
};

QTEST_GUILESS_MAIN(tst_PostgresAddress)
#include "tst_PostgresAddress.moc"
