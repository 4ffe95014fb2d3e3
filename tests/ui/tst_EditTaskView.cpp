#include "AppState.h"
#include "ClientRig.h"
#include "DateTimePicker.h"
#include "EditTaskView.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "Theme.h"
#include "WidgetTest.h"

#include "Switch.h"
#include <QCalendarWidget>
#include <QDateTimeEdit>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QPlainTextEdit>
#include <QTableView>
#include <QToolButton>

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

    // The picker and its calendar are the application's: Monday first, Russian names, the palette's
    // colours, and neither Qt's red weekends nor its green arrows.
    void theCalendarFollowsTheTheme() {
        m_theme->apply();
        auto view = open(task(u"2025-03-07T15:00:00.000Z"_s));
        auto* picker = qobject_cast<DateTimePicker*>(view->deadlinePicker());
        QVERIFY(picker);
        QCOMPARE(picker->text(), u"7 мар. 2025, 18:00"_s);
        QCalendarWidget* calendar = picker->popupCalendar();
        QCOMPARE(picker->calendarWidget(), calendar);
        QCOMPARE(calendar->firstDayOfWeek(), Qt::Monday);
        auto* grid = calendar->findChild<QTableView*>(u"qt_calendar_calendarview"_s);
        QVERIFY(grid);
        QCOMPARE(grid->model()->data(grid->model()->index(0, 0)).toString().toLower(), u"пн"_s);
        QCOMPARE(grid->model()->data(grid->model()->index(0, 6)).toString().toLower(), u"вс"_s);
        auto* month = calendar->findChild<QToolButton*>(u"qt_calendar_monthbutton"_s);
        QVERIFY(month);
        QCOMPARE(month->text().toLower(), u"март"_s);

        for (const QString& theme : {u"dark"_s, u"light"_s}) {
            m_theme->setPreference(theme);
            QWidget* popup = calendar->window();
            popup->resize(320, 260);
            popup->show();
            QVERIFY(QTest::qWaitForWindowExposed(popup));
            const QImage look = calendar->grab().toImage();
            popup->hide();
            int red = 0, green = 0;
            for (int y = 0; y < look.height(); ++y) {
                for (int x = 0; x < look.width(); ++x) {
                    const QColor c = look.pixelColor(x, y);
                    red += c.red() > 200 && c.green() < 60 && c.blue() < 60;
                    green += c.green() > c.red() + 40 && c.green() > c.blue() + 40;
                }
            }
            QVERIFY2(red == 0, qPrintable(theme + u": red pixels "_s + QString::number(red)));
            QVERIFY2(green == 0, qPrintable(theme + u": green pixels "_s + QString::number(green)));
            // The days sit on the raised surface of the theme.
            QCOMPARE(look.pixelColor(look.width() - 3, look.height() - 3), m_theme->palette().raised);
        }
        m_theme->setPreference(u"dark"_s);
    }

    void noteOnlyWithAutomaticSending() {
        auto view = open(task(std::nullopt));
        QCOMPARE(view->autoSendNote()->text(), QString());
        m_client->state.setUserSettings(UserSettings{true});
        QCOMPARE(view->autoSendNote()->text(), u"Будет отправлено в бот при сохранении"_s);
    }
};

VEXO_WIDGET_TEST_MAIN_IN_ZONE(tst_EditTaskView, "Europe/Moscow")
#include "tst_EditTaskView.moc"
