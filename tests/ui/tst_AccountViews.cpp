#include "APIKeyView.h"
#include "AdminView.h"
#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "ConfirmDialog.h"
#include "DailyBarChart.h"
#include "FolderEditView.h"
#include "IconView.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "SettingsView.h"
#include "StatsView.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include "Switch.h"
#include <QCheckBox>
#include <QClipboard>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QTimer>

using namespace Qt::StringLiterals;
using vexo::test::await;

// The folder editor and the account screens against a scripted service.
class tst_AccountViews final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    int m_dismissed = 0;

    const QByteArray m_stats = R"({"range":"week","totals":{"created":5,"completed":2},)"
                               R"("daily":{"created":[{"date":"2025-03-04","count":3},{"date":"bad-day","count":2}],)"
                               R"("completed":[{"date":"2025-03-04","count":2},{"date":"bad-day","count":0}]},)"
                               R"("priority":[{"priority":"low","count":1},{"priority":"high","count":4}]})";

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_server.clearRequests();
        m_dismissed = 0;
    }

    void folderCreateDismissesAtOnce() {
        FolderEditView view(m_client->state, *m_theme, std::nullopt, [this] { ++m_dismissed; });
        QCOMPARE(view.selectedColor(), u"#E97553"_s);
        QVERIFY(!view.confirmButton()->isEnabled());
        view.nameField()->setText(u"Работа"_s);
        view.chooseColor(u"#5B8AE8"_s);
        QCOMPARE(view.ringedColor(), u"#5B8AE8"_s);
        ScriptedReply slow =
            ScriptedReply::json(201, "{\"folder\":{\"id\":3,\"name\":\"Работа\",\"color\":\"#5B8AE8\"}}");
        slow.delayMs = 200;
        m_server.enqueue(slow);
        view.confirm();
        QCOMPARE(m_dismissed, 1); // before the answer
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Папка создана"_s));
        const QJsonObject body = m_server.lastRequest().jsonBody();
        QCOMPARE(body.value(u"name"_s).toString(), u"Работа"_s);
        QCOMPARE(body.value(u"color"_s).toString(), u"#5B8AE8"_s);
        QCOMPARE(m_client->state.folders().size(), 1);

        FolderEditView again(m_client->state, *m_theme, std::nullopt, [] {});
        QCOMPARE(again.nameField()->text(), QString());
        QCOMPARE(again.selectedColor(), u"#E97553"_s);
    }

    void folderEditKeepsAForeignColour() {
        FolderEditView view(m_client->state, *m_theme, Folder{7, u"Дом"_s, u"#123456"_s, {}},
                            [this] { ++m_dismissed; });
        QCOMPARE(view.ringedColor(), QString());
        QCOMPARE(view.confirmButton()->text(), u"Сохранить"_s);
        m_server.enqueue(ScriptedReply::json(500, "{}"));
        view.nameField()->setText(u"Квартира "_s);
        view.confirm();
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Ошибка обновления папки"_s));
        const QJsonObject body = m_server.lastRequest().jsonBody();
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/folders/7"));
        QCOMPARE(body.value(u"color"_s).toString(), u"#123456"_s);
        QCOMPARE(body.value(u"name"_s).toString(), u"Квартира "_s); // as typed
    }

    void statisticsRangesAndEmptyTexts() {
        m_server.setReplyFor("/api/user/stats", ScriptedReply::json(200, m_stats));
        StatsView view(m_client->state, *m_theme);
        view.show();
        QTRY_VERIFY(m_client->state.statsData().has_value());
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/user/stats?range=week"));
        QCOMPARE(view.totalsTexts(), (QStringList{u"Всего создано|5|За неделю"_s, u"Выполнено задач|2|За неделю"_s}));
        QVERIFY(view.showsChart());
        QCOMPARE(view.chart()->dayLabels(), (QStringList{u"4 мар."_s, u"bad-day"_s}));
        QCOMPARE(view.priorityRows(), (QStringList{u"Низкий: 1"_s, u"Высокий: 4"_s}));

        view.rangeButton(u"Месяц"_s)->click();
        QTRY_COMPARE(m_server.lastRequest().target, QByteArray("/api/user/stats?range=month"));
        QCOMPARE(view.totalsTexts().first(), u"Всего создано|5|За месяц"_s);

        m_server.setReplyFor("/api/user/stats",
                             ScriptedReply::json(200, R"({"range":"week","totals":{"created":0,"completed":0},)"
                                                      R"("daily":{"created":[],"completed":[]},"priority":[]})"));
        view.rangeButton(u"Неделя"_s)->click();
        QTRY_VERIFY(view.showsNoDailyData());
        QVERIFY(!view.showsChart());
        QVERIFY(view.showsNoPriorityData());
    }

    void apiKeyCopyRegenerateAndExample() {
        m_server.setReplyFor("/api/user/apikey/regenerate", ScriptedReply::json(200, R"({"api_key":"vexoapi-NEW"})"));
        m_server.setReplyFor("/api/user/apikey", ScriptedReply::json(200, R"({"api_key":"vexoapi-OLD"})"));
        APIKeyView view(m_client->state, *m_theme, [] {});
        QCOMPARE(APIKeyView::exampleCommand(u"http://h"_s, QString()),
                 u"curl -X POST http://h/api/external/tasks \\\n  -H \"Content-Type: application/json\" \\\n"
                 u"  -H \"x-api-key: vexoapi-...\" \\\n  -d '{\"title\": \"Моя задача\", \"priority\": \"high\"}'"_s);
        QTRY_COMPARE(m_client->state.apiKeyValue(), std::optional<QString>(u"vexoapi-OLD"_s));
        QVERIFY(view.example().contains(u"x-api-key: vexoapi-OLD"_s));

        QElapsedTimer clock;
        clock.start();
        view.copy();
        QCOMPARE(QApplication::clipboard()->text(), u"vexoapi-OLD"_s);
        QCOMPARE(view.copyButton()->text(), u"Скопировано!"_s);
        QTest::qWait(1000);
        view.copy(); // does not lengthen the two seconds: they end at 2 s, not at 3 s
        QTRY_COMPARE_WITH_TIMEOUT(view.copyButton()->text(), u"Копировать"_s, 4000);
        QVERIFY2(clock.elapsed() < 2800, qPrintable(QString::number(clock.elapsed())));

        int asked = 0;
        view.setConfirm([&](QWidget*) {
            ++asked;
            return false;
        });
        view.regenerateButton()->click();
        QCOMPARE(asked, 1);
        QTest::qWait(50);
        QVERIFY(!m_server.lastRequest().target.endsWith("regenerate"));
        view.setConfirm([&](QWidget*) {
            ++asked;
            return true;
        });
        view.regenerateButton()->click();
        QTRY_COMPARE(m_client->state.apiKeyValue(), std::optional<QString>(u"vexoapi-NEW"_s));
        QCOMPARE(m_client->state.toastMessage(), std::optional<QString>(u"API ключ обновлён"_s));
        QVERIFY(view.example().contains(u"vexoapi-NEW"_s));
    }

    void settingsThemeSwitchAndHotkeys() {
        SettingsView view(m_client->state, *m_theme, [] {});
        QVERIFY(view.themeButton(u"Тёмная"_s)->isChecked());
        view.themeButton(u"Светлая"_s)->click();
        QCOMPARE(m_theme->preference(), u"light"_s);
        QVERIFY(!m_theme->isDark());
        QCOMPARE(m_client->store.text(u"vexo_theme"_s), std::optional<QString>(u"light"_s));
        // The four rows everyone knows come first, as they always were; the newer keys follow.
        QCOMPARE(view.hotkeyRows().mid(0, 4), (QStringList{u"Новая задача — N"_s, u"Закрыть окно / форму — Esc"_s,
                                                           u"Сохранить (редактор) — "_s + SettingsView::saveKeyLabel(),
                                                           u"Переключить выполнено — Space"_s}));
        QCOMPARE(view.hotkeyRows().mid(4),
                 (QStringList{u"Поиск — Ctrl F"_s, u"Открыть задачу — Enter"_s, u"Редактировать задачу — Ctrl E"_s,
                              u"Переместить в папку — Ctrl M"_s, u"Удалить задачу — Delete"_s,
                              u"Меню задачи — Shift F10"_s, u"Назад к задачам — Alt ←"_s, u"Обновить — F5"_s,
                              u"Настройки — Ctrl ,"_s, u"Закрыть окно — Ctrl W"_s, u"Завершить программу — Ctrl Q"_s}));

        // The sending control is a switch and nothing more: no box, no words of its own.
        QVERIFY(view.findChildren<QCheckBox*>().isEmpty());
        QCOMPARE(view.sendSwitch()->text(), QString());
        for (QLabel* label : view.findChildren<QLabel*>())
            QVERIFY2(label->text() != u"Автоматически"_s, "an extra label beside the switch");

        m_server.setReplyFor("/api/user/settings", ScriptedReply::json(500, R"({"error":"нет"})"));
        view.sendSwitch()->click();
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Ошибка сохранения настроек"_s));
        QCOMPARE(m_server.lastRequest().jsonBody().value(u"auto_send_bot"_s).toBool(), true);
        QVERIFY(view.sendSwitch()->isChecked()); // no rollback
        m_theme->setPreference(u"dark"_s);
    }

    void adminPanel() {
        m_server.setReplyFor(
            "/api/admin/stats",
            ScriptedReply::json(200, R"({"total_users":3,"total_tasks":40,"active_tasks":20,"completed_tasks":15})"));
        m_server.setReplyFor(
            "/api/admin/users",
            ScriptedReply::json(
                200,
                R"({"users":[{"id":1,"telegram_id":"12345"},)"
                R"({"id":2,"telegram_id":"5","last_name":"Смирнова","username":"anna","task_count":1,"is_admin":true}]})"));
        AdminView view(m_client->state, *m_theme);
        await(view.load());
        QCOMPARE(view.cardValues(), (QStringList{u"3"_s, u"40"_s, u"20"_s, u"15"_s}));
        QCOMPARE(view.userRows(), (QStringList{u"User #12345||—|"_s, u"Смирнова|anna|1|admin"_s}));
        QCOMPARE(view.errorText(), QString());
        view.show();
        QVERIFY(!view.errorIcon()->isVisible());

        m_server.setReplyFor("/api/admin/users",
                             ScriptedReply::json(403, R"({"error":"Доступ только для администраторов"})"));
        AdminView failing(m_client->state, *m_theme);
        await(failing.load());
        QCOMPARE(failing.errorText(), u"Ошибка загрузки: Доступ только для администраторов"_s);
        QCOMPARE(failing.userRows(), QStringList());
        QCOMPARE(failing.cardValues().first(), u"—"_s);
        // The warning sign stands beside the error line.
        failing.show(); // which loads again
        QTRY_VERIFY(failing.errorIcon()->isVisible());
        QCOMPARE(failing.errorIcon()->iconName(), u"exclamationmark.triangle"_s);
        QCOMPARE(failing.errorIcon()->color(), m_theme->palette().red);
    }

    // The question before a new key is the application's own dialog, in its look, with its words.
    void regeneratingAsksInTheAppsOwnDialog() {
        m_theme->apply();
        m_server.setReplyFor("/api/user/apikey/regenerate", ScriptedReply::json(200, R"({"api_key":"vexoapi-NEW"})"));
        m_server.setReplyFor("/api/user/apikey", ScriptedReply::json(200, R"({"api_key":"vexoapi-OLD"})"));
        APIKeyView view(m_client->state, *m_theme, [] {});
        view.show();
        QTRY_VERIFY(m_client->state.apiKeyValue().has_value());

        // What the dialog showed, read while it is up and checked once it has gone.
        QStringList seen;
        QColor ground;
        bool stock = true;
        const auto answer = [&](bool confirm) {
            QTimer::singleShot(0, this, [&, confirm] {
                QWidget* modal = QApplication::activeModalWidget();
                auto* dialog = qobject_cast<ConfirmDialog*>(modal);
                if (!dialog) {
                    if (modal)
                        modal->close();
                    return;
                }
                seen = {dialog->titleLabel()->isVisible() ? dialog->titleLabel()->text() : QString(),
                        dialog->messageLabel()->isVisible() ? dialog->messageLabel()->text() : QString(),
                        dialog->confirmButton()->text(), dialog->cancelButton()->text()};
                stock = dialog->findChild<QMessageBox*>() != nullptr;
                for (QLabel* label : dialog->findChildren<QLabel*>())
                    stock = stock || !label->pixmap().isNull();
                const QImage look = dialog->grab().toImage();
                ground = look.pixelColor(4, look.height() / 2);
                (confirm ? dialog->confirmButton() : dialog->cancelButton())->click();
            });
        };
        answer(false);
        view.regenerate();
        QCOMPARE(seen, (QStringList{u"Сгенерировать новый ключ?"_s, u"Старый ключ перестанет работать."_s,
                                    u"Подтвердить"_s, u"Отмена"_s}));
        QVERIFY(!stock); // no stock box, no stock icon
        QCOMPARE(ground, m_theme->palette().background);
        QTest::qWait(50);
        QVERIFY(!m_server.lastRequest().target.endsWith("regenerate"));
        QCOMPARE(m_client->state.apiKeyValue(), std::optional<QString>(u"vexoapi-OLD"_s));
        answer(true);
        view.regenerate();
        QTRY_COMPARE(m_client->state.apiKeyValue(), std::optional<QString>(u"vexoapi-NEW"_s));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/user/apikey/regenerate"));
    }
};

VEXO_WIDGET_TEST_MAIN(tst_AccountViews)
#include "tst_AccountViews.moc"
