#include "TaskList.h"
#include "TaskSearch.h"
#include "TaskSearchIndex.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Ranges = QList<std::pair<qsizetype, qsizetype>>;

VexoTask makeTask(qint64 id, const QString& title, std::optional<QString> description = std::nullopt) {
    VexoTask task;
    task.id = id;
    task.title = title;
    task.description = std::move(description);
    task.createdAt = u"2025-03-01"_s;
    return task;
}

// Markup out, as the screens' own reduction does for these simple fragments.
QString withoutTags(const QString& html) {
    QString plain = html;
    plain.remove(QRegularExpression(u"<[^>]+>"_s));
    return plain;
}

} // namespace

// The search's comparison (case, ё and е, texts beyond the Russian and Latin letters, the border
// between title and description) and the index of texts it searches, made at once or on a worker.
class tst_TaskSearch final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void fold_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("folded");
        QTest::newRow("latin") << u"Hello WORLD"_s << u"hello world"_s;
        QTest::newRow("russian") << u"ПрИвЕт"_s << u"привет"_s;
        QTest::newRow("yo small") << u"ёлка"_s << u"елка"_s;
        QTest::newRow("yo capital") << u"ЁЖ"_s << u"еж"_s;
        QTest::newRow("greek") << u"ΣΟΦΊΑ"_s << u"σοφία"_s;
        QTest::newRow("digits and marks") << u"№ 5 — «Да»"_s << u"№ 5 — «да»"_s;
    }

    void fold() {
        QFETCH(QString, text);
        QFETCH(QString, folded);
        QCOMPARE(TaskSearch::fold(text), folded);
        QCOMPARE(TaskSearch::fold(text).size(), text.size());
    }

    void contains_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("query");
        QTest::addColumn<bool>("found");
        QTest::newRow("title, other case") << u"Купить Хлеб"_s << QString() << u"хлеб"_s << true;
        QTest::newRow("description") << u"Купить"_s << u"и молоко тоже"_s << u"МОЛОКО"_s << true;
        QTest::newRow("е finds ё") << u"Ёлка"_s << QString() << u"елк"_s << true;
        QTest::newRow("ё finds е") << u"Отчет"_s << QString() << u"отчёт"_s << true;
        QTest::newRow("Ё finds е") << u"еж"_s << QString() << u"Ёж"_s << true;
        QTest::newRow("absent") << u"Купить хлеб"_s << u"и молоко"_s << u"сыр"_s << false;
        QTest::newRow("not across title and description") << u"abc"_s << u"def"_s << u"cd"_s << false;
        QTest::newRow("title end") << u"abc"_s << u"def"_s << u"c"_s << true;
        QTest::newRow("description start") << u"abc"_s << u"def"_s << u"de"_s << true;
        QTest::newRow("marks") << u"Срок — «пятница»"_s << QString() << u"— «пят"_s << true;
        QTest::newRow("chinese") << u"会议 记录"_s << QString() << u"记录"_s << true;
        QTest::newRow("chinese absent") << u"会议 记录"_s << QString() << u"录记"_s << false;
        // Escaped code units are compared whole: a piece of one never matches.
        QTest::newRow("escape neighbours") << u"\u1234\u5678"_s << QString() << u"\u2345"_s << false;
        QTest::newRow("escape and letter") << u"x\u4e2dy"_s << QString() << u"\u4e2dy"_s << true;
        QTest::newRow("emoji") << u"Готово 🎉 ура"_s << QString() << u"🎉 ура"_s << true;
        QTest::newRow("zero character") << u"a\u0000b"_s << QString() << u"a\u0000b"_s << true;
        QTest::newRow("empty query") << u"что угодно"_s << QString() << QString() << true;
    }

    void contains() {
        QFETCH(QString, title);
        QFETCH(QString, description);
        QFETCH(QString, query);
        QFETCH(bool, found);
        QCOMPARE(TaskSearch::contains(TaskSearch::taskText(title, description), TaskSearch::encode(query)), found);
        // The same answer as comparing the folded texts themselves.
        const bool folded = TaskSearch::fold(title).contains(TaskSearch::fold(query)) ||
                            TaskSearch::fold(description).contains(TaskSearch::fold(query));
        QCOMPARE(folded, found);
    }

    // Sixteen bytes are compared at a time: a match at every place, near and across those blocks.
    void containsAtEveryPlace() {
        const QString filler(70, u'ж');
        for (const QString& query : {u"я"_s, u"яю"_s, u"яэю"_s, u"яabcdefghijklmnopqrstuю"_s}) {
            for (qsizetype at = 0; at + query.size() <= filler.size(); ++at) {
                QString text = filler;
                text.replace(at, query.size(), query);
                const QByteArray encoded = TaskSearch::encode(text);
                QVERIFY2(TaskSearch::contains(encoded, TaskSearch::encode(query)),
                         qPrintable(u"%1 at %2"_s.arg(query).arg(at)));
                QString almost = query;
                almost[almost.size() - 1] = u'ы';
                QVERIFY(!TaskSearch::contains(encoded, TaskSearch::encode(almost)));
            }
        }
        QVERIFY(!TaskSearch::contains(TaskSearch::encode(u"ab"_s), TaskSearch::encode(u"abc"_s)));
    }

    void matches_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("query");
        QTest::addColumn<Ranges>("ranges");
        QTest::newRow("two, ё and е") << u"Отчёт и ОТЧЕТ"_s << u"отчет"_s << Ranges{{0, 5}, {8, 5}};
        QTest::newRow("not overlapping") << u"aaaa"_s << u"aa"_s << Ranges{{0, 2}, {2, 2}};
        QTest::newRow("none") << u"Купить"_s << u"сыр"_s << Ranges{};
        QTest::newRow("empty query") << u"Купить"_s << QString() << Ranges{};
    }

    void matches() {
        QFETCH(QString, text);
        QFETCH(QString, query);
        QFETCH(Ranges, ranges);
        QCOMPARE(TaskSearch::matches(text, query), ranges);
    }

    void normalizedQuery() {
        QCOMPARE(TaskSearch::normalizedQuery(u"  купить хлеб \t"_s), u"купить хлеб"_s);
        QCOMPARE(TaskSearch::normalizedQuery(u"   "_s), QString());
    }

    void indexOfAFewTasksIsReadyAtOnce() {
        TaskList list;
        list.assign({makeTask(1, u"Первая"_s, u"<p>Описание <b>жирно</b></p>"_s), makeTask(2, u"Вторая"_s)});
        TaskSearchIndex index(list);
        index.setPlainText(withoutTags);
        QVERIFY(!index.isActive());
        index.start();
        QVERIFY(index.isReady());
        QVERIFY(!index.isBuilding());
        QVERIFY(index.matches(0, TaskSearch::encode(u"описание жирно"_s)));
        QVERIFY(!index.matches(0, TaskSearch::encode(u"<b>"_s))); // markup is not searched
        QVERIFY(index.matches(1, TaskSearch::encode(u"ВТОР"_s)));
        index.stop();
        QVERIFY(!index.isActive());
        QVERIFY(!index.hasText(0));
    }

    // Many texts are made on the worker; the list changing meanwhile loses nothing: every row ends
    // with the text of the task it holds now.
    void manyTextsAreMadeOnTheWorker() {
        TaskList list;
        const auto tasks = [](int count, const QString& mark) {
            QList<VexoTask> made;
            for (int i = 0; i < count; ++i)
                made << makeTask(i + 1, u"Задача %1 %2"_s.arg(i + 1).arg(mark), u"<p>текст %1</p>"_s.arg(i + 1));
            return made;
        };
        const int count = int(TaskSearchIndex::syncLimit) * 3;
        list.assign(tasks(count, u"старая"_s));
        TaskSearchIndex index(list);
        index.setPlainText(withoutTags);
        connect(&list, &QAbstractItemModel::rowsInserted, &index,
                [&](const QModelIndex&, int first, int last) { index.rowsInserted(first, last); });
        connect(&list, &QAbstractItemModel::rowsRemoved, &index,
                [&](const QModelIndex&, int first, int last) { index.rowsRemoved(first, last); });
        connect(&list, &QAbstractItemModel::dataChanged, &index, [&](const QModelIndex& from, const QModelIndex& to) {
            index.rowsChanged(from.row(), to.row());
            index.ensure(from.row(), to.row());
        });
        QSignalSpy ready(&index, &TaskSearchIndex::ready);
        index.start();
        QVERIFY(!index.isReady());
        QVERIFY(index.isBuilding());

        // While the worker runs: every third task renamed, the first hundred gone, new ones in front.
        QList<VexoTask> next = tasks(count, u"старая"_s).mid(100);
        for (qsizetype i = 0; i < next.size(); i += 3)
            next[i].title = u"Задача %1 новая"_s.arg(next[i].id);
        for (int i = 0; i < 50; ++i)
            next.prepend(makeTask(100'000 + i, u"Пришла %1"_s.arg(i)));
        list.assign(next);

        QTRY_VERIFY_WITH_TIMEOUT(index.isReady(), 20'000);
        QVERIFY(!ready.isEmpty());
        QCOMPARE(list.rowCount(), next.size());
        for (int row = 0; row < list.rowCount(); ++row) {
            const VexoTask& task = list.tasks()[row];
            QCOMPARE(index.textAt(row), TaskSearchIndex::textOf(task, withoutTags));
        }
        QVERIFY(!index.matches(0, TaskSearch::encode(u"старая"_s)));
        QVERIFY(index.matches(50, TaskSearch::encode(u"новая"_s)));
    }

    // Closing while the worker runs drops its work; the index can start again.
    void stopWhileBuilding() {
        TaskList list;
        QList<VexoTask> many;
        for (int i = 0; i < TaskSearchIndex::syncLimit * 2; ++i)
            many << makeTask(i + 1, u"Задача %1"_s.arg(i + 1));
        list.assign(many);
        TaskSearchIndex index(list);
        QSignalSpy ready(&index, &TaskSearchIndex::ready);
        index.start();
        index.stop();
        QVERIFY(!index.isBuilding());
        index.start();
        QTRY_VERIFY_WITH_TIMEOUT(index.isReady(), 20'000);
        QVERIFY(index.matches(int(many.size()) - 1, TaskSearch::encode(many.last().title)));
    }
};

QTEST_GUILESS_MAIN(tst_TaskSearch)
#include "tst_TaskSearch.moc"
