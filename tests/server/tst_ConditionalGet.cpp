#include "HttpProbe.h"
#include "LocalService.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// The lists a client polls, in every form.
const QStringList tasksForms{u"/api/tasks"_s,
                             u"/api/tasks?archived=false"_s,
                             u"/api/tasks?archived=true"_s,
                             u"/api/tasks?status=done"_s,
                             u"/api/tasks?archived=true&status=pending"_s,
                             u"/api/tasks?folderId=%1"_s,
                             u"/api/tasks?archived=false&status=pending&folderId=%1"_s};
const QString foldersForm = u"/api/folders"_s;

enum class Mutation {
    createTask,
    editTask,
    toggleStatus,
    archiveTask,
    sendToBot,
    deleteTask,
    createFolder,
    renameFolder,
    deleteEmptyFolder,
    deleteFolderWithTasks,
    settings,
    uploadAttachment,
    deleteAttachment,
    regenerateApiKey,
    externalApi,
    commandLineTask,
    otherUsersTask,
    failedEdit,
    readsOnly,
};

} // namespace

Q_DECLARE_METATYPE(Mutation)

// GET /api/tasks and GET /api/folders carry an entity tag and answer a matching If-None-Match with
// 304 and no body; the tag moves with every change that can change the list, and only then.
class tst_ConditionalGet final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> m_service;
    QNetworkAccessManager m_network;
    QByteArray m_token;
    qint64 m_userId = 0;
    qint64 m_taskId = 0;
    qint64 m_folderId = 0;
    qint64 m_emptyFolderId = 0;
    qint64 m_attachmentId = 0;

    QString form(const QString& path) const { return path.contains(u"%1"_s) ? path.arg(m_folderId) : path; }

    ProbeReply get(const QString& path, const QByteArray& ifNoneMatch = {}) {
        QList<QPair<QByteArray, QByteArray>> headers{{"Authorization", "Bearer " + m_token}};
        if (!ifNoneMatch.isNull())
            headers.append({"If-None-Match", ifNoneMatch});
        return probe(m_network, "GET", m_service->baseUrl() + form(path), {}, headers);
    }

    int call(const QByteArray& method, const QString& path, const QByteArray& body = {}) {
        return probe(m_network, method, m_service->baseUrl() + path, body,
                     {{"Authorization", "Bearer " + m_token}, {"Content-Type", "application/json"}})
            .status;
    }

    QByteArray tagOf(const QString& path) {
        const ProbeReply reply = get(path);
        if (reply.status != 200)
            qWarning("GET %s: %d", qPrintable(path), reply.status);
        return reply.header("ETag");
    }

    QList<QByteArray> allTags() {
        QList<QByteArray> tags;
        for (const QString& path : tasksForms)
            tags << tagOf(path);
        tags << tagOf(foldersForm);
        return tags;
    }

    void mutate(Mutation mutation) {
        const QString task = QString::number(m_taskId);
        switch (mutation) {
        case Mutation::createTask:
            QCOMPARE(call("POST", u"/api/tasks"_s, "{\"title\":\"Новая\"}"), 201);
            break;
        case Mutation::editTask:
            QCOMPARE(call("PUT", u"/api/tasks/"_s + task, "{\"title\":\"Иначе\"}"), 200);
            break;
        case Mutation::toggleStatus:
            QCOMPARE(call("PUT", u"/api/tasks/"_s + task, "{\"status\":\"done\"}"), 200);
            break;
        case Mutation::archiveTask:
            QCOMPARE(call("POST", u"/api/tasks/%1/archive"_s.arg(task)), 200);
            break;
        case Mutation::sendToBot:
            QCOMPARE(call("POST", u"/api/tasks/%1/send-to-bot"_s.arg(task)), 200);
            break;
        case Mutation::deleteTask:
            QCOMPARE(call("DELETE", u"/api/tasks/"_s + task), 200);
            break;
        case Mutation::createFolder:
            QCOMPARE(call("POST", u"/api/folders"_s, "{\"name\":\"Ещё\",\"color\":\"#010203\"}"), 201);
            break;
        case Mutation::renameFolder:
            QCOMPARE(call("PUT", u"/api/folders/%1"_s.arg(m_folderId), "{\"name\":\"Иначе\",\"color\":\"#010203\"}"),
                     200);
            break;
        case Mutation::deleteEmptyFolder:
            QCOMPARE(call("DELETE", u"/api/folders/%1"_s.arg(m_emptyFolderId)), 200);
            break;
        case Mutation::deleteFolderWithTasks:
            QCOMPARE(call("DELETE", u"/api/folders/%1"_s.arg(m_folderId)), 200);
            break;
        case Mutation::settings:
            QCOMPARE(call("PUT", u"/api/user/settings"_s, "{\"auto_send_bot\":true}"), 200);
            break;
        case Mutation::uploadAttachment:
            QCOMPARE(probe(m_network, "POST",
                           m_service->baseUrl() + u"/api/tasks/%1/attachments?filename=b.txt"_s.arg(task), "file",
                           {{"Authorization", "Bearer " + m_token}})
                         .status,
                     201);
            break;
        case Mutation::deleteAttachment:
            QCOMPARE(call("DELETE", u"/api/tasks/%1/attachments/%2"_s.arg(task).arg(m_attachmentId)), 200);
            break;
        case Mutation::regenerateApiKey:
            QCOMPARE(call("POST", u"/api/user/apikey/regenerate"_s), 200);
            break;
        case Mutation::externalApi: {
            m_service->storage().setApiKey(m_userId, u"vexoapi-test-key"_s);
            QCOMPARE(probe(m_network, "POST", m_service->baseUrl() + u"/api/external/tasks"_s, "{\"title\":\"Извне\"}",
                           {{"x-api-key", "vexoapi-test-key"}, {"Content-Type", "application/json"}})
                         .status,
                     201);
            break;
        }
        case Mutation::commandLineTask: {
            QProcess process;
            process.start(QStringLiteral(VEXO_SERVER_BINARY),
                          QStringList{u"task"_s, u"add"_s, u"--telegram-id"_s, u"1"_s, u"--title"_s, u"Бот"_s} +
                              m_service->storageArguments());
            QVERIFY(process.waitForFinished(30'000));
            QCOMPARE(process.exitCode(), 0);
            break;
        }
        case Mutation::otherUsersTask: {
            NewTask other;
            other.title = u"Чужая"_s;
            other.source = u"app"_s;
            m_service->storage().insertTask(m_service->userId(u"2"_s), other, false, u"2025-03-05T12:00:00.000Z"_s);
            break;
        }
        case Mutation::failedEdit:
            QCOMPARE(call("PUT", u"/api/tasks/987654"_s, "{\"title\":\"Нет такой\"}"), 404);
            break;
        case Mutation::readsOnly:
            QCOMPARE(call("GET", u"/api/user/stats?range=week"_s), 200);
            QCOMPARE(call("GET", u"/api/tasks/%1/attachments"_s.arg(task)), 200);
            QCOMPARE(call("GET", u"/api/user/settings"_s), 200);
            break;
        }
    }

private Q_SLOTS:
    void init() {
        m_service = std::make_unique<LocalService>(QDateTime(QDate(2025, 3, 5), QTime(12, 0), Qt::UTC));
        m_service->addUser(u"1"_s);
        m_service->addUser(u"2"_s);
        m_userId = m_service->userId(u"1"_s);
        m_token = m_service->signIn(u"1"_s);
        Storage& storage = m_service->storage();
        const QString now = u"2025-03-05T12:00:00.000Z"_s;
        m_folderId = storage.insertFolder(m_userId, u"Работа"_s, u"#123456"_s, now).id;
        m_emptyFolderId = storage.insertFolder(m_userId, u"Пустая"_s, u"#654321"_s, now).id;
        NewTask task;
        task.title = u"Первая"_s;
        task.source = u"app"_s;
        task.folderId = m_folderId;
        m_taskId = storage.insertTask(m_userId, task, false, now).id;
        m_attachmentId = storage.addAttachment(m_taskId, u"a.txt"_s, u"text/plain"_s, "x", now)->id;
    }

    void cleanup() { m_service.reset(); }

    void notModifiedInEveryForm_data() {
        QTest::addColumn<QString>("path");
        for (const QString& path : tasksForms + QStringList{foldersForm})
            QTest::newRow(qPrintable(path)) << path;
    }

    void notModifiedInEveryForm() {
        QFETCH(QString, path);
        const ProbeReply full = get(path);
        QCOMPARE(full.status, 200);
        const QByteArray tag = full.header("ETag");
        QVERIFY2(tag.startsWith('"') && tag.endsWith('"') && tag.size() > 2, tag.constData());

        RawConnection connection(m_service->port());
        connection.send("GET " + form(path).toUtf8() + " HTTP/1.1\r\nHost: a\r\nAuthorization: Bearer " + m_token +
                        "\r\nIf-None-Match: " + tag + "\r\n\r\n");
        const auto answer = connection.nextAnswer(10'000);
        QVERIFY(answer);
        QCOMPARE(answer->status, 304);
        QCOMPARE(answer->header("etag"), tag);
        QVERIFY(answer->body.isEmpty());
        QVERIFY(!answer->head.contains("Content-Length"));
        // Nothing follows the head, and the connection serves the next request.
        connection.send("GET " + form(path).toUtf8() + " HTTP/1.1\r\nHost: a\r\nAuthorization: Bearer " + m_token +
                        "\r\n\r\n");
        const auto again = connection.nextAnswer(10'000);
        QVERIFY(again);
        QCOMPARE(again->status, 200);
        QCOMPARE(again->body, full.body);
        QCOMPARE(again->header("etag"), tag);
    }

    void ifNoneMatchForms_data() {
        QTest::addColumn<QByteArray>("field");
        QTest::addColumn<int>("status");
        QTest::newRow("the tag") << QByteArray("@") << 304;
        QTest::newRow("weak form of the tag") << QByteArray("W/@") << 304;
        QTest::newRow("in a list") << QByteArray("\"other\", W/\"more\",@") << 304;
        QTest::newRow("in a list with spaces") << QByteArray("\"other\" ,  @  ") << 304;
        QTest::newRow("any") << QByteArray("*") << 304;
        QTest::newRow("another tag") << QByteArray("\"other\"") << 200;
        QTest::newRow("the tag unquoted") << QByteArray("#") << 200;
        QTest::newRow("a prefix of the tag") << QByteArray("$") << 200;
        QTest::newRow("malformed list") << QByteArray("@ garbage") << 200;
        QTest::newRow("unterminated") << QByteArray("\"abc") << 200;
        QTest::newRow("empty") << QByteArray("") << 200;
    }

    void ifNoneMatchForms() {
        QFETCH(QByteArray, field);
        QFETCH(int, status);
        const QByteArray tag = tagOf(tasksForms[1]);
        field.replace("@", tag).replace("#", tag.mid(1, tag.size() - 2)).replace("$", tag.left(tag.size() - 2) + '"');
        const ProbeReply reply = get(tasksForms[1], field);
        QCOMPARE(reply.status, status);
        QCOMPARE(reply.header("ETag"), tag);
        QCOMPARE(reply.body.isEmpty(), status == 304);
    }

    // Each form has its own tag: one list's tag never stands for another's.
    void formsHaveTheirOwnTags() {
        const QList<QByteArray> tags = allTags().mid(1);
        QCOMPARE(QSet<QByteArray>(tags.begin(), tags.end()).size(), tags.size());
        // Forms that give the same list may share it.
        QCOMPARE(tagOf(u"/api/tasks"_s), tags.first());
        QCOMPARE(tagOf(u"/api/tasks?archived=0"_s), tags.first());
    }

    void aMalformedQueryIsStillRefused() {
        QCOMPARE(get(u"/api/tasks?status=someday"_s, "*").status, 400);
        QCOMPARE(get(u"/api/tasks?folderId=-1"_s, "*").status, 400);
    }

    void tagFollowsEveryChange_data() {
        QTest::addColumn<Mutation>("mutation");
        QTest::addColumn<bool>("tasksChange");
        QTest::addColumn<bool>("foldersChange");
        QTest::newRow("task created") << Mutation::createTask << true << false;
        QTest::newRow("task edited") << Mutation::editTask << true << false;
        QTest::newRow("status toggled") << Mutation::toggleStatus << true << false;
        QTest::newRow("task archived") << Mutation::archiveTask << true << false;
        QTest::newRow("task sent to the bot") << Mutation::sendToBot << true << false;
        QTest::newRow("task deleted") << Mutation::deleteTask << true << false;
        QTest::newRow("external API") << Mutation::externalApi << true << false;
        QTest::newRow("vexo-server task add") << Mutation::commandLineTask << true << false;
        QTest::newRow("folder created") << Mutation::createFolder << false << true;
        QTest::newRow("folder renamed") << Mutation::renameFolder << false << true;
        QTest::newRow("empty folder deleted") << Mutation::deleteEmptyFolder << false << true;
        QTest::newRow("folder with tasks deleted") << Mutation::deleteFolderWithTasks << true << true;
        // Neither list shows these.
        QTest::newRow("settings") << Mutation::settings << false << false;
        QTest::newRow("attachment uploaded") << Mutation::uploadAttachment << false << false;
        QTest::newRow("attachment deleted") << Mutation::deleteAttachment << false << false;
        QTest::newRow("API key regenerated") << Mutation::regenerateApiKey << false << false;
        QTest::newRow("another user's task") << Mutation::otherUsersTask << false << false;
        QTest::newRow("an edit that failed") << Mutation::failedEdit << false << false;
        QTest::newRow("reads") << Mutation::readsOnly << false << false;
    }

    void tagFollowsEveryChange() {
        QFETCH(Mutation, mutation);
        QFETCH(bool, tasksChange);
        QFETCH(bool, foldersChange);
        const QList<QByteArray> before = allTags();
        mutate(mutation);
        if (QTest::currentTestFailed())
            return;
        const QList<QByteArray> after = allTags();
        for (qsizetype i = 0; i < tasksForms.size(); ++i) {
            QVERIFY2((before[i] != after[i]) == tasksChange, qPrintable(tasksForms[i]));
            // An old tag no longer stops the list from being sent.
            QCOMPARE(get(tasksForms[i], before[i]).status, tasksChange ? 200 : 304);
        }
        QCOMPARE(before.last() != after.last(), foldersChange);
        QCOMPARE(get(foldersForm, before.last()).status, foldersChange ? 200 : 304);
    }

    void keptListsAreNeverStale_data() { tagFollowsEveryChange_data(); }

    // A list answered again from the bytes kept for it is, after any change, what building it
    // from the rows gives.
    void keptListsAreNeverStale() {
        QFETCH(Mutation, mutation);
        QFETCH(bool, tasksChange);
        QList<QByteArray> before;
        for (const QString& path : tasksForms)
            before << get(path).body;
        mutate(mutation);
        if (QTest::currentTestFailed())
            return;
        QList<QByteArray> kept;
        for (const QString& path : tasksForms)
            kept << get(path).body;
        m_service->server().setListCacheBudget(0);
        for (qsizetype i = 0; i < tasksForms.size(); ++i) {
            const ProbeReply built = get(tasksForms[i]);
            QCOMPARE(built.status, 200);
            QCOMPARE(kept[i], built.body);
            if (!tasksChange)
                QCOMPARE(kept[i], before[i]);
        }
    }

    // Another database behind the same address, with the same ids and revisions, has other tags.
    void anotherDatabaseHasOtherTags() {
        const QByteArray tasks = tagOf(tasksForms[0]);
        const QByteArray folders = tagOf(foldersForm);
        init();
        QVERIFY(tagOf(tasksForms[0]) != tasks);
        QVERIFY(tagOf(foldersForm) != folders);
    }
};

QTEST_GUILESS_MAIN(tst_ConditionalGet)
#include "tst_ConditionalGet.moc"
