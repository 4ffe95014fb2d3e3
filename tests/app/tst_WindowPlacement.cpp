#include "MemoryStore.h"
#include "WidgetTest.h"
#include "WindowPlacement.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>
#include <QSplitter>

using namespace Qt::StringLiterals;

// The window comes back where it was, on a screen that exists now, with its sidebar as wide as it was.
class tst_WindowPlacement final : public QObject {
    Q_OBJECT

private:
    // A window of the main view's shape: a sidebar beside the rest.
    struct Window {
        QWidget widget;
        QSplitter* splitter;
        Window() {
            auto* layout = new QHBoxLayout(&widget);
            layout->setContentsMargins(0, 0, 0, 0);
            splitter = new QSplitter(&widget);
            splitter->addWidget(new QLabel(u"sidebar"_s));
            splitter->addWidget(new QLabel(u"detail"_s));
            splitter->setStretchFactor(1, 1);
            layout->addWidget(splitter);
        }
    };

private Q_SLOTS:
    void clamp_data() {
        QTest::addColumn<QRect>("saved");
        QTest::addColumn<QList<QRect>>("screens");
        QTest::addColumn<QRect>("placed");
        const QRect laptop(0, 0, 1366, 768);
        const QRect monitor(1366, 0, 1920, 1080);
        const QList<QRect> both{laptop, monitor};

        QTest::newRow("inside stays") << QRect(100, 80, 1000, 600) << both << QRect(100, 80, 1000, 600);
        QTest::newRow("on the second screen stays")
            << QRect(1500, 100, 1200, 800) << both << QRect(1500, 100, 1200, 800);
        QTest::newRow("hanging off the right edge moves in")
            << QRect(3000, 100, 1000, 700) << both << QRect(2286, 100, 1000, 700);
        QTest::newRow("above the top moves down") << QRect(100, -300, 800, 600) << both << QRect(100, 0, 800, 600);
        QTest::newRow("mostly on the monitor goes to the monitor")
            << QRect(1000, 100, 1100, 600) << both << QRect(1366, 100, 1100, 600);
        QTest::newRow("on a monitor since unplugged goes to the primary")
            << QRect(1500, 100, 1000, 600) << QList<QRect>{laptop} << QRect(366, 100, 1000, 600);
        QTest::newRow("far away goes to the primary") << QRect(-5000, -5000, 800, 600) << both << QRect(0, 0, 800, 600);
        QTest::newRow("larger than its screen shrinks")
            << QRect(0, 0, 2500, 1400) << QList<QRect>{laptop} << QRect(0, 0, 1366, 768);
        QTest::newRow("a screen with a panel on top")
            << QRect(50, 0, 900, 500) << QList<QRect>{QRect(0, 32, 1366, 736)} << QRect(50, 32, 900, 500);
        QTest::newRow("a primary screen that is not at the origin")
            << QRect(-3000, 0, 800, 600) << QList<QRect>{monitor, laptop} << QRect(1366, 0, 800, 600);
    }

    void clamp() {
        QFETCH(QRect, saved);
        QFETCH(QList<QRect>, screens);
        QFETCH(QRect, placed);
        QCOMPARE(WindowPlacement::clamp(saved, screens), placed);
    }

    void encoding_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QRect>("geometry");
        QTest::addColumn<bool>("maximized");
        QTest::newRow("plain") << u"10,20,1100,720"_s << true << QRect(10, 20, 1100, 720) << false;
        QTest::newRow("negative position") << u"-1200,-5,900,600"_s << true << QRect(-1200, -5, 900, 600) << false;
        QTest::newRow("maximized") << u"0,0,1000,700,max"_s << true << QRect(0, 0, 1000, 700) << true;
        QTest::newRow("empty") << QString() << false << QRect() << false;
        QTest::newRow("too few") << u"1,2,3"_s << false << QRect() << false;
        QTest::newRow("not numbers") << u"a,b,c,d"_s << false << QRect() << false;
        QTest::newRow("no size") << u"1,2,0,700"_s << false << QRect() << false;
        QTest::newRow("unknown flag") << u"1,2,3,4,min"_s << false << QRect() << false;
    }

    void encoding() {
        QFETCH(QString, text);
        QFETCH(bool, valid);
        QFETCH(QRect, geometry);
        QFETCH(bool, maximized);
        const auto decoded = WindowPlacement::decode(text);
        QCOMPARE(decoded.has_value(), valid);
        if (!valid)
            return;
        QCOMPARE(decoded->geometry, geometry);
        QCOMPARE(decoded->maximized, maximized);
        QCOMPARE(WindowPlacement::encode(*decoded), text);
    }

    void theFirstStartIsCentredNotAtTheCorner() {
        MemoryStore store;
        Window window;
        WindowPlacement placement(store, window.widget, window.splitter);
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        QCOMPARE(window.widget.geometry().center(), screen.center());
        QCOMPARE(window.widget.size(), WindowPlacement::defaultSize.boundedTo(screen.size()));
    }

    void sizePositionAndSidebarComeBack() {
        MemoryStore store;
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        const QRect moved(screen.left() + 30, screen.top() + 40, screen.width() - 100, screen.height() - 120);
        {
            Window window;
            WindowPlacement placement(store, window.widget, window.splitter);
            window.widget.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window.widget));
            window.widget.setGeometry(moved);
            QTRY_COMPARE(window.widget.geometry(), moved);
            window.splitter->setSizes({310, moved.width() - 310});
            QTRY_COMPARE(window.splitter->sizes().first(), 310);
            window.widget.close();
        }
        QCOMPARE(store.text(u"vexo_sidebar_width"_s), std::optional<QString>(u"310"_s));

        Window again;
        WindowPlacement placement(store, again.widget, again.splitter);
        QCOMPARE(again.widget.geometry(), moved);
        again.widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&again.widget));
        QTRY_COMPARE(again.splitter->sizes().first(), 310);
    }

    void aPositionOffEveryScreenIsBroughtBack() {
        MemoryStore store;
        store.setText(u"vexo_window"_s, u"9000,9000,700,500"_s);
        Window window;
        WindowPlacement placement(store, window.widget, window.splitter);
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        QVERIFY(screen.contains(window.widget.geometry()));
        QCOMPARE(window.widget.size(), QSize(700, 500));
    }

    void aMaximizedWindowComesBackMaximized() {
        MemoryStore store;
        {
            Window window;
            WindowPlacement placement(store, window.widget, window.splitter);
            window.widget.showMaximized();
            QVERIFY(QTest::qWaitForWindowExposed(&window.widget));
            QTRY_VERIFY(window.widget.isMaximized());
            window.widget.close();
        }
        QVERIFY(store.text(u"vexo_window"_s)->endsWith(u",max"_s));
        Window again;
        WindowPlacement placement(store, again.widget, again.splitter);
        QVERIFY(again.widget.windowState() & Qt::WindowMaximized);
    }

    // The main view, and its sidebar, may be made after the window is placed and even shown.
    void aSidebarFollowedLaterGetsItsWidth_data() {
        QTest::addColumn<bool>("shownFirst");
        QTest::newRow("before it is laid out") << false;
        QTest::newRow("already laid out") << true;
    }

    void aSidebarFollowedLaterGetsItsWidth() {
        QFETCH(bool, shownFirst);
        MemoryStore store;
        store.setText(u"vexo_sidebar_width"_s, u"290"_s);
        Window window;
        WindowPlacement placement(store, window.widget, nullptr);
        if (shownFirst) {
            window.widget.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window.widget));
            QTRY_VERIFY(window.splitter->width() > 0);
        }
        placement.followSplitter(window.splitter);
        window.widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window.widget));
        QTRY_COMPARE(window.splitter->sizes().first(), 290);
    }

    void aSidebarWiderThanHalfTheWindowIsKeptToHalf() {
        MemoryStore store;
        store.setText(u"vexo_sidebar_width"_s, u"5000"_s);
        Window window;
        WindowPlacement placement(store, window.widget, window.splitter);
        window.widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window.widget));
        QTRY_VERIFY(window.splitter->sizes().first() > 0);
        QVERIFY(window.splitter->sizes().first() <= window.splitter->width() / 2);
    }
};

VEXO_WIDGET_TEST_MAIN(tst_WindowPlacement)
#include "tst_WindowPlacement.moc"
