#include "ColorHex.h"
#include "Palette.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ColorHex final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parse_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QColor>("expected");
        QTest::newRow("with hash") << u"#E97553"_s << QColor(0xE9, 0x75, 0x53, 255);
        QTest::newRow("without hash") << u"E97553"_s << QColor(0xE9, 0x75, 0x53, 255);
        QTest::newRow("lower case") << u"e97553"_s << QColor(0xE9, 0x75, 0x53, 255);
        QTest::newRow("three digits") << u"abc"_s << QColor(0xAA, 0xBB, 0xCC, 255);
        QTest::newRow("three digits with hash") << u"#fff"_s << QColor(255, 255, 255, 255);
        QTest::newRow("alpha first") << u"80FF0000"_s << QColor(255, 0, 0, 0x80);
        QTest::newRow("five digits is white") << u"12345"_s << QColor(255, 255, 255, 255);
        QTest::newRow("empty is white") << QString() << QColor(255, 255, 255, 255);
        QTest::newRow("punctuation around") << u"  ##1f1e1d;; "_s << QColor(0x1f, 0x1e, 0x1d, 255);
        QTest::newRow("not hex, six long") << u"zzzzzz"_s << QColor(0, 0, 0, 255);
        QTest::newRow("hex prefix only") << u"12zz56"_s << QColor(0, 0, 0x12, 255);
        QTest::newRow("inner hash kept") << u"#12#456"_s << QColor(0, 0, 0x12, 255);
    }

    void parse() {
        QFETCH(QString, text);
        QFETCH(QColor, expected);
        const QColor colour = colorFromHex(text);
        QCOMPARE(colour.rgba(), expected.rgba());
    }

    void darkPaletteIsTheProductsOwn() {
        const Palette& dark = Palette::darkPalette();
        QCOMPARE(dark.background, QColor(0x1f, 0x1e, 0x1d));
        QCOMPARE(dark.accent, QColor(0xE9, 0x75, 0x53));
        QCOMPARE(dark.priorityColor(TaskPriority::high), QColor(0xef, 0x44, 0x44));
        QCOMPARE(dark.priorityColor(TaskPriority::medium), QColor(0xea, 0xb3, 0x08));
        QCOMPARE(dark.priorityColor(TaskPriority::low), QColor(0x22, 0xc5, 0x5e));
        QCOMPARE(dark.border, QColor(255, 255, 255, 20));
        QCOMPARE(priorityWord(TaskPriority::medium), u"Средний"_s);
    }

    // Text on the light ground must stay readable: WCAG contrast of at least 4.5 for body text.
    void lightPaletteKeepsContrast() {
        const auto luminance = [](const QColor& c) {
            const auto channel = [](qreal v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
            return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
        };
        const auto contrast = [&](const QColor& a, const QColor& b) {
            const qreal la = luminance(a), lb = luminance(b);
            return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
        };
        const Palette& light = Palette::lightPalette();
        for (const QColor& text : {light.textPrimary, light.textSecondary, light.red, light.green, light.yellow})
            QVERIFY2(contrast(text, light.raised) >= 4.5, qPrintable(text.name()));
        QVERIFY(contrast(light.onAccent, light.accent) >= 3.0);
    }
};

QTEST_GUILESS_MAIN(tst_ColorHex)
#include "tst_ColorHex.moc"
