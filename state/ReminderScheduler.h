#pragma once

#include "APIService.h"
#include "Clock.h"
#include "KeyValueStore.h"
#include "Notifier.h"

#include <QCoroTask>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <chrono>

class DesktopPreferences;

// Deadline reminders while the client runs. It keeps its own list of every pending, unarchived task
// of the user (fetched on start, every few minutes and whenever refresh() is called, never taken from
// the list on screen), and at each check tells the notifier about the tasks whose lead time has
// begun or whose deadline has passed. Each task, deadline and kind of reminder fires once, also
// across restarts: what has fired is kept in the store.
class ReminderScheduler final : public QObject {
    Q_OBJECT

public:
    enum class Kind { soon, overdue };

    // More reminders than this falling due at one check become one notification about all of them.
    static constexpr int summaryThreshold = 3;
    // An overdue reminder is still worth showing this long after the deadline (the client started the
    // morning after); older ones are left to the red deadline in the list.
    static constexpr qint64 overdueWindowSecs = 24 * 3600;
    static constexpr std::chrono::seconds checkInterval{30};
    static constexpr std::chrono::minutes refreshInterval{5};

    ReminderScheduler(const APIService& api, KeyValueStore& store, const Clock& clock,
                      const DesktopPreferences& preferences, Notifier& notifier, QObject* parent = nullptr);

    // Active while someone is signed in: becoming active fetches at once; becoming inactive forgets
    // the tasks and stops the timers (what has fired is kept).
    void setActive(bool active);
    bool isActive() const { return m_active; }

    // The pending tasks as last fetched.
    const QList<VexoTask>& pendingTasks() const { return m_tasks; }
    std::optional<VexoTask> pendingTask(qint64 id) const;

    // How long until the next check runs by itself; negative while none is due (inactive).
    std::chrono::milliseconds nextCheck() const { return m_checkTimer.remainingTimeAsDuration(); }

    // The texts of a reminder, as the notifier gets them.
    static Notification notificationFor(const VexoTask& task, Kind kind, const QDateTime& deadline,
                                        const QDateTime& now);
    static Notification summaryFor(const QList<VexoTask>& tasks);

public Q_SLOTS:
    // Fetches the pending tasks again; a call while a fetch is on the wire is answered by one more
    // fetch after it.
    void refresh();
    // Sends every reminder due now that has not fired yet.
    void check();

Q_SIGNALS:
    // After every fetch, whether it succeeded or not.
    void refreshed();

private:
    struct Due {
        VexoTask task;
        Kind kind;
        QDateTime deadline;
    };

    struct Pending {
        QList<VexoTask> tasks;
        QList<qint64> deadlines;
    };
    static Pending pendingOf(QList<VexoTask> tasks);

    QCoro::Task<void> fetch();
    void fireDue(const QDateTime& now);
    void rearm(const QDateTime& now);
    void loadFired();
    void saveFired();
    static QString firedKey(qint64 id, const QString& deadline, Kind kind);

    const APIService& m_api;
    KeyValueStore& m_store;
    const Clock& m_clock;
    const DesktopPreferences& m_preferences;
    Notifier& m_notifier;

    bool m_active = false;
    bool m_fetching = false;
    bool m_fetchAgain = false;
    quint64 m_session = 0; // changes on every activation, so a late answer of an earlier one is dropped
    QList<VexoTask> m_tasks;
    // In step with m_tasks: their deadlines as TaskFiltering::deadlineOf() reads them, read once per fetch.
    QList<qint64> m_deadlines;
    // "id <tab> kind <tab> deadline text" of every reminder that has fired and may still fall due.
    QSet<QString> m_fired;
    QTimer m_checkTimer;
    QTimer m_refreshTimer;
};
