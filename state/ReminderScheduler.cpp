#include "ReminderScheduler.h"

#include "AppState.h"
#include "DesktopPreferences.h"
#include "ServerDate.h"
#include "StateLog.h"
#include "TaskFiltering.h"
#include "WorkerThread.h"

#include <QPointer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString firedStoreKey = u"vexo_reminders_fired"_s;

QString kindName(ReminderScheduler::Kind kind) {
    return kind == ReminderScheduler::Kind::soon ? u"soon"_s : u"overdue"_s;
}

// "задача", "задачи" or "задач" after the number n.
QString tasksWord(qsizetype n) {
    const qsizetype lastTwo = n % 100;
    const qsizetype last = n % 10;
    if (last == 1 && lastTwo != 11)
        return u"задача"_s;
    if (last >= 2 && last <= 4 && (lastTwo < 12 || lastTwo > 14))
        return u"задачи"_s;
    return u"задач"_s;
}

} // namespace

ReminderScheduler::ReminderScheduler(const APIService& api, KeyValueStore& store, const Clock& clock,
                                     const DesktopPreferences& preferences, Notifier& notifier, QObject* parent)
    : QObject(parent)
    , m_api(api)
    , m_store(store)
    , m_clock(clock)
    , m_preferences(preferences)
    , m_notifier(notifier) {
    m_checkTimer.setSingleShot(true);
    m_checkTimer.setTimerType(Qt::PreciseTimer);
    m_refreshTimer.setInterval(refreshInterval);
    connect(&m_checkTimer, &QTimer::timeout, this, &ReminderScheduler::check);
    connect(&m_refreshTimer, &QTimer::timeout, this, &ReminderScheduler::refresh);
    // A longer lead time or reminders switched back on may make something due right now.
    connect(&m_preferences, &DesktopPreferences::changed, this, &ReminderScheduler::check);
    loadFired();
}

void ReminderScheduler::setActive(bool active) {
    if (active == m_active)
        return;
    m_active = active;
    ++m_session;
    m_fetchAgain = false;
    if (active) {
        m_refreshTimer.start();
        refresh();
        check();
    } else {
        m_checkTimer.stop();
        m_refreshTimer.stop();
        m_tasks.clear();
        m_deadlines.clear();
    }
}

std::optional<VexoTask> ReminderScheduler::pendingTask(qint64 id) const {
    for (const VexoTask& task : m_tasks) {
        if (task.id == id)
            return task;
    }
    return std::nullopt;
}

void ReminderScheduler::refresh() {
    if (!m_active)
        return;
    if (m_fetching) {
        m_fetchAgain = true;
        return;
    }
    // Detached: the task finishes (and frees itself) on its own.
    (void)fetch();
}

ReminderScheduler::Pending ReminderScheduler::pendingOf(QList<VexoTask> tasks) {
    Pending pending;
    // Copied, not moved: the list may be shared, and moving would copy all of it first.
    for (const VexoTask& task : std::as_const(tasks)) {
        if (task.status == TaskStatus::pending && !task.isArchived()) {
            pending.deadlines.append(TaskFiltering::deadlineOf(task));
            pending.tasks.append(task);
        }
    }
    return pending;
}

QCoro::Task<void> ReminderScheduler::fetch() {
    QPointer<ReminderScheduler> self(this);
    const quint64 session = m_session;
    m_fetching = true;
    std::optional<TasksResponse> answer;
    try {
        answer = co_await m_api.fetchTasks(false, TaskStatus::pending, std::nullopt);
    } catch (...) {
        qCInfo(lcState) << "reminders: pending tasks not fetched:" << AppState::describe(std::current_exception());
    }
    std::optional<Pending> pending;
    if (self && answer) {
        // A long list is sifted, and its deadlines read, away from the event loop.
        if (answer->tasks.size() < 2000) {
            pending = pendingOf(std::move(answer->tasks));
        } else {
            // Named, not a temporary of the co_await expression: GCC 12 destroys those twice.
            const QFuture<Pending> sifted =
                onWorkerThread([tasks = std::move(answer->tasks)] { return pendingOf(tasks); });
            pending = co_await sifted;
            dropStoredResult(sifted);
        }
    }
    if (!self)
        co_return;
    m_fetching = false;
    if (pending && session == m_session && m_active) {
        m_tasks = std::move(pending->tasks);
        m_deadlines = std::move(pending->deadlines);
        check();
    }
    Q_EMIT refreshed();
    if (m_fetchAgain && m_active) {
        m_fetchAgain = false;
        refresh();
    }
}

void ReminderScheduler::check() {
    if (!m_active)
        return;
    const QDateTime now = m_clock.now();
    if (m_preferences.remindersEnabled())
        fireDue(now);
    rearm(now);
}

void ReminderScheduler::rearm(const QDateTime& now) {
    // The next check comes at the next moment a reminder falls due, or after the usual interval,
    // whichever is sooner, so a reminder is neither late by the interval nor missed after a clock jump.
    const qint64 lead = qint64(m_preferences.leadMinutes()) * 60 * 1000;
    qint64 next = std::chrono::milliseconds(checkInterval).count();
    const qint64 nowMs = now.toMSecsSinceEpoch();
    for (const qint64 deadline : std::as_const(m_deadlines)) {
        if (deadline == TaskFiltering::noDeadline)
            continue;
        const qint64 untilDeadline = deadline - nowMs;
        for (const qint64 until : {untilDeadline - lead, untilDeadline}) {
            if (until > 0 && until < next)
                next = until;
        }
    }
    m_checkTimer.start(std::chrono::milliseconds(next));
}

void ReminderScheduler::fireDue(const QDateTime& now) {
    const qint64 lead = qint64(m_preferences.leadMinutes()) * 60;
    QList<Due> due;
    for (qsizetype i = 0; i < m_tasks.size(); ++i) {
        if (m_deadlines[i] == TaskFiltering::noDeadline)
            continue;
        const VexoTask& task = m_tasks[i];
        const QDateTime deadline = QDateTime::fromMSecsSinceEpoch(m_deadlines[i], Qt::UTC);
        const qint64 left = now.secsTo(deadline);
        std::optional<Kind> kind;
        if (lead > 0 && left > 0 && left <= lead)
            kind = Kind::soon;
        else if (left <= 0 && -left < overdueWindowSecs)
            kind = Kind::overdue;
        if (!kind || m_fired.contains(firedKey(task.id, *task.deadline, *kind)))
            continue;
        due.append(Due{task, *kind, deadline});
    }
    if (due.isEmpty())
        return;
    std::sort(due.begin(), due.end(), [](const Due& a, const Due& b) {
        return a.deadline != b.deadline ? a.deadline < b.deadline : a.task.id < b.task.id;
    });
    // Marked before anything is shown: a notifier that fails must not make the same reminder come back.
    for (const Due& each : std::as_const(due))
        m_fired.insert(firedKey(each.task.id, *each.task.deadline, each.kind));
    saveFired();
    if (due.size() > summaryThreshold) {
        QList<VexoTask> tasks;
        for (const Due& each : std::as_const(due))
            tasks.append(each.task);
        m_notifier.notify(summaryFor(tasks));
        return;
    }
    for (const Due& each : std::as_const(due))
        m_notifier.notify(notificationFor(each.task, each.kind, each.deadline, now));
}

Notification ReminderScheduler::notificationFor(const VexoTask& task, Kind kind, const QDateTime& deadline,
                                                const QDateTime& now) {
    if (kind == Kind::overdue)
        return Notification{u"Срок задачи истёк"_s, task.title, task.id};
    const qint64 minutes = std::max<qint64>(1, (now.secsTo(deadline) + 59) / 60);
    return Notification{u"Дедлайн через %1 мин"_s.arg(minutes), task.title, task.id};
}

Notification ReminderScheduler::summaryFor(const QList<VexoTask>& tasks) {
    QStringList lines;
    for (qsizetype i = 0; i < tasks.size() && i < summaryThreshold; ++i)
        lines << u"• "_s + tasks[i].title;
    if (tasks.size() > summaryThreshold)
        lines << u"и ещё %1"_s.arg(tasks.size() - summaryThreshold);
    return Notification{u"Напоминания о дедлайнах: %1 %2"_s.arg(tasks.size()).arg(tasksWord(tasks.size())),
                        lines.join(u'\n'), std::nullopt};
}

QString ReminderScheduler::firedKey(qint64 id, const QString& deadline, Kind kind) {
    return QString::number(id) + u'\t' + kindName(kind) + u'\t' + deadline;
}

void ReminderScheduler::loadFired() {
    const QStringList lines = m_store.text(firedStoreKey).value_or(QString()).split(u'\n', Qt::SkipEmptyParts);
    m_fired = QSet<QString>(lines.begin(), lines.end());
}

void ReminderScheduler::saveFired() {
    // A record outlives its use once neither reminder of its deadline can fall due any more.
    const QDateTime now = m_clock.now();
    for (auto it = m_fired.begin(); it != m_fired.end();) {
        const std::optional<QDateTime> deadline = parseServerDate(it->section(u'\t', 2));
        if (!deadline || deadline->secsTo(now) >= overdueWindowSecs)
            it = m_fired.erase(it);
        else
            ++it;
    }
    QStringList lines(m_fired.begin(), m_fired.end());
    lines.sort();
    m_store.setText(firedStoreKey, lines.join(u'\n'));
}
