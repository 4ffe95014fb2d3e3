#include "APIKeyView.h"
#include "AppState.h"
#include "ChipButton.h"
#include "ClientRig.h"
#include "ContentView.h"
#include "CreateTaskView.h"
#include "MainView.h"
#include "ScriptedServer.h"
#include "SettingsView.h"
#include "SidebarView.h"
#include "StatsView.h"
#include "TaskDetailView.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "Theme.h"
#include "WidgetTest.h"

#include <QAbstractButton>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPointer>
#include <QToolButton>

using namespace Qt::StringLiterals;

namespace {

QByteArray task(int id, const char* status) {
    return "{\"id\":" + QByteArray::number(id) + ",\"title\":\"Задача " + QByteArray::number(id) +
           "\",\"priority\":\"high\",\"status\":\"" + status + "\",\"created_at\":\"2025-03-01\"}";
}

QSet<QRgb> coloursOf(const Palette& palette) {
    QSet<QRgb> colours;
    for (int role = 0; role <= int(Palette::Role::border); ++role)
        colours << palette.color(Palette::Role(role)).rgba();
    return colours;
}

} // namespace

// The whole window's look: one style per theme that every screen follows, one chip, and hover that
// never outlives a menu or a sheet.
class tst_TheLook final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<ContentView> m_window;

    MainView* main() const { return m_window->mainView(); }

    // Every text on screen in the window and its open sheets, with the colour it is drawn in.
    QStringList strayTexts(const Palette& palette) const {
        const QSet<QRgb> allowed = coloursOf(palette);
        QStringList stray;
        QList<QWidget*> windows{m_window.get()};
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (top != m_window.get() && top->isVisible())
                windows << top;
        }
        for (QWidget* window : std::as_const(windows)) {
            for (QWidget* widget : window->findChildren<QWidget*>()) {
                if (!widget->isVisible())
                    continue;
                QString text;
                if (auto* label = qobject_cast<QLabel*>(widget))
                    text = label->text();
                else if (auto* button = qobject_cast<QAbstractButton*>(widget))
                    text = button->text();
                if (text.isEmpty())
                    continue;
                const QColor colour = widget->palette().color(widget->foregroundRole());
                if (!allowed.contains(colour.rgba()))
                    stray << text + u": "_s + colour.name();
            }
        }
        return stray;
    }

    QColor rowFill(int row) const {
        QListView* list = main()->taskList()->listView();
        const QRect rect = list->visualRect(main()->taskList()->model()->index(row));
        return list->viewport()->grab().toImage().pixelColor(rect.right() - 40, rect.top() + 8);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_server.listen());
        m_server.setReplyFor(
            "/api/tasks", ScriptedReply::json(200, "{\"tasks\":[" + task(1, "pending") + "," + task(2, "done") + "]}"));
        m_server.setReplyFor("/api/folders", ScriptedReply::json(200, R"({"folders":[]})"));
        m_server.setReplyFor("/api/user/settings", ScriptedReply::json(200, R"({"auto_send_bot":true})"));
        m_server.setReplyFor("/api/user/apikey", ScriptedReply::json(200, R"({"api_key":"vexoapi-K"})"));
        m_server.setReplyFor("/api/user/stats",
                             ScriptedReply::json(200, R"({"range":"week","totals":{"created":1,"completed":0},)"
                                                      R"("daily":{"created":[],"completed":[]},"priority":[]})"));
        m_server.setReplyFor("/api/tasks/1/attachments", ScriptedReply::json(200, R"({"attachments":[]})"));
    }

    void init() {
        m_client = std::make_unique<ClientRig>(m_server.baseUrl(), m_clock, u"t"_s);
        m_theme = std::make_unique<Theme>(m_client->store);
        m_theme->apply();
        m_window = std::make_unique<ContentView>(m_client->state, *m_theme);
        m_window->resize(1100, 720);
        m_window->show();
        QTRY_COMPARE(m_client->state.tasks().size(), 2);
        QTRY_COMPARE(main()->taskList()->contentState(), u"list"_s);
    }

    void cleanup() {
        m_window.reset();
        m_client.reset();
        m_theme.reset();
    }

    // Each screen and sheet, in the dark theme and then the light one: every text is in a colour
    // of the theme on show.
    void aThemeSwitchRestylesEverything_data() {
        QTest::addColumn<QString>("screen");
        for (const char* screen : {"list", "task", "stats", "wizard", "edit", "settings", "key", "folder"})
            QTest::newRow(screen) << QString::fromLatin1(screen);
    }

    void aThemeSwitchRestylesEverything() {
        QFETCH(QString, screen);
        AppState& state = m_client->state;
        if (screen == u"task")
            state.setSelectedTask(state.tasks().first());
        else if (screen == u"stats")
            state.selectSidebarItem(SidebarItem::stats());
        else if (screen == u"wizard")
            state.setShowCreateTask(true);
        else if (screen == u"edit") {
            state.setEditingTask(state.tasks().first());
            state.setShowEditTask(true);
        } else if (screen == u"settings")
            state.setShowSettings(true);
        else if (screen == u"key")
            state.setShowApiKey(true);
        else if (screen == u"folder")
            state.setShowNewFolder(true);
        QTest::qWait(100);
        // The look comes from the application's one style: no widget carries a style of its own.
        QStringList ownStyles;
        for (QWidget* top : QApplication::topLevelWidgets()) {
            for (QWidget* widget : top->findChildren<QWidget*>()) {
                // The description view is styled by its own document; it is reworked elsewhere.
                if (!widget->styleSheet().isEmpty())
                    ownStyles << QString::fromLatin1(widget->metaObject()->className()) + u": "_s +
                                     widget->styleSheet();
            }
        }
        QCOMPARE(ownStyles, QStringList());
        QCOMPARE(strayTexts(Palette::darkPalette()), QStringList());
        m_theme->setPreference(u"light"_s);
        QCOMPARE(strayTexts(Palette::lightPalette()), QStringList());
        m_theme->setPreference(u"dark"_s);
        QCOMPARE(strayTexts(Palette::darkPalette()), QStringList());
    }

    // The deadline filters, the wizard's quick dates, the theme choice and the statistics range are
    // one chip: the raised surface, or the accent when chosen, 12 pt.
    void chipsShareOneLook() {
        QList<ChipButton*> chips = main()->findChildren<ChipButton*>();
        m_client->state.setShowCreateTask(true);
        auto* wizard = main()->openSheet(MainView::Sheet::createTask)->findChild<CreateTaskView*>();
        wizard->titleField()->setText(u"x"_s);
        wizard->goToStep(3);
        chips << wizard->findChildren<ChipButton*>();
        m_client->state.setShowSettings(true);
        chips << main()->openSheet(MainView::Sheet::settings)->findChildren<ChipButton*>();
        main()->stats()->show();
        QVERIFY(chips.size() >= 4 + 4 + 3 + 2);
        for (const QString& theme : {u"dark"_s, u"light"_s}) {
            m_theme->setPreference(theme);
            const Palette& p = m_theme->palette();
            for (ChipButton* chip : std::as_const(chips)) {
                const QImage look = chip->grab().toImage();
                const QColor ground = look.pixelColor(4, look.height() / 2);
                QCOMPARE(ground, chip->isChecked() ? p.accent : p.raised);
                QCOMPARE(chip->font().pixelSize(), 12);
            }
        }
        m_theme->setPreference(u"dark"_s);
    }

    // Some window systems tell a window nothing while a menu or a sheet has the pointer, so what was
    // lit under it stays lit. Both are lit that way here while the menu or the sheet is up; once it
    // has gone, nothing in the window may still look hovered.
    void noHoverOutlivesAMenuOrASheet_data() {
        QTest::addColumn<bool>("menu");
        QTest::newRow("context menu") << true;
        QTest::newRow("sheet") << false;
    }

    void noHoverOutlivesAMenuOrASheet() {
        QFETCH(bool, menu);
        QListView* list = main()->taskList()->listView();
        const QRect row = list->visualRect(main()->taskList()->model()->index(0));
        QPushButton* item = main()->sidebar()->itemButton(u"Статистика"_s);
        const auto itemFill = [item] { return item->grab().toImage().pixelColor(item->width() - 10, 4); };
        // The pointer rests where nothing reacts to it: the list's title.
        QTest::mouseMove(m_window.get(), main()->taskList()->mapTo(m_window.get(), QPoint(30, 30)));

        QPointer<QWidget> popup;
        if (menu) {
            QMenu* rowMenu = main()->taskList()->contextMenuFor(m_client->state.tasks().first(), list);
            rowMenu->setAttribute(Qt::WA_DeleteOnClose);
            rowMenu->popup(m_window->mapToGlobal(QPoint(m_window->width() - 260, m_window->height() - 260)));
            popup = rowMenu;
        } else {
            m_client->state.setShowCreateTask(true);
            popup = main()->openSheet(MainView::Sheet::createTask);
        }
        QVERIFY(popup);
        QVERIFY(QTest::qWaitForWindowExposed(popup));

        // Lit behind the menu or the sheet, as a window system that lost the leave would leave them.
        QHoverEvent onRow(QEvent::HoverMove, QPointF(row.right() - 40, row.top() + 8),
                          list->viewport()->mapToGlobal(QPointF(row.right() - 40, row.top() + 8)), QPointF(-1, -1));
        QCoreApplication::sendEvent(list->viewport(), &onRow);
        item->setAttribute(Qt::WA_UnderMouse, true);
        item->update();
        QTRY_COMPARE(rowFill(0), m_theme->palette().raisedHover);
        QVERIFY(item->underMouse());

        if (menu)
            popup->close();
        else
            m_client->state.setShowCreateTask(false);
        QTRY_VERIFY(!popup || !popup->isVisible());
        QTRY_COMPARE(rowFill(0), m_theme->palette().raised);
        QVERIFY(!item->underMouse());
        QCOMPARE(itemFill().alpha(), 0); // not the hover colour: no ground of its own at all
    }
};

VEXO_WIDGET_TEST_MAIN(tst_TheLook)
#include "tst_TheLook.moc"
