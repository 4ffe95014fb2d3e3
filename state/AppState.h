#pragma once

#include "APIService.h"
#include "Clock.h"
#include "DateFilter.h"
#include "KeyValueStore.h"
#include "SidebarItem.h"
#include "TaskFiltering.h"
#include "TaskList.h"

#include <QCoroTask>
#include <QObject>

#include <exception>
#include <optional>

// The one application-wide state: the session, the loaded tasks and folders, the selection and the
// filters, the sheets that are open, the toast, and the data of the statistics and key screens.
// Every screen reads it and every change goes through it. Operations change state only after the
// service has answered, report outcomes through the toast, and never throw (login excepted).
class AppState final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isLoggedIn READ isLoggedIn NOTIFY isLoggedInChanged)
    Q_PROPERTY(std::optional<QString> token READ token NOTIFY tokenChanged)
    Q_PROPERTY(std::optional<User> currentUser READ currentUser NOTIFY currentUserChanged)
    Q_PROPERTY(SidebarItem sidebarItem READ sidebarItem NOTIFY sidebarItemChanged)
    Q_PROPERTY(QList<VexoTask> tasks READ tasks NOTIFY tasksChanged)
    Q_PROPERTY(bool isLoadingTasks READ isLoadingTasks NOTIFY isLoadingTasksChanged)
    Q_PROPERTY(DateFilter dateFilter READ dateFilter WRITE setDateFilter NOTIFY dateFilterChanged)
    Q_PROPERTY(std::optional<TaskPriority> priorityFilter READ priorityFilter WRITE setPriorityFilter NOTIFY
                   priorityFilterChanged)
    Q_PROPERTY(std::optional<qint64> selectedFolderId READ selectedFolderId NOTIFY selectedFolderIdChanged)
    Q_PROPERTY(std::optional<VexoTask> selectedTask READ selectedTask WRITE setSelectedTask NOTIFY selectedTaskChanged)
    Q_PROPERTY(QList<Folder> folders READ folders NOTIFY foldersChanged)
    Q_PROPERTY(UserSettings userSettings READ userSettings WRITE setUserSettings NOTIFY userSettingsChanged)
    Q_PROPERTY(std::optional<QString> toastMessage READ toastMessage WRITE showToast NOTIFY toastMessageChanged)
    Q_PROPERTY(bool showCreateTask READ showCreateTask WRITE setShowCreateTask NOTIFY showCreateTaskChanged)
    Q_PROPERTY(bool showEditTask READ showEditTask WRITE setShowEditTask NOTIFY showEditTaskChanged)
    Q_PROPERTY(std::optional<VexoTask> editingTask READ editingTask WRITE setEditingTask NOTIFY editingTaskChanged)
    Q_PROPERTY(bool showSettings READ showSettings WRITE setShowSettings NOTIFY showSettingsChanged)
    Q_PROPERTY(bool showApiKey READ showApiKey WRITE setShowApiKey NOTIFY showApiKeyChanged)
    Q_PROPERTY(bool showAdmin READ showAdmin WRITE setShowAdmin NOTIFY showAdminChanged)
    Q_PROPERTY(bool showNewFolder READ showNewFolder WRITE setShowNewFolder NOTIFY showNewFolderChanged)
    Q_PROPERTY(bool showEditFolder READ showEditFolder WRITE setShowEditFolder NOTIFY showEditFolderChanged)
    Q_PROPERTY(
        std::optional<Folder> editingFolder READ editingFolder WRITE setEditingFolder NOTIFY editingFolderChanged)
    Q_PROPERTY(std::optional<UserStats> statsData READ statsData NOTIFY statsDataChanged)
    Q_PROPERTY(QString statsRange READ statsRange WRITE setStatsRange NOTIFY statsRangeChanged)
    Q_PROPERTY(std::optional<QString> apiKeyValue READ apiKeyValue NOTIFY apiKeyValueChanged)

public:
    // Restores the saved session from `store` before returning.
    AppState(const APIService& api, KeyValueStore& store, const Clock& clock, QObject* parent = nullptr);

    const APIService& api() const { return m_api; }
    const Clock& clock() const { return m_clock; }

    bool isLoggedIn() const { return m_isLoggedIn; }
    const std::optional<QString>& token() const { return m_token; }
    const std::optional<User>& currentUser() const { return m_currentUser; }
    const SidebarItem& sidebarItem() const { return m_sidebarItem; }
    const QList<VexoTask>& tasks() const { return m_taskList.tasks(); }
    // The same tasks as a list model that announces every change row by row.
    const TaskList& taskList() const { return m_taskList; }
    bool isLoadingTasks() const { return m_isLoadingTasks; }
    DateFilter dateFilter() const { return m_dateFilter; }
    std::optional<TaskPriority> priorityFilter() const { return m_priorityFilter; }
    std::optional<qint64> selectedFolderId() const { return m_selectedFolderId; }
    const std::optional<VexoTask>& selectedTask() const { return m_selectedTask; }
    const QList<Folder>& folders() const { return m_folders; }
    const UserSettings& userSettings() const { return m_userSettings; }
    const std::optional<QString>& toastMessage() const { return m_toastMessage; }
    bool showCreateTask() const { return m_showCreateTask; }
    bool showEditTask() const { return m_showEditTask; }
    const std::optional<VexoTask>& editingTask() const { return m_editingTask; }
    bool showSettings() const { return m_showSettings; }
    bool showApiKey() const { return m_showApiKey; }
    bool showAdmin() const { return m_showAdmin; }
    bool showNewFolder() const { return m_showNewFolder; }
    bool showEditFolder() const { return m_showEditFolder; }
    const std::optional<Folder>& editingFolder() const { return m_editingFolder; }
    const std::optional<UserStats>& statsData() const { return m_statsData; }
    const QString& statsRange() const { return m_statsRange; }
    const std::optional<QString>& apiKeyValue() const { return m_apiKeyValue; }

    void setDateFilter(DateFilter filter);
    void setPriorityFilter(std::optional<TaskPriority> filter);
    void setSelectedTask(std::optional<VexoTask> task);
    void setUserSettings(UserSettings settings);
    // An equal text is stored without notifying, so a repeated message does not restart the toast.
    void showToast(std::optional<QString> text);
    void setShowCreateTask(bool show);
    void setShowEditTask(bool show);
    void setEditingTask(std::optional<VexoTask> task);
    void setShowSettings(bool show);
    void setShowApiKey(bool show);
    void setShowAdmin(bool show);
    void setShowNewFolder(bool show);
    void setShowEditFolder(bool show);
    void setEditingFolder(std::optional<Folder> folder);
    void setStatsRange(QString range);

    // What the task list shows, and its counters; computed from the current tasks, filters and clock.
    QList<VexoTask> filteredTasks() const;
    QList<qsizetype> filteredIndexes() const;
    TaskFiltering::Counts counts() const;
    qsizetype totalCount() const { return counts().total; }
    qsizetype pendingCount() const { return counts().pending; }
    qsizetype doneCount() const { return counts().done; }
    qsizetype overdueCount() const { return counts().overdue; }

    // Session. login throws the service's error and leaves everything untouched when it fails.
    QCoro::Task<void> login(QString key);
    void logout();

    void selectSidebarItem(SidebarItem item);
    QCoro::Task<void> loadTasks();
    QCoro::Task<void> createTask(QString title, TaskPriority priority, std::optional<QString> description,
                                 std::optional<QString> deadline);
    QCoro::Task<void> updateTask(qint64 id, TaskUpdate update);
    QCoro::Task<void> toggleTask(VexoTask task);
    QCoro::Task<void> archiveTask(qint64 id);
    QCoro::Task<void> deleteTask(qint64 id);
    QCoro::Task<void> sendToBot(qint64 id);

    QCoro::Task<void> loadAll();
    QCoro::Task<void> loadFolders();
    QCoro::Task<void> loadSettings();
    QCoro::Task<void> createFolder(QString name, QString color);
    QCoro::Task<void> updateFolder(qint64 id, QString name, QString color);
    QCoro::Task<void> deleteFolder(qint64 id);
    QCoro::Task<void> saveSettings();
    QCoro::Task<void> loadStats();
    QCoro::Task<void> loadApiKey();
    QCoro::Task<void> regenerateApiKey();

    // The text shown for a failure: the service's description, or the transport's own.
    static QString describe(std::exception_ptr error);

    // How a background refresh ended.
    enum class BackgroundRefresh {
        changed,    // the service's lists differed, and the difference is applied
        unchanged,  // the service's lists are what is shown
        superseded, // a newer load started while it waited: its answer is dropped
        overtaken,  // an operation's answer changed the lists while it waited: its answer is dropped
        failed,     // a request failed; nothing is reported, what did arrive is applied
        skipped,    // nobody is signed in
    };
    // Reloads the current task list and the folders as loadTasks and loadFolders would, with
    // conditional reads, and applies only what changed: rows inserted, removed or replaced, never a
    // reset, and nothing at all when nothing changed. No loading flag, no toast, no sheet is touched.
    // The selected task follows its new version; one that vanished from the list stays shown. While
    // the sidebar stays on a folder that was deleted, the task list is left as it is.
    QCoro::Task<BackgroundRefresh> refreshInBackground();

Q_SIGNALS:
    void isLoggedInChanged();
    void tokenChanged();
    void currentUserChanged();
    void sidebarItemChanged();
    // After every change of tasks; taskList() has told its rows by then.
    void tasksChanged();
    void isLoadingTasksChanged();
    void dateFilterChanged();
    void priorityFilterChanged();
    void selectedFolderIdChanged();
    void selectedTaskChanged();
    void foldersChanged();
    void userSettingsChanged();
    void toastMessageChanged();
    void showCreateTaskChanged();
    void showEditTaskChanged();
    void editingTaskChanged();
    void showSettingsChanged();
    void showApiKeyChanged();
    void showAdminChanged();
    void showNewFolderChanged();
    void showEditFolderChanged();
    void editingFolderChanged();
    void statsDataChanged();
    void statsRangeChanged();
    void apiKeyValueChanged();
    // The current task list came from the service: a load or a background refresh succeeded.
    void tasksLoaded();

private:
    template <class T, class Signal> void assign(T& member, T value, Signal signal) {
        if (member == value)
            return;
        member = std::move(value);
        Q_EMIT(this->*signal)();
    }

    void restoreSession();
    void saveSession(const QString& token, const User& user);
    void setTasks(TaskList::Rows rows);
    // What the list keeps of each task, worked out on a worker thread for a long list.
    QCoro::Task<TaskList::Rows> prepareRows(QList<VexoTask> tasks) const;
    void replaceTask(const VexoTask& task);
    void removeTasks(qint64 id);
    void setLoadingTasks(bool loading);
    // Answers of background refreshes under way are older than what follows.
    void supersedeBackground() { ++m_loads; }
    void overtakeBackground() { ++m_edits; }

    const APIService& m_api;
    KeyValueStore& m_store;
    const Clock& m_clock;

    bool m_isLoggedIn = false;
    std::optional<QString> m_token;
    std::optional<User> m_currentUser;
    SidebarItem m_sidebarItem = SidebarItem::allTasks();
    TaskList m_taskList;
    bool m_isLoadingTasks = false;
    DateFilter m_dateFilter = DateFilter::all;
    std::optional<TaskPriority> m_priorityFilter;
    std::optional<qint64> m_selectedFolderId;
    std::optional<VexoTask> m_selectedTask;
    QList<Folder> m_folders;
    UserSettings m_userSettings;
    std::optional<QString> m_toastMessage;
    bool m_showCreateTask = false;
    bool m_showEditTask = false;
    std::optional<VexoTask> m_editingTask;
    bool m_showSettings = false;
    bool m_showApiKey = false;
    bool m_showAdmin = false;
    bool m_showNewFolder = false;
    bool m_showEditFolder = false;
    std::optional<Folder> m_editingFolder;
    std::optional<UserStats> m_statsData;
    QString m_statsRange = QStringLiteral("week");
    std::optional<QString> m_apiKeyValue;

    // Counters a background refresh compares before it applies its answer: loads of any kind
    // started, and changes applied from operations' answers.
    quint64 m_loads = 0;
    quint64 m_edits = 0;
    // Answers to task list reads numbered as they arrive, and the number of the last one applied:
    // an answer still being decoded when a later one is applied is dropped, so the answer that
    // arrived last is what stays, however long each took to decode.
    quint64 m_taskAnswers = 0;
    quint64 m_appliedTaskAnswer = 0;
    // What the service last sent for the task query and the folders, with its tag: a "not
    // modified" answer means exactly this.
    struct TaggedTasks {
        QString query;
        QByteArray etag;
        QList<VexoTask> tasks;
    };
    struct TaggedFolders {
        QByteArray etag;
        QList<Folder> folders;
    };
    TaggedTasks m_taggedTasks;
    TaggedFolders m_taggedFolders;
};
