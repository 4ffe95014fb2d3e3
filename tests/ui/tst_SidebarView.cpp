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

#include <QAccessible>
#include <QBuffer>
#include <QLabel>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>

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

    // A long name is cut with "…" and shown whole as a tooltip; the column neither widens nor
    // scrolls sideways, and "+" stays in sight beside "Папки".
    void longFolderNamesAreCut() {
        start(false);
        const QString longName = u"Очень длинное название папки, которое никак не поместится в боковую колонку"_s;
        await(m_client->state.createFolder(longName, u"#4ECDC4"_s));
        await(m_client->state.createFolder(u"Дом"_s, u"#FF6B6B"_s));
        QTRY_COMPARE(m_sidebar->folderButtons().size(), 2);
        QCoreApplication::processEvents();
        QPushButton* cut = m_sidebar->folderButtons()[0];
        QVERIFY2(cut->text().endsWith(u'…'), qPrintable(cut->text()));
        QVERIFY(longName.startsWith(cut->text().chopped(1)));
        QCOMPARE(cut->toolTip(), longName);
        QCOMPARE(cut->accessibleName(), u"Папка "_s + longName);
        QCOMPARE(m_sidebar->folderButtons()[1]->text(), u"Дом"_s);
        QCOMPARE(m_sidebar->folderButtons()[1]->toolTip(), QString());

        QScrollArea* scroll = m_sidebar->findChild<QScrollArea*>();
        QCOMPARE(scroll->horizontalScrollBar()->maximum(), 0);
        QVERIFY(scroll->widget()->width() <= scroll->viewport()->width());
        QVERIFY(cut->geometry().right() < scroll->viewport()->width());
        QPushButton* plus = m_sidebar->newFolderButton();
        QVERIFY(plus->isVisible());
        const QRect plusInSidebar(plus->mapTo(m_sidebar.get(), QPoint()), plus->size());
        QVERIFY(m_sidebar->rect().contains(plusInSidebar));
        QTest::mouseClick(plus, Qt::LeftButton);
        QVERIFY(m_client->state.showNewFolder());

        // A narrower window cuts more, a wider one less; the name is never lost.
        m_sidebar->resize(400, 700);
        QTRY_COMPARE(cut->text(), longName.left(cut->text().size() - 1) + u'…');
        const qsizetype wide = cut->text().size();
        m_sidebar->resize(230, 700);
        QTRY_VERIFY(cut->text().size() < wide);
        QVERIFY(m_sidebar->rect().contains(QRect(plus->mapTo(m_sidebar.get(), QPoint()), plus->size())));
    }

    // Two hundred folders scroll up and down, and the last one can be reached.
    void manyFoldersScrollVertically() {
        start(false);
        QByteArray json = "{\"folders\":[";
        for (int id = 1; id <= 200; ++id)
            json += QByteArray(id > 1 ? "," : "") + "{\"id\":" + QByteArray::number(id) + ",\"name\":\"Папка номер " +
                    QByteArray::number(id) + "\",\"color\":\"#4ECDC4\"}";
        json += "]}";
        ScriptedServer scripted;
        QVERIFY(scripted.listen());
        scripted.enqueue(ScriptedReply::json(200, json));
        ClientRig client(scripted.baseUrl(), m_clock, u"t"_s);
        Theme theme(client.store);
        SidebarView sidebar(client.state, theme);
        sidebar.resize(260, 600);
        sidebar.show();
        await(client.state.loadFolders());
        QCOMPARE(sidebar.folderButtons().size(), 200);
        QScrollArea* scroll = sidebar.findChild<QScrollArea*>();
        QTRY_VERIFY(scroll->verticalScrollBar()->maximum() > 0);
        QCOMPARE(scroll->horizontalScrollBar()->maximum(), 0);
        QPushButton* last = sidebar.folderButtons().last();
        scroll->ensureWidgetVisible(last);
        QVERIFY(scroll->verticalScrollBar()->value() > 0);
        QVERIFY(!last->visibleRegion().isEmpty());
        QVERIFY(!sidebar.logoutButton()->visibleRegion().isEmpty()); // the user block stays below
    }

    // Places in the sidebar are page tabs, the chosen one selected, not check boxes.
    void placesArePageTabs() {
        start(false);
        await(m_client->state.createFolder(u"Дом"_s, u"#4ECDC4"_s));
        QTRY_COMPARE(m_sidebar->folderButtons().size(), 1);
        for (QPushButton* place : {m_sidebar->itemButton(u"Все задачи"_s), m_sidebar->itemButton(u"Архив"_s),
                                   m_sidebar->folderButtons().first()}) {
            QAccessibleInterface* told = QAccessible::queryAccessibleInterface(place);
            QCOMPARE(told->role(), QAccessible::PageTab);
            QCOMPARE(told->state().selected, place->isChecked());
        }
        QAccessibleInterface* home = QAccessible::queryAccessibleInterface(m_sidebar->folderButtons().first());
        QCOMPARE(home->text(QAccessible::Name), u"Папка Дом"_s);
        home->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(m_client->state.sidebarItem(), SidebarItem::folder(m_client->state.folders().first().id));
        QVERIFY(home->state().selected);
    }

    // Tab walks the column from top to bottom, folders in their place after "+".
    void tabWalksTopToBottom() {
        start(false);
        await(m_client->state.createFolder(u"Дом"_s, u"#4ECDC4"_s));
        await(m_client->state.createFolder(u"Работа"_s, u"#FF6B6B"_s));
        QTRY_COMPARE(m_sidebar->folderButtons().size(), 2);
        QTRY_VERIFY(m_sidebar->folderButtons().last()->isVisible()); // shown by the layout's next turn
        m_sidebar->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_sidebar.get()));
        m_sidebar->itemButton(u"Все задачи"_s)->setFocus(Qt::TabFocusReason);
        QStringList order;
        for (int i = 0; i < 12; ++i) {
            QWidget* focused = QApplication::focusWidget();
            order << (focused == m_sidebar->logoutButton() ? u"Выйти"_s : focused->accessibleName());
            QTest::keyClick(focused, Qt::Key_Tab);
        }
        QCOMPARE(order, (QStringList{u"Все задачи"_s, u"Активные"_s, u"Выполненные"_s, u"Архив"_s, u"Новая папка"_s,
                                     u"Папка Дом"_s, u"Папка Работа"_s, u"Статистика"_s, u"API ключ"_s, u"Настройки"_s,
                                     u"Выйти"_s, u"Все задачи"_s}));
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
