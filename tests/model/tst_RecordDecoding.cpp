#include "RecordFixtures.h"

#include "AdminUser.h"
#include "DecodeError.h"
#include "Envelopes.h"
#include "JsonValue.h"
#include "JsonWriter.h"
#include "UserStats.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_RecordDecoding final : public QObject {
    Q_OBJECT

private:
    static RecordFixture fixture(const QString& name) {
        for (const RecordFixture& candidate : recordFixtures()) {
            if (candidate.name == name)
                return candidate;
        }
        qFatal("no fixture named %s", qPrintable(name));
    }

    // Returns the decoding error's message, or an empty string when decoding succeeded.
    static QString decodeError(const RecordFixture& record, const QByteArray& bytes) {
        try {
            record.decode(bytes);
        } catch (const DecodeError& error) {
            return error.message();
        }
        return {};
    }

private Q_SLOTS:
    void completeSampleDecodes_data() {
        QTest::addColumn<QString>("record");
        for (const RecordFixture& record : recordFixtures())
            QTest::newRow(qPrintable(record.name)) << record.name;
    }

    void completeSampleDecodes() {
        QFETCH(QString, record);
        const RecordFixture f = fixture(record);
        QCOMPARE(decodeError(f, toBytes(f.sample)), QString());
    }

    // Every key of every record removed in turn: required keys fail the record, optional ones do not.
    void removedKey_data() {
        QTest::addColumn<QString>("record");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("required");
        for (const RecordFixture& record : recordFixtures()) {
            for (const QString& key : record.sample.keys()) {
                const bool required = record.requiredKeys.contains(key);
                QTest::addRow("%s without %s", qPrintable(record.name), qPrintable(key))
                    << record.name << key << required;
            }
        }
    }

    void removedKey() {
        QFETCH(QString, record);
        QFETCH(QString, key);
        QFETCH(bool, required);
        const RecordFixture f = fixture(record);
        QJsonObject object = f.sample;
        object.remove(key);
        const QString error = decodeError(f, toBytes(object));
        if (required)
            QCOMPARE(error, u"нет обязательного ключа «%1»"_s.arg(key));
        else
            QCOMPARE(error, QString());
    }

    // Optional means absent or null; a null in a required key is a wrong type, not an absence.
    void nullValue_data() { removedKey_data(); }

    void nullValue() {
        QFETCH(QString, record);
        QFETCH(QString, key);
        QFETCH(bool, required);
        const RecordFixture f = fixture(record);
        QJsonObject object = f.sample;
        object.insert(key, QJsonValue::Null);
        const QString error = decodeError(f, toBytes(object));
        if (required)
            QVERIFY2(error.startsWith(key + u": ожида"_s) && error.endsWith(u"получено: null"_s), qPrintable(error));
        else
            QCOMPARE(error, QString());
    }

    void wrongType_data() {
        QTest::addColumn<QString>("record");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("message");

        QTest::newRow("archived as true") << u"VexoTask"_s << u"archived"_s << QByteArray("true")
                                          << u"archived: ожидалось целое число, получено: логическое значение"_s;
        QTest::newRow("sent_to_bot as false") << u"VexoTask"_s << u"sent_to_bot"_s << QByteArray("false")
                                              << u"sent_to_bot: ожидалось целое число, получено: логическое значение"_s;
        QTest::newRow("telegram_id as number") << u"User"_s << u"telegram_id"_s << QByteArray("123456789")
                                               << u"telegram_id: ожидалась строка, получено: число"_s;
        QTest::newRow("admin telegram_id as number") << u"AdminUser"_s << u"telegram_id"_s << QByteArray("12345")
                                                     << u"telegram_id: ожидалась строка, получено: число"_s;
        QTest::newRow("id as text") << u"VexoTask"_s << u"id"_s << QByteArray("\"42\"")
                                    << u"id: ожидалось целое число, получено: строка"_s;
        QTest::newRow("id fractional") << u"VexoTask"_s << u"id"_s << QByteArray("42.5")
                                       << u"id: ожидалось целое число, получено «42.5»"_s;
        QTest::newRow("id with exponent")
            << u"Folder"_s << u"id"_s << QByteArray("4e2") << u"id: ожидалось целое число, получено «4e2»"_s;
        QTest::newRow("id just above int64") << u"User"_s << u"id"_s << QByteArray("9223372036854775808")
                                             << u"id: целое число вне 64-битного диапазона"_s;
        QTest::newRow("id far below int64") << u"User"_s << u"id"_s << QByteArray("-99999999999999999999")
                                            << u"id: целое число вне 64-битного диапазона"_s;
        QTest::newRow("size as float") << u"TaskAttachment"_s << u"size"_s << QByteArray("1.0")
                                       << u"size: ожидалось целое число, получено «1.0»"_s;
        QTest::newRow("is_admin as 1") << u"User"_s << u"is_admin"_s << QByteArray("1")
                                       << u"is_admin: ожидалось логическое значение, получено: число"_s;
        QTest::newRow("auto_send_bot as 0") << u"UserSettings"_s << u"auto_send_bot"_s << QByteArray("0")
                                            << u"auto_send_bot: ожидалось логическое значение, получено: число"_s;
        QTest::newRow("title as array") << u"VexoTask"_s << u"title"_s << QByteArray("[]")
                                        << u"title: ожидалась строка, получено: массив"_s;
        QTest::newRow("tasks as object") << u"TasksResponse"_s << u"tasks"_s << QByteArray("{}")
                                         << u"tasks: ожидался массив, получено: объект"_s;
        QTest::newRow("user as string") << u"AuthResponse"_s << u"user"_s << QByteArray("\"me\"")
                                        << u"user: ожидался объект, получено: строка"_s;
        QTest::newRow("nested day count")
            << u"UserStats"_s << u"daily"_s
            << QByteArray(R"({"created":[{"date":"2025-03-01","count":"2"}],"completed":[]})")
            << u"daily.created[0].count: ожидалось целое число, получено: строка"_s;
        QTest::newRow("priority as number")
            << u"VexoTask"_s << u"priority"_s << QByteArray("1") << u"priority: ожидалась строка, получено: число"_s;
    }

    void wrongType() {
        QFETCH(QString, record);
        QFETCH(QString, key);
        QFETCH(QByteArray, json);
        QFETCH(QString, message);
        const RecordFixture f = fixture(record);
        QJsonObject object = f.sample;
        object.insert(key, u"__MARK__"_s);
        QByteArray bytes = toBytes(object);
        bytes.replace("\"__MARK__\"", json);
        QCOMPARE(decodeError(f, bytes), message);
    }

    void unknownEnumValueFailsWholeAnswer_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::newRow("urgent priority") << u"priority"_s << u"urgent"_s;
        QTest::newRow("canceled with one l") << u"status"_s << u"canceled"_s;
        QTest::newRow("capitalised priority") << u"priority"_s << u"High"_s;
        QTest::newRow("empty status") << u"status"_s << QString();
    }

    void unknownEnumValueFailsWholeAnswer() {
        QFETCH(QString, key);
        QFETCH(QString, value);
        const RecordFixture f = fixture(u"VexoTask"_s);
        QJsonArray tasks;
        for (int i = 0; i < 5; ++i) {
            QJsonObject task = f.sample;
            task.insert(u"id"_s, i + 1);
            if (i == 3)
                task.insert(key, value);
            tasks.append(task);
        }
        try {
            (void)decodeJson<TasksResponse>(toBytes(QJsonObject{{u"tasks"_s, tasks}}));
            QFAIL("an unknown enumeration value must fail the whole answer");
        } catch (const DecodeError& error) {
            QCOMPARE(error.message(), u"tasks[3].%1: неизвестное значение «%2»"_s.arg(key, value));
        }
    }

    void statusesAndPrioritiesDecode_data() {
        QTest::addColumn<QString>("priority");
        QTest::addColumn<QString>("status");
        QTest::addColumn<int>("expectedPriority");
        QTest::addColumn<int>("expectedStatus");
        QTest::newRow("high pending") << u"high"_s << u"pending"_s << int(TaskPriority::high)
                                      << int(TaskStatus::pending);
        QTest::newRow("medium done") << u"medium"_s << u"done"_s << int(TaskPriority::medium) << int(TaskStatus::done);
        QTest::newRow("low cancelled") << u"low"_s << u"cancelled"_s << int(TaskPriority::low)
                                       << int(TaskStatus::cancelled);
    }

    void statusesAndPrioritiesDecode() {
        QFETCH(QString, priority);
        QFETCH(QString, status);
        QFETCH(int, expectedPriority);
        QFETCH(int, expectedStatus);
        QJsonObject object = fixture(u"VexoTask"_s).sample;
        object.insert(u"priority"_s, priority);
        object.insert(u"status"_s, status);
        const VexoTask task = decodeJson<VexoTask>(toBytes(object));
        QCOMPARE(int(task.priority), expectedPriority);
        QCOMPARE(int(task.status), expectedStatus);
    }

    void flags() {
        QJsonObject object = fixture(u"VexoTask"_s).sample;
        object.insert(u"archived"_s, 1);
        object.insert(u"sent_to_bot"_s, 0);
        VexoTask task = decodeJson<VexoTask>(toBytes(object));
        QVERIFY(task.isArchived());
        QVERIFY(!task.isSentToBot());
        object.insert(u"archived"_s, 2);
        object.remove(u"sent_to_bot"_s);
        task = decodeJson<VexoTask>(toBytes(object));
        QVERIFY2(!task.isArchived(), "only exactly 1 means archived");
        QVERIFY(!task.sentToBot.has_value());
    }

    void exact64BitIntegers_data() {
        QTest::addColumn<QByteArray>("literal");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("2^53 + 1") << QByteArray("9007199254740993") << Q_INT64_C(9007199254740993);
        QTest::newRow("INT64_MAX") << QByteArray("9223372036854775807") << std::numeric_limits<qint64>::max();
        QTest::newRow("INT64_MIN") << QByteArray("-9223372036854775808") << std::numeric_limits<qint64>::min();
        QTest::newRow("zero") << QByteArray("0") << qint64(0);
    }

    void exact64BitIntegers() {
        QFETCH(QByteArray, literal);
        QFETCH(qint64, expected);
        const QByteArray bytes = R"({"tasks":[{"id":)" + literal +
                                 R"(,"title":"t","priority":"low","status":"done",)"
                                 R"("created_at":"2025-03-01","folder_id":)" +
                                 literal + R"(,"user_id":)" + literal + "}]}";
        const TasksResponse response = decodeJson<TasksResponse>(bytes);
        QCOMPARE(response.tasks.size(), 1);
        QCOMPARE(response.tasks[0].id, expected);
        QCOMPARE(response.tasks[0].folderId, std::optional<qint64>(expected));
        QCOMPARE(response.tasks[0].userId, std::optional<qint64>(expected));
        // ...and they go back out digit for digit.
        QVERIFY(encodeJson(response).contains("\"id\":" + literal + ","));
    }

    void unknownKeysAreIgnored() {
        const QByteArray bytes =
            R"({"extra":{"deep":[1,2,{"x":null}]},"user":{"id":1,"telegram_id":"5","nick":"x"},"token":"t",)"
            R"("success":false,"more":1.5e300})";
        const AuthResponse response = decodeJson<AuthResponse>(bytes);
        QCOMPARE(response.success, false);
        QCOMPARE(response.token, u"t"_s);
        QCOMPARE(response.user.telegramId, u"5"_s);
    }

    void escapedStrings() {
        const QByteArray bytes = "{\"id\":1,\"name\":\"\\u0420\\u0430\\u0431\\u043e\\u0442\\u0430 "
                                 "\\ud83d\\ude00 \\\"q\\\" \\\\ \\/ \\n\\t\",\"color\":\"#FFFFFF\"}";
        const Folder folder = decodeJson<Folder>(bytes);
        QCOMPARE(folder.name, u"Работа 😀 \"q\" \\ / \n\t"_s);
    }

    void escapedDescriptions_data() {
        QTest::addColumn<QByteArray>("json"); // the description as it stands in the answer, quotes included
        QTest::newRow("none") << QByteArray("\"<p>Просто текст</p>\"");
        QTest::newRow("quotes in HTML") << QByteArray("\"<a href=\\\"https://e.org/?a=1&b=2\\\">ссылка</a>\"");
        QTest::newRow("every short escape") << QByteArray("\"a\\\"b\\\\c\\/d\\be\\ff\\ng\\rh\\ti\"");
        QTest::newRow("escape first and last") << QByteArray("\"\\\"middle\\\"\"");
        QTest::newRow("only escapes") << QByteArray("\"\\n\\n\\n\"");
        QTest::newRow("unicode escapes") << QByteArray("\"\\u0041\\u00e9\\u00C9\\u0420\\u20ac\\uffff\"");
        QTest::newRow("escaped NUL") << QByteArray("\"a\\u0000b\"");
        QTest::newRow("surrogate pair") << QByteArray("\"smile \\ud83d\\ude00 and \\\"more\\\"\"");
        QTest::newRow("raw and escaped Cyrillic") << QByteArray("\"Ёж \\u0451\\u0436 ёж\"");
    }

    // What a description's escapes stand for, as another JSON reader reads them.
    void escapedDescriptions() {
        QFETCH(QByteArray, json);
        const QByteArray bytes =
            "{\"id\":1,\"title\":\"t\",\"priority\":\"low\",\"status\":\"pending\",\"created_at\":\"x\","
            "\"description\":" +
            json + "}";
        const VexoTask task = decodeJson<VexoTask>(bytes);
        const QString expected = QJsonDocument::fromJson("[" + json + "]").array().first().toString();
        QVERIFY(task.description);
        QCOMPARE(task.description->toString(), expected);
        QCOMPARE(task.description->utf8(), expected.toUtf8());
    }

    void brokenEscapes_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("unknown escape") << QByteArray("\"a\\xb\"");
        QTest::newRow("short unicode escape") << QByteArray("\"a\\u12\"");
        QTest::newRow("not hex") << QByteArray("\"a\\u12G4\"");
        QTest::newRow("high surrogate alone") << QByteArray("\"a\\ud800b\"");
        QTest::newRow("high surrogate, no low after") << QByteArray("\"a\\ud800\\u0041\"");
    }

    void brokenEscapes() {
        QFETCH(QByteArray, json);
        const QByteArray bytes =
            "{\"id\":1,\"title\":\"t\",\"priority\":\"low\",\"status\":\"pending\",\"created_at\":\"x\","
            "\"description\":" +
            json + "}";
        QVERIFY_THROWS_EXCEPTION(DecodeError, (void)decodeJson<VexoTask>(bytes));
    }

    void apiKeySpelling() {
        QCOMPARE(decodeJson<ApiKeyResponse>(R"({"api_key":"vexoapi-1"})").apiKey, u"vexoapi-1"_s);
        QCOMPARE(decodeError(fixture(u"ApiKeyResponse"_s), R"({"apiKey":"vexoapi-1"})"),
                 u"нет обязательного ключа «api_key»"_s);
    }

    void statsWithEmptySeries() {
        const UserStats stats = decodeJson<UserStats>(R"({"range":"month","totals":{"created":0,"completed":0},)"
                                                      R"("daily":{"created":[],"completed":[]},"priority":[]})");
        QCOMPARE(stats.range, u"month"_s);
        QVERIFY(stats.daily.created.isEmpty());
        QVERIFY(stats.priority.isEmpty());
        // A priority word the client does not know is kept as text.
        QCOMPARE(decodeJson<StatsPriority>(R"({"priority":"urgent","count":2})").priority, u"urgent"_s);
    }

    void malformedDocuments_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("message");
        QTest::newRow("empty body") << QByteArray() << u"пустой ответ"_s;
        QTest::newRow("whitespace only") << QByteArray(" \n") << u"пустой ответ"_s;
        QTest::newRow("html") << QByteArray("<html>oops</html>") << QString();
        QTest::newRow("truncated") << QByteArray(R"({"tasks":[{"id":1,)") << QString();
        QTest::newRow("trailing garbage")
            << QByteArray(R"({"tasks":[]} x)") << u"некорректный JSON: лишние данные после значения"_s;
        QTest::newRow("two documents") << QByteArray(R"({"tasks":[]}{"tasks":[]})")
                                       << u"некорректный JSON: лишние данные после значения"_s;
        QTest::newRow("bare string") << QByteArray(R"("tasks")") << u"ожидался объект, получено: строка"_s;
        QTest::newRow("array root") << QByteArray("[]") << u"ожидался объект, получено: массив"_s;
        QTest::newRow("invalid utf-8") << QByteArray("{\"tasks\":[],\"x\":\"\xff\"}") << QString();
    }

    void malformedDocuments() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, message);
        try {
            (void)decodeJson<TasksResponse>(bytes);
            QFAIL("malformed input decoded");
        } catch (const DecodeError& error) {
            QVERIFY(!error.message().isEmpty());
            if (!message.isEmpty())
                QCOMPARE(error.message(), message);
        }
    }

    void paddedAndUnpaddedInputAgree() {
        // Network buffers often have spare capacity; a tight copy takes the other path.
        const QByteArray tight = toBytes(QJsonObject{{u"task"_s, fixture(u"VexoTask"_s).sample}});
        QByteArray roomy;
        roomy.reserve(tight.size() + 1024);
        roomy.append(tight);
        QCOMPARE(decodeJson<TaskResponse>(roomy),
                 decodeJson<TaskResponse>(QByteArray(tight.constData(), tight.size())));
    }
};

QTEST_GUILESS_MAIN(tst_RecordDecoding)
#include "tst_RecordDecoding.moc"
