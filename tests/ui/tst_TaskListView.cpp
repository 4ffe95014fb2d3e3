#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"
#include "StatCard.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "TaskRowDelegate.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QToolButton>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

QByteArray task(int id, const char* status, const char* priority, const QByteArray& extra = {}) {
    return "{\"id\":" + QByteArray::number(id) + ",\"title\":\"Задача " + QByteArray::number(id) +
           "\",\"priority\":\"" + priority + "\",\"status\":\"" + status + "\",\"created_at\":\"2025-03-01\"" + extra +
           "}";
}

} // namespace

// The task list on real widgets, against a scripted service, with the clock at 2025-03-05 12:00 UTC.
class tst_TaskListView final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<TaskListView> m_view;

    const QByteArray m_tasks =
        "{\"tasks\":[" +
        task(1, "pending", "high", ",\"deadline\":\"2025-03-05T18:00:00Z\",\"description\":\"<p>Описание</p>\"") + "," +
        task(2, "done", "low", ",\"deadline\":\"2025-03-06T10:00:00Z\"") + "," +
        task(3, "pending", "medium", ",\"deadline\":\"2025-03-01T10:00:00Z\",\"source\":\"bot\",\"sent_to_bot\":1") +
        "," + task(4, "cancelled", "high") + "]}";

    QPushButton* chip(const QString& label) const {
        for (QPushButton* button : m_view->dateChips()) {
            if (button->text() == label)
                return button;
        }
        return nullptr;
    }

    void triggerMenu(QMenu* menu, const QString& text) {
        for (QAction* action : menu->actions()) {
            if (action->text() == text) {
                action->trigger();
                return;
            }
        }
        QFAIL(qPrintable(u"no menu item "_s + text));
    }

    QStringList menuTexts(QMenu* menu) const {
        QStringList texts;
        for (QAction* action : menu->actions())
            texts << (action->isSeparator() ? u"—"_s : action->text());
        return texts;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_theme->apply();
        m_view = std::make_unique<TaskListView>(m_client->state, *m_theme);
        m_view->resize(900, 700);
        m_view->show();
        m_server.enqueue(ScriptedReply::json(200, m_tasks));
        await(m_client->state.loadTasks());
        m_server.clearRequests();
    }

    void cleanup() {
        m_view.reset();
        m_client.reset();
    }

    void headerAndCounters() {
        QCOMPARE(m_view->title(), u"Все задачи"_s);
        QCOMPARE(m_view->contentState(), u"list"_s);
        QCOMPARE(m_view->model()->rowCount(), 4);
        QStringList values;
        for (StatCard* card : m_view->statCards())
            values << card->label() + u'=' + card->value();
        QCOMPARE(values, (QStringList{u"Всего=4"_s, u"Активных=2"_s, u"Выполнено=1"_s, u"Просрочено=1"_s}));
        QCOMPARE(m_view->priorityButton()->text(), u"Приоритет: Любой"_s);
    }

    void chipsFilterTheListButNotTheCounters() {
        QTest::mouseClick(chip(u"Сегодня"_s), Qt::LeftButton);
        QCOMPARE(m_client->state.dateFilter(), DateFilter::today);
        QCOMPARE(m_view->model()->rowCount(), 1);
        QCOMPARE(m_view->model()->taskAt(0).id, 1);
        QVERIFY(chip(u"Сегодня"_s)->isChecked());
        QVERIFY(!chip(u"Все сроки"_s)->isChecked());
        QCOMPARE(m_view->statCards().first()->value(), u"4"_s);

        QTest::mouseClick(chip(u"Сегодня"_s), Qt::LeftButton); // pressing it again changes nothing
        QCOMPARE(m_client->state.dateFilter(), DateFilter::today);
        QTest::mouseClick(chip(u"Завтра"_s), Qt::LeftButton);
        QCOMPARE(m_view->model()->taskAt(0).id, 2);
        QTest::mouseClick(chip(u"На неделю"_s), Qt::LeftButton);
        QCOMPARE(m_view->model()->rowCount(), 2);
        QTest::mouseClick(chip(u"Все сроки"_s), Qt::LeftButton);
        QCOMPARE(m_view->model()->rowCount(), 4);
        QVERIFY(m_server.requests().isEmpty()); // filtering is local
    }

    void priorityMenuFilters() {
        QMenu* menu = m_view->priorityButton()->menu();
        QCOMPARE(menuTexts(menu), (QStringList{u"Любой"_s, u"—"_s, u"Высокий"_s, u"Средний"_s, u"Низкий"_s}));
        triggerMenu(menu, u"Высокий"_s);
        QCOMPARE(m_view->priorityButton()->text(), u"Приоритет: Высокий"_s);
        QCOMPARE(m_view->model()->rowCount(), 2);
        triggerMenu(menu, u"Любой"_s);
        QCOMPARE(m_view->model()->rowCount(), 4);
    }

    // "Любой" has no icon; each priority shows its dot in its own colour, before the word.
    void priorityMenuShowsTheDots() {
        const auto centreOf = [](const QIcon& icon) { return icon.pixmap(QSize(16, 16)).toImage().pixelColor(8, 8); };
        for (const QString& theme : {u"dark"_s, u"light"_s}) {
            m_theme->setPreference(theme);
            const QList<QAction*> actions = m_view->priorityButton()->menu()->actions();
            QVERIFY(actions[0]->icon().isNull());
            for (int i = 0; i < 3; ++i) {
                QAction* action = actions[2 + i];
                QVERIFY2(!action->icon().isNull(), qPrintable(action->text()));
                QCOMPARE(centreOf(action->icon()), m_theme->palette().priorityColor(allTaskPriorities[i]));
            }
        }
        m_theme->setPreference(u"dark"_s);
        QMenu* menu = m_view->priorityButton()->menu();
        menu->popup(m_view->mapToGlobal(QPoint(20, 20)));
        QVERIFY(QTest::qWaitForWindowExposed(menu));
        const QRect item = menu->actionGeometry(menu->actions()[2]);
        const QImage look = menu->grab().toImage();
        // The dot sits at the start of the item, before the word.
        int dotX = -1;
        for (int x = item.left(); x <= item.right() && dotX < 0; ++x) {
            for (int y = item.top(); y <= item.bottom() && dotX < 0; ++y) {
                if (look.pixelColor(x, y) == m_theme->palette().red)
                    dotX = x;
            }
        }
        menu->close();
        QVERIFY(dotX >= 0);
        QVERIFY2(dotX < item.left() + 30, qPrintable(QString::number(dotX - item.left())));
    }

    // A box not done is outlined in the border colour: white at 8 % over the row in the dark theme.
    void anOpenCheckBoxIsOutlinedInTheBorderColour() {
        QListView* list = m_view->listView();
        const QRect rowRect = list->visualRect(m_view->model()->index(0)); // pending
        const QRect row =
            rowRect.adjusted(TaskRowDelegate::sideInset, 0, -TaskRowDelegate::sideInset, -TaskRowDelegate::gap);
        const QRect box = TaskRowDelegate::checkBoxRect(row);
        const QImage look = list->viewport()->grab().toImage();
        const Palette& p = m_theme->palette();
        const qreal a = p.border.alphaF();
        const QColor expected = QColor::fromRgbF(p.raised.redF() * (1 - a) + p.border.redF() * a,
                                                 p.raised.greenF() * (1 - a) + p.border.greenF() * a,
                                                 p.raised.blueF() * (1 - a) + p.border.blueF() * a);
        const QColor edge = look.pixelColor(box.left(), box.center().y());
        QVERIFY2(qAbs(edge.red() - expected.red()) <= 3 && qAbs(edge.green() - expected.green()) <= 3 &&
                     qAbs(edge.blue() - expected.blue()) <= 3,
                 qPrintable(edge.name() + u" != "_s + expected.name()));
        QCOMPARE(look.pixelColor(box.center()), p.raised); // and no fill, no mark
    }

    void emptyAndLoadingStates() {
        m_client->state.setPriorityFilter(TaskPriority::low);
        m_client->state.setDateFilter(DateFilter::today);
        QCOMPARE(m_view->contentState(), u"empty"_s);

        ScriptedReply slow = ScriptedReply::json(200, "{\"tasks\":[]}");
        slow.delayMs = 300;
        m_server.enqueue(slow);
        m_client->state.selectSidebarItem(SidebarItem::archived());
        QCOMPARE(m_view->contentState(), u"loading"_s);
        QCOMPARE(m_view->title(), u"Архив"_s);
        QTRY_COMPARE(m_view->contentState(), u"empty"_s);
        QVERIFY(m_view->findChild<QLabel*>() != nullptr);
        bool hintShown = false, archiveText = false;
        for (QLabel* label : m_view->findChildren<QLabel*>()) {
            if (label->text() == u"Нажми «Новая задача» чтобы начать"_s)
                hintShown = label->isVisible();
            if (label->text() == u"Архив пуст"_s)
                archiveText = label->isVisible();
        }
        QVERIFY(archiveText);
        QVERIFY(!hintShown);
    }

    void titlesFollowTheSelection_data() {
        QTest::addColumn<int>("which");
        QTest::addColumn<QString>("title");
        QTest::newRow("pending") << 0 << u"Активные задачи"_s;
        QTest::newRow("done") << 1 << u"Выполненные"_s;
        QTest::newRow("folder that is gone") << 2 << u"Папка"_s;
        QTest::newRow("statistics") << 3 << u"Задачи"_s;
    }

    void titlesFollowTheSelection() {
        QFETCH(int, which);
        QFETCH(QString, title);
        m_server.setDefaultReply(ScriptedReply::json(200, "{\"tasks\":[]}"));
        const SidebarItem items[] = {SidebarItem::pending(), SidebarItem::done(), SidebarItem::folder(77),
                                     SidebarItem::stats()};
        m_client->state.selectSidebarItem(items[which]);
        QCOMPARE(m_view->title(), title);
        QTRY_VERIFY(!m_client->state.isLoadingTasks());
        m_server.setDefaultReply(ScriptedReply::json(200, "{}"));
    }

    void contextMenuActions() {
        QMenu* pendingMenu = m_view->contextMenuFor(m_client->state.tasks()[0], m_view.get());
        QCOMPARE(menuTexts(pendingMenu),
                 (QStringList{u"Открыть"_s, u"Отметить выполненной"_s, u"Редактировать"_s, u"Отправить в Telegram"_s,
                              u"—"_s, u"Архивировать"_s, u"Удалить"_s}));
        QMenu* doneMenu = m_view->contextMenuFor(m_client->state.tasks()[1], m_view.get());
        QCOMPARE(menuTexts(doneMenu).at(1), u"Вернуть в активные"_s);

        triggerMenu(pendingMenu, u"Открыть"_s);
        QCOMPARE(m_client->state.selectedTask()->id, 1);
        triggerMenu(pendingMenu, u"Редактировать"_s);
        QVERIFY(m_client->state.showEditTask());
        QCOMPARE(m_client->state.editingTask()->id, 1);

        m_server.enqueue(ScriptedReply::json(200, R"({"success":true})"));
        triggerMenu(pendingMenu, u"Отправить в Telegram"_s);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Отправлено в Telegram"_s));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/1/send-to-bot"));

        m_server.enqueue(ScriptedReply::json(200, R"({"success":true})"));
        triggerMenu(doneMenu, u"Архивировать"_s);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача архивирована"_s));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/2/archive"));
        QCOMPARE(m_view->model()->rowCount(), 3);

        // Deleting asks nothing.
        m_server.enqueue(ScriptedReply::json(200, R"({"success":true})"));
        triggerMenu(pendingMenu, u"Удалить"_s);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача удалена"_s));
        QCOMPARE(m_server.lastRequest().method, QByteArray("DELETE"));
        QVERIFY(!m_client->state.selectedTask());

        m_server.enqueue(ScriptedReply::json(200, "{\"task\":" + task(3, "done", "medium") + "}"));
        QMenu* third = m_view->contextMenuFor(m_client->state.tasks()[0], m_view.get());
        triggerMenu(third, u"Отметить выполненной"_s);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача выполнена ✓"_s));
        QCOMPARE(m_server.lastRequest().jsonBody().value(u"status"_s).toString(), u"done"_s);
    }

    void checkBoxTogglesWithoutSelecting() {
        QListView* list = m_view->listView();
        const QRect rowRect = list->visualRect(m_view->model()->index(0));
        const QRect row =
            rowRect.adjusted(TaskRowDelegate::sideInset, 0, -TaskRowDelegate::sideInset, -TaskRowDelegate::gap);
        const QPoint box = TaskRowDelegate::checkBoxRect(row).center();
        m_server.enqueue(ScriptedReply::json(200, "{\"task\":" + task(1, "done", "high") + "}"));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, box);
        QTRY_COMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.lastRequest().method, QByteArray("PUT"));
        QTRY_COMPARE(m_client->state.tasks()[0].status, TaskStatus::done);
        QVERIFY(!m_client->state.selectedTask());

        // A click on the text opens the task instead.
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(row.center().x(), row.top() + 20));
        QCOMPARE(m_client->state.selectedTask()->id, 1);
        QCOMPARE(m_server.requests().size(), 1);
    }

    void rowsAreAccessibleAndPreviewsArePlain() {
        const QString text = m_view->model()->data(m_view->model()->index(0), Qt::AccessibleTextRole).toString();
        QVERIFY2(text.contains(u"Задача 1"_s) && text.contains(u"активна"_s) && text.contains(u"Высокий"_s) &&
                     text.contains(u"5 мар. 2025"_s),
                 qPrintable(text));
        QCOMPARE(m_view->delegate()->previewOf(m_client->state.tasks()[0]), u"Описание"_s);
        QCOMPARE(m_view->delegate()->previewOf(m_client->state.tasks()[1]), QString());
        QVERIFY(!m_view->newTaskButton()->text().isEmpty());
        QCOMPARE(m_view->newTaskButton()->shortcut(), QKeySequence(Qt::Key_N));
    }

    void hoveredRowTakesTheHoverColour() {
        QListView* list = m_view->listView();
        const QRect row = list->visualRect(m_view->model()->index(1));
        const QPoint inside(row.right() - 40, row.top() + 8);
        const auto fillAt = [&](const QPoint& point) { return list->viewport()->grab().toImage().pixelColor(point); };
        QCOMPARE(fillAt(inside), m_theme->palette().raised);
        QTest::mouseMove(list->viewport(), inside);
        QTRY_COMPARE(fillAt(inside), m_theme->palette().raisedHover); // after the 0.1 s fade
        QTest::mouseMove(list->viewport(), list->visualRect(m_view->model()->index(3)).center());
        QTRY_COMPARE(fillAt(inside), m_theme->palette().raised);
    }

    void bareNOpensTheCreateFlag() {
        m_view->listView()->setFocus(); // even with the list, which searches as you type, focused
        // A shortcut reaches only the active window, as on a desktop.
        m_view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
        QTest::keyClick(m_view.get(), Qt::Key_N);
        QTRY_VERIFY(m_client->state.showCreateTask()); // a button's shortcut clicks it after its press animation
    }

    void theLookFollowsTheTheme() {
        // The window's ground, a row, a chip and the title take each theme's own colours.
        const auto look = [this] {
            const QImage image = m_view->grab().toImage();
            const QRect row = m_view->listView()->visualRect(m_view->model()->index(1));
            const QPoint inRow =
                m_view->listView()->viewport()->mapTo(m_view.get(), QPoint(row.right() - 40, row.top() + 8));
            QPushButton* chip = m_view->dateChips()[1];
            const QPoint inChip = chip->mapTo(m_view.get(), QPoint(4, chip->height() / 2));
            return QList<QColor>{image.pixelColor(image.width() - 5, image.height() - 5), image.pixelColor(inRow),
                                 image.pixelColor(inChip)};
        };
        const auto expected = [](const Palette& p) { return QList<QColor>{p.background, p.raised, p.raised}; };
        QCOMPARE(look(), expected(Palette::darkPalette()));
        m_theme->setPreference(u"light"_s);
        QCOMPARE(look(), expected(Palette::lightPalette()));
        QCOMPARE(m_client->store.text(u"vexo_theme"_s), std::optional<QString>(u"light"_s));
        m_theme->setPreference(u"dark"_s);
        QCOMPARE(look(), expected(Palette::darkPalette()));
    }
};

VEXO_WIDGET_TEST_MAIN_IN_ZONE(tst_TaskListView, "UTC")
#include "tst_TaskListView.moc"
