#include "ServerDate.h"

#include <QTest>

#include <ctime>

using namespace Qt::StringLiterals;

// Runs under several TZ values (see CMakeLists.txt); the expected local texts are per zone.
class tst_ServerDate final : public QObject {
    Q_OBJECT

private:
    static QString zone() { return QString::fromLocal8Bit(qgetenv("TZ")); }

private Q_SLOTS:
    void initTestCase() { qInfo("time zone: %s", qPrintable(zone())); }

    void parse_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("utc"); // expected instant, ISO in UTC; empty = unreadable

        QTest::newRow("fractional Z") << u"2025-03-01T10:00:00.500Z"_s << u"2025-03-01T10:00:00.500Z"_s;
        QTest::newRow("fraction of one digit") << u"2025-03-01T10:00:00.5Z"_s << u"2025-03-01T10:00:00.500Z"_s;
        QTest::newRow("fraction of six digits") << u"2025-03-01T10:00:00.123456Z"_s << u"2025-03-01T10:00:00.123Z"_s;
        QTest::newRow("plain Z") << u"2025-03-01T10:00:00Z"_s << u"2025-03-01T10:00:00.000Z"_s;
        QTest::newRow("positive offset") << u"2025-03-01T10:00:00+03:00"_s << u"2025-03-01T07:00:00.000Z"_s;
        QTest::newRow("negative offset crossing a day")
            << u"2025-03-01T22:30:00.250-05:00"_s << u"2025-03-02T03:30:00.250Z"_s;
        QTest::newRow("half-hour offset") << u"2025-03-01T10:00:00+05:30"_s << u"2025-03-01T04:30:00.000Z"_s;
        QTest::newRow("database form is UTC") << u"2025-03-01 10:00:00"_s << u"2025-03-01T10:00:00.000Z"_s;
        QTest::newRow("day is midnight UTC") << u"2025-03-01"_s << u"2025-03-01T00:00:00.000Z"_s;
        QTest::newRow("leap day") << u"2024-02-29"_s << u"2024-02-29T00:00:00.000Z"_s;

        QTest::newRow("dotted Russian day") << u"01.03.2025"_s << QString();
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("no zone designator") << u"2025-03-01T10:00:00"_s << QString();
        QTest::newRow("fraction without zone") << u"2025-03-01T10:00:00.123"_s << QString();
        QTest::newRow("minutes only") << u"2025-03-01T10:00Z"_s << QString();
        QTest::newRow("database form with zone") << u"2025-03-01 10:00:00Z"_s << QString();
        QTest::newRow("empty fraction") << u"2025-03-01T10:00:00.Z"_s << QString();
        QTest::newRow("offset without colon") << u"2025-03-01T10:00:00+0300"_s << QString();
        QTest::newRow("trailing text") << u"2025-03-01 10:00:00 UTC"_s << QString();
        QTest::newRow("day with trailing space") << u"2025-03-01 "_s << QString();
        QTest::newRow("no such day") << u"2025-02-30"_s << QString();
        QTest::newRow("month 13") << u"2025-13-01 10:00:00"_s << QString();
        QTest::newRow("hour 24") << u"2025-03-01T24:00:00Z"_s << QString();
        QTest::newRow("leap second") << u"2025-03-01T23:59:60Z"_s << QString();
        QTest::newRow("Arabic-Indic digits") << u"٢٠٢٥-03-01"_s << QString();
        QTest::newRow("lowercase t") << u"2025-03-01t10:00:00Z"_s << QString();
    }

    void parse() {
        QFETCH(QString, text);
        QFETCH(QString, utc);
        const auto parsed = parseServerDate(text);
        if (utc.isEmpty()) {
            QVERIFY2(!parsed, qPrintable(parsed ? parsed->toString(Qt::ISODateWithMs) : QString()));
            return;
        }
        QVERIFY(parsed.has_value());
        QCOMPARE(parsed->toUTC().toString(Qt::ISODateWithMs), utc);
    }

    void formatDeadline_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("inUtc");
        QTest::addColumn<QString>("inMoscow");
        QTest::addColumn<QString>("inNewYork");
        QTest::addColumn<QString>("inKolkata");

        QTest::newRow("afternoon") << u"2025-03-05T15:00:00.000Z"_s << u"5 мар. 2025, 15:00"_s
                                   << u"5 мар. 2025, 18:00"_s << u"5 мар. 2025, 10:00"_s << u"5 мар. 2025, 20:30"_s;
        QTest::newRow("database form crosses the day")
            << u"2025-03-01 02:00:00"_s << u"1 мар. 2025, 02:00"_s << u"1 мар. 2025, 05:00"_s
            << u"28 февр. 2025, 21:00"_s << u"1 мар. 2025, 07:30"_s;
        QTest::newRow("day only") << u"2025-03-01"_s << u"1 мар. 2025, 00:00"_s << u"1 мар. 2025, 03:00"_s
                                  << u"28 февр. 2025, 19:00"_s << u"1 мар. 2025, 05:30"_s;
        QTest::newRow("summer time, offset")
            << u"2025-07-01T12:00:00+02:00"_s << u"1 июл. 2025, 10:00"_s << u"1 июл. 2025, 13:00"_s
            << u"1 июл. 2025, 06:00"_s << u"1 июл. 2025, 15:30"_s;
        QTest::newRow("May is genitive") << u"2025-05-09T09:05:00Z"_s << u"9 мая 2025, 09:05"_s
                                         << u"9 мая 2025, 12:05"_s << u"9 мая 2025, 05:05"_s << u"9 мая 2025, 14:35"_s;
        const QString none = u"Без дедлайна"_s;
        QTest::newRow("unreadable") << u"01.03.2025"_s << none << none << none << none;
        QTest::newRow("empty") << QString() << none << none << none << none;
    }

    void formatDeadline() {
        QFETCH(QString, text);
        QFETCH(QString, inUtc);
        QFETCH(QString, inMoscow);
        QFETCH(QString, inNewYork);
        QFETCH(QString, inKolkata);
        const QString tz = zone();
        const QString expected = tz == u"Europe/Moscow"_s      ? inMoscow
                                 : tz == u"America/New_York"_s ? inNewYork
                                 : tz == u"Asia/Kolkata"_s     ? inKolkata
                                                               : inUtc;
        QCOMPARE(::formatDeadline(text.isNull() ? std::nullopt : std::optional<QString>(text)), expected);
    }

    void absentDeadline() { QCOMPARE(::formatDeadline(std::nullopt), u"Без дедлайна"_s); }
};

// CTest runs this in each of the zones above; started in any other zone, it runs in UTC.
int main(int argc, char** argv) {
    static const QByteArrayList known{"UTC", "Europe/Moscow", "America/New_York", "Asia/Kolkata"};
    if (!known.contains(qgetenv("TZ"))) {
        qputenv("TZ", "UTC");
        tzset();
    }
    QCoreApplication app(argc, argv);
    tst_ServerDate test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ServerDate.moc"
