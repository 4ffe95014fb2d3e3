#include "CreateTaskView.h"
#include "FolderEditView.h"
#include "MiniCalendar.h"
#include "RefreshButton.h"
#include "SidebarView.h"
#include "SignedInWindow.h"
#include "TaskSearchBar.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QDialog>
#include <QLineEdit>
#include <QListView>
#include <QMap>
#include <QPushButton>
#include <QToolButton>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// Relative luminance and contrast ratio as the accessibility guidelines define them.
double luminance(const QColor& colour) {
    const auto channel = [](double c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
    return 0.2126 * channel(colour.redF()) + 0.7152 * channel(colour.greenF()) + 0.0722 * channel(colour.blueF());
}

double contrast(const QColor& a, const QColor& b) {
    const double la = luminance(a), lb = luminance(b);
    return (qMax(la, lb) + 0.05) / (qMin(la, lb) + 0.05);
}

// What focus changed in a control: the pixels that now stand out at 3:1 or more from what was
// there before, how many there are, and how thick they lie across the middle of each side.
struct Ring {
    int pixels = 0;
    int perimeter = 0;
    QMap<QString, int> thickness; // "top", "bottom", "left", "right"
};

Ring ringBetween(const QImage& unfocused, const QImage& focused) {
    Ring ring;
    const int w = focused.width(), h = focused.height();
    ring.perimeter = 2 * (w + h);
    const auto changed = [&](int x, int y) {
        return contrast(unfocused.pixelColor(x, y), focused.pixelColor(x, y)) >= 3.0;
    };
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x)
            ring.pixels += changed(x, y) ? 1 : 0;
    }
    // Across each side, in the side's middle third, within a quarter of the control from the edge:
    // the thickest run of changed pixels.
    const auto across = [&](bool horizontal, bool nearEnd) {
        const int along = horizontal ? w : h, depth = (horizontal ? h : w) / 4;
        int thickest = 0;
        for (int a = along / 3; a < along - along / 3; ++a) {
            int run = 0;
            for (int d = 0; d < depth; ++d) {
                const int inward = nearEnd ? (horizontal ? h : w) - 1 - d : d;
                const bool hit = horizontal ? changed(a, inward) : changed(inward, a);
                run = hit ? run + 1 : 0;
                thickest = qMax(thickest, run);
            }
        }
        return thickest;
    };
    ring.thickness[u"top"_s] = across(true, false);
    ring.thickness[u"bottom"_s] = across(true, true);
    ring.thickness[u"left"_s] = across(false, false);
    ring.thickness[u"right"_s] = across(false, true);
    return ring;
}

// The control as it shows in its window, with the ground behind it.
QImage shot(QWidget* control, const QRect& area) {
    QWidget* window = control->window();
    const QRect inWindow(control->mapTo(window, area.topLeft()), area.size());
    return window->grab(inWindow).toImage().convertToFormat(QImage::Format_RGB32);
}

// Gives the control the keyboard the way a user does: focus on the Tab stop before it, then Tab.
bool tabInto(QWidget* control) {
    QWidget* before = control->previousInFocusChain();
    while (before != control) {
        if ((before->focusPolicy() & Qt::TabFocus) && before->window() == control->window() &&
            before->isVisibleTo(control->window()) && before->isEnabled())
            break;
        before = before->previousInFocusChain();
    }
    if (before == control)
        return false;
    before->setFocus(Qt::OtherFocusReason);
    QTest::keyClick(before, Qt::Key_Tab);
    return QApplication::focusWidget() == control;
}

} // namespace

// Every control the keyboard reaches shows where the keyboard is: a ring along its edge that stands
// out at 3:1 or more from what it covers, in the dark and in the light theme.
class tst_FocusRings final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    std::unique_ptr<SignedInWindow> m_window;

    MainView* main() const { return m_window->main(); }

    QWidget* openSheet(MainView::Sheet sheet) {
        AppState& state = m_window->client->state;
        if (sheet == MainView::Sheet::createTask)
            state.setShowCreateTask(true);
        else
            state.setShowNewFolder(true);
        QDialog* dialog = main()->openSheet(sheet);
        if (dialog)
            (void)QTest::qWaitForWindowExposed(dialog);
        return dialog;
    }

    CreateTaskView* wizardOnDeadline() {
        auto* wizard = openSheet(MainView::Sheet::createTask)->findChild<CreateTaskView*>();
        wizard->titleField()->setText(u"Купить хлеб"_s);
        wizard->goToStep(3);
        return wizard;
    }

    // The control a row names, with the screen or sheet it is on opened.
    QWidget* control(const QString& name) {
        TaskListView* list = main()->taskList();
        SidebarView* sidebar = main()->sidebar();
        if (name == u"primary button")
            return list->newTaskButton();
        if (name == u"refresh button")
            return list->refreshButton();
        if (name == u"search button")
            return list->searchBar()->findChild<QPushButton*>();
        if (name == u"search field") {
            list->searchBar()->open();
            list->searchBar()->findChild<QLineEdit*>()->setText(u"мол"_s);
            return list->searchBar()->findChild<QLineEdit*>();
        }
        if (name == u"filter chip")
            return list->dateChips().at(1);
        if (name == u"chosen filter chip")
            return list->dateChips().at(0);
        if (name == u"priority filter")
            return list->priorityButton();
        if (name == u"list row")
            return list->listView();
        if (name == u"sidebar item")
            return sidebar->itemButton(u"Статистика"_s);
        if (name == u"chosen sidebar item")
            return sidebar->itemButton(u"Все задачи"_s);
        if (name == u"sidebar folder")
            return sidebar->folderButton(7);
        if (name == u"new folder button")
            return sidebar->newFolderButton();
        if (name == u"secondary button" || name == u"swatch" || name == u"chosen swatch" ||
            name == u"folder name field") {
            auto* editor = openSheet(MainView::Sheet::newFolder)->findChild<FolderEditView*>();
            editor->nameField()->setText(u"Дача"_s);
            if (name == u"folder name field")
                return editor->nameField();
            if (name == u"secondary button") {
                for (QPushButton* button : editor->findChildren<QPushButton*>())
                    if (button->text() == u"Отмена")
                        return button;
                return nullptr;
            }
            QList<QAbstractButton*> swatches;
            for (QAbstractButton* button : editor->findChildren<QAbstractButton*>())
                if (button->accessibleName().startsWith(u"Цвет "_s))
                    swatches << button;
            return swatches.at(name == u"swatch" ? 3 : 0); // the first colour is the chosen one
        }
        CreateTaskView* wizard = wizardOnDeadline();
        if (name == u"calendar day")
            return wizard->calendar()->dayButtons().at(4); // today, 5 March
        if (name == u"chosen calendar day") {
            wizard->chooseQuickDate(2);
            return wizard->calendar()->dayButtons().at(6);
        }
        if (name == u"quick date chip")
            return wizard->buttonNamed(u"Завтра"_s);
        if (name == u"priority chip" || name == u"chosen priority chip") {
            QList<QPushButton*> chips;
            for (QPushButton* button : wizard->findChildren<QPushButton*>())
                if (button->property("vexoRole").toString() == u"priorityChip")
                    chips << button;
            return chips.at(name == u"priority chip" ? 0 : 1); // medium is the chosen one
        }
        if (name == u"wizard back button")
            return wizard->buttonNamed(u"Назад"_s);
        if (name == u"create button")
            return wizard->buttonNamed(u"Создать задачу"_s);
        return nullptr;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_window = std::make_unique<SignedInWindow>(m_server);
        QVERIFY(m_window->showLoaded());
    }

    void cleanup() { m_window.reset(); }

    void everyControlShowsARing_data() {
        QTest::addColumn<QString>("theme");
        QTest::addColumn<QString>("name");
        for (const char* theme : {"dark", "light"}) {
            for (const char* name : {"primary button",
                                     "secondary button",
                                     "refresh button",
                                     "search button",
                                     "search field",
                                     "filter chip",
                                     "chosen filter chip",
                                     "priority filter",
                                     "list row",
                                     "sidebar item",
                                     "chosen sidebar item",
                                     "sidebar folder",
                                     "new folder button",
                                     "swatch",
                                     "chosen swatch",
                                     "folder name field",
                                     "calendar day",
                                     "chosen calendar day",
                                     "quick date chip",
                                     "priority chip",
                                     "chosen priority chip",
                                     "wizard back button",
                                     "create button"})
                QTest::addRow("%s, %s", theme, name) << QString::fromLatin1(theme) << QString::fromLatin1(name);
        }
    }

    void everyControlShowsARing() {
        QFETCH(QString, theme);
        QFETCH(QString, name);
        m_window->theme->setPreference(theme);
        QWidget* target = control(name);
        QVERIFY(target);
        QTRY_VERIFY(target->isVisible()); // a widget added to a shown sheet shows a moment later
        if (QWidget* focus = QApplication::focusWidget(); focus && focus->window() == target->window())
            focus->clearFocus();
        QVERIFY2(!target->hasFocus(), "the control must start without the keyboard");

        // A row of the list is the one the keyboard lands on: the first.
        auto* list = qobject_cast<QListView*>(target);
        const auto area = [target, list] {
            if (!list)
                return target->rect();
            const QRect row = list->visualRect(list->model()->index(0, 0));
            return QRect(list->viewport()->mapTo(list, row.topLeft()), row.size());
        };
        QTest::qWait(50);
        const QImage unfocused = shot(target, area());
        QVERIFY2(tabInto(target), "Tab does not reach the control");
        if (list)
            QCOMPARE(list->currentIndex().row(), 0);
        QTest::qWait(50);
        const QImage focused = shot(target, area());

        const Ring ring = ringBetween(unfocused, focused);
        // A line around the whole control, two pixels thick or more on every side: one that blends
        // into what it covers, or a hairline, is no ring a user finds at a glance.
        for (auto side = ring.thickness.cbegin(); side != ring.thickness.cend(); ++side)
            QVERIFY2(side.value() >= 2, qPrintable(u"%1 side: %2 pixels at 3:1"_s.arg(side.key()).arg(side.value())));
        QVERIFY2(ring.pixels >= ring.perimeter,
                 qPrintable(u"%1 ring pixels at 3:1, want %2"_s.arg(ring.pixels).arg(ring.perimeter)));
    }
};

VEXO_WIDGET_TEST_MAIN_IN_ZONE(tst_FocusRings, "UTC")
#include "tst_FocusRings.moc"
