#include "AppState.h"
#include "ClientRig.h"
#include "EditTaskView.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "Theme.h"
#include "WidgetTest.h"

#include <QCheckBox>
#include <QDateTimeEdit>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QPlainTextEdit>

using namespace Qt::StringLiterals;

class tst_EditTaskView final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(7, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    int m_dismissed = 0;

    static VexoTask task(std::optional<QString> deadline) {
        VexoTask t;
        t.id = 4;
        t.title = u"Отчёт"_s;
        t.description = u"<p>Свести <b>цифры</b>&nbsp;за квартал</p>"_s;
        t.deadline = std::move(deadline);
        t.priority = TaskPriority::low;
        t.createdAt = u"2025-03-01"_s;
        return t;
    }

    std::unique_ptr<EditTaskView> open(const VexoTask& t) {
        m_dismissed = 0;
        auto view = std::make_unique<EditTaskView>(m_client->state, *m_theme, t, [this] { ++m_dismissed; });
        view->show();
        return view;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_server.clearRequests();
        m_server.setDefaultReply(ScriptedReply::json(
            200, R"({"task":{"id":4,"title":"x","priority":"low","status":"pending","created_at":"2025-03-01"}})"));
    }

    void opensWithPlainTextAndSavesIt() {
        auto view = open(task(u"2025-03-07T15:00:00.000Z"_s));
        QCOMPARE(view->descriptionField()->toPlainText(), u"Свести цифры за квартал"_s);
        QVERIFY(view->deadlineSwitch()->isChecked());
        QCOMPARE(view->deadlinePicker()->dateTime().toUTC(), QDateTime(QDate(2025, 3, 7), QTime(15, 0), Qt::UTC));
        view->titleField()->setText(u"  Квартальный отчёт "_s);
        view->choosePriority(TaskPriority::high);
        view->save();
        QTRY_COMPARE(m_server.requests().size(), 1);
        const QJsonObject body = m_server.lastRequest().jsonBody();
        QCOMPARE(body.value(u"title"_s).toString(), u"Квартальный отчёт"_s);
        QCOMPARE(body.value(u"description"_s).toString(), u"Свести цифры за квартал"_s);
        QCOMPARE(body.value(u"priority"_s).toString(), u"high"_s);
        QCOMPARE(body.value(u"deadline"_s).toString(), u"2025-03-07T15:00:00.000Z"_s);
        QCOMPARE(m_server.lastRequest().method, QByteArray("PUT"));
        QCOMPARE(m_dismissed, 1);
    }

    void switchOffClearsTheDeadline() {
        auto view = open(task(u"2025-03-07T15:00:00.000Z"_s));
        view->deadlineSwitch()->setChecked(false);
        view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(view.get()));
        view->titleField()->setFocus();
        QTest::keyClick(view->titleField(), Qt::Key_Return, Qt::ControlModifier);
        QTRY_COMPARE(m_server.requests().size(), 1);
        const QJsonObject body = m_server.lastRequest().jsonBody();
        QVERIFY(body.contains(u"deadline"_s));
        QVERIFY(body.value(u"deadline"_s).isNull());
    }

    void noDeadlineOpensOffAtNow() {
        auto view = open(task(std::nullopt));
        QVERIFY(!view->deadlineSwitch()->isChecked());
        QVERIFY(view->deadlinePicker()->isHidden());
        view->deadlineSwitch()->setChecked(true);
        QVERIFY(!view->deadlinePicker()->isHidden());
        QCOMPARE(view->deadlinePicker()->dateTime().toUTC().date(), QDate(2025, 3, 5));
        auto unreadable = open(task(u"05.03.2025"_s));
        QVERIFY(!unreadable->deadlineSwitch()->isChecked());
    }

    void blankTitleDoesNothing() {
        auto view = open(task(std::nullopt));
        view->titleField()->setText(u"   "_s);
        view->save();
        QTest::qWait(50);
        QVERIFY(m_server.requests().isEmpty());
        QCOMPARE(m_dismissed, 0);
    }

    void noteOnlyWithAutomaticSending() {
        auto view = open(task(std::nullopt));
        QCOMPARE(view->autoSendNote()->text(), QString());
        m_client->state.setUserSettings(UserSettings{true});
        QCOMPARE(view->autoSendNote()->text(), u"Будет отправлено в бот при сохранении"_s);
    }
};

VEXO_WIDGET_TEST_MAIN(tst_EditTaskView)
#include "tst_EditTaskView.moc"
