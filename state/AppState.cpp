#include "AppState.h"

#include "APIError.h"
#include "JsonValue.h"
#include "JsonWriter.h"
#include "StateLog.h"
#include "TransportError.h"
#include "WorkerThread.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

const QString tokenKey = u"vexo_token"_s;
const QString userKey = u"vexo_user"_s;

// From this many tasks, the rows of an answer are worked out on a worker thread.
constexpr qsizetype prepareOnWorkerFrom = 2000;

} // namespace

AppState::AppState(const APIService& api, KeyValueStore& store, const Clock& clock, QObject* parent)
    : QObject(parent)
    , m_api(api)
    , m_store(store)
    , m_clock(clock) {
    restoreSession();
}

QString AppState::describe(std::exception_ptr error) {
    try {
        std::rethrow_exception(error);
    } catch (const APIError& apiError) {
        return apiError.errorDescription();
    } catch (const TransportError& transportError) {
        return transportError.errorDescription();
    } catch (const std::exception& other) {
        return QString::fromUtf8(other.what());
    } catch (...) {
        return u"Неизвестная ошибка"_s;
    }
}

void AppState::setDateFilter(DateFilter filter) {
    assign(m_dateFilter, filter, &AppState::dateFilterChanged);
}

void AppState::setPriorityFilter(std::optional<TaskPriority> filter) {
    assign(m_priorityFilter, filter, &AppState::priorityFilterChanged);
}

void AppState::setSelectedTask(std::optional<VexoTask> task) {
    assign(m_selectedTask, std::move(task), &AppState::selectedTaskChanged);
}

void AppState::setUserSettings(UserSettings settings) {
    assign(m_userSettings, settings, &AppState::userSettingsChanged);
}

void AppState::showToast(std::optional<QString> text) {
    assign(m_toastMessage, std::move(text), &AppState::toastMessageChanged);
}

void AppState::setShowCreateTask(bool show) {
    assign(m_showCreateTask, show, &AppState::showCreateTaskChanged);
}

void AppState::setShowEditTask(bool show) {
    assign(m_showEditTask, show, &AppState::showEditTaskChanged);
}

void AppState::setEditingTask(std::optional<VexoTask> task) {
    assign(m_editingTask, std::move(task), &AppState::editingTaskChanged);
}

void AppState::setShowSettings(bool show) {
    assign(m_showSettings, show, &AppState::showSettingsChanged);
}

void AppState::setShowApiKey(bool show) {
    assign(m_showApiKey, show, &AppState::showApiKeyChanged);
}

void AppState::setShowAdmin(bool show) {
    assign(m_showAdmin, show, &AppState::showAdminChanged);
}

void AppState::setShowNewFolder(bool show) {
    assign(m_showNewFolder, show, &AppState::showNewFolderChanged);
}

void AppState::setShowEditFolder(bool show) {
    assign(m_showEditFolder, show, &AppState::showEditFolderChanged);
}

void AppState::setEditingFolder(std::optional<Folder> folder) {
    assign(m_editingFolder, std::move(folder), &AppState::editingFolderChanged);
}

void AppState::setStatsRange(QString range) {
    assign(m_statsRange, std::move(range), &AppState::statsRangeChanged);
}

QList<qsizetype> AppState::filteredIndexes() const {
    return TaskFiltering::visibleIndexes(m_taskList.tasks(), m_taskList.deadlines(), m_sidebarItem, m_dateFilter,
                                         m_priorityFilter, m_clock.now());
}

QList<VexoTask> AppState::filteredTasks() const {
    const QList<qsizetype> indexes = filteredIndexes();
    QList<VexoTask> visible;
    visible.reserve(indexes.size());
    for (qsizetype index : indexes)
        visible.append(m_taskList.tasks()[index]);
    return visible;
}

TaskFiltering::Counts AppState::counts() const {
    return TaskFiltering::count(m_taskList.tasks(), m_taskList.deadlines(), m_clock.now());
}

void AppState::setTasks(TaskList::Rows rows) {
    if (m_taskList.assign(std::move(rows)))
        Q_EMIT tasksChanged();
}

QCoro::Task<TaskList::Rows> AppState::prepareRows(QList<VexoTask> tasks) const {
    QList<VexoTask> current = m_taskList.tasks();
    if (tasks.size() < prepareOnWorkerFrom && current.size() < prepareOnWorkerFrom)
        co_return TaskList::prepare(std::move(tasks), std::move(current));
    // Named, not temporaries of the co_await expression: GCC 12 destroys those twice.
    const QFuture<TaskList::Rows> prepared = onWorkerThread(
        [tasks = std::move(tasks), current = std::move(current)] { return TaskList::prepare(tasks, current); });
    TaskList::Rows rows = co_await prepared;
    dropStoredResult(prepared);
    co_return rows;
}

void AppState::replaceTask(const VexoTask& task) {
    overtakeBackground();
    if (m_taskList.replaceFirst(task))
        Q_EMIT tasksChanged();
    if (m_selectedTask && m_selectedTask->id == task.id)
        setSelectedTask(task);
}

void AppState::removeTasks(qint64 id) {
    overtakeBackground();
    if (m_taskList.removeAll(id))
        Q_EMIT tasksChanged();
    if (m_selectedTask && m_selectedTask->id == id)
        setSelectedTask(std::nullopt);
}

void AppState::setLoadingTasks(bool loading) {
    assign(m_isLoadingTasks, loading, &AppState::isLoadingTasksChanged);
}

void AppState::restoreSession() {
    const auto token = m_store.text(tokenKey);
    if (!token)
        return;
    assign(m_token, std::optional<QString>(*token), &AppState::tokenChanged);
    assign(m_isLoggedIn, true, &AppState::isLoggedInChanged);
    const auto userBytes = m_store.data(userKey);
    if (!userBytes)
        return;
    try {
        assign(m_currentUser, std::optional<User>(decodeJson<User>(*userBytes)), &AppState::currentUserChanged);
    } catch (const std::exception& error) {
        qCInfo(lcState) << "saved user record ignored:" << error.what();
    }
}

void AppState::saveSession(const QString& token, const User& user) {
    m_store.setText(tokenKey, token);
    m_store.setData(userKey, encodeJson(user));
}

QCoro::Task<void> AppState::login(QString key) {
    QPointer<AppState> self(this);
    const AuthResponse auth = co_await m_api.verifyKey(std::move(key));
    if (!self)
        co_return;
    supersedeBackground();
    assign(m_token, std::optional<QString>(auth.token), &AppState::tokenChanged);
    assign(m_currentUser, std::optional<User>(auth.user), &AppState::currentUserChanged);
    assign(m_isLoggedIn, true, &AppState::isLoggedInChanged);
    saveSession(auth.token, auth.user);
    co_await loadAll();
}

void AppState::logout() {
    supersedeBackground();
    m_taggedTasks = {};
    m_taggedFolders = {};
    assign(m_isLoggedIn, false, &AppState::isLoggedInChanged);
    assign(m_token, std::optional<QString>(), &AppState::tokenChanged);
    assign(m_currentUser, std::optional<User>(), &AppState::currentUserChanged);
    setTasks({});
    setSelectedTask(std::nullopt);
    assign(m_folders, QList<Folder>(), &AppState::foldersChanged);
    assign(m_sidebarItem, SidebarItem::allTasks(), &AppState::sidebarItemChanged);
    m_store.remove(tokenKey);
    m_store.remove(userKey);
}

void AppState::selectSidebarItem(SidebarItem item) {
    supersedeBackground();
    assign(m_sidebarItem, item, &AppState::sidebarItemChanged);
    setDateFilter(DateFilter::all);
    setPriorityFilter(std::nullopt);
    setSelectedTask(std::nullopt);
    assign(m_selectedFolderId, item.folderId(), &AppState::selectedFolderIdChanged);
    // Detached: the task finishes (and frees itself) on its own.
    (void)loadTasks();
}

QCoro::Task<void> AppState::loadTasks() {
    if (!m_isLoggedIn)
        co_return;
    QPointer<AppState> self(this);
    supersedeBackground();
    setLoadingTasks(true);
    std::optional<TaskList::Rows> rows;
    quint64 arrival = 0;
    std::exception_ptr failure;
    // A named function, not a temporary in the call: GCC 12 destroys such a coroutine argument twice.
    const APIService::Arrived arrived = [self, &arrival] {
        if (self)
            arrival = ++self->m_taskAnswers;
    };
    try {
        TasksResponse answer = co_await m_api.fetchTasks(m_sidebarItem.showsArchive(), m_sidebarItem.statusFilter(),
                                                         m_selectedFolderId, arrived);
        if (self)
            rows = co_await prepareRows(std::move(answer.tasks));
    } catch (...) {
        failure = std::current_exception();
    }
    if (!self)
        co_return;
    if (rows) {
        if (arrival > m_appliedTaskAnswer) {
            m_appliedTaskAnswer = arrival;
            setTasks(std::move(*rows));
            Q_EMIT tasksLoaded();
        }
    } else {
        showToast(describe(failure));
    }
    setLoadingTasks(false);
}

QCoro::Task<void> AppState::createTask(QString title, TaskPriority priority, std::optional<QString> description,
                                       std::optional<QString> deadline) {
    QPointer<AppState> self(this);
    try {
        const VexoTask task =
            (co_await m_api.createTask(std::move(title), priority, std::move(description), std::move(deadline))).task;
        if (!self)
            co_return;
        // At the front, whatever the selection and filters.
        overtakeBackground();
        m_taskList.prepend(task);
        Q_EMIT tasksChanged();
        showToast(u"Задача создана"_s);
    } catch (...) {
        if (self)
            showToast(u"Ошибка: "_s + describe(std::current_exception()));
    }
}

QCoro::Task<void> AppState::updateTask(qint64 id, TaskUpdate update) {
    QPointer<AppState> self(this);
    try {
        const VexoTask task = (co_await m_api.updateTask(id, std::move(update))).task;
        if (self)
            replaceTask(task);
    } catch (...) {
        if (self)
            showToast(u"Ошибка обновления: "_s + describe(std::current_exception()));
    }
}

QCoro::Task<void> AppState::toggleTask(VexoTask task) {
    QPointer<AppState> self(this);
    const bool wasDone = task.status == TaskStatus::done;
    try {
        const VexoTask changed = (co_await m_api.putTaskStatus(task.id, task.status)).task;
        if (!self)
            co_return;
        replaceTask(changed);
        if (!wasDone)
            showToast(u"Задача выполнена ✓"_s);
    } catch (...) {
        if (self)
            showToast(u"Ошибка обновления: "_s + describe(std::current_exception()));
    }
}

QCoro::Task<void> AppState::archiveTask(qint64 id) {
    QPointer<AppState> self(this);
    try {
        co_await m_api.postTaskArchive(id);
        if (!self)
            co_return;
        removeTasks(id);
        showToast(u"Задача архивирована"_s);
    } catch (...) {
        if (self)
            showToast(u"Ошибка архивации"_s);
    }
}

QCoro::Task<void> AppState::deleteTask(qint64 id) {
    QPointer<AppState> self(this);
    try {
        co_await m_api.deleteTask(id);
        if (!self)
            co_return;
        removeTasks(id);
        showToast(u"Задача удалена"_s);
    } catch (...) {
        if (self)
            showToast(u"Ошибка удаления"_s);
    }
}

QCoro::Task<void> AppState::sendToBot(qint64 id) {
    QPointer<AppState> self(this);
    try {
        co_await m_api.sendTaskToBot(id);
        if (!self)
            co_return;
        // The first task with that id; the selected task keeps what it had.
        overtakeBackground();
        if (const int row = m_taskList.rowOf(id); row >= 0) {
            VexoTask sent = m_taskList.tasks()[row];
            sent.sentToBot = 1;
            if (m_taskList.replaceFirst(sent))
                Q_EMIT tasksChanged();
        }
        showToast(u"Отправлено в Telegram"_s);
    } catch (...) {
        if (self)
            showToast(u"Ошибка отправки: "_s + describe(std::current_exception()));
    }
}

QCoro::Task<void> AppState::loadAll() {
    // Tasks start eagerly: all three requests are on the wire before the first is awaited.
    QCoro::Task<void> tasks = loadTasks();
    QCoro::Task<void> folders = loadFolders();
    QCoro::Task<void> settings = loadSettings();
    co_await std::move(tasks);
    co_await std::move(folders);
    co_await std::move(settings);
}

QCoro::Task<void> AppState::loadFolders() {
    if (!m_isLoggedIn)
        co_return;
    QPointer<AppState> self(this);
    try {
        FoldersResponse answer = co_await m_api.fetchFolders();
        if (self)
            assign(m_folders, std::move(answer.folders), &AppState::foldersChanged);
    } catch (...) {
        qCInfo(lcState) << "folders not loaded:" << describe(std::current_exception());
    }
}

QCoro::Task<void> AppState::loadSettings() {
    QPointer<AppState> self(this);
    try {
        const UserSettings settings = co_await m_api.fetchSettings();
        if (self)
            setUserSettings(settings);
    } catch (...) {
        qCInfo(lcState) << "settings not loaded:" << describe(std::current_exception());
    }
}

QCoro::Task<void> AppState::createFolder(QString name, QString color) {
    QPointer<AppState> self(this);
    try {
        const Folder folder = (co_await m_api.createFolder(std::move(name), std::move(color))).folder;
        if (!self)
            co_return;
        overtakeBackground();
        QList<Folder> folders = m_folders;
        folders.append(folder);
        assign(m_folders, std::move(folders), &AppState::foldersChanged);
        showToast(u"Папка создана"_s);
    } catch (...) {
        if (self)
            showToast(u"Ошибка: "_s + describe(std::current_exception()));
    }
}

QCoro::Task<void> AppState::updateFolder(qint64 id, QString name, QString color) {
    QPointer<AppState> self(this);
    try {
        const Folder folder = (co_await m_api.updateFolder(id, std::move(name), std::move(color))).folder;
        if (!self)
            co_return;
        overtakeBackground();
        QList<Folder> folders = m_folders;
        for (Folder& each : folders) {
            if (each.id == id) {
                each = folder;
                break;
            }
        }
        assign(m_folders, std::move(folders), &AppState::foldersChanged);
    } catch (...) {
        if (self)
            showToast(u"Ошибка обновления папки"_s);
    }
}

QCoro::Task<void> AppState::deleteFolder(qint64 id) {
    QPointer<AppState> self(this);
    try {
        co_await m_api.deleteFolder(id);
        if (!self)
            co_return;
        overtakeBackground();
        QList<Folder> folders = m_folders;
        folders.removeIf([id](const Folder& folder) { return folder.id == id; });
        assign(m_folders, std::move(folders), &AppState::foldersChanged);
        // The sidebar keeps its folder item and the list stays as loaded: only the next load changes.
        if (m_selectedFolderId == id)
            assign(m_selectedFolderId, std::optional<qint64>(), &AppState::selectedFolderIdChanged);
    } catch (...) {
        if (self)
            showToast(u"Ошибка удаления папки"_s);
    }
}

QCoro::Task<void> AppState::saveSettings() {
    QPointer<AppState> self(this);
    try {
        const UserSettings stored = co_await m_api.updateSettings(m_userSettings.autoSendBot);
        if (self)
            setUserSettings(stored);
    } catch (...) {
        if (self)
            showToast(u"Ошибка сохранения настроек"_s);
    }
}

QCoro::Task<void> AppState::loadStats() {
    if (!m_isLoggedIn)
        co_return;
    QPointer<AppState> self(this);
    try {
        UserStats stats = co_await m_api.fetchStats(m_statsRange);
        if (self)
            assign(m_statsData, std::optional<UserStats>(std::move(stats)), &AppState::statsDataChanged);
    } catch (...) {
        if (self)
            showToast(u"Ошибка загрузки статистики"_s);
    }
}

QCoro::Task<void> AppState::loadApiKey() {
    QPointer<AppState> self(this);
    try {
        const QString key = (co_await m_api.fetchApiKey()).apiKey;
        if (self)
            assign(m_apiKeyValue, std::optional<QString>(key), &AppState::apiKeyValueChanged);
    } catch (...) {
        qCInfo(lcState) << "API key not loaded:" << describe(std::current_exception());
    }
}

QCoro::Task<void> AppState::regenerateApiKey() {
    QPointer<AppState> self(this);
    try {
        const QString key = (co_await m_api.postApiKeyRegenerate()).apiKey;
        if (!self)
            co_return;
        assign(m_apiKeyValue, std::optional<QString>(key), &AppState::apiKeyValueChanged);
        showToast(u"API ключ обновлён"_s);
    } catch (...) {
        if (self)
            showToast(u"Ошибка обновления ключа"_s);
    }
}

QCoro::Task<AppState::BackgroundRefresh> AppState::refreshInBackground() {
    if (!m_isLoggedIn)
        co_return BackgroundRefresh::skipped;
    QPointer<AppState> self(this);
    supersedeBackground();
    const quint64 loads = m_loads;
    const quint64 edits = m_edits;
    const bool archived = m_sidebarItem.showsArchive();
    const std::optional<TaskStatus> status = m_sidebarItem.statusFilter();
    const std::optional<qint64> folderId = m_selectedFolderId;
    const QString query = APIService::tasksQuery(archived, status, folderId);
    // A folder deleted while it is shown keeps its list until the user loads another.
    const bool withTasks = !(m_sidebarItem.kind() == SidebarItem::Kind::folder && !folderId);

    // Both requests are on the wire before either is awaited.
    std::optional<QCoro::Task<ConditionalRead<TasksResponse>>> tasksRequest;
    quint64 arrival = 0;
    const APIService::Arrived arrived = [self, &arrival] {
        if (self)
            arrival = ++self->m_taskAnswers;
    };
    const QByteArray etag = m_taggedTasks.query == query ? m_taggedTasks.etag : QByteArray();
    if (withTasks)
        tasksRequest.emplace(m_api.fetchTasksIfChanged(archived, status, folderId, etag, arrived));
    QCoro::Task<ConditionalRead<FoldersResponse>> foldersRequest = m_api.fetchFoldersIfChanged(m_taggedFolders.etag);
    std::optional<ConditionalRead<TasksResponse>> tasks;
    std::optional<ConditionalRead<FoldersResponse>> folders;
    std::exception_ptr failure;
    if (tasksRequest) {
        try {
            tasks = co_await std::move(*tasksRequest);
        } catch (...) {
            failure = std::current_exception();
        }
    }
    try {
        folders = co_await std::move(foldersRequest);
    } catch (...) {
        failure = std::current_exception();
    }
    QList<VexoTask> taskList;
    std::optional<TaskList::Rows> rows;
    if (self && tasks) {
        taskList = tasks->notModified ? m_taggedTasks.tasks : std::move(tasks->value->tasks);
        rows = co_await prepareRows(taskList);
    }
    if (!self)
        co_return BackgroundRefresh::superseded;
    if (m_loads != loads || !m_isLoggedIn ||
        APIService::tasksQuery(m_sidebarItem.showsArchive(), m_sidebarItem.statusFilter(), m_selectedFolderId) != query)
        co_return BackgroundRefresh::superseded;
    if (tasks && arrival < m_appliedTaskAnswer)
        co_return BackgroundRefresh::superseded;
    if (m_edits != edits)
        co_return BackgroundRefresh::overtaken;

    bool changed = false;
    if (folders) {
        QList<Folder> list = folders->notModified ? m_taggedFolders.folders : std::move(folders->value->folders);
        m_taggedFolders = {folders->etag, list};
        if (m_folders != list) {
            assign(m_folders, std::move(list), &AppState::foldersChanged);
            changed = true;
        }
    }
    if (tasks) {
        m_taggedTasks = {query, tasks->etag, std::move(taskList)};
        m_appliedTaskAnswer = arrival;
        if (m_taskList.assign(std::move(*rows))) {
            Q_EMIT tasksChanged();
            changed = true;
        }
        if (m_selectedTask) {
            // The page follows its task's new version; a task gone from the list stays on its page.
            if (const int row = m_taskList.rowOf(m_selectedTask->id); row >= 0)
                setSelectedTask(m_taskList.tasks()[row]);
        }
    }
    if (failure) {
        qCInfo(lcState) << "background refresh failed:" << describe(failure);
        co_return BackgroundRefresh::failed;
    }
    if (tasks)
        Q_EMIT tasksLoaded();
    co_return changed ? BackgroundRefresh::changed : BackgroundRefresh::unchanged;
}
