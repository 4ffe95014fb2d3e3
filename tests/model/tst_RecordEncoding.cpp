#include "RecordFixtures.h"

#include "AdminStats.h"
#include "AdminUser.h"
#include "Envelopes.h"
#include "JsonValue.h"
#include "JsonWriter.h"
#include "UserSettings.h"
#include "UserStats.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_RecordEncoding final : public QObject {
    Q_OBJECT

private:
    static VexoTask fullTask() {
        VexoTask task;
        task.id = 9007199254740993;
        task.title = u"Позвонить «маме» \"сегодня\"\n"_s;
        task.description = u"<p>a\\b</p>\t"_s;
        task.deadline = u"2025-03-05T15:00:00.000Z"_s;
        task.priority = TaskPriority::low;
        task.status = TaskStatus::cancelled;
        task.archived = 1;
        task.archivedAt = u"2025-03-06 10:00:00"_s;
        task.completedAt = u"2025-03-05 12:00:00"_s;
        task.createdAt = u"2025-03-01 10:00:00"_s;
        task.updatedAt = u"2025-03-02 11:00:00"_s;
        task.source = u"app"_s;
        task.sentToBot = 0;
        task.folderId = std::numeric_limits<qint64>::max();
        task.userId = -1;
        return task;
    }

    static VexoTask sparseTask() {
        VexoTask task;
        task.id = 1;
        task.title = u"t"_s;
        task.createdAt = u"2025-03-01"_s;
        return task;
    }

private Q_SLOTS:
    void taskKeysInOrder() {
        QCOMPARE(encodeJson(fullTask()),
                 QByteArray("{\"id\":9007199254740993,\"title\":\"Позвонить «маме» \\\"сегодня\\\"\\n\","
                            "\"description\":\"<p>a\\\\b</p>\\t\",\"deadline\":\"2025-03-05T15:00:00.000Z\","
                            "\"priority\":\"low\",\"status\":\"cancelled\",\"archived\":1,"
                            "\"archived_at\":\"2025-03-06 10:00:00\",\"completed_at\":\"2025-03-05 12:00:00\","
                            "\"created_at\":\"2025-03-01 10:00:00\",\"updated_at\":\"2025-03-02 11:00:00\","
                            "\"source\":\"app\",\"sent_to_bot\":0,\"folder_id\":9223372036854775807,"
                            "\"user_id\":-1}"));
    }

    void emptyOptionalsAreLeftOut() {
        QCOMPARE(
            encodeJson(sparseTask()),
            QByteArray(R"({"id":1,"title":"t","priority":"medium","status":"pending","created_at":"2025-03-01"})"));
        User user;
        user.id = 2;
        user.telegramId = u"77"_s;
        user.firstName = QString(); // present but empty is still present
        QCOMPARE(encodeJson(user), QByteArray(R"({"id":2,"telegram_id":"77","first_name":""})"));
    }

    void controlCharactersAreEscaped() {
        Folder folder;
        folder.name = QString(QChar(0x01)) + u"x"_s + QChar(0x1f);
        folder.color = u"#000000"_s;
        QCOMPARE(encodeJson(folder), QByteArray("{\"id\":0,\"name\":\"\\u0001x\\u001f\",\"color\":\"#000000\"}"));
        QCOMPARE(decodeJson<Folder>(encodeJson(folder)), folder);
    }

    void roundTrips() {
        QCOMPARE(decodeJson<VexoTask>(encodeJson(fullTask())), fullTask());
        QCOMPARE(decodeJson<VexoTask>(encodeJson(sparseTask())), sparseTask());

        TasksResponse tasks{{fullTask(), sparseTask()}};
        QCOMPARE(decodeJson<TasksResponse>(encodeJson(tasks)), tasks);

        User user{5, u"123"_s, u"u"_s, u"Имя"_s, std::nullopt, u"/a"_s, false};
        AuthResponse auth{true, u"token"_s, user};
        QCOMPARE(decodeJson<AuthResponse>(encodeJson(auth)), auth);

        UserStats stats{u"week"_s,
                        {3, 1},
                        {{{u"2025-03-01"_s, 2}, {u"2025-03-02"_s, 1}}, {{u"2025-03-02"_s, 1}}},
                        {{u"high"_s, 1}, {u"medium"_s, 1}, {u"low"_s, 1}}};
        QCOMPARE(decodeJson<UserStats>(encodeJson(stats)), stats);

        AdminUser admin{1, u"9"_s, std::nullopt, u""_s, u"Петров"_s, 0, true};
        QCOMPARE(decodeJson<AdminUser>(encodeJson(admin)), admin);

        AdminStats adminStats{1, 2, 3, 4};
        QCOMPARE(decodeJson<AdminStats>(encodeJson(adminStats)), adminStats);

        FoldersResponse folders{
            {Folder{1, u"A"_s, u"#FF0000"_s, u"2025-01-01"_s}, Folder{2, u"B"_s, u"#00FF00"_s, {}}}};
        QCOMPARE(decodeJson<FoldersResponse>(encodeJson(folders)), folders);

        AttachmentsResponse attachments{{TaskAttachment{1, u"a.png"_s, u"image/png"_s, 10, {}}}};
        QCOMPARE(decodeJson<AttachmentsResponse>(encodeJson(attachments)), attachments);

        QCOMPARE(decodeJson<UserSettings>(encodeJson(UserSettings{true})), UserSettings{true});
        QCOMPARE(decodeJson<ApiKeyResponse>(encodeJson(ApiKeyResponse{u"vexoapi-x"_s})),
                 ApiKeyResponse{u"vexoapi-x"_s});
    }

    // Every fixture, decoded and encoded again, keeps its keys: encoders and decoders agree on names.
    void fixturesSurviveARoundTrip_data() {
        QTest::addColumn<QString>("record");
        for (const RecordFixture& record : recordFixtures())
            QTest::newRow(qPrintable(record.name)) << record.name;
    }

    void fixturesSurviveARoundTrip() {
        QFETCH(QString, record);
        for (const RecordFixture& f : recordFixtures()) {
            if (f.name != record)
                continue;
            QByteArray encoded;
#define VEXO_ROUND_TRIP(Type)                                                                                          \
    if (record == QLatin1StringView(#Type))                                                                            \
        encoded = encodeJson(decodeJson<Type>(toBytes(f.sample)));
            VEXO_ROUND_TRIP(User)
            VEXO_ROUND_TRIP(VexoTask)
            VEXO_ROUND_TRIP(Folder)
            VEXO_ROUND_TRIP(TaskAttachment)
            VEXO_ROUND_TRIP(UserSettings)
            VEXO_ROUND_TRIP(AuthResponse)
            VEXO_ROUND_TRIP(TasksResponse)
            VEXO_ROUND_TRIP(TaskResponse)
            VEXO_ROUND_TRIP(FoldersResponse)
            VEXO_ROUND_TRIP(AttachmentsResponse)
            VEXO_ROUND_TRIP(ApiKeyResponse)
            VEXO_ROUND_TRIP(UserStats)
            VEXO_ROUND_TRIP(StatsTotals)
            VEXO_ROUND_TRIP(StatsDaily)
            VEXO_ROUND_TRIP(StatsDayCount)
            VEXO_ROUND_TRIP(StatsPriority)
            VEXO_ROUND_TRIP(AdminStats)
            VEXO_ROUND_TRIP(AdminUser)
#undef VEXO_ROUND_TRIP
            QVERIFY2(!encoded.isEmpty(), "record type missing from the round-trip list");
            QCOMPARE(QJsonDocument::fromJson(encoded).object(), f.sample);
            return;
        }
        QFAIL("unknown record");
    }
};

QTEST_GUILESS_MAIN(tst_RecordEncoding)
#include "tst_RecordEncoding.moc"
