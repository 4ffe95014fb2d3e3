// What a long task list costs to hold: the parser's buffers go after a large answer, descriptions
// stay in UTF-8 until read, and the usual sources share one string.
#include "Envelopes.h"
#include "JsonValue.h"
#include "JsonWriter.h"
#include "VexoTask.h"

#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

QByteArray taskJson(qint64 id, const QByteArray& description, const QByteArray& source = "bot") {
    return R"({"id":)" + QByteArray::number(id) + R"(,"title":"Задача","description":)" + description +
           R"(,"priority":"high","status":"pending","created_at":"2025-03-01 10:00:00","source":")" + source + "\"}";
}

QByteArray listOf(int count, qsizetype descriptionBytes) {
    const QByteArray description = '"' + QByteArray(descriptionBytes, 'x') + '"';
    QByteArray json = R"({"tasks":[)";
    for (int i = 0; i < count; ++i)
        json += (i ? "," : "") + taskJson(i + 1, description);
    return json + "]}";
}

} // namespace

class tst_CompactRecords final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void smallAnswersKeepTheParser() {
        const QByteArray small = listOf(10, 100);
        QCOMPARE(decodeJson<TasksResponse>(small).tasks.size(), 10);
        QVERIFY(JsonDocument::parserCapacity() >= std::size_t(small.size()));
    }

    void largeAnswersReleaseIt_data() {
        QTest::addColumn<bool>("valid");
        QTest::newRow("decoded") << true;
        QTest::newRow("failed") << false;
    }

    void largeAnswersReleaseIt() {
        QFETCH(bool, valid);
        QByteArray large = listOf(2000, 1000);
        QVERIFY(large.size() > JsonDocument::releaseAfterBytes);
        if (!valid)
            large.chop(1);
        std::size_t capacityAfter = 1;
        qsizetype decoded = -1;
        // On a thread of its own, as the client decodes long answers: nothing stays behind there either.
        std::thread worker([&] {
            try {
                decoded = decodeJson<TasksResponse>(large).tasks.size();
            } catch (const DecodeError&) {
                decoded = 0;
            }
            capacityAfter = JsonDocument::parserCapacity();
        });
        worker.join();
        QCOMPARE(decoded, valid ? 2000 : 0);
        QCOMPARE(capacityAfter, std::size_t(0));
        // The next answer gets a fresh parser.
        QCOMPARE(decodeJson<TasksResponse>(listOf(3, 10)).tasks.size(), 3);
    }

    void descriptionsStayInUtf8_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("text");
        QTest::newRow("plain") << QByteArray(R"("<p>Купить молоко</p>")") << u"<p>Купить молоко</p>"_s;
        QTest::newRow("escapes") << QByteArray(R"("a\nb \"c\" \u0436\ud83d\ude00")") << u"a\nb \"c\" ж😀"_s;
        QTest::newRow("empty") << QByteArray(R"("")") << QString();
    }

    void descriptionsStayInUtf8() {
        QFETCH(QByteArray, json);
        QFETCH(QString, text);
        const VexoTask task = decodeJson<TaskResponse>(R"({"task":)" + taskJson(1, json) + "}").task;
        QVERIFY(task.description);
        QCOMPARE(task.description->utf8(), text.toUtf8());
        QCOMPARE(task.description->toString(), text);
        QVERIFY(*task.description == text);
        // Written back as it came in.
        VexoTask again = decodeJson<TaskResponse>(R"({"task":)" + encodeJson(task) + "}").task;
        QCOMPARE(again, task);
    }

    void usualSourcesShareOneString() {
        const TasksResponse list =
            decodeJson<TasksResponse>(R"({"tasks":[)" + taskJson(1, "null") + "," + taskJson(2, "null") + "," +
                                      taskJson(3, "null", "web") + "]}");
        QCOMPARE(list.tasks[0].source, std::optional<QString>(u"bot"_s));
        QVERIFY(list.tasks[0].source->isSharedWith(*list.tasks[1].source));
        QCOMPARE(list.tasks[2].source, std::optional<QString>(u"web"_s));
        QVERIFY(!list.tasks[0].description);
    }
};

QTEST_GUILESS_MAIN(tst_CompactRecords)
#include "tst_CompactRecords.moc"
