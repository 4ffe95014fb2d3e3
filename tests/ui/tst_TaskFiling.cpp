#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "FolderPicker.h"
#include "KeyTyping.h"
#include "ScriptedServer.h"
#include "SidebarView.h"
#include "TaskDetailView.h"
#include "TaskFiling.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "Theme.h"
#include "WidgetTest.h"

#include <QDrag>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

QByteArray task(int id, const QByteArray& extra = {}) {
    return "{\"id\":" + QByteArray::number(id) + ",\"title\":\"Задача " + QByteArray::number(id) +
           "\",\"priority\":\"medium\",\"status\":\"pending\",\"created_at\":\"2025-03-01\"" + extra + "}";
}

QByteArray movedAnswer(int id, int folderId) {
    return "{\"task\":" + task(id, ",\"folder_id\":" + QByteArray::number(folderId)) + "}";
}

const QByteArray folders = R"({"folders":[{"id":1,"name":"Дом","color":"#4ECDC4"},)"
                           R"({"id":2,"name":"Работа","color":"#FF6B6B"},{"id":3,"name":"Ёлки","color":"#45B7D1"}]})";

} // namespace

// Putting tasks into folders on real widgets against a scripted service: a row or the task page's
// title dragged onto a sidebar folder, and the keyboard's folder picker. What goes over the wire is
// exactly the update with "folderId"; the toast says where the task went, or why it did not.
class tst_TaskFiling final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<SidebarView> m_sidebar;
    std::unique_ptr<TaskListView> m_view;

    QPushButton* folder(qint64 id) const { return m_sidebar->folderButton(id); }

    // A drag carrying `data` enters, moves over, leaves or is dropped on a widget, as the drag
    // machinery delivers it (moves and drops go to the widget that took the drag as it entered);
    // returns whether the widget took it.
    static bool dragOver(QWidget* target, const QMimeData* data, QEvent::Type type) {
        const QPoint centre = target->rect().center();
        if (type == QEvent::DragEnter) {
            QDragEnterEvent enter(centre, Qt::MoveAction, data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(target, &enter);
            return enter.isAccepted();
        }
        if (type == QEvent::DragMove) {
            QDragMoveEvent move(centre, Qt::MoveAction, data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(target, &move);
            return move.isAccepted();
        }
        if (type == QEvent::DragLeave) {
            QDragLeaveEvent leave;
            QApplication::sendEvent(target, &leave);
            return true;
        }
        QDropEvent drop(QPointF(centre), Qt::MoveAction, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &drop);
        return drop.isAccepted();
    }

    // The mime data the list hands a drag of the row showing this task.
    std::unique_ptr<QMimeData> rowData(qint64 id) const {
        QAbstractItemModel* model = m_view->listView()->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            const QModelIndex index = model->index(row, 0);
            if (index.data(TaskListModel::IdRole).toLongLong() == id)
                return std::unique_ptr<QMimeData>(model->mimeData({index}));
        }
        return nullptr;
    }

    static int accentPixels(QWidget* widget, const QColor& accent) {
        const QImage look = widget->grab().toImage();
        int count = 0;
        for (int y = 0; y < look.height(); ++y) {
            for (int x = 0; x < look.width(); ++x)
                count += look.pixelColor(x, y) == accent ? 1 : 0;
        }
        return count;
    }

    void expectMove(qint64 taskId, qint64 folderId, const QString& name) {
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Перемещено в «"_s + name + u"»"_s));
        QCOMPARE(m_server.requests().size(), 1);
        QCOMPARE(m_server.lastRequest().method, QByteArray("PUT"));
        QCOMPARE(m_server.lastRequest().target, "/api/tasks/" + QByteArray::number(taskId));
        QCOMPARE(m_server.lastRequest().jsonBody(), (QJsonObject{{u"folderId"_s, folderId}}));
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_server.clearReplies();
        m_server.clearRequests();
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_theme->apply();
        m_sidebar = std::make_unique<SidebarView>(m_client->state, *m_theme);
        m_sidebar->resize(260, 700);
        m_sidebar->show();
        m_view = std::make_unique<TaskListView>(m_client->state, *m_theme);
        m_view->resize(900, 700);
        m_view->show();
        m_view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
        m_server.enqueue(ScriptedReply::json(200, folders));
        await(m_client->state.loadFolders());
        m_server.enqueue(ScriptedReply::json(200, "{\"tasks\":[" + task(1) + "," + task(2) + "," +
                                                      task(3, ",\"folder_id\":2") + "]}"));
        await(m_client->state.loadTasks());
        QCOMPARE(m_sidebar->folderButtons().size(), 3);
        m_server.clearRequests();
        m_server.clearReplies();
    }

    void cleanup() {
        m_view.reset();
        m_sidebar.reset();
        m_client.reset();
        m_theme.reset();
    }

    // A row pressed and pulled starts a drag that carries its task.
    void aPulledRowIsDraggedWithItsTask() {
        QListView* list = m_view->listView();
        const QRect row = list->visualRect(list->model()->index(1, 0));
        const QPoint at(row.center().x(), row.top() + 20);
        QTest::mousePress(list->viewport(), Qt::LeftButton, {}, at);
        QMouseEvent move(QEvent::MouseMove, QPointF(at + QPoint(30, 0)), list->viewport()->mapToGlobal(QPointF(at)),
                         Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(list->viewport(), &move);
        const QList<QDrag*> drags = list->findChildren<QDrag*>();
        QCOMPARE(drags.size(), 1);
        QCOMPARE(TaskFiling::draggedTask(drags.first()->mimeData()), std::optional<qint64>(2));
        QVERIFY(!drags.first()->pixmap().isNull());
        QTest::mouseRelease(list->viewport(), Qt::LeftButton, {}, at + QPoint(30, 0));
        QVERIFY(m_server.requests().isEmpty());
    }

    // The folder under the pointer lights up, and only that one.
    void theFolderUnderTheDragLightsUp() {
        const auto data = rowData(1);
        QVERIFY(data);
        const QColor accent = m_theme->palette().accent;
        const int plain = accentPixels(folder(2), accent);
        QVERIFY(dragOver(folder(2), data.get(), QEvent::DragEnter));
        QCOMPARE(m_sidebar->dropTarget(), folder(2));
        QVERIFY2(accentPixels(folder(2), accent) > plain + 100, "the dashed accent outline");
        QVERIFY(dragOver(folder(2), data.get(), QEvent::DragMove));
        QCOMPARE(m_sidebar->dropTarget(), folder(2));
        // On to the next folder: the first one goes dark.
        dragOver(folder(2), data.get(), QEvent::DragLeave);
        QVERIFY(dragOver(folder(1), data.get(), QEvent::DragEnter));
        QCOMPARE(m_sidebar->dropTarget(), folder(1));
        QCOMPARE(accentPixels(folder(2), accent), plain);
        dragOver(folder(1), data.get(), QEvent::DragLeave);
        QVERIFY(!m_sidebar->dropTarget());
        QVERIFY(m_server.requests().isEmpty());
    }

    void droppingMovesTheTask() {
        const auto data = rowData(2);
        QVERIFY(dragOver(folder(2), data.get(), QEvent::DragEnter));
        m_server.enqueue(ScriptedReply::json(200, movedAnswer(2, 2)));
        QVERIFY(dragOver(folder(2), data.get(), QEvent::Drop));
        QVERIFY(!m_sidebar->dropTarget());
        expectMove(2, 2, u"Работа"_s);
        QCOMPARE(m_client->state.tasks()[1].folderId, std::optional<qint64>(2));
    }

    void aFailedMoveShowsTheUpdateError() {
        const auto data = rowData(1);
        m_server.enqueue(ScriptedReply::json(500, R"({"error":"Папка недоступна"})"));
        QVERIFY(dragOver(folder(1), data.get(), QEvent::DragEnter));
        QVERIFY(dragOver(folder(1), data.get(), QEvent::Drop));
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Ошибка обновления: Папка недоступна"_s));
        QCOMPARE(m_server.lastRequest().jsonBody(), (QJsonObject{{u"folderId"_s, 1}}));
        QVERIFY(!m_client->state.tasks()[0].folderId);
        QTest::qWait(200);
        QCOMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Ошибка обновления: Папка недоступна"_s));
    }

    // The folder on screen and the task's own take nothing: no highlight, no request.
    void theFolderItIsInTakesNothing_data() {
        QTest::addColumn<int>("shownFolder");
        QTest::addColumn<int>("taskId");
        QTest::addColumn<int>("target");
        QTest::newRow("the folder on screen") << 1 << 1 << 1;
        QTest::newRow("the task's own folder") << 0 << 3 << 2;
    }

    void theFolderItIsInTakesNothing() {
        QFETCH(int, shownFolder);
        QFETCH(int, taskId);
        QFETCH(int, target);
        if (shownFolder) {
            m_server.enqueue(ScriptedReply::json(200, "{\"tasks\":[" + task(1, ",\"folder_id\":1") + "]}"));
            m_client->state.selectSidebarItem(SidebarItem::folder(shownFolder));
            QTRY_VERIFY(!m_client->state.isLoadingTasks());
            m_server.clearRequests();
        }
        const auto data = rowData(taskId);
        QVERIFY(data);
        QVERIFY(!dragOver(folder(target), data.get(), QEvent::DragEnter));
        QVERIFY(!m_sidebar->dropTarget());
        QVERIFY(!dragOver(folder(target), data.get(), QEvent::Drop));
        QTest::qWait(100);
        QVERIFY(m_server.requests().isEmpty());
        QVERIFY(!m_client->state.toastMessage());
    }

    // The task page's title is a handle for the task shown, whatever the list holds.
    void thePageTitleDragsTheShownTask() {
        m_server.setReplyFor("/api/tasks/9/attachments", ScriptedReply::json(200, "{\"attachments\":[]}"));
        VexoTask shown = m_client->state.tasks()[0];
        shown.id = 9; // not in the loaded list
        m_client->state.setSelectedTask(shown);
        TaskDetailView page(m_client->state, *m_theme);
        page.showTask(shown);
        page.resize(900, 700);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        QLabel* title = page.titleLabel();
        QTest::mousePress(title, Qt::LeftButton, {}, QPoint(5, 5));
        QMouseEvent move(QEvent::MouseMove, QPointF(40, 5), title->mapToGlobal(QPointF(40, 5)), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(title, &move);
        const QList<QDrag*> drags = title->findChildren<QDrag*>();
        QCOMPARE(drags.size(), 1);
        QCOMPARE(TaskFiling::draggedTask(drags.first()->mimeData()), std::optional<qint64>(9));
        QTest::mouseRelease(title, Qt::LeftButton, {}, QPoint(40, 5));
        m_server.clearRequests();

        m_server.enqueue(ScriptedReply::json(200, "{\"task\":" + task(9, ",\"folder_id\":3") + "}"));
        QVERIFY(dragOver(folder(3), drags.first()->mimeData(), QEvent::DragEnter));
        QVERIFY(dragOver(folder(3), drags.first()->mimeData(), QEvent::Drop));
        QTRY_COMPARE(m_client->state.toastMessage(), std::optional<QString>(u"Перемещено в «Ёлки»"_s));
        QCOMPARE(m_server.lastRequest().target, QByteArray("/api/tasks/9"));
        QCOMPARE(m_client->state.selectedTask()->folderId, std::optional<qint64>(3));
    }

    // Ctrl+M: the folders under a filter field; typing narrows them (any case, ё as е), Return moves.
    void thePickerFiltersAndMoves_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<int>("folderId");
        QTest::addColumn<QString>("name");
        QTest::newRow("nothing typed") << QString() << QStringList{u"Дом"_s, u"Работа"_s, u"Ёлки"_s} << 1 << u"Дом"_s;
        QTest::newRow("any case") << u"РАБ"_s << QStringList{u"Работа"_s} << 2 << u"Работа"_s;
        QTest::newRow("е finds ё") << u"елк"_s << QStringList{u"Ёлки"_s} << 3 << u"Ёлки"_s;
    }

    void thePickerFiltersAndMoves() {
        QFETCH(QString, typed);
        QFETCH(QStringList, shown);
        QFETCH(int, folderId);
        QFETCH(QString, name);
        QListView* list = m_view->listView();
        list->setFocus(Qt::TabFocusReason);
        QTest::keyClick(list, Qt::Key_Home);
        QTest::keyClick(list, Qt::Key_M, Qt::ControlModifier);
        FolderPicker* picker = m_view->folderPicker();
        QVERIFY(picker);
        QVERIFY(picker->filterField()->hasFocus());
        typeText(picker->filterField(), typed);
        QCOMPARE(picker->shownFolders(), shown);
        QCOMPARE(picker->currentFolder(), name);
        m_server.enqueue(ScriptedReply::json(200, movedAnswer(1, folderId)));
        QTest::keyClick(picker->filterField(), Qt::Key_Return);
        QTRY_VERIFY(!m_view->folderPicker());
        expectMove(1, folderId, name);
    }

    // Up and Down pass over the folder the task is in; it is listed, but cannot be chosen.
    void thePickerSkipsTheTasksOwnFolder() {
        QListView* list = m_view->listView();
        list->setFocus(Qt::TabFocusReason);
        QTest::keyClick(list, Qt::Key_End); // task 3, in "Работа"
        QTest::keyClick(list, Qt::Key_M, Qt::ControlModifier);
        FolderPicker* picker = m_view->folderPicker();
        QVERIFY(picker);
        QCOMPARE(picker->shownFolders(), (QStringList{u"Дом"_s, u"Работа (здесь)"_s, u"Ёлки"_s}));
        QCOMPARE(picker->currentFolder(), u"Дом"_s);
        QTest::keyClick(picker->filterField(), Qt::Key_Down);
        QCOMPARE(picker->currentFolder(), u"Ёлки"_s);
        QTest::keyClick(picker->filterField(), Qt::Key_Up);
        QCOMPARE(picker->currentFolder(), u"Дом"_s);

        // Only the task's own folder left: Return does nothing; a click on it neither.
        typeText(picker->filterField(), u"раб"_s);
        QCOMPARE(picker->shownFolders(), (QStringList{u"Работа (здесь)"_s}));
        QCOMPARE(picker->currentFolder(), QString());
        QTest::keyClick(picker->filterField(), Qt::Key_Return);
        const QRect item = picker->list()->visualItemRect(picker->list()->item(1));
        QTest::mouseClick(picker->list()->viewport(), Qt::LeftButton, {}, item.center());
        QTest::qWait(100);
        QVERIFY(m_server.requests().isEmpty());
        QVERIFY(m_view->folderPicker());

        // Esc closes it, sending nothing.
        QTest::keyClick(picker->filterField(), Qt::Key_Escape);
        QTRY_VERIFY(!m_view->folderPicker());
        QVERIFY(m_server.requests().isEmpty());
    }

    // The picker opened on the folder the list shows marks that folder as where the task is.
    void thePickerMarksTheFolderOnScreen() {
        m_server.enqueue(ScriptedReply::json(200, "{\"tasks\":[" + task(3, ",\"folder_id\":2") + "]}"));
        m_client->state.selectSidebarItem(SidebarItem::folder(2));
        QTRY_VERIFY(!m_client->state.isLoadingTasks());
        QVERIFY(!TaskFiling::moveTask(m_client->state, 3, 2));
        QListView* list = m_view->listView();
        list->setFocus(Qt::TabFocusReason);
        QTest::keyClick(list, Qt::Key_Home);
        QTest::keyClick(list, Qt::Key_M, Qt::ControlModifier);
        QVERIFY(m_view->folderPicker());
        QCOMPARE(m_view->folderPicker()->shownFolders(), (QStringList{u"Дом"_s, u"Работа (здесь)"_s, u"Ёлки"_s}));
        m_view->folderPicker()->close();
    }
};

VEXO_WIDGET_TEST_MAIN(tst_TaskFiling)
#include "tst_TaskFiling.moc"
