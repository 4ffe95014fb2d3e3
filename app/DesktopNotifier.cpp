#include "DesktopNotifier.h"

#include "AppIcon.h"
#include "AppLog.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.Notifications"_s;
const QString path = u"/org/freedesktop/Notifications"_s;
const QString interface = u"org.freedesktop.Notifications"_s;

} // namespace

DesktopNotifier::DesktopNotifier(QDBusConnection bus, Fallback fallback, QObject* parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_fallback(std::move(fallback)) {
    if (!m_bus.isConnected())
        return;
    m_bus.connect(service, path, interface, u"ActionInvoked"_s, this, SLOT(onActionInvoked(uint, QString)));
    m_bus.connect(service, path, interface, u"NotificationClosed"_s, this, SLOT(onNotificationClosed(uint, uint)));
}

QDBusConnection DesktopNotifier::sessionBusIfAny() {
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") &&
        (runtime.isEmpty() || !QFileInfo(QDir(runtime).filePath(u"bus"_s)).exists()))
        return QDBusConnection(u"vexo-no-session-bus"_s);
    return QDBusConnection::sessionBus();
}

void DesktopNotifier::notify(const Notification& notification) {
    if (!m_bus.isConnected()) {
        if (m_fallback)
            m_fallback(notification);
        return;
    }
    m_waiting.append(notification);
    if (m_markup) {
        flush();
        return;
    }
    if (m_asking)
        return;
    // Asked once, before the first notification: a title with "<" or "&" must not be read as markup
    // by a service that reads markup, nor shown escaped by one that does not.
    m_asking = true;
    auto* watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(QDBusMessage::createMethodCall(service, path, interface, u"GetCapabilities"_s)), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<QStringList> reply = *call;
        m_markup = !reply.isError() && reply.value().contains(u"body-markup"_s);
        m_asking = false;
        flush();
    });
}

void DesktopNotifier::flush() {
    const QList<Notification> waiting = std::exchange(m_waiting, {});
    for (const Notification& notification : waiting) {
        QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, u"Notify"_s);
        const QVariantMap hints{{u"desktop-entry"_s, QString::fromLatin1(AppIcon::name)}};
        call << u"Vexo Tasks"_s << uint(0) << QString::fromLatin1(AppIcon::name) << notification.summary
             << (*m_markup ? notification.body.toHtmlEscaped() : notification.body)
             << QStringList{u"default"_s, u"Открыть"_s} << hints << int(-1);
        auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [this, notification](QDBusPendingCallWatcher* call) { sent(call, notification); });
    }
}

void DesktopNotifier::sent(QDBusPendingCallWatcher* call, const Notification& notification) {
    call->deleteLater();
    const QDBusPendingReply<uint> reply = *call;
    if (reply.isError()) {
        qCInfo(lcApp) << "no notification service:" << reply.error().message();
        if (m_fallback)
            m_fallback(notification);
        return;
    }
    m_shown.insert(reply.value(), notification.taskId);
    Q_EMIT shown(reply.value());
}

void DesktopNotifier::onActionInvoked(uint id, const QString& action) {
    const auto it = m_shown.constFind(id);
    if (it == m_shown.cend() || action != u"default")
        return;
    Q_EMIT activated(*it);
}

void DesktopNotifier::onNotificationClosed(uint id, uint) {
    m_shown.remove(id);
}
