#include "DecodeError.h"
#include "Envelopes.h"
#include "JsonValue.h"
#include "UserSettings.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

template <class T> QString decodeError(const QByteArray& bytes) {
    try {
        (void)decodeJson<T>(bytes);
    } catch (const DecodeError& error) {
        return error.message();
    }
    return {};
}

} // namespace

// Plain string literals only: moc loses its way in raw ones here.
// An answer is valid JSON throughout or it is not taken, also where the broken part sits in a value
// no record reads; and what the user reads about it is Russian.
class tst_StrictJson final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void brokenValuesNobodyReads_data() {
        QTest::addColumn<QByteArray>("junk");
        QTest::addColumn<QString>("message");
        const QString structure = u"некорректный JSON: нарушена структура (запятые, скобки или ключи)"_s;
        const QString number = u"некорректный JSON: недопустимое число"_s;
        const QString boolean = u"некорректный JSON: недопустимое логическое значение"_s;
        const QString null = u"некорректный JSON: недопустимое значение null"_s;
        QTest::newRow("empty array element") << QByteArray("[1,,2]") << u"junk[1]: "_s + structure;
        QTest::newRow("array without comma") << QByteArray("[1 2]") << u"junk: "_s + structure;
        QTest::newRow("array with trailing comma") << QByteArray("[1,]") << u"junk[1]: "_s + structure;
        QTest::newRow("object without colon") << QByteArray("{\"a\" 1}") << u"junk: "_s + structure;
        QTest::newRow("object with trailing comma") << QByteArray("{\"a\":1,}") << u"junk: "_s + structure;
        QTest::newRow("object with a number for a key") << QByteArray("{1:2}") << u"junk: "_s + structure;
        QTest::newRow("unclosed inner array") << QByteArray("{\"a\":[}") << u"junk.a[0]: "_s + structure;
        QTest::newRow("tru") << QByteArray("tru") << u"junk: "_s + boolean;
        QTest::newRow("truex") << QByteArray("truex") << u"junk: "_s + boolean;
        QTest::newRow("fals") << QByteArray("fals") << u"junk: "_s + boolean;
        QTest::newRow("nul") << QByteArray("nul") << u"junk: "_s + null;
        QTest::newRow("nullx") << QByteArray("nullx") << u"junk: "_s + null;
        QTest::newRow("leading zero") << QByteArray("01") << u"junk: "_s + number;
        QTest::newRow("point without digits") << QByteArray("1.") << u"junk: "_s + number;
        QTest::newRow("bare minus") << QByteArray("-") << u"junk: "_s + number;
        QTest::newRow("exponent without digits") << QByteArray("1e") << u"junk: "_s + number;
        QTest::newRow("point first") << QByteArray(".5") << u"junk: "_s + structure;
        QTest::newRow("plus sign") << QByteArray("+1") << u"junk: "_s + structure;
        QTest::newRow("NaN") << QByteArray("NaN") << u"junk: "_s + structure;
        QTest::newRow("two points") << QByteArray("[1.2.3]") << u"junk[0]: "_s + number;
        QTest::newRow("unknown escape") << QByteArray("\"a\\qb\"") << u"junk: некорректный JSON: недопустимая строка"_s;
        QTest::newRow("short unicode escape")
            << QByteArray("[\"\\u12\"]") << u"junk[0]: некорректный JSON: недопустимая строка"_s;
        QTest::newRow("deep inside") << QByteArray("{\"a\":{\"b\":[{\"c\":tru}]}}") << u"junk.a.b[0].c: "_s + boolean;
        QTest::newRow("control character in a string")
            << QByteArray("\"a\x01b\"") << u"некорректный JSON: неэкранированный управляющий символ в строке"_s;
    }

    // {"auto_send_bot":true, "junk":…}: the record reads one key; the other must still be JSON.
    void brokenValuesNobodyReads() {
        QFETCH(QByteArray, junk);
        QFETCH(QString, message);
        const QByteArray bytes = "{\"auto_send_bot\":true, \"junk\":" + junk + "}";
        QCOMPARE(decodeError<UserSettings>(bytes), message);
        // Before the key the record reads, too.
        QVERIFY(!decodeError<UserSettings>("{\"junk\":" + junk + ",\"auto_send_bot\":true}").isEmpty());
    }

    void brokenValuesInsideTaskLists() {
        const QByteArray task =
            "{\"id\":1,\"title\":\"t\",\"priority\":\"low\",\"status\":\"done\",\"created_at\":\"2025-03-01\"";
        QCOMPARE(decodeError<TasksResponse>("{\"tasks\":[" + task + "}," + task + ",\"x\":[1,,2]}]}"),
                 u"tasks[1].x[1]: некорректный JSON: нарушена структура (запятые, скобки или ключи)"_s);
        QCOMPARE(decodeError<TasksResponse>("{\"next\":tru,\"tasks\":[]}"),
                 u"next: некорректный JSON: недопустимое логическое значение"_s);
    }

    // Values a record reads are held to the same letter.
    void brokenValuesRecordsRead_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("message");
        const QByteArray task =
            "{\"id\":1,\"title\":\"t\",\"priority\":\"low\",\"status\":\"done\",\"created_at\":\"2025-03-01\",";
        QTest::newRow("flag truex") << QByteArray("{\"auto_send_bot\":truex}")
                                    << u"auto_send_bot: некорректный JSON: недопустимое логическое значение"_s;
        QTest::newRow("flag tru") << QByteArray("{\"auto_send_bot\":tru}")
                                  << u"auto_send_bot: некорректный JSON: недопустимое логическое значение"_s;
        QTest::newRow("optional text nul") << QByteArray("{\"task\":" + task + "\"description\":nul}}")
                                           << u"task.description: некорректный JSON: недопустимое значение null"_s;
        QTest::newRow("optional number nullx") << QByteArray("{\"task\":" + task + "\"folder_id\":nullx}}")
                                               << u"task.folder_id: некорректный JSON: недопустимое значение null"_s;
        QTest::newRow("id with leading zero") << QByteArray("{\"task\":" + task + "\"user_id\":07}}")
                                              << u"task.user_id: некорректный JSON: недопустимое число"_s;
    }

    void brokenValuesRecordsRead() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, message);
        const QString error =
            bytes.startsWith("{\"auto") ? decodeError<UserSettings>(bytes) : decodeError<TaskResponse>(bytes);
        QCOMPARE(error, message);
    }

    // Everything JSON allows is taken in values nobody reads, however large its numbers.
    void validValuesNobodyReads() {
        const QByteArray bytes =
            "{\"junk\":[1,-0.5e+3,0,-0,1E400,123456789012345678901234567890,\"\\u0041\\n\\\"\\\\\\/\",true,false,null,"
            "{\"a\":{},\"b\":[[]]},[],\"\"], \"auto_send_bot\":false ,\"more\":{\"x\":null}}";
        QCOMPARE(decodeError<UserSettings>(bytes), QString());
        QCOMPARE(decodeJson<UserSettings>(bytes).autoSendBot, false);
    }

    // Every error the parser can report reads as Russian; only names (JSON, UTF-8, null) are Latin.
    void everyParserErrorReadsRussian() {
        const QRegularExpression cyrillic(u"[А-Яа-яЁё]"_s);
        const QRegularExpression latinWord(u"[A-Za-z][A-Za-z0-9-]*"_s);
        const QStringList names{u"JSON"_s, u"UTF-8"_s, u"null"_s};
        for (int code = 1; code < simdjson::NUM_ERROR_CODES; ++code) {
            const QString text = JsonValue::syntaxMessage(simdjson::error_code(code));
            QVERIFY2(text.contains(cyrillic), simdjson::error_message(simdjson::error_code(code)));
            auto words = latinWord.globalMatch(text);
            while (words.hasNext()) {
                const QString word = words.next().captured();
                QVERIFY2(names.contains(word), qPrintable(word + u" in "_s + text));
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_StrictJson)
#include "tst_StrictJson.moc"
