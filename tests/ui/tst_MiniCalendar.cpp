#include "Clock.h"
#include "MemoryStore.h"
#include "MiniCalendar.h"
#include "Theme.h"
#include "WidgetTest.h"

#include <QPushButton>

using namespace Qt::StringLiterals;

class tst_MiniCalendar final : public QObject {
    Q_OBJECT

private:
    MemoryStore m_store;

private Q_SLOTS:
    void cells_data() {
        QTest::addColumn<QDate>("month");
        QTest::addColumn<int>("leading");
        QTest::addColumn<int>("days");
        QTest::addColumn<int>("total");
        QTest::newRow("February 2027 starts on Monday") << QDate(2027, 2, 10) << 0 << 28 << 28;
        QTest::newRow("March 2026 starts on Sunday") << QDate(2026, 3, 31) << 6 << 31 << 42;
        QTest::newRow("March 2025 starts on Saturday") << QDate(2025, 3, 1) << 5 << 31 << 42;
        QTest::newRow("leap February 2024 starts on Thursday") << QDate(2024, 2, 29) << 3 << 29 << 35;
    }

    void cells() {
        QFETCH(QDate, month);
        QFETCH(int, leading);
        QFETCH(int, days);
        QFETCH(int, total);
        const auto list = MiniCalendar::cells(month);
        QCOMPARE(list.size(), total);
        int blanks = 0;
        while (blanks < list.size() && !list[blanks])
            ++blanks;
        QCOMPARE(blanks, leading);
        QCOMPARE(list[leading], std::optional<QDate>(QDate(month.year(), month.month(), 1)));
        QCOMPARE(std::count_if(list.begin(), list.end(), [](const auto& cell) { return cell.has_value(); }), days);
        QCOMPARE(list[leading]->dayOfWeek(), leading + 1); // Monday-first columns
    }

    void titles_data() {
        QTest::addColumn<QDate>("month");
        QTest::addColumn<QString>("title");
        QTest::newRow("March") << QDate(2025, 3, 14) << u"Март 2025"_s;
        QTest::newRow("May, not the genitive") << QDate(2025, 5, 1) << u"Май 2025"_s;
        QTest::newRow("December") << QDate(2026, 12, 31) << u"Декабрь 2026"_s;
    }

    void titles() {
        QFETCH(QDate, month);
        QFETCH(QString, title);
        QCOMPARE(MiniCalendar::monthTitle(month), title);
    }

    void pagingKeepsTheSelection() {
        Theme theme(m_store);
        FixedClock clock(QDateTime(QDate(2026, 1, 15), QTime(12, 0), Qt::UTC));
        MiniCalendar calendar(theme, clock);
        QCOMPARE(calendar.title(), u"Январь 2026"_s);
        calendar.dayButtons()[19]->click(); // 20 January
        QCOMPARE(calendar.selected(), std::optional<QDate>(QDate(2026, 1, 20)));
        calendar.showPreviousMonth();
        QCOMPARE(calendar.title(), u"Декабрь 2025"_s);
        QCOMPARE(calendar.selected(), std::optional<QDate>(QDate(2026, 1, 20)));
        calendar.showNextMonth();
        QCOMPARE(calendar.title(), u"Январь 2026"_s);
        // The selected day is the only bold one, and it is still there after paging away and back.
        int bold = 0;
        for (QPushButton* day : calendar.dayButtons())
            bold += day->font().bold() ? 1 : 0;
        QCOMPARE(bold, 1);
        QVERIFY(calendar.dayButtons()[19]->font().bold());
    }
};

VEXO_WIDGET_TEST_MAIN(tst_MiniCalendar)
#include "tst_MiniCalendar.moc"
