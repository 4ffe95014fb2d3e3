#include "HttpStatusPhrase.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_HttpStatusPhrase final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void phrase_data() {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("phrase");
        QTest::newRow("200") << 200 << u"ОК"_s;
        QTest::newRow("401") << 401 << u"Не авторизован"_s;
        QTest::newRow("404") << 404 << u"Не найдено"_s;
        QTest::newRow("413") << 413 << u"Слишком большое содержимое"_s;
        QTest::newRow("429") << 429 << u"Слишком много запросов"_s;
        QTest::newRow("451") << 451 << u"Недоступно по юридическим причинам"_s;
        QTest::newRow("500") << 500 << u"Внутренняя ошибка сервера"_s;
        QTest::newRow("511") << 511 << u"Требуется сетевая аутентификация"_s;
        QTest::newRow("unregistered 1xx") << 199 << u"Информационный ответ"_s;
        QTest::newRow("unregistered 2xx") << 250 << u"Успешно"_s;
        QTest::newRow("unused 306") << 306 << u"Перенаправление"_s;
        QTest::newRow("unused 418") << 418 << u"Ошибка клиента"_s;
        QTest::newRow("unregistered 5xx") << 599 << u"Ошибка сервера"_s;
        QTest::newRow("outside classes") << 600 << u"Неизвестный код состояния"_s;
        QTest::newRow("zero") << 0 << u"Неизвестный код состояния"_s;
    }

    void phrase() {
        QFETCH(int, code);
        QFETCH(QString, phrase);
        QCOMPARE(httpStatusPhrase(code), phrase);
    }

    // Each registered code has a phrase of its own, not its class's.
    void registeredCodesHaveDistinctPhrases() {
        const int registered[] = {100, 101, 102, 103, 200, 201, 202, 203, 204, 205, 206, 207, 208, 226, 300, 301,
                                  302, 303, 304, 305, 307, 308, 400, 401, 402, 403, 404, 405, 406, 407, 408, 409,
                                  410, 411, 412, 413, 414, 415, 416, 417, 421, 422, 423, 424, 425, 426, 428, 429,
                                  431, 451, 500, 501, 502, 503, 504, 505, 506, 507, 508, 510, 511};
        QSet<QString> seen;
        for (int code : registered) {
            const QString phrase = httpStatusPhrase(code);
            QVERIFY2(!seen.contains(phrase), qPrintable(QString::number(code)));
            seen.insert(phrase);
        }
        QVERIFY(!seen.contains(httpStatusPhrase(499)));
    }
};

QTEST_GUILESS_MAIN(tst_HttpStatusPhrase)
#include "tst_HttpStatusPhrase.moc"
