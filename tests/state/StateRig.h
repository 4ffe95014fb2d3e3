#pragma once

#include "AppState.h"
#include "Await.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"

#include <QNetworkAccessManager>

#include <memory>

// An AppState against a scripted service, with a journal that notes, in the order they happened,
// every property notification (by property name) and every store write ("set vexo_token").
class StateRig final {
    ScriptedServer& m_server;

public:
    static QDateTime defaultNow() { return QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC); }

    explicit StateRig(ScriptedServer& server, bool signedIn = true)
        : m_server(server)
        , api(server.baseUrl(), network, store) {
        if (signedIn)
            store.setText(QStringLiteral("vexo_token"), QStringLiteral("t"));
        store.setJournal(&journal);
        restart();
    }
    StateRig(const StateRig&) = delete;
    StateRig& operator=(const StateRig&) = delete;
    ~StateRig() { api.abortPending(); }

    // A new AppState over the same store, as at the next launch.
    void restart() {
        state.reset();
        state = std::make_unique<AppState>(api, store, clock);
        journal.clear();
        record();
    }

    void answer(int status, const QByteArray& body) { m_server.enqueue(ScriptedReply::json(status, body)); }
    void answerLater(int status, const QByteArray& body, int delayMs) {
        ScriptedReply reply = ScriptedReply::json(status, body);
        reply.delayMs = delayMs;
        m_server.enqueue(reply);
    }

    void loadTasks(const QList<QByteArray>& tasks) {
        answer(200, R"({"tasks":[)" + tasks.join(',') + "]}");
        vexo::test::await(state->loadTasks());
    }
    void loadFolders(const QList<QByteArray>& folders) {
        answer(200, R"({"folders":[)" + folders.join(',') + "]}");
        vexo::test::await(state->loadFolders());
    }

    static QByteArray task(qint64 id, const char* status = "pending", const char* priority = "medium",
                           const QByteArray& extra = QByteArray()) {
        return R"({"id":)" + QByteArray::number(id) + R"(,"title":"t)" + QByteArray::number(id) + R"(","priority":")" +
               priority + R"(","status":")" + status + R"(","created_at":"2025-03-01")" +
               (extra.isEmpty() ? QByteArray() : "," + extra) + "}";
    }
    static QByteArray folder(qint64 id, const char* name = "F") {
        return R"({"id":)" + QByteArray::number(id) + R"(,"name":")" + name + R"(","color":"#FF6B6B"})";
    }
    static QByteArray wrapped(const char* key, const QByteArray& value) {
        return "{\"" + QByteArray(key) + "\":" + value + "}";
    }

    QList<qint64> taskIds() const {
        QList<qint64> ids;
        for (const VexoTask& each : state->tasks())
            ids << each.id;
        return ids;
    }
    QList<qint64> folderIds() const {
        QList<qint64> ids;
        for (const Folder& each : state->folders())
            ids << each.id;
        return ids;
    }

    QNetworkAccessManager network;
    MemoryStore store;
    FixedClock clock{defaultNow()};
    APIService api;
    std::unique_ptr<AppState> state;
    QStringList journal;

private:
    void record() {
        AppState* s = state.get();
        const auto note = [this, s](auto signal, const char* name) {
            QObject::connect(s, signal, s, [this, name] { journal.append(QString::fromLatin1(name)); });
        };
        note(&AppState::isLoggedInChanged, "isLoggedIn");
        note(&AppState::tokenChanged, "token");
        note(&AppState::currentUserChanged, "currentUser");
        note(&AppState::sidebarItemChanged, "sidebarItem");
        note(&AppState::tasksChanged, "tasks");
        note(&AppState::isLoadingTasksChanged, "isLoadingTasks");
        note(&AppState::dateFilterChanged, "dateFilter");
        note(&AppState::priorityFilterChanged, "priorityFilter");
        note(&AppState::selectedFolderIdChanged, "selectedFolderId");
        note(&AppState::selectedTaskChanged, "selectedTask");
        note(&AppState::foldersChanged, "folders");
        note(&AppState::userSettingsChanged, "userSettings");
        note(&AppState::toastMessageChanged, "toastMessage");
        note(&AppState::showCreateTaskChanged, "showCreateTask");
        note(&AppState::showEditTaskChanged, "showEditTask");
        note(&AppState::editingTaskChanged, "editingTask");
        note(&AppState::showSettingsChanged, "showSettings");
        note(&AppState::showApiKeyChanged, "showApiKey");
        note(&AppState::showAdminChanged, "showAdmin");
        note(&AppState::showNewFolderChanged, "showNewFolder");
        note(&AppState::showEditFolderChanged, "showEditFolder");
        note(&AppState::editingFolderChanged, "editingFolder");
        note(&AppState::statsDataChanged, "statsData");
        note(&AppState::statsRangeChanged, "statsRange");
        note(&AppState::apiKeyValueChanged, "apiKeyValue");
    }
};
