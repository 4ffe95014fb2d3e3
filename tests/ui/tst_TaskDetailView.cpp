#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "HTMLTextView.h"
#include "IconView.h"
#include "Icons.h"
#include "Lightbox.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "TaskDetailView.h"
#include "TaskRowDelegate.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImage>
#include <QListWidget>
#include <QNetworkAccessManager>
#include <QPushButton>

using namespace Qt::StringLiterals;
using vexo::test::await;

// The task page against the local service: metadata, actions, attachments and their pictures.
class tst_TaskDetailView final : public QObject {
    Q_OBJECT

private:
    // A page of its own against a scripted service, signed in with a token.
    struct Scripted {
        Scripted(Theme& theme, const Clock& clock)
            : api((server.listen(), server.baseUrl()), network, store)
            , state(api, store, clock)
            , view(state, theme) {
            store.setText(u"vexo_token"_s, u"t"_s);
            view.resize(700, 600);
            view.show();
        }
        ~Scripted() { api.abortPending(); }
        ScriptedServer server;
        QNetworkAccessManager network;
        MemoryStore store;
        APIService api;
        AppState state;
        TaskDetailView view;
    };

    static VexoTask task(qint64 id) {
        VexoTask task;
        task.id = id;
        task.title = u"Задача %1"_s.arg(id);
        task.createdAt = u"2025-03-01"_s;
        return task;
    }

    static QByteArray png() {
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(Qt::blue);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return bytes;
    }

    struct Listed {
        int id;
        const char* name;
        const char* type = "image/png";
    };
    static ScriptedReply attachmentList(const QList<Listed>& files) {
        QByteArrayList entries;
        for (const Listed& file : files)
            entries << "{\"id\":" + QByteArray::number(file.id) + ",\"filename\":\"" + file.name +
                           "\",\"mimetype\":\"" + file.type + "\",\"size\":3}";
        return ScriptedReply::json(200, "{\"attachments\":[" + entries.join(',') + "]}");
    }

    static QStringList targets(const ScriptedServer& server) {
        QStringList list;
        for (const RecordedRequest& request : server.requests())
            list << QString::fromLatin1(request.method + ' ' + request.target);
        return list;
    }

    std::unique_ptr<LocalService> m_service;
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<TaskDetailView> m_view;

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_client = std::make_unique<ClientRig>(m_service->baseUrl(), m_service->clock());
        m_theme = std::make_unique<Theme>(m_client->store);
        m_view = std::make_unique<TaskDetailView>(m_client->state, *m_theme);
        m_view->resize(900, 700);
        m_view->show();
        await(m_client->state.login(m_service->addUser(u"1"_s)));
    }

    void cleanup() {
        m_view.reset();
        m_client.reset();
    }

    void sourceLabels_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("label");
        QTest::newRow("bot") << u"bot"_s << u"Telegram бот"_s;
        QTest::newRow("api") << u"api"_s << u"API"_s;
        QTest::newRow("app") << u"app"_s << u"Веб"_s;
        QTest::newRow("upper-case API") << u"API"_s << u"Веб"_s;
        QTest::newRow("empty") << QString() << u"Веб"_s;
    }

    void sourceLabels() {
        QFETCH(QString, source);
        QFETCH(QString, label);
        QCOMPARE(TaskDetailView::sourceLabel(source), label);
    }

    void metadataBadgesAndActions() {
        await(m_client->state.createTask(u"Отчёт"_s, TaskPriority::high, u"<p>Свести <b>цифры</b></p>"_s,
                                         u"2025-03-05T10:00:00.000Z"_s));
        VexoTask task = m_client->state.tasks().first();
        m_view->showTask(task);
        QCOMPARE(m_view->titleText(), u"Отчёт"_s);
        QCOMPARE(m_view->badgeTexts(), QStringList{u"Высокий"_s});
        const QStringList rows = m_view->metadataRows();
        QCOMPARE(rows.size(), 5);
        QCOMPARE(rows[0], u"Приоритет: Высокий"_s);
        QCOMPARE(rows[1], u"Статус: Активная"_s);
        QVERIFY(rows[2].startsWith(u"Дедлайн: 5 мар. 2025"_s));
        QVERIFY(rows[3].startsWith(u"Создана: "_s));
        QCOMPARE(rows[4], u"Источник: Веб"_s);
        QCOMPARE(m_view->actionTexts(),
                 (QStringList{u"Отметить выполненной"_s, u"Редактировать"_s, u"Отправить в Telegram"_s,
                              u"Архивировать"_s, u"Удалить задачу"_s}));

        // Actions go through the state, and the page follows the state's copy.
        m_client->state.setSelectedTask(task);
        m_view->actionButton(u"Отметить выполненной"_s)->click();
        QTRY_COMPARE(m_view->metadataRows().value(1), u"Статус: Выполнено"_s);
        QVERIFY(m_view->metadataRows().join(u'|').contains(u"Выполнена: "_s));
        QCOMPARE(m_view->actionTexts().first(), u"Вернуть в активные"_s);
        m_view->actionButton(u"Отправить в Telegram"_s)->click();
        QTRY_VERIFY(m_view->badgeTexts().contains(u"В Telegram"_s));
        m_view->actionButton(u"Редактировать"_s)->click();
        QVERIFY(m_client->state.showEditTask());
        QCOMPARE(m_client->state.editingTask()->id, task.id);
        m_view->actionButton(u"Удалить задачу"_s)->click();
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача удалена"_s));
        QVERIFY(!m_client->state.selectedTask());
    }

    // "К задачам" is plain-styled: the chevron at 12 and the word at 13 pt medium, no outline.
    void backToTheListIsPlain() {
        m_theme->apply();
        m_view->showTask(task(1));
        VexoButton* back = m_view->backButton();
        QCOMPARE(back->text(), u"К задачам"_s);
        QCOMPARE(back->kind(), VexoButton::Kind::plain);
        QCOMPARE(back->font().pixelSize(), 13);
        QCOMPARE(back->font().weight(), QFont::Medium);
        QCOMPARE(back->iconSize(), QSize(12, 12));
        const QImage look = back->grab().toImage();
        // No outline: the edges show the same ground as the corner.
        QCOMPARE(look.pixelColor(0, look.height() / 2), look.pixelColor(0, 0));
        QCOMPARE(look.pixelColor(look.width() / 2, 0), look.pixelColor(0, 0));
        m_client->state.setSelectedTask(task(1));
        back->click();
        QVERIFY(!m_client->state.selectedTask());
    }

    void overdueRule_data() {
        QTest::addColumn<QString>("deadline");
        QTest::addColumn<bool>("overdue");
        QTest::newRow("a minute ago") << u"2025-03-05T11:59:00.000Z"_s << true;
        QTest::newRow("exactly now") << u"2025-03-05T12:00:00Z"_s << false;
        QTest::newRow("later today") << u"2025-03-05 18:00:00"_s << false;
        QTest::newRow("unreadable") << u"05.03.2025"_s << false;
        QTest::newRow("empty") << QString() << false;
    }

    void overdueRule() {
        QFETCH(QString, deadline);
        QFETCH(bool, overdue);
        const QDateTime now(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC);
        QCOMPARE(isOverdue(deadline.isNull() ? std::nullopt : std::optional<QString>(deadline), now), overdue);
    }

    void badgesFollowTheTask() {
        VexoTask task;
        task.id = 50;
        task.title = u"Из архива"_s;
        task.priority = TaskPriority::low;
        task.status = TaskStatus::done;
        task.createdAt = u"2025-03-01"_s;
        task.source = u"bot"_s;
        task.archived = 1;
        task.sentToBot = 0;
        task.deadline = u"2025-03-01T10:00:00Z"_s; // passed, but the task is done: no overdue look
        m_view->showTask(task);
        QCOMPARE(m_view->badgeTexts(), (QStringList{u"Низкий"_s, u"Из бота"_s, u"Архив"_s}));
        QCOMPARE(m_view->metadataRows().value(1), u"Статус: Выполнено"_s);
        QCOMPARE(m_view->metadataRows().last(), u"Источник: Telegram бот"_s);
        task.source = u"Bot"_s;
        task.sentToBot = 1;
        task.archived = 0;
        m_view->showTask(task);
        QCOMPARE(m_view->badgeTexts(), (QStringList{u"Низкий"_s, u"В Telegram"_s}));
    }

    void htmlFallsBackToPlainText() {
        HTMLTextView text(*m_theme);
        // A head-only document imports to nothing visible; its text still has something to say.
        text.setHtmlDescription(u"<html><head><title>Только заголовок</title></head></html>"_s);
        QVERIFY(!text.showsImport());
        QCOMPARE(text.toPlainText(), u"Только заголовок"_s);
        text.setHtmlDescription(u"<p>Два&nbsp;<b>слова</b></p>"_s);
        QVERIFY(text.showsImport());
        QCOMPARE(text.toPlainText(), u"Два слова"_s); // the document hands out plain spaces
    }

    void rowsOnlyWhenThereIsSomethingToShow() {
        VexoTask bare;
        bare.id = 99;
        bare.title = u"Голая"_s;
        bare.createdAt = u"2025-03-01 10:00:00"_s;
        m_view->showTask(bare);
        const QString rows = m_view->metadataRows().join(u'|');
        QVERIFY(!rows.contains(u"Дедлайн"_s));
        QVERIFY(!rows.contains(u"Выполнена"_s));
        QVERIFY(!rows.contains(u"Источник"_s));
    }

    // Attachments, their pictures and files, against a scripted service whose every request is kept.
    void fileRequestsStayWithTheirTask() {
        Scripted rig(*m_theme, m_service->clock());
        rig.server.setReplyFor("/api/tasks/1/attachments", attachmentList({{10, "a.png"}, {11, "b.png"}}));
        rig.server.setReplyFor("/api/tasks/2/attachments", attachmentList({{20, "c.png"}}));
        for (const QByteArray file : {"/api/tasks/1/attachments/10/file", "/api/tasks/1/attachments/11/file",
                                      "/api/tasks/2/attachments/20/file"})
            rig.server.setReplyFor(file, ScriptedReply::raw(200, "image/png", png()));
        rig.view.showTask(task(1));
        QTRY_COMPARE(rig.view.thumbnailsLoaded(), 2);
        QCOMPARE(targets(rig.server),
                 (QStringList{u"GET /api/tasks/1/attachments"_s, u"GET /api/tasks/1/attachments/10/file"_s,
                              u"GET /api/tasks/1/attachments/11/file"_s}));
        rig.server.clearRequests();

        // Another task: its own list and its own files, nothing of the last one under its id.
        rig.view.showTask(task(2));
        QVERIFY(rig.view.attachments().isEmpty());
        QTRY_COMPARE(rig.view.thumbnailsLoaded(), 3);
        QTest::qWait(100);
        QCOMPARE(targets(rig.server),
                 (QStringList{u"GET /api/tasks/2/attachments"_s, u"GET /api/tasks/2/attachments/20/file"_s}));
        // Files are kept to their owner: the session's token goes along to the service.
        for (const RecordedRequest& request : rig.server.requests()) {
            if (request.target.endsWith("/file"))
                QCOMPARE(request.header("Authorization"), QByteArray("Bearer t"));
        }
    }

    void theListReloadsEveryTimeThePageAppears() {
        Scripted rig(*m_theme, m_service->clock());
        rig.server.setReplyFor("/api/tasks/1/attachments", attachmentList({{10, "notes.txt", "text/plain"}}));
        rig.view.hide();
        rig.view.showTask(task(1));
        QTest::qWait(50);
        QVERIFY(rig.server.requests().isEmpty()); // not on screen: nothing to fetch yet
        rig.view.show();
        QTRY_COMPARE(rig.view.attachments().size(), 1);
        QCOMPARE(targets(rig.server), QStringList{u"GET /api/tasks/1/attachments"_s});

        // Back to the list and the same task opened again: fetched again, and shown.
        rig.view.hide();
        rig.server.setReplyFor("/api/tasks/1/attachments",
                               attachmentList({{10, "notes.txt", "text/plain"}, {12, "plan.txt", "text/plain"}}));
        rig.view.showTask(task(1));
        rig.view.show();
        QVERIFY(rig.view.isLoadingAttachments());
        QVERIFY(!rig.view.showsNoAttachments());
        QTRY_COMPARE(rig.view.attachments().size(), 2);
        QVERIFY(!rig.view.showsNoAttachments());
        QCOMPARE(targets(rig.server).size(), 2);

        // The same task handed in again while it is on screen (an edit, a toggle) fetches nothing.
        rig.view.showTask(task(1));
        QTest::qWait(50);
        QCOMPARE(targets(rig.server).size(), 2);
    }

    void aLateAnswerForAnotherTaskIsDropped() {
        Scripted rig(*m_theme, m_service->clock());
        ScriptedReply slow = attachmentList({{1, "old.txt", "text/plain"}});
        slow.delayMs = 300;
        rig.server.setReplyFor("/api/tasks/1/attachments", slow);
        rig.server.setReplyFor("/api/tasks/2/attachments", attachmentList({}));
        rig.view.showTask(task(1));
        rig.view.showTask(task(2));
        QTRY_VERIFY(!rig.view.isLoadingAttachments());
        QTest::qWait(400);
        QVERIFY(rig.view.attachments().isEmpty());
        QVERIFY(rig.view.showsNoAttachments());
    }

    void noAttachmentsShowsItsIcon() {
        Scripted rig(*m_theme, m_service->clock());
        rig.server.setReplyFor("/api/tasks/1/attachments", attachmentList({}));
        rig.view.showTask(task(1));
        QVERIFY(!rig.view.noAttachmentsIcon()->isVisible()); // not while loading
        QTRY_VERIFY(rig.view.showsNoAttachments());
        QVERIFY(rig.view.noAttachmentsIcon()->isVisible());
        QCOMPARE(rig.view.noAttachmentsIcon()->iconName(), u"photo.on.rectangle.angled"_s);
        QVERIFY(Icons::has(rig.view.noAttachmentsIcon()->iconName()));
    }

    void aPictureWhoseFileFailsIsAskedForOnce() {
        Scripted rig(*m_theme, m_service->clock());
        rig.server.setReplyFor("/api/tasks/1/attachments", attachmentList({{10, "a.png"}, {11, "broken.png"}}));
        rig.server.setReplyFor("/api/tasks/1/attachments/10/file", ScriptedReply::raw(200, "image/png", png()));
        rig.server.setReplyFor("/api/tasks/1/attachments/11/file", ScriptedReply::raw(200, "image/png", "not a png"));
        rig.view.showTask(task(1));
        QTRY_COMPARE(rig.view.thumbnailsLoaded(), 1);
        rig.view.hide();
        rig.view.show();
        QTRY_COMPARE(targets(rig.server).count(u"GET /api/tasks/1/attachments"_s), 2);
        QTest::qWait(200);
        QCOMPARE(targets(rig.server).count(u"GET /api/tasks/1/attachments/11/file"_s), 1);
        QCOMPARE(rig.view.thumbnails()->count(), 2);

        rig.server.setReplyFor("/api/tasks/1/attachments/10", ScriptedReply::json(200, R"({"success":true})"));
        rig.view.deleteAttachment(rig.view.attachments().first());
        QTRY_COMPARE(rig.view.attachments().size(), 1);
        QCOMPARE(rig.server.lastRequest().method, QByteArray("DELETE"));
        QCOMPARE(rig.server.lastRequest().target, QByteArray("/api/tasks/1/attachments/10"));
    }

    void theLightboxClosesAndSteps() {
        Scripted rig(*m_theme, m_service->clock());
        rig.view.resize(900, 700);
        rig.server.setReplyFor("/api/tasks/1/attachments",
                               attachmentList({{10, "a.png"}, {11, "notes.txt", "text/plain"}, {12, "b.png"}}));
        rig.server.setReplyFor("/api/tasks/1/attachments/1", ScriptedReply::raw(200, "image/png", png()));
        rig.view.showTask(task(1));
        QTRY_COMPARE(rig.view.thumbnailsLoaded(), 2);

        // A click on a thumbnail opens its picture; the arrow keys go through the pictures only.
        const QListWidget* list = rig.view.thumbnails();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(2)).center());
        QTRY_VERIFY(rig.view.lightbox());
        Lightbox* box = rig.view.lightbox();
        QVERIFY(box->isVisible());
        QCOMPARE(box->count(), 2);
        QCOMPARE(box->index(), 1);
        QCOMPARE(box->caption(), u"b.png — 2 / 2"_s);
        QTest::keyClick(box, Qt::Key_Left);
        QCOMPARE(box->index(), 0);
        QTest::keyClick(box, Qt::Key_Left);
        QCOMPARE(box->index(), 0);
        QTest::keyClick(box, Qt::Key_Right);
        QCOMPARE(box->index(), 1);

        // A visible close control, and a click beside the picture, each close it.
        QVERIFY(box->closeButton()->isVisible());
        QVERIFY(!box->closeButton()->icon().isNull());
        QTest::mouseClick(box->closeButton(), Qt::LeftButton);
        QTRY_VERIFY(!rig.view.lightbox());
        rig.view.openAttachment(0);
        QTRY_VERIFY(rig.view.lightbox());
        box = rig.view.lightbox();
        const QRectF picture = box->imageRect();
        QTest::mouseClick(box, Qt::LeftButton, {}, picture.center().toPoint());
        QVERIFY(rig.view.lightbox()); // on the picture itself nothing happens
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(int(picture.left()) - 10, int(picture.center().y())));
        QTRY_VERIFY(!rig.view.lightbox());
    }

    void aFileThatIsNoPictureOpensOnTheDesktop_data() {
        QTest::addColumn<QString>("filename");
        QTest::addColumn<QString>("savedAs");
        QTest::newRow("plain") << u"Смета.pdf"_s << u"Смета.pdf"_s;
        QTest::newRow("folders in the name") << u"../../etc/passwd"_s << u"passwd"_s;
        QTest::newRow("hidden") << u".bashrc"_s << u"bashrc"_s;
        QTest::newRow("nothing left") << u"/"_s << u"вложение"_s;
    }

    void aFileThatIsNoPictureOpensOnTheDesktop() {
        QFETCH(QString, filename);
        QFETCH(QString, savedAs);
        Scripted rig(*m_theme, m_service->clock());
        QStringList opened;
        rig.view.setFileOpener([&](const QString& path) { opened << path; });
        const QByteArray list = "{\"attachments\":[{\"id\":30,\"filename\":\"" + filename.toUtf8() +
                                "\",\"mimetype\":\"application/pdf\",\"size\":3}]}";
        rig.server.setReplyFor("/api/tasks/1/attachments", ScriptedReply::json(200, list));
        rig.server.setReplyFor("/api/tasks/1/attachments/30/file", ScriptedReply::raw(200, "application/pdf", "PDF"));
        rig.view.showTask(task(1));
        QTRY_COMPARE(rig.view.attachments().size(), 1);
        rig.server.clearRequests();
        rig.view.openAttachment(0);
        QTRY_COMPARE(opened.size(), 1);
        QVERIFY(!rig.view.lightbox()); // never an empty lightbox
        QCOMPARE(QFileInfo(opened.first()).fileName(), savedAs);
        QFile file(opened.first());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("PDF"));
        QCOMPARE(targets(rig.server), QStringList{u"GET /api/tasks/1/attachments/30/file"_s});
        QCOMPARE(rig.server.lastRequest().header("Authorization"), QByteArray("Bearer t"));
    }

    void aFileThatCannotBeHadSaysSo() {
        Scripted rig(*m_theme, m_service->clock());
        QStringList opened;
        rig.view.setFileOpener([&](const QString& path) { opened << path; });
        rig.server.setReplyFor("/api/tasks/1/attachments", attachmentList({{30, "a.pdf", "application/pdf"}}));
        rig.server.setReplyFor("/api/tasks/1/attachments/30/file",
                               ScriptedReply::json(404, R"({"error":"Вложение не найдено"})"));
        rig.view.showTask(task(1));
        QTRY_COMPARE(rig.view.attachments().size(), 1);
        rig.view.openAttachment(0);
        QTRY_COMPARE(rig.state.toastMessage(), std::optional<QString>(u"Ошибка: Вложение не найдено"_s));
        QVERIFY(opened.isEmpty());
    }
};

VEXO_WIDGET_TEST_MAIN_IN_ZONE(tst_TaskDetailView, "UTC")
#include "tst_TaskDetailView.moc"
