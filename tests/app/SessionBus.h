#pragma once

#include <QDBusConnection>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

// A private D-Bus session bus for one test: its own dbus-daemon, which activates no service, so only
// what the test puts on it is there.
class SessionBus final {
public:
    SessionBus() {
        QFile config(m_dir.filePath(QStringLiteral("bus.conf")));
        if (!config.open(QIODevice::WriteOnly))
            return;
        config.write(R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=)" +
                     QFile::encodeName(m_dir.path()) + R"(</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)");
        config.close();
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--config-file=") + config.fileName(), QStringLiteral("--nofork"),
                        QStringLiteral("--print-address=1")});
        if (!m_daemon.waitForStarted(10000))
            return;
        while (!m_address.contains('\n') && m_daemon.waitForReadyRead(10000))
            m_address += m_daemon.readAllStandardOutput();
        m_address = m_address.trimmed();
    }
    ~SessionBus() {
        for (const QString& name : std::as_const(m_connections))
            QDBusConnection::disconnectFromBus(name);
        m_daemon.terminate();
        m_daemon.waitForFinished(10000);
    }
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    bool isRunning() const { return !m_address.isEmpty(); }
    QString address() const { return QString::fromUtf8(m_address); }

    // A connection of its own to the bus, under a name unique in this process.
    QDBusConnection connect() {
        const QString name = QStringLiteral("test-bus-%1").arg(m_connections.size());
        m_connections << name;
        return QDBusConnection::connectToBus(address(), name);
    }

private:
    QTemporaryDir m_dir;
    QProcess m_daemon;
    QByteArray m_address;
    QStringList m_connections;
};
