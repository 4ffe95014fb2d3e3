#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "FolderPicker.h"
#include "KeyTyping.h"
#include "ScriptedServer.h"
#include "TaskDetailView.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "TaskRowDelegate.h"
#include "TaskSearchBar.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QHelpEvent>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QScrollBar>
#include <QToolTip>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

QByteArray task(int id, const QByteArray& title, const char* status = "pending") {
    return "{\"id\":" + QByteArray::number(id) + ",\"title\":\"" + title + "\",\"priority\":\"medium\",\"status\":\"" +
           status + "\",\"created_at\":\"2025-03-01\"}";
}

QByteArray tasks(int count) {
    QList<QByteArray> all;
    for (int id = 1; id <= count; ++id)
        all << task(id, "Задача " + QByteArray::number(id));
    return "{\"tasks\":[" + all.join(',') + "]}";
}

QByteArray answerWith(int id, const char* status) {
    return "{\"task\":" + task(id, "Задача " + QByteArray::number(id), status) + "}";
}

} // namespace

// Driving the list and the task page from the keyboard, with real key events on real widgets
// against a scripted service: every key acts on the current row or the shown task, and none acts
// while a text field has the keyboard.
class tst_TaskKeys final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<TaskListView> m_view;

    QListView* list() const { return m_view->listView(); }
    qint64 currentId() const { return m_view->currentTask() ? m_view->currentTask()->id : -1; }

    void focusList() {
        list()->setFocus(Qt::TabFocusReason);
        QVERIFY(list()->hasFocus());
        QTest::keyClick(list(), Qt::Key_Home);
        QCOMPARE(currentId(), 1);
    }

    std::unique_ptr<TaskDetailView> openPage(int id) {
        m_server.setReplyFor("/api/tasks/" + QByteArray::number(id) + "/attachments",
                             ScriptedReply::json(200, "{\"attachments\":[]}"));
        m_view->hide();
        auto page = std::make_unique<TaskDetailView>(m_client->state, *m_theme);
        m_client->state.setSelectedTask(m_client->state.tasks()[id - 1]);
        page->showTask(*m_client->state.selectedTask());
        page->resize(900, 700);
        page->show();
        page->activateWindow();
        if (!QTest::qWaitForWindowActive(page.get()))
            return nullptr;
        return page;
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
        m_view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
        m_server.enqueue(ScriptedReply::json(200, tasks(40)));
        await(m_client->state.loadTasks());
        m_server.clearRequests();
        m_server.clearReplies();
    }

    void cleanup() {
        m_view.reset();
        m_client.reset();
        m_theme.reset();
    }

    void arrowsHomeEndAndPagesMoveTheCurrentRow() {
        focusList();
        QTest::keyClick(list(), Qt::Key_Down);
        QTest::keyClick(list(), Qt::Key_Down);
        QCOMPARE(currentId(), 3);
        QTest::keyClick(list(), Qt::Key_Up);
        QCOMPARE(currentId(), 2);
        QTest::keyClick(list(), Qt::Key_End);
        QCOMPARE(currentId(), 40);
        QTest::keyClick(list(), Qt::Key_PageUp);
        const qint64 pageUp = currentId();
        QVERIFY2(pageUp > 1 && pageUp < 39, qPrintable(QString::number(pageUp)));
        QTest::keyClick(list(), Qt::Key_PageDown);
        QVERIFY(currentId() > pageUp);
        QTest::keyClick(list(), Qt::Key_Home);
        QCOMPARE(currentId(), 1);
        QVERIFY(m_server.requests().isEmpty());
    }

    // The current row of the focused list carries the ring, in the accent.
    void theCurrentRowShowsTheRing() {
        focusList();
        QTest::keyClick(list(), Qt::Key_Down);
        const auto edge = [this](int row) {
            const QRect item = list()->visualRect(list()->model()->index(row, 0));
            const QRect rowRect =
                item.adjusted(TaskRowDelegate::sideInset, 0, -TaskRowDelegate::sideInset, -TaskRowDelegate::gap);
            return list()->viewport()->grab().toImage().pixelColor(rowRect.left() + 1, rowRect.center().y());
        };
        QCOMPARE(edge(1), m_theme->palette().accent);
        QVERIFY(edge(0) != m_theme->palette().accent);
    }

    void returnOpensTheRow() {
        focusList();
        QTest::keyClick(list(), Qt::Key_Down);
        QTest::keyClick(list(), Qt::Key_Return);
        QCOMPARE(m_client->state.selectedTask()->id, 2);
        QVERIFY(m_server.requests().isEmpty());
    }

    void spaceTogglesTheRow() {
        focusList();
        m_server.enqueue(ScriptedReply::json(200, answerWith(1, "done")));
        QTest::keyClick(list(), Qt::Key_Space);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача выполнена ✓"_s));
        QCOMPARE(m_server.lastRequest().method, QByteArray("PUT"));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/1"));
        QCOMPARE(m_server.lastRequest().jsonBody().value(u"status"_s).toString(), u"done"_s);
        QVERIFY(!m_client->state.selectedTask());
    }

    // The same as the menu's "Удалить": at once, without asking.
    void deleteDeletesTheRow() {
        focusList();
        QTest::keyClick(list(), Qt::Key_Down);
        m_server.enqueue(ScriptedReply::json(200, R"({"success":true})"));
        QTest::keyClick(list(), Qt::Key_Delete);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача удалена"_s));
        QCOMPARE(m_server.lastRequest().method, QByteArray("DELETE"));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/2"));
        QCOMPARE(m_client->state.tasks().size(), 39);
    }

    void ctrlEEditsTheRow() {
        focusList();
        QTest::keyClick(list(), Qt::Key_End);
        QTest::keyClick(list(), Qt::Key_E, Qt::ControlModifier);
        QVERIFY(m_client->state.showEditTask());
        QCOMPARE(m_client->state.editingTask()->id, 40);
    }

    void ctrlMOpensTheFolderPicker() {
        focusList();
        QTest::keyClick(list(), Qt::Key_M, Qt::ControlModifier);
        QVERIFY(m_view->folderPicker());
        QVERIFY(m_view->folderPicker()->isVisible());
        QVERIFY(m_view->folderPicker()->filterField()->hasFocus());
        QTest::keyClick(m_view->folderPicker()->filterField(), Qt::Key_Escape);
        QTRY_VERIFY(!m_view->folderPicker());
    }

    void menuKeysOpenTheRowsMenu_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::newRow("menu key") << int(Qt::Key_Menu) << int(Qt::NoModifier);
        QTest::newRow("shift+F10") << int(Qt::Key_F10) << int(Qt::ShiftModifier);
    }

    void menuKeysOpenTheRowsMenu() {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        focusList();
        QTest::keyClick(list(), Qt::Key_Down);
        QTest::keyClick(list(), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QVERIFY(menu);
        QStringList texts;
        for (QAction* action : menu->actions())
            texts << (action->isSeparator() ? u"—"_s : action->text());
        QCOMPARE(texts, (QStringList{u"Открыть"_s, u"Отметить выполненной"_s, u"Редактировать"_s,
                                     u"Отправить в Telegram"_s, u"—"_s, u"Архивировать"_s, u"Удалить"_s}));
        menu->actions().first()->trigger(); // the menu is this row's
        QCOMPARE(m_client->state.selectedTask()->id, 2);
        menu->close();
    }

    // In a text field, "n", a space or Delete only edit the field: no new task, no toggle, no deletion.
    void noKeyActsInsideATextField_data() {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<int>("special");
        QTest::addColumn<QString>("text");
        QTest::newRow("n") << u"n"_s << 0 << u"абn"_s;
        QTest::newRow("space") << u" "_s << 0 << u"аб "_s;
        QTest::newRow("delete") << QString() << int(Qt::Key_Delete) << u"б"_s;
        QTest::newRow("ctrl+e") << QString() << int(Qt::Key_E) << u"аб"_s;
    }

    void noKeyActsInsideATextField() {
        QFETCH(QString, keys);
        QFETCH(int, special);
        QFETCH(QString, text);
        focusList(); // a current row the keys would act on
        QTest::keyClick(m_view.get(), Qt::Key_F, Qt::ControlModifier);
        QLineEdit* field = m_view->searchBar()->field();
        QVERIFY(field->hasFocus());
        m_view->searchBar()->field()->setText(u"аб"_s);
        if (special == Qt::Key_Delete) {
            field->setCursorPosition(0);
            QTest::keyClick(field, Qt::Key_Delete);
        } else if (special == Qt::Key_E) {
            QTest::keyClick(field, Qt::Key_E, Qt::ControlModifier);
        } else {
            typeText(field, keys);
        }
        QCOMPARE(field->text(), text);
        QTest::qWait(250); // longer than a button's shortcut animation
        QVERIFY(!m_client->state.showCreateTask());
        QVERIFY(!m_client->state.showEditTask());
        QVERIFY(!m_client->state.selectedTask());
        QCOMPARE(m_client->state.tasks().size(), 40);
        QVERIFY(m_server.requests().isEmpty());
    }

    // Another sidebar selection opens its list at the top.
    void anotherSelectionOpensAtTheTop() {
        list()->verticalScrollBar()->setValue(list()->verticalScrollBar()->maximum());
        QVERIFY(list()->verticalScrollBar()->value() > 0);
        ScriptedReply same = ScriptedReply::json(200, tasks(40));
        same.delayMs = 100;
        m_server.enqueue(same);
        m_client->state.selectSidebarItem(SidebarItem::pending());
        QTRY_VERIFY(!m_client->state.isLoadingTasks());
        QCOMPARE(m_view->contentState(), u"list"_s);
        QCOMPARE(list()->verticalScrollBar()->value(), 0);
    }

    // A title the row cuts shows whole as a tooltip; one that fits has none.
    void aCutTitleShowsWholeAsATooltip() {
        const QByteArray longTitle = "Очень длинное название задачи, которое никак не поместится в одну строку списка, "
                                     "сколько бы места ни было у окна на этом экране";
        m_server.enqueue(
            ScriptedReply::json(200, "{\"tasks\":[" + task(1, longTitle) + "," + task(2, "Коротко") + "]}"));
        await(m_client->state.loadTasks());
        const auto tipAt = [this](int row) {
            const QPoint at = list()->visualRect(list()->model()->index(row, 0)).topLeft() + QPoint(80, 20);
            QHelpEvent help(QEvent::ToolTip, at, list()->viewport()->mapToGlobal(at));
            QApplication::sendEvent(list()->viewport(), &help);
            return QToolTip::isVisible() ? QToolTip::text() : QString();
        };
        QTRY_COMPARE(tipAt(0), QString::fromUtf8(longTitle));
        QVERIFY(TaskRowDelegate::titleIsCut(
            QString::fromUtf8(longTitle),
            TaskRowDelegate::titleRect(list()->visualRect(list()->model()->index(0, 0))).width()));
        QTRY_COMPARE(tipAt(1), QString());
    }

    // Back from the page, the task that was open is the current row again.
    void backFromThePageKeepsTheRow() {
        focusList();
        QTest::keyClick(list(), Qt::Key_Down);
        QTest::keyClick(list(), Qt::Key_Down);
        QTest::keyClick(list(), Qt::Key_Return);
        QCOMPARE(m_client->state.selectedTask()->id, 3);
        m_view->hide();
        QTest::keyClick(list(), Qt::Key_Home); // the hidden list hears nothing
        m_client->state.setSelectedTask(std::nullopt);
        m_view->show();
        QCOMPARE(currentId(), 3);
    }

    void pageKeysGoBack_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::newRow("esc") << int(Qt::Key_Escape) << int(Qt::NoModifier);
        QTest::newRow("backspace") << int(Qt::Key_Backspace) << int(Qt::NoModifier);
        QTest::newRow("alt+left") << int(Qt::Key_Left) << int(Qt::AltModifier);
    }

    void pageKeysGoBack() {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        auto page = openPage(5);
        QVERIFY(page);
        QVERIFY(page->hasFocus()); // the page takes the keyboard as it opens
        QTest::keyClick(page.get(), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QVERIFY(!m_client->state.selectedTask());
    }

    void pageKeysActOnTheShownTask() {
        auto page = openPage(5);
        QVERIFY(page);
        m_server.enqueue(ScriptedReply::json(200, answerWith(5, "done")));
        QTest::keyClick(page.get(), Qt::Key_Space);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача выполнена ✓"_s));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/5"));
        QCOMPARE(m_server.lastRequest().jsonBody().value(u"status"_s).toString(), u"done"_s);

        QTest::keyClick(page.get(), Qt::Key_E, Qt::ControlModifier);
        QVERIFY(m_client->state.showEditTask());
        QCOMPARE(m_client->state.editingTask()->id, 5);

        QTest::keyClick(page.get(), Qt::Key_M, Qt::ControlModifier);
        QVERIFY(page->folderPicker());
        page->folderPicker()->close();

        m_server.enqueue(ScriptedReply::json(200, R"({"success":true})"));
        QTest::keyClick(page.get(), Qt::Key_Delete);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Задача удалена"_s));
        QCOMPARE(m_server.lastRequest().method, QByteArray("DELETE"));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/5"));
        QVERIFY(!m_client->state.selectedTask());
    }

    // Space on a focused button presses that button; it is not taken for the page's toggle.
    void spaceOnAFocusedButtonPressesIt() {
        auto page = openPage(5);
        QVERIFY(page);
        VexoButton* send = page->actionButton(u"Отправить в Telegram"_s);
        for (int i = 0; i < 30 && !send->hasFocus(); ++i)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QVERIFY(send->hasFocus());
        m_server.enqueue(ScriptedReply::json(200, R"({"success":true})"));
        QTest::keyClick(send, Qt::Key_Space);
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Отправлено в Telegram"_s));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/5/send-to-bot"));
    }
};

VEXO_WIDGET_TEST_MAIN(tst_TaskKeys)
#include "tst_TaskKeys.moc"
