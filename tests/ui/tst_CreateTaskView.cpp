#include "AppState.h"
#include "ClientRig.h"
#include "CreateTaskView.h"
#include "MemoryStore.h"
#include "MiniCalendar.h"
#include "ScriptedServer.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>

using namespace Qt::StringLiterals;

// The wizard against a scripted service, in Moscow (UTC+3), on Wednesday 2025-03-05 at 10:00 local.
class tst_CreateTaskView final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(7, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<CreateTaskView> m_view;
    int m_dismissed = 0;

    const QByteArray m_created =
        R"({"task":{"id":9,"title":"t","priority":"high","status":"pending","created_at":"2025-03-05"}})";

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_dismissed = 0;
        m_view = std::make_unique<CreateTaskView>(m_client->state, *m_theme, [this] { ++m_dismissed; });
        m_view->show();
        m_server.clearRequests();
    }

    void freshState() {
        QCOMPARE(m_view->step(), 1);
        QCOMPARE(m_view->hourField()->text(), u"18"_s);
        QCOMPARE(m_view->minuteField()->text(), u"00"_s);
        QCOMPARE(m_view->priority(), TaskPriority::medium);
        QVERIFY(!m_view->selectedDate());
        m_view->minuteField()->setValue(5);
        QCOMPARE(m_view->minuteField()->text(), u"05"_s);
    }

    void returnAdvancesOnlyWithATitle() {
        QTest::keyClick(m_view->titleField(), Qt::Key_Return);
        QCOMPARE(m_view->step(), 1);
        QTest::keyClicks(m_view->titleField(), u"  "_s);
        QTest::keyClick(m_view->titleField(), Qt::Key_Return);
        QCOMPARE(m_view->step(), 2);
        // ...but a title of spaces creates nothing.
        m_view->goToStep(3);
        m_view->create();
        QTest::qWait(50);
        QVERIFY(m_server.requests().isEmpty());
        QCOMPARE(m_dismissed, 0);
    }

    void backKeepsWhatWasTyped() {
        m_view->titleField()->setText(u"Отчёт"_s); // QTest types ASCII only
        QTest::keyClick(m_view->titleField(), Qt::Key_Return);
        m_view->descriptionField()->insertPlainText(u"к пятнице"_s);
        m_view->buttonNamed(u"Далее"_s)->click();
        QCOMPARE(m_view->step(), 3);
        m_view->buttonNamed(u"Назад"_s)->click();
        QCOMPARE(m_view->step(), 2);
        QCOMPARE(m_view->descriptionField()->toPlainText(), u"к пятнице"_s);
        m_view->buttonNamed(u"Назад"_s)->click();
        QCOMPARE(m_view->titleField()->text(), u"Отчёт"_s);
    }

    // "Назад" is a plain button: no fill, no outline, 13 pt regular, in the tertiary text colour.
    void backIsPlain() {
        m_theme->apply();
        m_view->titleField()->setText(u"Отчёт"_s);
        for (int step : {2, 3}) {
            m_view->goToStep(step);
            auto* back = qobject_cast<VexoButton*>(m_view->buttonNamed(u"Назад"_s));
            QVERIFY(back);
            QCOMPARE(back->kind(), VexoButton::Kind::plain);
            QCOMPARE(back->font().pixelSize(), 13);
            QCOMPARE(back->font().weight(), QFont::Normal);
            const QImage look = back->grab().toImage();
            // No outline: the edges show the same ground as the corner.
            QCOMPARE(look.pixelColor(0, look.height() / 2), look.pixelColor(0, 0));
            QCOMPARE(look.pixelColor(look.width() / 2, 0), look.pixelColor(0, 0));
            int tertiary = 0, secondary = 0;
            for (int y = 0; y < look.height(); ++y) {
                for (int x = 0; x < look.width(); ++x) {
                    tertiary += look.pixelColor(x, y) == m_theme->palette().textTertiary;
                    secondary += look.pixelColor(x, y) == m_theme->palette().textSecondary;
                }
            }
            QVERIFY2(tertiary > 0 && secondary == 0, qPrintable(u"%1 / %2"_s.arg(tertiary).arg(secondary)));
        }
    }

    void deadlineFromTheDayAndTheTimeRow() {
        m_view->titleField()->setText(u"Отчёт"_s);
        m_view->goToStep(3);
        QVERIFY(!m_view->deadlineText()); // no day: no deadline, whatever the time row says
        m_view->buttonNamed(u"Завтра"_s)->click();
        QCOMPARE(m_view->selectedDate(), std::optional<QDate>(QDate(2025, 3, 6)));
        // A click in the calendar wins over the quick choice, and the time comes from the row only.
        m_view->calendar()->dayButtons()[9]->click(); // 10 March
        QCOMPARE(m_view->selectedDate(), std::optional<QDate>(QDate(2025, 3, 10)));
        QCOMPARE(m_view->deadlineText(), std::optional<QString>(u"2025-03-10T15:00:00.000Z"_s));
        m_view->hourField()->setValue(9);
        m_view->minuteField()->setValue(30);
        QCOMPARE(m_view->deadlineText(), std::optional<QString>(u"2025-03-10T06:30:00.000Z"_s));
        m_view->buttonNamed(u"Без даты"_s)->click();
        QVERIFY(!m_view->deadlineText());
    }

    void createSendsAndCloses() {
        m_view->titleField()->setText(u"  Купить молоко  "_s);
        m_view->goToStep(3);
        m_view->buttonNamed(u"Сегодня"_s)->click();
        m_view->buttonNamed(u"Высокий"_s)->click();
        m_server.enqueue(ScriptedReply::json(201, m_created));
        m_view->buttonNamed(u"Создать задачу"_s)->click();
        QTRY_COMPARE(m_dismissed, 1);
        const QJsonObject body = m_server.lastRequest().jsonBody();
        QCOMPARE(body.value(u"title"_s).toString(), u"Купить молоко"_s);
        QCOMPARE(body.value(u"priority"_s).toString(), u"high"_s);
        QCOMPARE(body.value(u"deadline"_s).toString(), u"2025-03-05T15:00:00.000Z"_s);
        QVERIFY(!body.contains(u"description"_s));
        QCOMPARE(m_client->state.tasks().first().id, 9);
        QCOMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача создана"_s));
    }

    void failureStillCloses() {
        m_view->titleField()->setText(u"x"_s);
        m_view->goToStep(3);
        m_server.enqueue(ScriptedReply::json(400, R"({"error":"Слишком длинно"})"));
        m_view->create();
        QTRY_COMPARE(m_dismissed, 1);
        QCOMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Ошибка: Слишком длинно"_s));
        QVERIFY(m_client->state.tasks().isEmpty());
    }
};

VEXO_WIDGET_TEST_MAIN_IN_ZONE(tst_CreateTaskView, "Europe/Moscow")
#include "tst_CreateTaskView.moc"
