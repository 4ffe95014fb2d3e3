// Long task lists are decoded, and their rows worked out, away from the event loop; what arrives
// last still stays, however long each answer took to decode.
#include "HtmlText.h"
#include "JsonValue.h"
#include "JsonWriter.h"
#include "StateRig.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

QByteArray longList(int count, qint64 firstId) {
    JsonWriter writer;
    writer.beginObject();
    writer.key("tasks");
    writer.beginArray();
    const QStringList descriptions{u"<p>Купить <b>молоко</b></p>"_s, u"<p>&nbsp;</p>"_s, u"<br/>"_s,
                                   u"&lt;срочно&gt; и важно"_s, u"  "_s};
    for (int i = 0; i < count; ++i) {
        VexoTask task;
        task.id = firstId + i;
        task.title = u"Задача %1"_s.arg(i);
        if (i % 6 != 5)
            task.description = descriptions[i % descriptions.size()];
        if (i % 3 == 0)
            task.deadline = u"2025-03-%1T10:00:00.000Z"_s.arg(1 + i % 28, 2, 10, QChar(u'0'));
        else if (i % 3 == 1)
            task.deadline = u"не дата"_s;
        task.createdAt = u"2025-03-01 10:00:00"_s;
        task.toJson(writer);
    }
    writer.endArray();
    writer.endObject();
    return writer.take();
}

// Keeps every pooled thread busy until released, so that work sent to the pool waits.
class HeldPool final {
public:
    HeldPool() {
        m_threads = QThreadPool::globalInstance()->maxThreadCount();
        QThreadPool::globalInstance()->setMaxThreadCount(1);
        QThreadPool::globalInstance()->start([this] { m_gate.acquire(); });
    }
    ~HeldPool() {
        release();
        QThreadPool::globalInstance()->waitForDone();
        QThreadPool::globalInstance()->setMaxThreadCount(m_threads);
    }
    void release() {
        if (!m_released)
            m_gate.release();
        m_released = true;
    }

private:
    QSemaphore m_gate;
    int m_threads = 0;
    bool m_released = false;
};

} // namespace

class tst_LongLists final : public QObject {
    Q_OBJECT

    ScriptedServer m_server;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }
    void init() {
        m_server.clearRequests();
        m_server.clearReplies();
        m_server.setDefaultReply(ScriptedReply::json(500, "{}"));
    }

    // The records, deadlines and preview flags are those of decoding on the spot.
    void aLongListIsTheSameAsDecodedHere() {
        StateRig rig(m_server);
        const QByteArray answer = longList(2500, 1);
        QVERIFY(answer.size() > APIService::decodeOnWorkerFromBytes);
        rig.answer(200, answer);
        await(rig.state->loadTasks());
        const QList<VexoTask> expected = decodeJson<TasksResponse>(answer).tasks;
        QCOMPARE(rig.state->tasks(), expected);
        const TaskList& list = rig.state->taskList();
        QCOMPARE(list.deadlines(), TaskFiltering::deadlinesOf(expected));
        QCOMPARE(list.previews().size(), expected.size());
        for (qsizetype row = 0; row < expected.size(); ++row) {
            const bool preview = expected[row].description && !stripHTML(*expected[row].description).isEmpty();
            QCOMPARE(list.previews()[row], preview);
            QCOMPARE(list.data(list.index(int(row)), TaskList::HasPreviewRole).toBool(), preview);
        }
    }

    // The event loop does not wait for the decoding: it runs on a pooled thread.
    void aLongListIsDecodedOnAWorker() {
        StateRig rig(m_server);
        rig.answer(200, longList(2500, 1));
        HeldPool pool;
        QCoro::Task<void> load = rig.state->loadTasks();
        QTest::qWait(500);
        QVERIFY(rig.state->tasks().isEmpty());
        QVERIFY(rig.state->isLoadingTasks());
        pool.release();
        await(std::move(load));
        QCOMPARE(rig.state->tasks().size(), 2500);
    }

    // A long answer that arrived first is still being decoded when a short one that arrived after it
    // is shown: the long one is dropped, not shown over the later one.
    void anAnswerOvertakenWhileDecodingIsDropped() {
        StateRig rig(m_server);
        rig.answer(200, longList(2500, 1));
        rig.answerLater(200, R"({"tasks":[)" + StateRig::task(9001) + "]}", 1000);
        QSignalSpy loaded(rig.state.get(), &AppState::tasksLoaded);
        HeldPool pool;
        QCoro::Task<void> first = rig.state->loadTasks();
        QCoro::Task<void> second = rig.state->loadTasks();
        await(std::move(second));
        QCOMPARE(rig.taskIds(), QList<qint64>{9001});
        QCOMPARE(loaded.size(), 1);
        rig.journal.clear();
        pool.release();
        await(std::move(first));
        QCOMPARE(rig.taskIds(), QList<qint64>{9001});
        QCOMPARE(loaded.size(), 1);
        QVERIFY(!rig.journal.contains(u"tasks"_s));
        QVERIFY(!rig.state->isLoadingTasks());
    }

    // Decoded first but arrived last: shown, and stays.
    void aLongAnswerThatArrivedLastStays() {
        StateRig rig(m_server);
        rig.answerLater(200, R"({"tasks":[)" + StateRig::task(9001) + "]}", 300);
        rig.answerLater(200, longList(2500, 1), 800);
        QCoro::Task<void> first = rig.state->loadTasks();
        QCoro::Task<void> second = rig.state->loadTasks();
        await(std::move(first));
        QCOMPARE(rig.taskIds(), QList<qint64>{9001});
        await(std::move(second));
        QCOMPARE(rig.state->tasks().size(), 2500);
    }
};

QTEST_GUILESS_MAIN(tst_LongLists)
#include "tst_LongLists.moc"
