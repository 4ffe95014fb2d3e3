#include "AppState.h"
#include "MemoryStore.h"
#include "Theme.h"
#include "ToastOverlay.h"
#include "WidgetTest.h"

#include <QElapsedTimer>
#include <QNetworkAccessManager>

using namespace Qt::StringLiterals;

class tst_ToastOverlay final : public QObject {
    Q_OBJECT

private:
    QNetworkAccessManager m_network;
    MemoryStore m_store;
    FixedClock m_clock{QDateTime::currentDateTimeUtc()};

private Q_SLOTS:
    void showsThenClearsAfterTwoAndAHalfSeconds() {
        APIService api(u"http://127.0.0.1:9"_s, m_network, m_store);
        AppState state(api, m_store, m_clock);
        Theme theme(m_store);
        QWidget window;
        window.resize(600, 400);
        ToastOverlay toast(state, theme, &window);
        window.show();

        QElapsedTimer clock;
        clock.start();
        state.showToast(u"Задача создана"_s);
        QVERIFY(toast.isVisible());
        QCOMPARE(toast.text(), u"Задача создана"_s);
        QVERIFY(toast.geometry().bottom() > window.height() / 2); // over the bottom of the window

        // The same text again two seconds later does not restart the 2.5 s: it still goes at 2.5 s,
        // not at 4.5 s.
        QTest::qWait(2000);
        state.showToast(u"Задача создана"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!state.toastMessage().has_value(), 6000);
        QVERIFY2(clock.elapsed() < 3800, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(clock.elapsed() >= ToastOverlay::visibleMs - 50);
        QTRY_VERIFY(!toast.isVisible());
    }

    void aNewTextStartsItsOwnTime() {
        APIService api(u"http://127.0.0.1:9"_s, m_network, m_store);
        AppState state(api, m_store, m_clock);
        Theme theme(m_store);
        QWidget window;
        window.resize(600, 400);
        ToastOverlay toast(state, theme, &window);
        window.show();

        state.showToast(u"Первое"_s);
        QTest::qWait(1500);
        QElapsedTimer clock;
        clock.start();
        state.showToast(u"Второе"_s);
        QCOMPARE(toast.text(), u"Второе"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!state.toastMessage().has_value(), 4000);
        QVERIFY(clock.elapsed() >= ToastOverlay::visibleMs - 50);
    }
};

VEXO_WIDGET_TEST_MAIN(tst_ToastOverlay)
#include "tst_ToastOverlay.moc"
