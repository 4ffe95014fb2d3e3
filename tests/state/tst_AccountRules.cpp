#include "StateRig.h"

#include <QElapsedTimer>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

const QByteArray statsJson(const char* range, int created) {
    return R"({"range":")" + QByteArray(range) + R"(","totals":{"created":)" + QByteArray::number(created) +
           R"(,"completed":0},"daily":{"created":[],"completed":[]},"priority":[]})";
}

} // namespace

// Folders, settings, statistics and the key: each rule on its own.
class tst_AccountRules final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }
    void init() {
        m_server.clearRequests();
        m_server.clearReplies();
        m_server.setDefaultReply(ScriptedReply::json(500, "{}"));
    }

    void loadAllWaitsForAllThree_data() {
        QTest::addColumn<int>("slow");
        QTest::newRow("tasks last") << 0;
        QTest::newRow("folders last") << 1;
        QTest::newRow("settings last") << 2;
    }

    // Three requests at once, in this order, and loadAll ends only when the slowest has landed.
    void loadAllWaitsForAllThree() {
        QFETCH(int, slow);
        StateRig rig(m_server);
        const QByteArray answers[] = {R"({"tasks":[)" + StateRig::task(1) + "]}",
                                      R"({"folders":[)" + StateRig::folder(2) + "]}", R"({"auto_send_bot":true})"};
        for (int i = 0; i < 3; ++i)
            rig.answerLater(200, answers[i], i == slow ? 400 : 0);
        QElapsedTimer clock;
        clock.start();
        await(rig.state->loadAll());
        QVERIFY(clock.elapsed() >= 380);
        QCOMPARE(m_server.requests().size(), 3);
        QCOMPARE(m_server.requests()[0].target, QByteArray("/api/tasks?archived=false"));
        QCOMPARE(m_server.requests()[1].target, QByteArray("/api/folders"));
        QCOMPARE(m_server.requests()[2].target, QByteArray("/api/user/settings"));
        QCOMPARE(rig.taskIds(), QList<qint64>{1});
        QCOMPARE(rig.folderIds(), QList<qint64>{2});
        QVERIFY(rig.state->userSettings().autoSendBot);
    }

    // Folders and statistics are not asked for while signed out; settings are.
    void signedOutGuards() {
        StateRig rig(m_server, false);
        await(rig.state->loadFolders());
        await(rig.state->loadStats());
        await(rig.state->loadTasks());
        QCOMPARE(m_server.requests().size(), 0);
        rig.answer(200, R"({"auto_send_bot":true})");
        await(rig.state->loadSettings());
        QCOMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/user/settings"));
        QVERIFY(rig.state->userSettings().autoSendBot);
    }

    void silentLoads() {
        StateRig rig(m_server);
        rig.loadFolders({StateRig::folder(3), StateRig::folder(1), StateRig::folder(2)});
        QCOMPARE(rig.folderIds(), (QList<qint64>{3, 1, 2}));
        rig.answer(200, R"({"auto_send_bot":true})");
        await(rig.state->loadSettings());
        rig.answer(200, R"({"api_key":"vexoapi-1"})");
        await(rig.state->loadApiKey());
        QCOMPARE(rig.state->apiKeyValue(), std::optional<QString>(u"vexoapi-1"_s));
        // and their failures change nothing
        rig.answer(500, R"({"error":"x"})");
        await(rig.state->loadFolders());
        rig.answer(500, R"({"error":"x"})");
        await(rig.state->loadSettings());
        rig.answer(500, R"({"error":"x"})");
        await(rig.state->loadApiKey());
        QCOMPARE(rig.folderIds(), (QList<qint64>{3, 1, 2}));
        QVERIFY(rig.state->userSettings().autoSendBot);
        QCOMPARE(rig.state->apiKeyValue(), std::optional<QString>(u"vexoapi-1"_s));
        QVERIFY(!rig.journal.contains(u"toastMessage"_s));
    }

    // Appended last, with several folders present, whatever order a full load would give.
    void createdFolderGoesLast() {
        StateRig rig(m_server);
        rig.loadFolders({StateRig::folder(5), StateRig::folder(9)});
        rig.answer(201, StateRig::wrapped("folder", StateRig::folder(1, "Дом")));
        await(rig.state->createFolder(u"Дом"_s, u"#4ECDC4"_s));
        QCOMPARE(m_server.lastRequest().jsonBody(), QJsonObject({{u"name"_s, u"Дом"_s}, {u"color"_s, u"#4ECDC4"_s}}));
        QCOMPARE(rig.folderIds(), (QList<qint64>{5, 9, 1}));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Папка создана"_s));
        rig.answer(400, R"({"error":"Имя занято"})");
        await(rig.state->createFolder(u"Дом"_s, u"#4ECDC4"_s));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Ошибка: Имя занято"_s));
        QCOMPARE(rig.folderIds(), (QList<qint64>{5, 9, 1}));
    }

    // Only the first folder with the id is replaced; none matching, nothing changes; no message.
    void updateReplacesOnlyTheMatch() {
        StateRig rig(m_server);
        rig.loadFolders(
            {StateRig::folder(5, "A"), StateRig::folder(6, "B"), StateRig::folder(7, "C"), StateRig::folder(6, "B2")});
        const QList<Folder> before = rig.state->folders();
        rig.answer(200, StateRig::wrapped("folder", StateRig::folder(6, "Новое")));
        await(rig.state->updateFolder(6, u"Новое"_s, u"#FF6B6B"_s));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/folders/6"));
        QCOMPARE(m_server.lastRequest().method, QByteArray("PUT"));
        QCOMPARE(rig.state->folders()[0], before[0]);
        QCOMPARE(rig.state->folders()[1].name, u"Новое"_s);
        QCOMPARE(rig.state->folders()[2], before[2]);
        QCOMPARE(rig.state->folders()[3], before[3]);
        // The folder with the id asked for takes the answer, whatever id the answer carries.
        rig.answer(200, StateRig::wrapped("folder", StateRig::folder(60, "Другая")));
        await(rig.state->updateFolder(6, u"Другая"_s, u"#FF6B6B"_s));
        QCOMPARE(rig.folderIds(), (QList<qint64>{5, 60, 7, 6}));
        const QList<Folder> updated = rig.state->folders();
        rig.answer(200, StateRig::wrapped("folder", StateRig::folder(8, "Чужая")));
        await(rig.state->updateFolder(8, u"Чужая"_s, u"#FF6B6B"_s));
        QCOMPARE(rig.state->folders(), updated);
        QVERIFY(!rig.journal.contains(u"toastMessage"_s));
        rig.answer(500, R"({"error":"x"})");
        await(rig.state->updateFolder(6, u"x"_s, u"#FF6B6B"_s));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Ошибка обновления папки"_s));
        QCOMPARE(rig.state->folders(), updated);
    }

    void deleteFolder_data() {
        QTest::addColumn<bool>("selected");
        QTest::newRow("the selected folder") << true;
        QTest::newRow("another folder") << false;
    }

    // Every folder with the id goes; the selected folder is forgotten only if it was this one; the
    // sidebar and the shown tasks stay, and nothing is reloaded.
    void deleteFolder() {
        QFETCH(bool, selected);
        StateRig rig(m_server);
        rig.loadFolders({StateRig::folder(5), StateRig::folder(6), StateRig::folder(5, "dup")});
        rig.answer(200, R"({"tasks":[)" + StateRig::task(1) + "]}");
        rig.state->selectSidebarItem(SidebarItem::folder(selected ? 5 : 6));
        QTRY_VERIFY(!rig.state->isLoadingTasks());
        const int requestsBefore = int(m_server.requests().size());
        rig.journal.clear();
        rig.answer(200, R"({"success":true})");
        await(rig.state->deleteFolder(5));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/folders/5"));
        QCOMPARE(m_server.lastRequest().method, QByteArray("DELETE"));
        QCOMPARE(rig.folderIds(), QList<qint64>{6});
        QCOMPARE(rig.state->selectedFolderId(), selected ? std::nullopt : std::optional<qint64>(6));
        QCOMPARE(rig.state->sidebarItem(), SidebarItem::folder(selected ? 5 : 6));
        QCOMPARE(rig.taskIds(), QList<qint64>{1});
        QTest::qWait(100);
        QCOMPARE(m_server.requests().size(), requestsBefore + 1);
        QCOMPARE(rig.journal,
                 (QStringList{u"folders"_s}) + (selected ? QStringList{u"selectedFolderId"_s} : QStringList()));
        rig.answer(500, R"({"error":"x"})");
        await(rig.state->deleteFolder(6));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Ошибка удаления папки"_s));
        QCOMPARE(rig.folderIds(), QList<qint64>{6});
    }

    void saveSettings_data() {
        QTest::addColumn<bool>("local");
        QTest::addColumn<bool>("stored");
        QTest::newRow("service agrees") << true << true;
        QTest::newRow("service keeps it off") << true << false;
        QTest::newRow("service keeps it on") << false << true;
    }

    // The local value goes out; what the service stored comes back and wins; no message.
    void saveSettings() {
        QFETCH(bool, local);
        QFETCH(bool, stored);
        StateRig rig(m_server);
        rig.state->setUserSettings(UserSettings{local});
        rig.answer(200, stored ? R"({"auto_send_bot":true})" : R"({"auto_send_bot":false})");
        await(rig.state->saveSettings());
        QCOMPARE(m_server.lastRequest().method, QByteArray("PUT"));
        QCOMPARE(m_server.lastRequest().jsonBody(), QJsonObject({{u"auto_send_bot"_s, local}}));
        QCOMPARE(rig.state->userSettings().autoSendBot, stored);
        QVERIFY(!rig.state->toastMessage());
    }

    void failedSaveKeepsTheSwitch() {
        StateRig rig(m_server);
        rig.state->setUserSettings(UserSettings{true});
        rig.answer(500, R"({"error":"x"})");
        await(rig.state->saveSettings());
        QVERIFY(rig.state->userSettings().autoSendBot);
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Ошибка сохранения настроек"_s));
    }

    void statistics() {
        StateRig rig(m_server);
        rig.state->setStatsRange(u"month"_s);
        rig.answer(200, statsJson("month", 4));
        await(rig.state->loadStats());
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/user/stats?range=month"));
        QVERIFY(rig.state->statsData().has_value());
        QCOMPARE(rig.state->statsData()->totals.created, 4);
        QVERIFY(!rig.state->toastMessage());
        rig.answer(500, R"({"error":"x"})");
        await(rig.state->loadStats());
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Ошибка загрузки статистики"_s));
        QVERIFY(rig.state->statsData().has_value());
        QCOMPARE(rig.state->statsData()->totals.created, 4);
    }

    void apiKey() {
        StateRig rig(m_server);
        rig.answer(200, R"({"api_key":"vexoapi-OLD"})");
        await(rig.state->loadApiKey());
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/user/apikey"));
        QVERIFY(!rig.state->toastMessage());
        rig.answer(200, R"({"api_key":"vexoapi-NEW"})");
        await(rig.state->regenerateApiKey());
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/user/apikey/regenerate"));
        QCOMPARE(m_server.lastRequest().method, QByteArray("POST"));
        QCOMPARE(rig.state->apiKeyValue(), std::optional<QString>(u"vexoapi-NEW"_s));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"API ключ обновлён"_s));
        rig.answer(500, R"({"error":"x"})");
        await(rig.state->regenerateApiKey());
        QCOMPARE(rig.state->apiKeyValue(), std::optional<QString>(u"vexoapi-NEW"_s));
        QCOMPARE(rig.state->toastMessage(), std::optional<QString>(u"Ошибка обновления ключа"_s));
    }
};

QTEST_GUILESS_MAIN(tst_AccountRules)
#include "tst_AccountRules.moc"
