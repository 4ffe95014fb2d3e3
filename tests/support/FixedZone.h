#pragma once

#include <QCoreApplication>
#include <QTest>

#include <ctime>

// main() for a test without widgets whose expectations are written for one time zone: the zone is
// set before Qt reads it, so the test gives the same answers whatever zone it is started in.
#define VEXO_TEST_MAIN_IN_ZONE(TestObject, zone)                                                                       \
    int main(int argc, char** argv) {                                                                                  \
        qputenv("TZ", zone);                                                                                           \
        tzset();                                                                                                       \
        QCoreApplication app(argc, argv);                                                                              \
        TestObject test;                                                                                               \
        QTEST_SET_MAIN_SOURCE_PATH                                                                                     \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
