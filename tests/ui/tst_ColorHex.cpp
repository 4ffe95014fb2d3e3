#include "ColorHex.h"
#include "Palette.h"

#include <QTest>

#include <cmath>

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
        const QList<std::pair<Palette::Role, const char*>> roles{
            {Palette::Role::background, "1f1e1d"},    {Palette::Role::panel, "252422"},
            {Palette::Role::raised, "2a2928"},        {Palette::Role::raisedHover, "302f2d"},
            {Palette::Role::accent, "e97553"},        {Palette::Role::textPrimary, "e8e5e1"},
            {Palette::Role::textSecondary, "a39e99"}, {Palette::Role::textTertiary, "6b6560"},
            {Palette::Role::green, "22c55e"},         {Palette::Role::red, "ef4444"},
            {Palette::Role::yellow, "eab308"},        {Palette::Role::teal, "14b8a6"},
            {Palette::Role::onAccent, "1f1e1d"},
        };
        for (const auto& [role, hex] : roles)
            QCOMPARE(dark.color(role).name(), u"#"_s + QString::fromLatin1(hex));
        QCOMPARE(dark.border, QColor(255, 255, 255, 20));
        QCOMPARE(dark.priorityColor(TaskPriority::high), QColor(0xef, 0x44, 0x44));
        QCOMPARE(dark.priorityColor(TaskPriority::medium), QColor(0xea, 0xb3, 0x08));
        QCOMPARE(dark.priorityColor(TaskPriority::low), QColor(0x22, 0xc5, 0x5e));
        QCOMPARE(priorityWord(TaskPriority::medium), u"Средний"_s);
    }

    // WCAG AA for every text colour of the light theme, on every ground it is drawn on: the four
    // surfaces, its own 12 % tint (badges), a priority's 15 % tint (the chosen chip), the accent
    // (text on primary buttons and chips) and the selected sidebar item.
    void lightPaletteKeepsContrast_data() {
        QTest::addColumn<QColor>("text");
        QTest::addColumn<QColor>("ground");
        const Palette& p = Palette::lightPalette();
        const auto over = [](const QColor& colour, qreal alpha, const QColor& ground) {
            return QColor::fromRgbF(colour.redF() * alpha + ground.redF() * (1 - alpha),
                                    colour.greenF() * alpha + ground.greenF() * (1 - alpha),
                                    colour.blueF() * alpha + ground.blueF() * (1 - alpha));
        };
        for (Palette::Role textRole : Palette::textRoles()) {
            const QColor text = p.color(textRole);
            const QString name = Palette::roleName(textRole);
            for (Palette::Role surfaceRole : Palette::surfaceRoles())
                QTest::addRow("%s on %s", qPrintable(name), qPrintable(Palette::roleName(surfaceRole)))
                    << text << p.color(surfaceRole);
            for (Palette::Role surfaceRole : {Palette::Role::background, Palette::Role::raised})
                QTest::addRow("%s on its badge over %s", qPrintable(name), qPrintable(Palette::roleName(surfaceRole)))
                    << text << over(text, 0.12, p.color(surfaceRole));
        }
        for (TaskPriority priority : allTaskPriorities)
            QTest::addRow("%s on its chosen chip", qPrintable(priorityWord(priority)))
                << p.priorityColor(priority) << over(p.priorityColor(priority), 0.15, p.background);
        QTest::newRow("on the accent") << p.onAccent << p.accent;
        QTest::newRow("selected sidebar item") << p.textPrimary << over(p.accent, 0.14, p.panel);
        QTest::newRow("placeholder text") << p.textTertiary << p.raised;
    }

    void lightPaletteKeepsContrast() {
        QFETCH(QColor, text);
        QFETCH(QColor, ground);
        const auto luminance = [](const QColor& c) {
            const auto channel = [](qreal v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
            return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
        };
        const qreal lt = luminance(text), lg = luminance(ground);
        const qreal contrast = (std::max(lt, lg) + 0.05) / (std::min(lt, lg) + 0.05);
        QVERIFY2(contrast >= 4.5,
                 qPrintable(u"%1 on %2: %3"_s.arg(text.name(), ground.name()).arg(contrast, 0, 'f', 2)));
    }
};

QTEST_GUILESS_MAIN(tst_ColorHex)
#include "tst_ColorHex.moc"
