#pragma once

#include "Notifier.h"

#include <QDBusConnection>
#include <QHash>
#include <QList>
#include <QObject>

#include <functional>
#include <optional>

class QDBusPendingCallWatcher;

// Notifications through the desktop's notification service (org.freedesktop.Notifications on the
// session bus); a click on one reports its task. When the service is not there, each notification
// goes to the fallback instead (the tray icon's message).
class DesktopNotifier final : public QObject, public Notifier {
    Q_OBJECT

public:
    using Fallback = std::function<void(const Notification&)>;

    DesktopNotifier(QDBusConnection bus, Fallback fallback, QObject* parent = nullptr);

    void notify(const Notification& notification) override;

    // The bus of the desktop session, or a disconnected one when there is none. Never starts a bus
    // of its own (libdbus would otherwise launch one for a session that has none).
    static QDBusConnection sessionBusIfAny();

Q_SIGNALS:
    // The service has taken a notification and numbered it.
    void shown(uint id);
    // A notification was clicked: the task it was about, or none for one about several tasks.
    void activated(std::optional<qint64> taskId);

private Q_SLOTS:
    // QtDBus delivers signals to slots named by their signature; hence slots and not functors.
    void onActionInvoked(uint id, const QString& action);
    void onNotificationClosed(uint id, uint reason);

private:
    void flush();
    void sent(QDBusPendingCallWatcher* call, const Notification& notification);

    QDBusConnection m_bus;
    Fallback m_fallback;
    std::optional<bool> m_markup; // whether the service reads markup in the body, once it has said
    bool m_asking = false;
    QList<Notification> m_waiting;
    QHash<uint, std::optional<qint64>> m_shown;
};
