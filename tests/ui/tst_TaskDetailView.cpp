#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "HTMLTextView.h"
#include "HttpProbe.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "TaskDetailView.h"
#include "TaskRowDelegate.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QBuffer>
#include <QImage>
#include <QListWidget>
#include <QNetworkAccessManager>

using namespace Qt::StringLiterals;
using vexo::test::await;

// The task page against the local service: metadata, actions, attachments and their pictures.
class tst_TaskDetailView final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<TaskDetailView> m_view;

    void upload(qint64 taskId, const QString& name) {
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(Qt::blue);
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        const ProbeReply reply =
            probe(m_client->network, "POST",
                  m_service->baseUrl() + u"/api/tasks/%1/attachments?filename=%2"_s.arg(taskId).arg(name), png,
                  {{"Authorization", "Bearer " + m_client->state.token()->toUtf8()}, {"Content-Type", "image/png"}});
        QCOMPARE(reply.status, 201);
    }

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_client = std::make_unique<ClientRig>(m_service->baseUrl(), m_service->clock());
        m_theme = std::make_unique<Theme>(m_client->store);
        m_view = std::make_unique<TaskDetailView>(m_client->state, *m_theme, m_client->network);
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

    void attachmentsLoadAndSwitch() {
        await(m_client->state.createTask(u"С картинками"_s, TaskPriority::medium, {}, {}));
        await(m_client->state.createTask(u"Без картинок"_s, TaskPriority::medium, {}, {}));
        const VexoTask without = m_client->state.tasks()[0];
        const VexoTask with = m_client->state.tasks()[1];
        upload(with.id, u"one.png"_s);
        upload(with.id, u"two.png"_s);

        m_view->showTask(without);
        QVERIFY(m_view->isLoadingAttachments());
        QVERIFY(!m_view->showsNoAttachments()); // never while loading
        QTRY_VERIFY(!m_view->isLoadingAttachments());
        QVERIFY(m_view->showsNoAttachments());

        // Switching tasks reloads; the pictures are fetched with the session's token.
        m_view->showTask(with);
        QTRY_COMPARE(m_view->attachments().size(), 2);
        QVERIFY(!m_view->showsNoAttachments());
        QTRY_COMPARE(m_view->thumbnailsLoaded(), 2);
        QCOMPARE(m_view->thumbnails()->count(), 2);

        // A picture that cannot be had is asked for once, not again and again.
        const ProbeReply bad =
            probe(m_client->network, "POST",
                  m_service->baseUrl() + u"/api/tasks/%1/attachments?filename=broken.png"_s.arg(with.id), "not a png",
                  {{"Authorization", "Bearer " + m_client->state.token()->toUtf8()}, {"Content-Type", "image/png"}});
        QCOMPARE(bad.status, 201);
        m_view->showTask(without);
        m_view->showTask(with);
        QTRY_COMPARE(m_view->attachments().size(), 3);
        QTest::qWait(300);
        QCOMPARE(m_view->thumbnailsLoaded(), 2);

        m_view->deleteAttachment(m_view->attachments().first());
        QTRY_COMPARE(m_view->attachments().size(), 2);
        QCOMPARE(await(m_client->api.fetchAttachments(with.id)).attachments.size(), 2);
    }

    void aLateAnswerForAnotherTaskIsDropped() {
        ScriptedServer scripted;
        QVERIFY(scripted.listen());
        MemoryStore store;
        store.setText(u"vexo_token"_s, u"t"_s);
        APIService api(scripted.baseUrl(), m_client->network, store);
        AppState state(api, store, m_service->clock());
        TaskDetailView view(state, *m_theme, m_client->network);
        ScriptedReply slow = ScriptedReply::json(
            200, R"({"attachments":[{"id":1,"filename":"old.txt","mimetype":"text/plain","size":1}]})");
        slow.delayMs = 300;
        scripted.enqueue(slow);
        scripted.enqueue(ScriptedReply::json(200, R"({"attachments":[]})"));
        VexoTask first;
        first.id = 1;
        first.title = u"a"_s;
        VexoTask second = first;
        second.id = 2;
        view.showTask(first);
        view.showTask(second);
        QTRY_VERIFY(!view.isLoadingAttachments());
        QTest::qWait(400);
        QVERIFY(view.attachments().isEmpty());
        QVERIFY(view.showsNoAttachments());
    }

    void descriptionsFetchNothing() {
        ScriptedServer scripted;
        QVERIFY(scripted.listen());
        HTMLTextView text(*m_theme);
        text.show();
        text.setHtmlDescription(
            u"<p>Привет <img src=\"%1/tracker.png\"><a href=\"https://example.org\">ссылка</a></p>"
            u"<link rel=\"stylesheet\" href=\"%1/style.css\"><img src=\"file:///etc/hostname\">"_s.arg(
                scripted.baseUrl()));
        QTest::qWait(200);
        QVERIFY(scripted.requests().isEmpty());
        QVERIFY(text.showsImport());
        QVERIFY(text.toPlainText().contains(u"Привет"_s));
        QVERIFY(text.toPlainText().contains(u"ссылка"_s));

        text.setHtmlDescription(QString());
        QCOMPARE(text.toPlainText(), QString());
    }
};

VEXO_WIDGET_TEST_MAIN(tst_TaskDetailView)
#include "tst_TaskDetailView.moc"
