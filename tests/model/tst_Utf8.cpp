#include "Utf8.h"

#include <QTest>

using namespace Qt::StringLiterals;

// The fast converter must agree with Qt's own on every kind of valid UTF-8, at every alignment.
class tst_Utf8 final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void matchesQt_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QString();
        QTest::newRow("ascii") << u"Hello, world! 0123456789"_s;
        QTest::newRow("cyrillic") << u"Подготовить квартальный отчёт"_s;
        QTest::newRow("mixed") << u"Отчёт Q3: <b>срочно</b> — до 18:00, «важно»"_s;
        QTest::newRow("three-byte") << u"— € ₽ 中文 ✓"_s;
        QTest::newRow("four-byte") << u"😀 𝄞 🚀x"_s;
        QTest::newRow("single two-byte") << u"ё"_s;
        QTest::newRow("control characters") << u"a\u0001\n\tb"_s;
    }

    void matchesQt() {
        QFETCH(QString, text);
        // Shift the text against the four- and eight-byte steps of the converter.
        for (int pad = 0; pad < 9; ++pad) {
            const QString padded = QString(pad, u'x') + text + QString(pad % 3, u'я');
            const QByteArray utf8 = padded.toUtf8();
            QCOMPARE(utf8ToString(std::string_view(utf8.constData(), std::size_t(utf8.size()))), padded);
        }
    }
};

QTEST_GUILESS_MAIN(tst_Utf8)
#include "tst_Utf8.moc"
