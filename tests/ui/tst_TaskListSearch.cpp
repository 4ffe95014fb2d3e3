#include "AppState.h"
#include "Await.h"
#include "ClientRig.h"
#include "Fonts.h"
#include "KeyTyping.h"
#include "ScriptedServer.h"
#include "StatCard.h"
#include "TaskListModel.h"
#include "TaskListView.h"
#include "TaskRowDelegate.h"
#include "TaskSearchBar.h"
#include "Theme.h"
#include "VexoButton.h"
#include "WidgetTest.h"

#include <QAbstractItemModelTester>
#include <QHelpEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QToolTip>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

QByteArray task(int id, const char* title, const char* status, const char* priority, const QByteArray& extra = {}) {
    return "{\"id\":" + QByteArray::number(id) + ",\"title\":\"" + title + "\",\"priority\":\"" + priority +
           "\",\"status\":\"" + status + "\",\"created_at\":\"2025-03-01\"" + extra + "}";
}

} // namespace

// Searching the task list by keyboard on real widgets: Ctrl+F, typing into the header's field, the
// rows it leaves (title or description, any case, ё as е, after the filters), the highlighted
// matches, Esc, and the counters that do not move. The clock is at 2025-03-05 12:00 UTC.
class tst_TaskListSearch final : public QObject {
    Q_OBJECT

private:
    ScriptedServer m_server;
    FixedClock m_clock{QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC)};
    std::unique_ptr<ClientRig> m_client;
    std::unique_ptr<Theme> m_theme;
    std::unique_ptr<TaskListView> m_view;

    const QByteArray m_tasks =
        "{\"tasks\":[" +
        task(1, "Купить ёлку", "pending", "high",
             ",\"deadline\":\"2025-03-05T18:00:00Z\",\"description\":\"<p>до <b>пятницы</b></p>\"") +
        "," + task(2, "Позвонить маме", "done", "low", ",\"description\":\"<p>про елку и подарки</p>\"") + "," +
        task(3, "Отчёт за квартал и ещё отчет", "pending", "medium", ",\"deadline\":\"2025-03-01T10:00:00Z\"") + "," +
        task(4, "Релиз", "cancelled", "high", ",\"description\":\"<p>Отчет <i>готов</i></p>\"") + "]}";

    TaskSearchBar* bar() const { return m_view->searchBar(); }
    QLineEdit* field() const { return bar()->field(); }

    QList<qint64> shownIds() const {
        QList<qint64> ids;
        QAbstractItemModel* model = m_view->listView()->model();
        for (int row = 0; row < model->rowCount(); ++row)
            ids << model->index(row, 0).data(TaskListModel::IdRole).toLongLong();
        return ids;
    }

    QStringList counters() const {
        QStringList values;
        for (StatCard* card : m_view->statCards())
            values << card->label() + u'=' + card->value();
        return values;
    }

    QPushButton* chip(const QString& label) const {
        for (QPushButton* button : m_view->dateChips()) {
            if (button->text() == label)
                return button;
        }
        return nullptr;
    }

    void openSearchAndType(const QString& text) {
        QTest::keyClick(m_view.get(), Qt::Key_F, Qt::ControlModifier);
        QVERIFY(field()->hasFocus());
        typeText(field(), text);
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
        m_server.enqueue(ScriptedReply::json(200, m_tasks));
        await(m_client->state.loadTasks());
        m_server.clearRequests();
    }

    void cleanup() {
        m_view.reset();
        m_client.reset();
        m_theme.reset();
    }

    void ctrlFOpensTheFieldInTheHeader() {
        QVERIFY(!field()->isVisible());
        QTest::keyClick(m_view.get(), Qt::Key_F, Qt::ControlModifier);
        QVERIFY(field()->isVisible());
        QVERIFY(field()->hasFocus());
        QVERIFY(bar()->isOpen());
        // In the header: beside "Новая задача", above the filter chips.
        const QRect fieldRect(field()->mapTo(m_view.get(), QPoint()), field()->size());
        const QRect newTask(m_view->newTaskButton()->mapTo(m_view.get(), QPoint()), m_view->newTaskButton()->size());
        QVERIFY(fieldRect.bottom() < chip(u"Все сроки"_s)->mapTo(m_view.get(), QPoint()).y());
        QVERIFY(fieldRect.right() < newTask.left());
        QVERIFY(qAbs(fieldRect.center().y() - newTask.center().y()) <= 4);
        // The magnifier opens it too.
        QTest::keyClick(field(), Qt::Key_Escape);
        QVERIFY(!bar()->isOpen());
        QTest::mouseClick(bar()->openButton(), Qt::LeftButton);
        QVERIFY(field()->isVisible());
    }

    void typingNarrows_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QList<qint64>>("ids");
        QTest::newRow("е finds ёлку and елку") << u"елку"_s << QList<qint64>{1, 2};
        QTest::newRow("ё finds отчет") << u"ОТЧЁТ"_s << QList<qint64>{3, 4};
        QTest::newRow("plain description only") << u"пятницы"_s << QList<qint64>{1};
        QTest::newRow("no markup") << u"<b>"_s << QList<qint64>{};
        QTest::newRow("not across title and description") << u"маме про"_s << QList<qint64>{};
        QTest::newRow("two words") << u"за квартал"_s << QList<qint64>{3};
    }

    void typingNarrows() {
        QFETCH(QString, typed);
        QFETCH(QList<qint64>, ids);
        const QStringList before = counters();
        openSearchAndType(typed);
        QCOMPARE(shownIds(), ids);
        QCOMPARE(m_view->contentState(), ids.isEmpty() ? u"noMatches"_s : u"list"_s);
        // The counters and the state's own list stay what they were.
        QCOMPARE(counters(), before);
        QCOMPARE(m_client->state.filteredTasks().size(), 4);
        QVERIFY(m_server.requests().isEmpty());
    }

    void searchComesAfterTheFilters() {
        QTest::mouseClick(chip(u"Сегодня"_s), Qt::LeftButton);
        QCOMPARE(shownIds(), (QList<qint64>{1}));
        openSearchAndType(u"ёлк"_s);
        QCOMPARE(shownIds(), (QList<qint64>{1})); // 2 matches too, but the filter leaves it out
        QTest::mouseClick(chip(u"Все сроки"_s), Qt::LeftButton);
        QCOMPARE(shownIds(), (QList<qint64>{1, 2}));
        QCOMPARE(field()->text(), u"ёлк"_s);
    }

    void escEmptiesTheFieldThenClosesIt() {
        openSearchAndType(u"релиз"_s);
        QCOMPARE(shownIds(), (QList<qint64>{4}));
        QTest::keyClick(field(), Qt::Key_Escape);
        QCOMPARE(field()->text(), QString());
        QVERIFY(bar()->isOpen());
        QCOMPARE(shownIds(), (QList<qint64>{1, 2, 3, 4}));
        QTest::keyClick(field(), Qt::Key_Escape);
        QVERIFY(!bar()->isOpen());
        QVERIFY(!field()->isVisible());
        QVERIFY(m_view->listView()->hasFocus());             // the keyboard goes on to the rows
        QVERIFY(!m_view->model()->searchIndex().isActive()); // the texts searched are dropped
    }

    // An open but empty field leaves everything as it was.
    void anEmptyFieldChangesNothing() {
        const QStringList before = counters();
        openSearchAndType(QString());
        QCOMPARE(shownIds(), (QList<qint64>{1, 2, 3, 4}));
        QCOMPARE(m_view->model()->searchText(), QString());
        typeText(field(), u"   "_s);
        QCOMPARE(shownIds(), (QList<qint64>{1, 2, 3, 4}));
        QCOMPARE(counters(), before);
        QCOMPARE(m_view->contentState(), u"list"_s);
    }

    void nothingFoundIsSaidSo() {
        openSearchAndType(u"zzz"_s);
        QCOMPARE(m_view->contentState(), u"noMatches"_s);
        bool said = false;
        for (QLabel* label : m_view->findChildren<QLabel*>())
            said = said || (label->text() == u"Ничего не найдено"_s && label->isVisible());
        QVERIFY(said);
        QTest::keyClick(field(), Qt::Key_Escape);
        QCOMPARE(m_view->contentState(), u"list"_s);
    }

    // Every match in the title sits on the accent's tint: here both "отчёт" and "отчет".
    void everyMatchIsHighlighted() {
        QListView* list = m_view->listView();
        openSearchAndType(u"отчет"_s);
        QCOMPARE(shownIds().first(), 3);
        const QString title = u"Отчёт за квартал и ещё отчет"_s;
        const QRect titleRect = TaskRowDelegate::titleRect(list->visualRect(list->model()->index(0, 0)));
        const QFontMetrics metrics(uiFont(14, QFont::Medium));
        const Palette& p = m_theme->palette();
        const qreal a = 0.38;
        const QColor tint = QColor::fromRgbF(p.raised.redF() * (1 - a) + p.accent.redF() * a,
                                             p.raised.greenF() * (1 - a) + p.accent.greenF() * a,
                                             p.raised.blueF() * (1 - a) + p.accent.blueF() * a);
        const auto near = [](const QColor& x, const QColor& y) {
            return qAbs(x.red() - y.red()) <= 4 && qAbs(x.green() - y.green()) <= 4 && qAbs(x.blue() - y.blue()) <= 4;
        };
        // The top row of the title's line is all but clear of the glyphs: the tint shows there along
        // each match.
        const auto tintedShare = [&](qsizetype start, qsizetype length) {
            const QImage look = list->viewport()->grab().toImage();
            const int from = titleRect.left() + metrics.horizontalAdvance(title.left(start));
            const int width = metrics.horizontalAdvance(title.mid(start, length));
            int tinted = 0;
            for (int x = from + 2; x < from + width - 2; ++x)
                tinted += near(look.pixelColor(x, titleRect.top()), tint) ? 1 : 0;
            return double(tinted) / (width - 4);
        };
        QVERIFY2(tintedShare(0, 5) > 0.8, qPrintable(QString::number(tintedShare(0, 5))));
        QVERIFY(tintedShare(23, 5) > 0.8);
        QVERIFY(tintedShare(9, 7) < 0.1); // "квартал" is no match
        QTest::keyClick(field(), Qt::Key_Escape);
        QVERIFY(tintedShare(0, 5) < 0.1);
    }

    // The rows are drawn, opened and explained from the model's roles alone: a proxy may stand
    // between the list's model and the view.
    void theRowsWorkThroughAProxy() {
        QSortFilterProxyModel proxy;
        proxy.setSourceModel(m_view->model());
        proxy.setSortRole(TaskListModel::IdRole);
        proxy.sort(0, Qt::DescendingOrder);
        QAbstractItemModelTester tester(&proxy, QAbstractItemModelTester::FailureReportingMode::Fatal);
        QListView* list = m_view->listView();
        list->setModel(&proxy);
        QCOMPARE(shownIds(), (QList<qint64>{4, 3, 2, 1}));
        openSearchAndType(u"ёлк"_s);
        QCOMPARE(shownIds(), (QList<qint64>{2, 1}));
        QCOMPARE(proxy.index(0, 0).data(TaskListModel::SearchTextRole).toString(), u"ёлк"_s);
        (void)list->viewport()->grab(); // paints every row through the proxy

        // A click on the second row's text opens task 1, not the model's second row.
        const QRect row = list->visualRect(proxy.index(1, 0));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(row.center().x(), row.top() + 20));
        QCOMPARE(m_client->state.selectedTask()->id, 1);
        list->setModel(m_view->model());
    }
};

VEXO_WIDGET_TEST_MAIN_IN_ZONE(tst_TaskListSearch, "UTC")
#include "tst_TaskListSearch.moc"
