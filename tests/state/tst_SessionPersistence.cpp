#include "AppState.h"
#include "JsonWriter.h"
#include "MemoryStore.h"

#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::StringLiterals;

// What a start finds in the store, and what it makes of it, without a single request.
class tst_SessionPersistence final : public QObject {
    Q_OBJECT

private:
    QNetworkAccessManager m_network;
    FixedClock m_clock{QDateTime::currentDateTimeUtc()};

private Q_SLOTS:
    void restore_data() {
        QTest::addColumn<bool>("hasToken");
        QTest::addColumn<QByteArray>("userBytes"); // null: key absent
        QTest::addColumn<bool>("loggedIn");
        QTest::addColumn<bool>("hasUser");

        User user;
        user.id = 3;
        user.telegramId = u"42"_s;
        user.firstName = u"Пётр"_s;
        QTest::newRow("nothing saved") << false << QByteArray() << false << false;
        QTest::newRow("token and user") << true << encodeJson(user) << true << true;
        QTest::newRow("token without user") << true << QByteArray() << true << false;
        QTest::newRow("token and garbage") << true << QByteArray("\x01garbage{") << true << false;
        QTest::newRow("token and a user of the wrong shape") << true << QByteArray(R"({"id":"3"})") << true << false;
        QTest::newRow("user without token") << false << encodeJson(user) << false << false;
    }

    void restore() {
        QFETCH(bool, hasToken);
        QFETCH(QByteArray, userBytes);
        QFETCH(bool, loggedIn);
        QFETCH(bool, hasUser);
        MemoryStore store;
        if (hasToken)
            store.setText(u"vexo_token"_s, u"saved-token"_s);
        if (!userBytes.isNull())
            store.setData(u"vexo_user"_s, userBytes);
        APIService api(u"http://127.0.0.1:9"_s, m_network, store);
        AppState state(api, store, m_clock);
        QCOMPARE(state.isLoggedIn(), loggedIn);
        QCOMPARE(state.token().has_value(), loggedIn);
        QCOMPARE(state.currentUser().has_value(), hasUser);
        if (hasUser)
            QCOMPARE(state.currentUser()->displayName(), u"Пётр"_s);
        QCOMPARE(state.sidebarItem(), SidebarItem::allTasks());
        QCOMPARE(state.statsRange(), u"week"_s);
    }

    void logoutRemovesBothKeys() {
        MemoryStore store;
        store.setText(u"vexo_token"_s, u"t"_s);
        store.setData(u"vexo_user"_s, "{}");
        store.setText(u"vexo_theme"_s, u"light"_s);
        APIService api(u"http://127.0.0.1:9"_s, m_network, store);
        AppState state(api, store, m_clock);
        state.logout();
        QVERIFY(!store.contains(u"vexo_token"_s));
        QVERIFY(!store.contains(u"vexo_user"_s));
        QVERIFY(store.contains(u"vexo_theme"_s));
    }
};

QTEST_GUILESS_MAIN(tst_SessionPersistence)
#include "tst_SessionPersistence.moc"
