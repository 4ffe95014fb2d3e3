#include "MemoryStore.h"
#include "PortalColorScheme.h"
#include "SessionBus.h"
#include "SettingsStore.h"
#include "Theme.h"
#include "Vexo_TasksApp.h"
#include "WidgetTest.h"

#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QSignalSpy>
#include <QThread>

#include <atomic>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<bool>)

namespace {

const QString portalService = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString settingsInterface = u"org.freedesktop.portal.Settings"_s;

} // namespace

// The XDG desktop portal's Settings interface, as much of it as the client asks: Read of the colour
// scheme, answered the way the portal answers (a variant in a variant).
class FakePortal final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    std::atomic<uint> scheme{0};
    std::atomic<int> reads{0};

public Q_SLOTS:
    QDBusVariant Read(const QString& group, const QString& key) {
        ++reads;
        if (group != u"org.freedesktop.appearance" || key != u"color-scheme") {
            sendErrorReply(u"org.freedesktop.portal.Error.NotFound"_s, u"Requested setting not found"_s);
            return {};
        }
        return QDBusVariant(QVariant::fromValue(QDBusVariant(QVariant(uint(scheme)))));
    }
};

// The desktop's colour scheme from the portal, on a session bus of the test's own, with the portal
// served from a thread of its own as a real one is from another process.
class tst_PortalColorScheme final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<SessionBus> m_bus;
    std::unique_ptr<QThread> m_portalThread;
    FakePortal* m_portal = nullptr;
    QDBusConnection m_portalConnection{u"none"_s};

    void startPortal(uint scheme) {
        m_portalThread = std::make_unique<QThread>();
        m_portalThread->start();
        m_portal = new FakePortal;
        m_portal->scheme = scheme;
        m_portal->moveToThread(m_portalThread.get());
        m_portalConnection = m_bus->connect();
        QVERIFY(m_portalConnection.registerObject(portalPath, m_portal, QDBusConnection::ExportAllSlots));
        QVERIFY(m_portalConnection.registerService(portalService));
    }

    void announce(const QString& group, const QString& key, const QVariant& value) {
        QDBusMessage signal = QDBusMessage::createSignal(portalPath, settingsInterface, u"SettingChanged"_s);
        signal << group << key << QVariant::fromValue(QDBusVariant(value));
        QVERIFY(m_portalConnection.send(signal));
    }

private Q_SLOTS:
    void init() {
        m_bus = std::make_unique<SessionBus>();
        QVERIFY2(m_bus->isRunning(), "dbus-daemon did not start");
    }

    void cleanup() {
        if (m_portalThread) {
            m_portalConnection.unregisterObject(portalPath);
            m_portalThread->quit();
            m_portalThread->wait();
            // Its thread has ended: nothing else can touch it now.
            delete m_portal;
            m_portal = nullptr;
            m_portalThread.reset();
        }
        m_bus.reset();
    }

    void schemeFrom_data() {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<std::optional<bool>>("dark");
        const auto wrapped = [](const QVariant& value) { return QVariant::fromValue(QDBusVariant(value)); };
        QTest::newRow("1 is dark") << QVariant(uint(1)) << std::optional<bool>(true);
        QTest::newRow("2 is light") << QVariant(uint(2)) << std::optional<bool>(false);
        QTest::newRow("0 is no preference") << QVariant(uint(0)) << std::optional<bool>();
        QTest::newRow("an unknown number") << QVariant(uint(7)) << std::optional<bool>();
        QTest::newRow("in a variant") << wrapped(uint(2)) << std::optional<bool>(false);
        QTest::newRow("in a variant in a variant") << wrapped(wrapped(uint(1))) << std::optional<bool>(true);
        QTest::newRow("a text") << QVariant(u"1"_s) << std::optional<bool>();
        QTest::newRow("a text in a variant") << wrapped(u"dark"_s) << std::optional<bool>();
        QTest::newRow("nothing") << QVariant() << std::optional<bool>();
    }

    void schemeFrom() {
        QFETCH(QVariant, value);
        QFETCH(std::optional<bool>, dark);
        QCOMPARE(PortalColorScheme::schemeFrom(value), dark);
    }

    void readAtStart_data() {
        QTest::addColumn<uint>("scheme");
        QTest::addColumn<std::optional<bool>>("dark");
        QTest::newRow("dark") << uint(1) << std::optional<bool>(true);
        QTest::newRow("light") << uint(2) << std::optional<bool>(false);
        QTest::newRow("no preference") << uint(0) << std::optional<bool>();
    }

    void readAtStart() {
        QFETCH(uint, scheme);
        QFETCH(std::optional<bool>, dark);
        startPortal(scheme);
        PortalColorScheme reader(m_bus->connect());
        reader.readNow(10000);
        QCOMPARE(m_portal->reads.load(), 1);
        QCOMPARE(reader.prefersDark(), dark);
    }

    void readWithoutWaiting() {
        startPortal(2);
        PortalColorScheme reader(m_bus->connect());
        QSignalSpy changed(&reader, &PortalColorScheme::changed);
        reader.read();
        QVERIFY(changed.wait(10000));
        QCOMPARE(reader.prefersDark(), std::optional<bool>(false));
    }

    void followsTheDesktopWhileRunning() {
        startPortal(1);
        PortalColorScheme reader(m_bus->connect());
        reader.readNow(10000);
        QCOMPARE(reader.prefersDark(), std::optional<bool>(true));
        QSignalSpy changed(&reader, &PortalColorScheme::changed);

        announce(u"org.freedesktop.appearance"_s, u"color-scheme"_s, uint(2));
        QVERIFY(changed.wait(10000));
        QCOMPARE(reader.prefersDark(), std::optional<bool>(false));

        // Other settings are not the scheme.
        announce(u"org.freedesktop.appearance"_s, u"accent-color"_s, uint(1));
        announce(u"org.gnome.desktop.interface"_s, u"color-scheme"_s, uint(1));
        QVERIFY(!changed.wait(500));
        QCOMPARE(reader.prefersDark(), std::optional<bool>(false));

        announce(u"org.freedesktop.appearance"_s, u"color-scheme"_s, uint(0));
        QVERIFY(changed.wait(10000));
        QCOMPARE(reader.prefersDark(), std::optional<bool>());
    }

    void noPortalNoAnswer() {
        PortalColorScheme reader(m_bus->connect());
        QSignalSpy changed(&reader, &PortalColorScheme::changed);
        QElapsedTimer timer;
        timer.start();
        reader.readNow(5000);
        QVERIFY2(timer.elapsed() < 2000, "a missing portal must not hold up the start");
        reader.read();
        QVERIFY(!changed.wait(500));
        QCOMPARE(reader.prefersDark(), std::optional<bool>());
    }

    void noBusNoAnswer() {
        PortalColorScheme reader(QDBusConnection(u"not connected"_s));
        reader.readNow(1000);
        reader.read();
        QCOMPARE(reader.prefersDark(), std::optional<bool>());
    }

    void theSystemThemeFollowsAndFallsBackToTheStartPalette() {
        MemoryStore store;
        store.setText(u"vexo_theme"_s, u"system"_s);
        // The start-up palette here is Fusion's light one.
        Theme theme(store);
        QVERIFY(!theme.isDark());
        theme.setDesktopScheme(true);
        QVERIFY(theme.isDark());
        theme.setDesktopScheme(std::nullopt);
        QVERIFY(!theme.isDark());

        // A forced choice does not move with the desktop.
        theme.setPreference(u"light"_s);
        theme.setDesktopScheme(true);
        QVERIFY(!theme.isDark());
        theme.setPreference(u"system"_s);
        QVERIFY(theme.isDark());
    }

    void theClientFollowsThePortal() {
        startPortal(1);
        SettingsStore(QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME")) + u"/vexo/vexo-tasks.ini"_s)
            .setText(u"vexo_theme"_s, u"system"_s);
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus->address().toUtf8());
        {
            Vexo_TasksApp app(u"http://127.0.0.1:9"_s);
            QVERIFY(app.theme().isDark());
            announce(u"org.freedesktop.appearance"_s, u"color-scheme"_s, uint(2));
            QTRY_VERIFY(!app.theme().isDark());
        }
        QDBusConnection::disconnectFromBus(QDBusConnection::sessionBus().name());
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    }
};

VEXO_WIDGET_TEST_MAIN(tst_PortalColorScheme)
#include "tst_PortalColorScheme.moc"
