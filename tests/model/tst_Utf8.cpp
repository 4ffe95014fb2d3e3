#include "Utf8.h"

#include <QRandomGenerator>
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
        // Long enough for the vector path, with every kind of sequence breaking into it.
        QTest::newRow("long cyrillic") << u"Подготовить квартальный отчёт по продажам и расходам "_s.repeated(6);
        QTest::newRow("long mixed") << u"<p>Отчёт — «Q3» 2025: ok</p> 😀 ё ∑ x "_s.repeated(8);
        QTest::newRow("long ascii then cyrillic")
            << u"abcdefghijklmnopqrstuvwxyz0123456789"_s + u"яблоко"_s.repeated(9);
        QTest::newRow("two-byte at every step edge") << u"aя"_s.repeated(40) + u"яa"_s.repeated(40);
        // A sequence straddling two sixteen-byte blocks, then a longer one right behind it.
        QTest::newRow("straddling pair, then three bytes") << u"яяяяяяяя€яяяяяяяяa€"_s.repeated(5);
        QTest::newRow("straddling pair at the very end") << u"яяяяяяяяяяяяяяяяяя"_s;
    }

    void matchesQt() {
        QFETCH(QString, text);
        // Shift the text against the four- and eight-byte steps of the converter.
        for (int pad = 0; pad < 17; ++pad) {
            const QString padded = QString(pad, u'x') + text + QString(pad % 3, u'я');
            const QByteArray utf8 = padded.toUtf8();
            QCOMPARE(utf8ToString(std::string_view(utf8.constData(), std::size_t(utf8.size()))), padded);
        }
    }

    // Random text over every plane, weighted towards the two-byte range the vector path takes.
    void randomTextMatchesQt() {
        QRandomGenerator random(20251122);
        for (int round = 0; round < 3000; ++round) {
            QString text;
            const int length = int(random.bounded(120));
            for (int i = 0; i < length; ++i) {
                char32_t code = 0;
                switch (random.bounded(5)) {
                case 0:
                    code = char32_t(random.bounded(0x20, 0x7F));
                    break;
                case 1:
                case 2:
                    code = char32_t(random.bounded(0x80, 0x800));
                    break;
                case 3:
                    code = char32_t(random.bounded(0x800, 0xD800));
                    break;
                default:
                    code = char32_t(random.bounded(0x10000, 0x110000));
                }
                text += QString::fromUcs4(&code, 1);
            }
            const QByteArray utf8 = text.toUtf8();
            QCOMPARE(utf8ToString(std::string_view(utf8.constData(), std::size_t(utf8.size()))), text);
        }
    }
};

QTEST_GUILESS_MAIN(tst_Utf8)
#include "tst_Utf8.moc"
