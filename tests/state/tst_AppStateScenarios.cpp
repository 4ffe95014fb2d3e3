#include "APIError.h"
#include "AppState.h"
#include "Await.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "SettingsStore.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

// A day with the application state against the real local service: given / when / then.
class tst_AppStateScenarios final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    QNetworkAccessManager m_network;
    QTemporaryDir m_config;
    std::unique_ptr<SettingsStore> m_store;
    std::unique_ptr<APIService> m_api;
    std::unique_ptr<AppState> m_state;

    void startApp() { m_state = std::make_unique<AppState>(*m_api, *m_store, m_service->clock()); }

    // The waits of detached work (selectSidebarItem) end when the load lands.
    void waitForLoad() { QTRY_VERIFY_WITH_TIMEOUT(!m_state->isLoadingTasks(), 5000); }

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_store = std::make_unique<SettingsStore>(m_config.filePath(u"vexo-tasks.conf"_s));
        m_store->remove(u"vexo_token"_s);
        m_store->remove(u"vexo_user"_s);
        m_api = std::make_unique<APIService>(m_service->baseUrl(), m_network, *m_store);
        startApp();
    }

    void cleanup() { m_state.reset(); }

    void signInLoadsEverythingAndSavesTheSession() {
        // given a user known to the service, with a folder and a task
        const QString key = m_service->addUser(u"77"_s, false, u"Ольга"_s);
        {
            MemoryStore other;
            APIService direct(m_service->baseUrl(), m_network, other);
            other.setText(u"vexo_token"_s, await(direct.verifyKey(key)).token);
            await(direct.createFolder(u"Работа"_s, u"#FF6B6B"_s));
            await(direct.createTask(u"Первая"_s, TaskPriority::high, {}, {}));
            await(direct.updateSettings(true));
        }
        QVERIFY(!m_state->isLoggedIn());

        // when signing in with the key
        QSignalSpy loggedIn(m_state.get(), &AppState::isLoggedInChanged);
        await(m_state->login(key));

        // then the session is installed, saved and loaded
        QCOMPARE(loggedIn.count(), 1);
        QVERIFY(m_state->isLoggedIn());
        QCOMPARE(m_state->currentUser()->displayName(), u"Ольга"_s);
        QCOMPARE(m_store->text(u"vexo_token"_s), m_state->token());
        QVERIFY(m_store->data(u"vexo_user"_s).has_value());
        QCOMPARE(m_state->tasks().size(), 1);
        QCOMPARE(m_state->folders().size(), 1);
        QCOMPARE(m_state->userSettings().autoSendBot, true);
        // the settings file holds a secret now
        QCOMPARE(QFileInfo(m_store->fileName()).permissions() & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());

        // and a restart with the same store is signed in, with the user, before any request
        startApp();
        QVERIFY(m_state->isLoggedIn());
        QCOMPARE(m_state->currentUser()->firstName, std::optional<QString>(u"Ольга"_s));
        QVERIFY(m_state->tasks().isEmpty());
        await(m_state->loadAll());
        QCOMPARE(m_state->tasks().size(), 1);
    }

    void aDayOfTaskWork() {
        await(m_state->login(m_service->addUser(u"1"_s)));
        // creating puts the task first with its toast
        await(m_state->createTask(u"Купить молоко"_s, TaskPriority::low, {}, {}));
        await(
            m_state->createTask(u"Отчёт"_s, TaskPriority::high, u"<p>к пятнице</p>"_s, u"2025-03-07T15:00:00.000Z"_s));
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(u"Задача создана"_s));
        QCOMPARE(m_state->tasks().size(), 2);
        const VexoTask report = m_state->tasks().first();
        QCOMPARE(report.title, u"Отчёт"_s);
        m_state->setSelectedTask(report);

        // editing replaces both the list element and the selected task
        await(m_state->updateTask(report.id, TaskUpdate{u"Квартальный отчёт"_s, {}, u""_s, {}, {}, {}}));
        QCOMPARE(m_state->tasks().first().title, u"Квартальный отчёт"_s);
        QVERIFY(!m_state->tasks().first().deadline);
        QCOMPARE(m_state->selectedTask()->title, u"Квартальный отчёт"_s);

        // toggling to done toasts; back to pending does not
        m_state->showToast(std::nullopt);
        await(m_state->toggleTask(m_state->tasks().first()));
        QCOMPARE(m_state->tasks().first().status, TaskStatus::done);
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(u"Задача выполнена ✓"_s));
        m_state->showToast(std::nullopt);
        await(m_state->toggleTask(m_state->tasks().first()));
        QCOMPARE(m_state->tasks().first().status, TaskStatus::pending);
        QCOMPARE(m_state->toastMessage(), std::nullopt);

        // sending marks the list element only
        await(m_state->sendToBot(report.id));
        QVERIFY(m_state->tasks().first().isSentToBot());
        QVERIFY(!m_state->selectedTask()->isSentToBot());
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(u"Отправлено в Telegram"_s));

        // archiving removes it from the list and the detail pane
        await(m_state->archiveTask(report.id));
        QCOMPARE(m_state->tasks().size(), 1);
        QVERIFY(!m_state->selectedTask());
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(u"Задача архивирована"_s));
        m_state->selectSidebarItem(SidebarItem::archived());
        waitForLoad();
        QCOMPARE(m_state->tasks().size(), 1);
        QCOMPARE(m_state->tasks().first().id, report.id);

        // deleting from the archive
        await(m_state->deleteTask(report.id));
        QVERIFY(m_state->tasks().isEmpty());
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(u"Задача удалена"_s));
    }

    void foldersSelectionAndDeletion() {
        await(m_state->login(m_service->addUser(u"1"_s)));
        await(m_state->createFolder(u"Дом"_s, u"#4ECDC4"_s));
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(u"Папка создана"_s));
        const Folder home = m_state->folders().last();
        await(m_state->createTask(u"В папку"_s, TaskPriority::medium, {}, {}));
        await(m_state->updateTask(m_state->tasks().first().id, TaskUpdate{{}, {}, {}, {}, {}, home.id}));
        await(m_state->createTask(u"Вне папки"_s, TaskPriority::medium, {}, {}));

        m_state->setDateFilter(DateFilter::today);
        m_state->selectSidebarItem(SidebarItem::folder(home.id));
        QCOMPARE(m_state->dateFilter(), DateFilter::all);
        QCOMPARE(m_state->selectedFolderId(), std::optional<qint64>(home.id));
        waitForLoad();
        QCOMPARE(m_state->tasks().size(), 1);

        await(m_state->updateFolder(home.id, u"Квартира"_s, u"#A78BFA"_s));
        QCOMPARE(m_state->folders().last().name, u"Квартира"_s);

        // deleting the selected folder keeps the sidebar item and the shown list
        await(m_state->deleteFolder(home.id));
        QVERIFY(m_state->folders().isEmpty());
        QVERIFY(!m_state->selectedFolderId());
        QCOMPARE(m_state->sidebarItem(), SidebarItem::folder(home.id));
        QCOMPARE(m_state->tasks().size(), 1);
        await(m_state->loadTasks());
        QCOMPARE(m_state->tasks().size(), 2);
    }

    void settingsStatisticsAndKey() {
        await(m_state->login(m_service->addUser(u"1"_s)));
        m_state->setUserSettings(UserSettings{true});
        await(m_state->saveSettings());
        QCOMPARE(m_state->userSettings().autoSendBot, true);
        await(m_state->createTask(u"Авто"_s, TaskPriority::medium, {}, {}));
        QVERIFY(m_state->tasks().first().isSentToBot());

        m_state->setStatsRange(u"month"_s);
        await(m_state->loadStats());
        QCOMPARE(m_state->statsData()->range, u"month"_s);
        QCOMPARE(m_state->statsData()->totals.created, 1);

        await(m_state->loadApiKey());
        const QString first = *m_state->apiKeyValue();
        await(m_state->regenerateApiKey());
        QVERIFY(*m_state->apiKeyValue() != first);
        QCOMPARE(m_state->toastMessage(), std::optional<QString>(u"API ключ обновлён"_s));
    }

    void adminDataThroughTheSharedClient() {
        await(m_state->login(m_service->addUser(u"1"_s, true, u"Анна"_s)));
        QCOMPARE(m_state->currentUser()->isAdmin, std::optional<bool>(true));
        const AdminStats stats = await(m_state->api().fetchAdminStats());
        QCOMPARE(stats.totalUsers, 1);
        QCOMPARE(await(m_state->api().fetchAdminUsers()).users.first().displayName(), u"Анна"_s);
    }

    void logoutKeepsFiltersAndForgetsTheSession() {
        await(m_state->login(m_service->addUser(u"1"_s)));
        await(m_state->createTask(u"t"_s, TaskPriority::medium, {}, {}));
        m_state->selectSidebarItem(SidebarItem::done());
        waitForLoad();
        m_state->setDateFilter(DateFilter::week);
        m_state->setPriorityFilter(TaskPriority::high);
        m_state->setStatsRange(u"month"_s);

        m_state->logout();
        QVERIFY(!m_state->isLoggedIn());
        QVERIFY(!m_state->token());
        QVERIFY(!m_state->currentUser());
        QVERIFY(m_state->tasks().isEmpty());
        QCOMPARE(m_state->sidebarItem(), SidebarItem::allTasks());
        QCOMPARE(m_state->dateFilter(), DateFilter::week);
        QCOMPARE(m_state->priorityFilter(), std::optional<TaskPriority>(TaskPriority::high));
        QCOMPARE(m_state->statsRange(), u"month"_s);
        QVERIFY(!m_store->text(u"vexo_token"_s));
        QVERIFY(!m_store->data(u"vexo_user"_s));

        // loads while logged out send nothing
        await(m_state->loadTasks());
        await(m_state->loadStats());
        QVERIFY(!m_state->isLoadingTasks());
        QVERIFY(m_state->tasks().isEmpty());
    }

    void failedLoginWritesNothing() {
        try {
            await(m_state->login(u"vexo-tasks-nobody"_s));
            QFAIL("a wrong key signed in");
        } catch (const APIError& error) {
            QCOMPARE(error.statusCode(), 401);
        }
        QVERIFY(!m_state->isLoggedIn());
        QVERIFY(!m_store->text(u"vexo_token"_s));
        QVERIFY(!m_store->data(u"vexo_user"_s));
    }
};

QTEST_GUILESS_MAIN(tst_AppStateScenarios)
#include "tst_AppStateScenarios.moc"
