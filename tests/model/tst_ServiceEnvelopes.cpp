#include "DecodeError.h"
#include "Envelopes.h"
#include "JsonValue.h"
#include "JsonWriter.h"

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

// The envelopes the service wraps its acknowledgements, folders, uploads and user lists in: the
// exact bytes it sends, read back into the same record, and every required key really required.
class tst_ServiceEnvelopes final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void exactBytes() {
        QCOMPARE(encodeJson(SuccessResponse{true}), QByteArray(R"({"success":true})"));
        QCOMPARE(encodeJson(FolderResponse{Folder{7, u"Дом"_s, u"#112233"_s, std::nullopt}}),
                 QByteArray(R"({"folder":{"id":7,"name":"Дом","color":"#112233"}})"));
        QCOMPARE(encodeJson(AttachmentResponse{TaskAttachment{3, u"a.png"_s, u"image/png"_s, 10, u"x"_s}}),
                 QByteArray(R"({"attachment":{"id":3,"filename":"a.png","mimetype":"image/png","size":10,)"
                            R"("created_at":"x"}})"));
        AdminUser user;
        user.id = 1;
        user.telegramId = u"42"_s;
        user.taskCount = 0;
        QCOMPARE(encodeJson(AdminUsersResponse{{user}}),
                 QByteArray(R"({"users":[{"id":1,"telegram_id":"42","task_count":0}]})"));
        QCOMPARE(encodeJson(AdminUsersResponse{}), QByteArray(R"({"users":[]})"));
    }

    void roundTrips() {
        for (const SuccessResponse& response : {SuccessResponse{true}, SuccessResponse{false}})
            QCOMPARE(decodeJson<SuccessResponse>(encodeJson(response)), response);
        const FolderResponse folder{Folder{9007199254740993, u"Работа 😀 \"q\""_s, u"#A78BFA"_s, u"2025-03-05"_s}};
        QCOMPARE(decodeJson<FolderResponse>(encodeJson(folder)), folder);
        const AttachmentResponse attachment{
            TaskAttachment{1, u"фото\n.png"_s, u"image/png"_s, std::numeric_limits<qint64>::max(), std::nullopt}};
        QCOMPARE(decodeJson<AttachmentResponse>(encodeJson(attachment)), attachment);
        AdminUser full;
        full.id = 2;
        full.telegramId = u"0042"_s;
        full.username = u"ira"_s;
        full.firstName = u"Ира"_s;
        full.lastName = u"Петрова"_s;
        full.taskCount = 12;
        full.isAdmin = true;
        AdminUser sparse;
        sparse.id = 3;
        sparse.telegramId = u"7"_s;
        const AdminUsersResponse users{{full, sparse}};
        QCOMPARE(decodeJson<AdminUsersResponse>(encodeJson(users)), users);
    }

    void requiredKeys_data() {
        QTest::addColumn<QString>("record");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        const QString missing = u"нет обязательного ключа «%1»"_s;
        QTest::newRow("success missing") << u"success"_s << QByteArray("{}") << missing.arg(u"success"_s);
        QTest::newRow("success as 1") << u"success"_s << QByteArray(R"({"success":1})")
                                      << u"ожидалось логическое значение"_s;
        QTest::newRow("folder missing") << u"folder"_s << QByteArray(R"({"folders":[]})") << missing.arg(u"folder"_s);
        QTest::newRow("folder without color")
            << u"folder"_s << QByteArray(R"({"folder":{"id":1,"name":"n"}})") << missing.arg(u"color"_s);
        QTest::newRow("attachment missing") << u"attachment"_s << QByteArray("{}") << missing.arg(u"attachment"_s);
        QTest::newRow("users missing") << u"users"_s << QByteArray(R"({"user":[]})") << missing.arg(u"users"_s);
        QTest::newRow("user without telegram_id")
            << u"users"_s << QByteArray(R"({"users":[{"id":1}]})") << missing.arg(u"telegram_id"_s);
    }

    void requiredKeys() {
        QFETCH(QString, record);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        QString got;
        if (record == u"success")
            got = decodeError<SuccessResponse>(bytes);
        else if (record == u"folder")
            got = decodeError<FolderResponse>(bytes);
        else if (record == u"attachment")
            got = decodeError<AttachmentResponse>(bytes);
        else
            got = decodeError<AdminUsersResponse>(bytes);
        QVERIFY2(got.contains(error) && !error.isEmpty(), qPrintable(got));
    }
};

QTEST_GUILESS_MAIN(tst_ServiceEnvelopes)
#include "tst_ServiceEnvelopes.moc"
