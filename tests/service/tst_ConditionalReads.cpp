#include "APIError.h"
#include "APIService.h"
#include "Await.h"
#include "LocalService.h"
#include "MemoryStore.h"
#include "ScriptedServer.h"

#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::StringLiterals;
using vexo::test::await;

namespace {

// Which list a row of a table reads.
enum class List { active, archive, pending, folder, folders };

QCoro::Task<ConditionalRead<TasksResponse>> readTasks(const APIService& api, List list, qint64 folderId,
                                                      QByteArray etag) {
    switch (list) {
    case List::archive:
        return api.fetchTasksIfChanged(true, std::nullopt, std::nullopt, std::move(etag));
    case List::pending:
        return api.fetchTasksIfChanged(false, TaskStatus::pending, std::nullopt, std::move(etag));
    case List::folder:
        return api.fetchTasksIfChanged(false, std::nullopt, folderId, std::move(etag));
    default:
        return api.fetchTasksIfChanged(false, std::nullopt, std::nullopt, std::move(etag));
    }
}

} // namespace

// Lists read again with the tag of the last answer: unchanged ones come back "not modified", with
// no body, from the real local service; what goes on the wire; and how failures read.
class tst_ConditionalReads final : public QObject {
    Q_OBJECT

private:
    QNetworkAccessManager m_network;

private Q_SLOTS:
    void anUnchangedListIsNotSentAgain_data() {
        QTest::addColumn<List>("list");
        QTest::newRow("active tasks") << List::active;
        QTest::newRow("the archive") << List::archive;
        QTest::newRow("pending tasks") << List::pending;
        QTest::newRow("one folder") << List::folder;
        QTest::newRow("folders") << List::folders;
    }
    void anUnchangedListIsNotSentAgain() {
        QFETCH(List, list);
        LocalService service;
        service.addUser(u"1"_s);
        MemoryStore store;
        store.setText(u"vexo_token"_s, QString::fromUtf8(service.signIn(u"1"_s)));
        APIService api(service.baseUrl(), m_network, store);
        const qint64 folderId = await(api.createFolder(u"Работа"_s, u"#FF6B6B"_s)).folder.id;
        const VexoTask first = await(api.createTask(u"Первая"_s, TaskPriority::high, {}, {})).task;
        await(api.updateTask(first.id, TaskUpdate{{}, {}, {}, {}, {}, folderId}));
        if (list == List::archive)
            await(api.postTaskArchive(first.id));

        const auto read = [&](QByteArray etag) -> std::pair<bool, QByteArray> {
            if (list == List::folders) {
                const auto answer = await(api.fetchFoldersIfChanged(std::move(etag)));
                return {answer.notModified, answer.etag};
            }
            const auto answer = await(readTasks(api, list, folderId, std::move(etag)));
            if (!answer.notModified)
                [&] { QVERIFY(answer.value && !answer.value->tasks.isEmpty()); }();
            return {answer.notModified, answer.etag};
        };

        const auto [firstNotModified, tag] = read({});
        QVERIFY(!firstNotModified);
        QVERIFY(tag.startsWith('"'));
        const auto [again, sameTag] = read(tag);
        QVERIFY(again);
        QCOMPARE(sameTag, tag);
        // A change to the list gives it a new tag, and the list comes whole again.
        if (list == List::folders) {
            await(api.updateFolder(folderId, u"Дом"_s, u"#00FF00"_s));
        } else if (list == List::archive) {
            const VexoTask second = await(api.createTask(u"Вторая"_s, TaskPriority::low, {}, {})).task;
            await(api.postTaskArchive(second.id));
        } else {
            await(api.updateTask(first.id, TaskUpdate{u"Первая, другая"_s, {}, {}, {}, {}, {}}));
        }
        const auto [afterChange, newTag] = read(tag);
        QVERIFY(!afterChange);
        QVERIFY(!newTag.isEmpty());
        QVERIFY(newTag != tag);
    }

    void theTagGoesOutAsIfNoneMatch() {
        ScriptedServer server;
        QVERIFY(server.listen());
        MemoryStore store;
        store.setText(u"vexo_token"_s, u"t"_s);
        APIService api(server.baseUrl(), m_network, store);
        server.enqueue(ScriptedReply::json(200, R"({"tasks":[]})"));
        server.enqueue(ScriptedReply::json(200, R"({"tasks":[]})"));
        server.enqueue(ScriptedReply::json(200, R"({"folders":[]})"));
        await(api.fetchTasks(false, TaskStatus::pending, 7));
        await(api.fetchTasksIfChanged(false, TaskStatus::pending, 7, "\"abc\""));
        await(api.fetchFoldersIfChanged("\"f1\""));
        const QList<RecordedRequest>& requests = server.requests();
        QCOMPARE(requests.size(), 3);
        // The same request as the plain read, the condition besides.
        QCOMPARE(requests[1].method, requests[0].method);
        QCOMPARE(requests[1].target, requests[0].target);
        QCOMPARE(requests[1].header("authorization"), QByteArray("Bearer t"));
        QCOMPARE(requests[1].header("content-type"), QByteArray("application/json"));
        QVERIFY(!requests[0].hasHeader("if-none-match"));
        QCOMPARE(requests[1].header("if-none-match"), QByteArray("\"abc\""));
        QCOMPARE(requests[2].target, QByteArray("/api/folders"));
        QCOMPARE(requests[2].header("if-none-match"), QByteArray("\"f1\""));
    }

    void noTagAsksWithoutCondition() {
        ScriptedServer server;
        QVERIFY(server.listen());
        MemoryStore store;
        APIService api(server.baseUrl(), m_network, store);
        ScriptedReply tagged =
            ScriptedReply::json(200, "{\"folders\":[{\"id\":1,\"name\":\"A\",\"color\":\"#FF0000\"}]}");
        tagged.headers.append({QByteArray("ETag"), QByteArray("\"v9\"")});
        server.enqueue(tagged);
        const auto answer = await(api.fetchFoldersIfChanged({}));
        QVERIFY(!server.lastRequest().hasHeader("if-none-match"));
        QVERIFY(!answer.notModified);
        QCOMPARE(answer.value->folders.size(), 1);
        QCOMPARE(answer.etag, QByteArray("\"v9\""));
    }

    void answers_data() {
        QTest::addColumn<QByteArray>("etag");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("304 to a tag") << QByteArray("\"a\"") << 304 << QByteArray() << u"not modified"_s;
        QTest::newRow("200 with no tag at all")
            << QByteArray("\"a\"") << 200 << QByteArray(R"({"tasks":[]})") << u"value"_s;
        QTest::newRow("304 unasked") << QByteArray() << 304 << QByteArray() << u"httpError 304"_s;
        QTest::newRow("401 with the service's text")
            << QByteArray("\"a\"") << 401 << QByteArray(R"({"error":"Unauthorized"})")
            << u"httpError 401 Unauthorized"_s;
        QTest::newRow("500 without text") << QByteArray("\"a\"") << 500 << QByteArray() << u"httpError 500"_s;
        QTest::newRow("a body that is not the record")
            << QByteArray("\"a\"") << 200 << QByteArray(R"({"task":[]})") << u"decodingError"_s;
    }
    void answers() {
        QFETCH(QByteArray, etag);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, outcome);
        ScriptedServer server;
        QVERIFY(server.listen());
        MemoryStore store;
        APIService api(server.baseUrl(), m_network, store);
        server.enqueue(ScriptedReply::json(status, body));
        QString got;
        try {
            const auto answer = await(api.fetchTasksIfChanged(false, std::nullopt, std::nullopt, etag));
            got = answer.notModified ? u"not modified"_s : u"value"_s;
            QCOMPARE(answer.value.has_value(), !answer.notModified);
            QCOMPARE(answer.etag, answer.notModified ? etag : QByteArray());
        } catch (const APIError& error) {
            switch (error.kind()) {
            case APIError::Kind::httpError:
                got = u"httpError %1"_s.arg(error.statusCode());
                if (error.message() == u"Unauthorized"_s)
                    got += u" Unauthorized"_s;
                break;
            case APIError::Kind::decodingError:
                got = u"decodingError"_s;
                break;
            case APIError::Kind::invalidResponse:
                got = u"invalidResponse"_s;
                break;
            }
        }
        QCOMPARE(got, outcome);
    }
};

QTEST_GUILESS_MAIN(tst_ConditionalReads)
#include "tst_ConditionalReads.moc"
