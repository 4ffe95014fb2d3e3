#include "CreateTaskView.h"
#include "MiniCalendar.h"
#include "SidebarView.h"
#include "SignedInWindow.h"
#include "TaskSearchBar.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QAbstractButton>
#include <QDialog>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSpinBox>
#include <QToolButton>

using namespace Qt::StringLiterals;

namespace {

// A focused widget as a user would name it.
QString nameOf(QWidget* widget) {
    if (!widget)
        return u"(nothing)"_s;
    if (auto* spinBox = qobject_cast<QAbstractSpinBox*>(widget->parentWidget()))
        return spinBox->accessibleName(); // the box's own field has the keyboard
    if (!widget->accessibleName().isEmpty())
        return widget->accessibleName();
    if (auto* button = qobject_cast<QAbstractButton*>(widget); button && !button->text().isEmpty())
        return button->text();
    return QString::fromLatin1(widget->metaObject()->className());
}

// Presses Tab from `start` until focus comes back to it (or `limit` presses), and lists where it went.
QList<QWidget*> tabRound(QWidget* start, int limit) {
    QList<QWidget*> visited;
    start->setFocus(Qt::TabFocusReason);
    for (int i = 0; i < limit; ++i) {
        QWidget* focused = QApplication::focusWidget();
        visited << focused;
        if (!focused)
            break;
        QTest::keyClick(focused, Qt::Key_Tab);
        if (QApplication::focusWidget() == start)
            break;
    }
    return visited;
}

// Where the focus was, region by region, a region named once for each time the focus enters it.
QStringList regionsOf(const QList<QWidget*>& visited, const std::function<QString(QWidget*)>& regionOf) {
    QStringList regions;
    for (QWidget* widget : visited) {
        const QString region = regionOf(widget);
        if (regions.isEmpty() || regions.last() != region)
            regions << region;
    }
    return regions;
}

} // namespace

// Tab walks the window the way the eye reads it: the sidebar, then the list's header, its filters and
// the rows, and round to the sidebar again; in the new-task sheet the calendar's days come before
// "Создать задачу".
class tst_TabOrder final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    std::unique_ptr<SignedInWindow> m_window;

    MainView* main() const { return m_window->main(); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init() {
        m_window = std::make_unique<SignedInWindow>(m_server);
        QVERIFY(m_window->showLoaded());
    }

    void cleanup() { m_window.reset(); }

    void theWindowFromSidebarToList_data() {
        QTest::addColumn<bool>("searching");
        QTest::newRow("search closed") << false;
        QTest::newRow("search open") << true;
    }

    void theWindowFromSidebarToList() {
        QFETCH(bool, searching);
        TaskListView* list = main()->taskList();
        if (searching) {
            list->searchBar()->open();
            list->searchBar()->findChild<QLineEdit*>()->setText(u"о"_s); // both tasks still match
        }
        QTRY_COMPARE(list->listView()->model()->rowCount(), 2);
        QWidget* header = list->newTaskButton()->parentWidget();
        const int headerBottom = list->newTaskButton()->mapTo(header, QPoint(0, list->newTaskButton()->height())).y();
        const int filtersBottom = list->dateChips().first()->mapTo(header, QPoint(0, 40)).y();
        const auto regionOf = [&](QWidget* widget) {
            if (main()->sidebar()->isAncestorOf(widget))
                return u"sidebar"_s;
            if (widget == list->listView())
                return u"list"_s;
            if (list->isAncestorOf(widget)) {
                const int y = widget->mapTo(header, QPoint(0, 0)).y();
                return y < headerBottom ? u"header"_s : y < filtersBottom ? u"filters"_s : u"list pane"_s;
            }
            return u"elsewhere: "_s + nameOf(widget);
        };

        QPushButton* first = main()->sidebar()->itemButton(u"Все задачи"_s);
        const QList<QWidget*> visited = tabRound(first, 60);
        QStringList walk;
        for (QWidget* widget : visited)
            walk << regionOf(widget) + u": "_s + nameOf(widget);
        QVERIFY2(QApplication::focusWidget() == first, qPrintable(walk.join(u"; "))); // round to where it began
        QVERIFY2(regionsOf(visited, regionOf) == (QStringList{u"sidebar"_s, u"header"_s, u"filters"_s, u"list"_s}),
                 qPrintable(walk.join(u"; ")));

        // The header and the filters, left to right as they stand.
        QStringList header_, filters;
        QList<int> headerX, filtersX;
        for (QWidget* widget : visited) {
            const QString region = regionOf(widget);
            const int x = widget->mapTo(m_window->window.get(), QPoint(0, 0)).x();
            if (region == u"header") {
                header_ << nameOf(widget);
                headerX << x;
            } else if (region == u"filters") {
                filters << nameOf(widget);
                filtersX << x;
            }
        }
        const QString search = searching ? u"Поиск задач"_s : u"Поиск"_s;
        QCOMPARE(header_, (QStringList{search, u"Обновить"_s, u"Новая задача"_s}));
        QCOMPARE(filters.mid(0, 4), (QStringList{u"Все сроки"_s, u"Сегодня"_s, u"Завтра"_s, u"На неделю"_s}));
        QCOMPARE(filters.size(), 5); // and the priority menu
        QCOMPARE(filters.last(), nameOf(list->priorityButton()));
        QVERIFY(std::is_sorted(headerX.cbegin(), headerX.cend()));
        QVERIFY(std::is_sorted(filtersX.cbegin(), filtersX.cend()));
    }

    // The sheet's last step top to bottom: the quick dates, the month's arrows and its day, the time,
    // the priority, then "Назад" and "Создать задачу".
    void theWizardsDaysBeforeCreate() {
        m_window->client->state.setShowCreateTask(true);
        QDialog* dialog = main()->openSheet(MainView::Sheet::createTask);
        QVERIFY(dialog);
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        auto* wizard = dialog->findChild<CreateTaskView*>();
        wizard->titleField()->setText(u"Купить хлеб"_s);
        wizard->goToStep(3);
        QTest::qWait(50);

        QPushButton* create = wizard->buttonNamed(u"Создать задачу"_s);
        const QList<QWidget*> visited = tabRound(create, 40);
        QCOMPARE(QApplication::focusWidget(), create);
        QStringList names;
        for (QWidget* widget : visited)
            names << nameOf(widget);
        const QStringList expected{u"Создать задачу"_s,
                                   u"Закрыть"_s,
                                   u"Сегодня"_s,
                                   u"Завтра"_s,
                                   u"+7 дней"_s,
                                   u"Без даты"_s,
                                   u"Предыдущий месяц"_s,
                                   u"Следующий месяц"_s,
                                   u"5 марта 2025"_s, // today, the grid's one stop
                                   u"Час"_s,
                                   u"Минута"_s,
                                   u"Высокий"_s,
                                   u"Средний"_s,
                                   u"Низкий"_s,
                                   u"Назад"_s};
        QCOMPARE(names, expected);

        // With a day chosen, that day is the stop, still before "Создать задачу".
        wizard->chooseQuickDate(2);
        QTest::qWait(50);
        names.clear();
        for (QWidget* widget : tabRound(create, 40))
            names << nameOf(widget);
        QVERIFY2(names.indexOf(u"7 марта 2025"_s) > names.indexOf(u"Следующий месяц"_s), qPrintable(names.join(u", ")));
        QVERIFY2(names.indexOf(u"7 марта 2025"_s) < names.indexOf(u"Час"_s), qPrintable(names.join(u", ")));
    }
};

VEXO_WIDGET_TEST_MAIN_IN_ZONE(tst_TabOrder, "UTC")
#include "tst_TabOrder.moc"
