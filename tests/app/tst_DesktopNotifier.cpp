#include "DesktopNotifier.h"
#include "SessionBus.h"

#include <QDBusMessage>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString notificationsService = u"org.freedesktop.Notifications"_s;
const QString notificationsPath = u"/org/freedesktop/Notifications"_s;

struct Shown {
    QString appName;
    QString icon;
    QString summary;
    QString body;
    QStringList actions;
    QVariantMap hints;
};

} // namespace

// A desktop notification service as small as the client needs: it records what it is asked to show
// and numbers the notifications.
class FakeNotifications final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QStringList capabilities{u"actions"_s, u"body"_s};
    QList<Shown> shown;

public Q_SLOTS:
    QStringList GetCapabilities() { return capabilities; }
    uint Notify(const QString& appName, uint, const QString& icon, const QString& summary, const QString& body,
                const QStringList& actions, const QVariantMap& hints, int) {
        shown.append(Shown{appName, icon, summary, body, actions, hints});
        return uint(shown.size() + 40);
    }
};

// Reminders reach the desktop through org.freedesktop.Notifications, on a bus of the test's own.
class tst_DesktopNotifier final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<SessionBus> m_bus;
    std::unique_ptr<FakeNotifications> m_service;
    QDBusConnection m_serviceConnection{u"none"_s};
    QList<Notification> m_fallback;

    void startService() {
        m_service = std::make_unique<FakeNotifications>();
        m_serviceConnection = m_bus->connect();
        QVERIFY(
            m_serviceConnection.registerObject(notificationsPath, m_service.get(), QDBusConnection::ExportAllSlots));
        QVERIFY(m_serviceConnection.registerService(notificationsService));
    }

    void emitSignal(const QString& name, const QVariantList& arguments) {
        QDBusMessage signal = QDBusMessage::createSignal(notificationsPath, notificationsService, name);
        signal.setArguments(arguments);
        QVERIFY(m_serviceConnection.send(signal));
    }

    std::unique_ptr<DesktopNotifier> notifier(QDBusConnection bus) {
        return std::make_unique<DesktopNotifier>(
            bus, [this](const Notification& notification) { m_fallback.append(notification); });
    }

private Q_SLOTS:
    void init() {
        m_bus = std::make_unique<SessionBus>();
        QVERIFY2(m_bus->isRunning(), "dbus-daemon did not start");
        m_fallback.clear();
    }

    void cleanup() {
        if (m_service)
            m_serviceConnection.unregisterObject(notificationsPath);
        m_service.reset();
        m_bus.reset();
    }

    void aReminderBecomesADesktopNotification() {
        startService();
        const auto desktop = notifier(m_bus->connect());
        desktop->notify(Notification{u"Дедлайн через 15 мин"_s, u"Сдать отчёт"_s, 7});
        QTRY_COMPARE(m_service->shown.size(), 1);
        const Shown& shown = m_service->shown.first();
        QCOMPARE(shown.appName, u"Vexo Tasks"_s);
        QCOMPARE(shown.icon, u"org.vexo.Tasks"_s);
        QCOMPARE(shown.summary, u"Дедлайн через 15 мин"_s);
        QCOMPARE(shown.body, u"Сдать отчёт"_s);
        QCOMPARE(shown.actions, (QStringList{u"default"_s, u"Открыть"_s}));
        QCOMPARE(shown.hints.value(u"desktop-entry"_s).toString(), u"org.vexo.Tasks"_s);
        QVERIFY(m_fallback.isEmpty());
    }

    void aClickOpensItsTask() {
        startService();
        const auto desktop = notifier(m_bus->connect());
        QSignalSpy activated(desktop.get(), &DesktopNotifier::activated);
        QSignalSpy shown(desktop.get(), &DesktopNotifier::shown);
        desktop->notify(Notification{u"Срок задачи истёк"_s, u"Первая"_s, 7});
        desktop->notify(Notification{u"Напоминания о дедлайнах: 4 задачи"_s, u"• …"_s, std::nullopt});
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 2, 10000);
        QCOMPARE(m_service->shown.size(), 2);

        emitSignal(u"ActionInvoked"_s, {uint(41), u"default"_s});
        QVERIFY(activated.wait(10000));
        QCOMPARE(activated.last().first().value<std::optional<qint64>>(), std::optional<qint64>(7));

        emitSignal(u"ActionInvoked"_s, {uint(42), u"default"_s});
        QVERIFY(activated.wait(10000));
        QCOMPARE(activated.last().first().value<std::optional<qint64>>(), std::optional<qint64>());

        // Another program's notification, and a closed one, open nothing.
        emitSignal(u"ActionInvoked"_s, {uint(99), u"default"_s});
        emitSignal(u"NotificationClosed"_s, {uint(41), uint(2)});
        emitSignal(u"ActionInvoked"_s, {uint(41), u"default"_s});
        QVERIFY(!activated.wait(500));
        QCOMPARE(activated.size(), 2);
    }

    void aServiceThatReadsMarkupGetsTitlesEscaped_data() {
        QTest::addColumn<bool>("markup");
        QTest::addColumn<QString>("body");
        QTest::newRow("markup") << true << u"Купить &lt;b&gt;хлеб&lt;/b&gt; &amp; молоко"_s;
        QTest::newRow("plain text") << false << u"Купить <b>хлеб</b> & молоко"_s;
    }

    void aServiceThatReadsMarkupGetsTitlesEscaped() {
        QFETCH(bool, markup);
        QFETCH(QString, body);
        startService();
        if (markup)
            m_service->capabilities << u"body-markup"_s;
        const auto desktop = notifier(m_bus->connect());
        desktop->notify(Notification{u"Срок задачи истёк"_s, u"Купить <b>хлеб</b> & молоко"_s, 1});
        QTRY_COMPARE(m_service->shown.size(), 1);
        QCOMPARE(m_service->shown.first().body, body);
    }

    void withoutAServiceTheFallbackShowsIt() {
        const auto desktop = notifier(m_bus->connect());
        const Notification reminder{u"Срок задачи истёк"_s, u"Первая"_s, 3};
        desktop->notify(reminder);
        QTRY_COMPARE(m_fallback.size(), 1);
        QCOMPARE(m_fallback.first(), reminder);
    }

    void withoutABusTheFallbackShowsIt() {
        const auto desktop = notifier(QDBusConnection(u"not connected"_s));
        desktop->notify(Notification{u"Срок задачи истёк"_s, u"Первая"_s, 3});
        QCOMPARE(m_fallback.size(), 1);
    }

    void noBusIsStartedForASessionWithoutOne() {
        const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
        QTemporaryDir emptyRuntime;
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("XDG_RUNTIME_DIR", emptyRuntime.path().toLocal8Bit());
        QVERIFY(!DesktopNotifier::sessionBusIfAny().isConnected());
        qputenv("XDG_RUNTIME_DIR", runtime);
        if (!address.isEmpty())
            qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    }
};

QTEST_GUILESS_MAIN(tst_DesktopNotifier)
#include "tst_DesktopNotifier.moc"
