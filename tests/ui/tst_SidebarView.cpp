#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "JsonWriter.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "SidebarView.h"
#include "Theme.h"
#include "WidgetTest.h"

#include <QBuffer>
#include <QLabel>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QPushButton>

using namespace Qt::StringLiterals;
using vexo::test::await;

// The sidebar against the local service: navigation drives the loads, folders and their menu,
// the account items, the user block.
class tst_SidebarView final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<SidebarView> m_sidebar;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};

    void start(bool admin) {
        m_service = std::make_unique<LocalService>();
        m_client = std::make_unique<ClientRig>(m_service->baseUrl(), m_service->clock());
        m_theme = std::make_unique<Theme>(m_client->store);
        m_sidebar = std::make_unique<SidebarView>(m_client->state, *m_theme);
        m_sidebar->resize(260, 700);
        m_sidebar->show();
        await(m_client->state.login(m_service->addUser(u"5"_s, admin, u"Мария"_s)));
    }

private Q_SLOTS:
    void cleanup() {
        m_sidebar.reset();
        m_client.reset();
    }

    void navigationLoadsTheList() {
        start(false);
        await(m_client->state.createTask(u"Сделать"_s, TaskPriority::medium, {}, {}));
        QPushButton* done = m_sidebar->itemButton(u"Выполненные"_s);
        QVERIFY(done);
        QTest::mouseClick(done, Qt::LeftButton);
        QCOMPARE(m_client->state.sidebarItem(), SidebarItem::done());
        QVERIFY(done->isChecked());
        QVERIFY(!m_sidebar->itemButton(u"Все задачи"_s)->isChecked());
        QTRY_VERIFY(!m_client->state.isLoadingTasks());
        QVERIFY(m_client->state.tasks().isEmpty());
        QTest::mouseClick(m_sidebar->itemButton(u"Активные"_s), Qt::LeftButton);
        QTRY_COMPARE(m_client->state.tasks().size(), 1);
    }

    void accountItemsAndAdmin() {
        start(false);
        QVERIFY(m_sidebar->itemButton(u"Админ"_s)->isHidden());
        QTest::mouseClick(m_sidebar->itemButton(u"Настройки"_s), Qt::LeftButton);
        QVERIFY(m_client->state.showSettings());
        QTest::mouseClick(m_sidebar->itemButton(u"API ключ"_s), Qt::LeftButton);
        QVERIFY(m_client->state.showApiKey());
        QCOMPARE(m_sidebar->userName(), u"Мария"_s);
        QVERIFY(!m_sidebar->hasAvatar());
        QCOMPARE(m_sidebar->newFolderButton()->accessibleName(), u"Новая папка"_s);
        QTest::mouseClick(m_sidebar->newFolderButton(), Qt::LeftButton);
        QVERIFY(m_client->state.showNewFolder());

        m_client->state.logout();
        start(true);
        QVERIFY(!m_sidebar->itemButton(u"Админ"_s)->isHidden());
    }

    void foldersTheirMenuAndLogout() {
        start(false);
        QCOMPARE(m_sidebar->folderButtons().size(), 0);
        await(m_client->state.createFolder(u"Дом"_s, u"#4ECDC4"_s));
        await(m_client->state.createFolder(u"Работа"_s, u"#FF6B6B"_s));
        QCOMPARE(m_sidebar->folderButtons().size(), 2);
        QCOMPARE(m_sidebar->folderButtons()[0]->text(), u"Дом"_s);

        QTest::mouseClick(m_sidebar->folderButtons()[1], Qt::LeftButton);
        QCOMPARE(m_client->state.sidebarItem(), SidebarItem::folder(m_client->state.folders()[1].id));
        QCOMPARE(m_client->state.selectedFolderId(), std::optional<qint64>(m_client->state.folders()[1].id));

        QMenu* menu = m_sidebar->folderMenu(m_client->state.folders()[1], m_sidebar.get());
        QCOMPARE(menu->actions().size(), 2);
        QCOMPARE(menu->actions()[0]->text(), u"Редактировать"_s);
        menu->actions()[0]->trigger();
        QVERIFY(m_client->state.showEditFolder());
        QCOMPARE(m_client->state.editingFolder()->name, u"Работа"_s);
        menu->actions()[1]->trigger();
        QTRY_COMPARE(m_sidebar->folderButtons().size(), 1);
        QVERIFY(!m_client->state.selectedFolderId());

        QTest::mouseClick(m_sidebar->logoutButton(), Qt::LeftButton);
        QVERIFY(!m_client->state.isLoggedIn());
    }

    // The section headers read exactly as written, in their own case.
    void sectionHeaders() {
        start(true);
        const QStringList words{u"задачи"_s, u"папки"_s, u"прочее"_s};
        QStringList headers;
        for (QLabel* label : m_sidebar->findChildren<QLabel*>()) {
            if (label->isVisible() && words.contains(label->text().toLower()))
                headers << label->text();
        }
        QCOMPARE(headers, (QStringList{u"Задачи"_s, u"Папки"_s, u"Прочее"_s}));
    }

    // The avatar comes through the service client, from the avatar address.
    void avatarThroughTheServiceClient() {
        ScriptedServer scripted;
        QVERIFY(scripted.listen());
        ClientRig client(scripted.baseUrl(), m_clock);
        Theme theme(client.store);
        SidebarView sidebar(client.state, theme);
        sidebar.show();
        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(Qt::red);
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        scripted.setReplyFor("/api/auth/verify",
                             ScriptedReply::json(200, R"({"success":true,"token":"t","user":{"id":1,"telegram_id":"5",)"
                                                      R"("first_name":"Мария","avatar_url":"a b.png"}})"));
        scripted.setReplyFor("/api/user/avatar/", ScriptedReply::raw(200, "image/png", png));
        await(client.state.login(u"key"_s));
        QTRY_VERIFY(sidebar.hasAvatar());
        QList<RecordedRequest> pictures;
        for (const RecordedRequest& request : scripted.requests()) {
            if (request.target.startsWith("/api/user/avatar/"))
                pictures << request;
        }
        QCOMPARE(pictures.size(), 1);
        QCOMPARE(pictures.first().target, client.api.avatarURL(u"a b.png"_s).path(QUrl::FullyEncoded).toUtf8());
    }

    void avatarArrivesAsynchronously() {
        start(false);
        QVERIFY(!m_sidebar->hasAvatar());
        // The service keeps avatars by name; give this user one and sign in again.
        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(Qt::red);
        const QString name = u"avatar-test.png"_s;
        QVERIFY(image.save(m_service->dataDir() + u"/avatars/"_s + name));
        m_service->storage().setAvatar(m_service->userId(u"5"_s), name);
        m_client->state.logout();
        await(m_client->state.login(m_service->addUser(u"6"_s)));
        m_service->storage().setAvatar(m_service->userId(u"6"_s), name);
        m_client->state.logout();
        const QString key = m_service->addUser(u"7"_s);
        m_service->storage().setAvatar(m_service->userId(u"7"_s), name);
        await(m_client->state.login(key));
        QTRY_VERIFY(m_sidebar->hasAvatar());
    }
};

VEXO_WIDGET_TEST_MAIN(tst_SidebarView)
#include "tst_SidebarView.moc"
