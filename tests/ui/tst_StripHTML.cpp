#include "HtmlText.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_StripHTML final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void strip_data() {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("plain");
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("bold and nbsp") << u"<b>Hi</b>&nbsp;there"_s << u"Hi there"_s;
        QTest::newRow("padded paragraph") << u"  <p>x</p>\n"_s << u"x"_s;
        QTest::newRow("entities") << u"1 &lt; 2 &amp;&amp; 3 &gt; 2"_s << u"1 < 2 && 3 > 2"_s;
        QTest::newRow("decoded once") << u"&amp;nbsp;"_s << u"&nbsp;"_s;
        QTest::newRow("amp lt stays") << u"&amp;lt;"_s << u"&lt;"_s;
        QTest::newRow("blocks leave no breaks") << u"a</p><p>b"_s << u"ab"_s;
        QTest::newRow("only markup") << u"<p></p><br/>"_s << QString();
        QTest::newRow("markup and spaces") << u"<p> \n </p>"_s << QString();
        QTest::newRow("empty brackets kept") << u"a <> b"_s << u"a <> b"_s;
        QTest::newRow("unclosed bracket kept") << u"1 < 2 and more"_s << u"1 < 2 and more"_s;
        QTest::newRow("bracket inside tag") << u"x<a<b>y"_s << u"xy"_s;
        QTest::newRow("tag over lines") << u"a<span\nclass=\"c\">b</span>"_s << u"ab"_s;
        QTest::newRow("other entities stay") << u"&quot;x&quot; &#39;"_s << u"&quot;x&quot; &#39;"_s;
        QTest::newRow("case sensitive") << u"&NBSP;"_s << u"&NBSP;"_s;
        QTest::newRow("cyrillic") << u"<p>Купить <b>молоко</b></p>"_s << u"Купить молоко"_s;
        QTest::newRow("lt that forms a tag after decoding") << u"&lt;b&gt;x"_s << u"<b>x"_s;
    }

    void strip() {
        QFETCH(QString, html);
        QFETCH(QString, plain);
        QCOMPARE(stripHTML(html), plain);
    }

    // The row's preview flag, read from the UTF-8 form, says exactly whether stripHTML leaves text.
    void previewFlagFollowsStrip_data() {
        strip_data();
        QTest::newRow("nbsp only") << u"&nbsp;&nbsp; <br>"_s << QString();
        QTest::newRow("nbsp split by a tag") << u"&nb<b>sp;"_s << QString();
        QTest::newRow("nbsp then text") << u"&nbsp;x"_s << u"x"_s;
        QTest::newRow("nbsp without semicolon") << u"&nbsp"_s << u"&nbsp"_s;
        QTest::newRow("ampersand then nbsp") << u"&&nbsp;"_s << u"&"_s;
        QTest::newRow("no-break space") << u"\u00a0<p>\u3000\u2003</p>"_s << QString();
        QTest::newRow("no-break space then text") << u"\u00a0ж"_s << u"ж"_s;
        QTest::newRow("emoji") << u"<i>\U0001F600</i>"_s << u"\U0001F600"_s;
        QTest::newRow("only a lone bracket") << u"<"_s << u"<"_s;
        QTest::newRow("empty tag brackets") << u"<>"_s << u"<>"_s;
        QTest::newRow("lt entity") << u"<p>&lt;</p>"_s << u"<"_s;
        QTest::newRow("spaces between tags") << u"<p>\t</p>\r\n<div> </div>"_s << QString();
        QTest::newRow("text after many tags") << u"<a><b><c><d>z"_s << u"z"_s;
    }

    void previewFlagFollowsStrip() {
        QFETCH(QString, html);
        QFETCH(QString, plain);
        QCOMPARE(stripHTML(html), plain);
        QCOMPARE(hasPlainText(html.toUtf8()), !plain.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_StripHTML)
#include "tst_StripHTML.moc"
