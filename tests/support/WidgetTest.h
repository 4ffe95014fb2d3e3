#pragma once

#include <QApplication>
#include <QLocale>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>

// main() for widget tests: offscreen, the Fusion style and the Russian locale fixed, and a config
// folder of the test's own so nothing reads or writes the user's settings.
#define VEXO_WIDGET_TEST_MAIN(TestObject) VEXO_WIDGET_TEST_MAIN_IN_ZONE(TestObject, nullptr)

// The same for a test whose expectations are written for one time zone ("Europe/Moscow"): the zone
// is set before Qt reads it, so the test gives the same answers whatever zone it is started in.
#define VEXO_WIDGET_TEST_MAIN_IN_ZONE(TestObject, zone)                                                                \
    int main(int argc, char** argv) {                                                                                  \
        if (const char* fixedZone = zone) {                                                                            \
            qputenv("TZ", fixedZone);                                                                                  \
            tzset();                                                                                                   \
        }                                                                                                              \
        qputenv("QT_QPA_PLATFORM", "offscreen");                                                                       \
        QTemporaryDir config;                                                                                          \
        qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());                                                       \
        QApplication app(argc, argv);                                                                                  \
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));                                       \
        QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));                                               \
        TestObject test;                                                                                               \
        QTEST_SET_MAIN_SOURCE_PATH                                                                                     \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
