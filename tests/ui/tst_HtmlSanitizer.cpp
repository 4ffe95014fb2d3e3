#include "HtmlSanitizer.h"
#include "HtmlSegmenter.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// A description as it shows, in a compact notation: "[p]" a paragraph, "[p+]" one set apart,
// "[•2]" an item of a level-2 list ("[#1]" numbered), "[>1]" a paragraph inside a level-1 item,
// "⏎" a line break, "{bi:text}" formatted text, "{@address:text}" a link.
QString notation(const QList<DescriptionPiece>& pieces) {
    QString out;
    for (const DescriptionPiece& piece : pieces) {
        switch (piece.kind) {
        case DescriptionPiece::Kind::block:
            if (piece.listItem)
                out += u"[%1%2]"_s.arg(piece.ordered ? u"#"_s : u"•"_s).arg(piece.listDepth);
            else if (piece.listId >= 0)
                out += u"[>%1]"_s.arg(piece.listDepth);
            else
                out += piece.spaced ? u"[p+]"_s : u"[p]"_s;
            break;
        case DescriptionPiece::Kind::lineBreak:
            out += u"⏎"_s;
            break;
        case DescriptionPiece::Kind::text: {
            QString flags;
            if (piece.format & DescriptionPiece::bold)
                flags += u'b';
            if (piece.format & DescriptionPiece::italic)
                flags += u'i';
            if (piece.format & DescriptionPiece::underline)
                flags += u'u';
            if (piece.format & DescriptionPiece::strikeOut)
                flags += u's';
            if (!piece.href.isEmpty())
                flags += u'@' + piece.href;
            out += flags.isEmpty() ? piece.text : u"{%1:%2}"_s.arg(flags, piece.text);
            break;
        }
        }
    }
    return out;
}

// Adjacent runs in one format read as one, however the input was cut.
QList<DescriptionPiece> merged(const QList<DescriptionPiece>& pieces) {
    QList<DescriptionPiece> out;
    for (const DescriptionPiece& piece : pieces) {
        if (!out.isEmpty() && piece.kind == DescriptionPiece::Kind::text &&
            out.last().kind == DescriptionPiece::Kind::text && out.last().format == piece.format &&
            out.last().href == piece.href) {
            out.last().text += piece.text;
        } else {
            out.append(piece);
        }
    }
    return out;
}

QString shown(const QString& html) {
    return notation(HtmlSanitizer::sanitize(html));
}

int countOf(const QByteArray& text, const QByteArray& what) {
    int count = 0;
    for (qsizetype at = text.indexOf(what); at >= 0; at = text.indexOf(what, at + 1))
        ++count;
    return count;
}

} // namespace

class tst_HtmlSanitizer final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keepsWhatADescriptionShows_data() {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("shown");
        QTest::newRow("text") << u"просто текст"_s << u"[p]просто текст"_s;
        QTest::newRow("bold") << u"a <b>b</b> <strong>c</strong>"_s << u"[p]a {b:b} {b:c}"_s;
        QTest::newRow("italic") << u"<i>a</i><em>b</em>"_s << u"[p]{i:ab}"_s;
        QTest::newRow("underline") << u"<u>a</u> <ins>b</ins>"_s << u"[p]{u:a} {u:b}"_s;
        QTest::newRow("strike-through") << u"<s>a</s> <strike>b</strike> <del>c</del>"_s << u"[p]{s:a} {s:b} {s:c}"_s;
        QTest::newRow("combined") << u"<b><i><u><s>всё</s></u></i></b>"_s << u"[p]{bius:всё}"_s;
        QTest::newRow("paragraphs") << u"<p>один</p><p>два</p>"_s << u"[p]один[p+]два"_s;
        QTest::newRow("divisions") << u"<div>один</div><div>два</div>"_s << u"[p]один[p]два"_s;
        QTest::newRow("line break") << u"a<br>b<br/>c"_s << u"[p]a⏎b⏎c"_s;
        QTest::newRow("line break starts the next line clean") << u"a<br>   b"_s << u"[p]a⏎b"_s;
        QTest::newRow("list") << u"<ul><li>a</li><li>b</li></ul>"_s << u"[•1]a[•1]b"_s;
        QTest::newRow("numbered list") << u"<ol><li>a</li><li>b</li></ol>"_s << u"[#1]a[#1]b"_s;
        QTest::newRow("nested lists") << u"<ul><li>a<ol><li>b<ul><li>c</li></ul></li></ol></li></ul>"_s
                                      << u"[•1]a[#2]b[•3]c"_s;
        QTest::newRow("lists deeper than three levels join the third")
            << u"<ul><li>1<ul><li>2<ul><li>3<ul><li>4<ol><li>5</li></ol></li></ul></li></ul></li></ul></li></ul>"_s
            << u"[•1]1[•2]2[•3]3[•3]4[•3]5"_s;
        QTest::newRow("paragraphs in an item") << u"<ul><li><p>a</p><p>b</p></li></ul>"_s << u"[•1]a[>1]b"_s;
        QTest::newRow("items without a list") << u"<li>a<li>b"_s << u"[•1]a[•1]b"_s;
        QTest::newRow("after a list") << u"<ul><li>a</li></ul>b"_s << u"[•1]a[p+]b"_s;
        QTest::newRow("heading is bold text")
            << u"<h1 style=\"font-size:60px;color:blue\">Заголовок</h1>текст"_s << u"[p]{b:Заголовок}[p+]текст"_s;
        QTest::newRow("every heading") << u"<h2>2</h2><h3>3</h3><h4>4</h4><h5>5</h5><h6>6</h6>"_s
                                       << u"[p]{b:2}[p+]{b:3}[p+]{b:4}[p+]{b:5}[p+]{b:6}"_s;
        QTest::newRow("http link") << u"<a href=\"http://example.org/a?b=1\">x</a>"_s
                                   << u"[p]{@http://example.org/a?b=1:x}"_s;
        QTest::newRow("https link") << u"<a href=\"https://example.org/\">x</a>"_s << u"[p]{@https://example.org/:x}"_s;
        QTest::newRow("mailto link") << u"<a href=\"mailto:anna@example.org\">x</a>"_s
                                     << u"[p]{@mailto:anna@example.org:x}"_s;
        QTest::newRow("tg link") << u"<a href=\"tg://resolve?domain=vexo\">x</a>"_s
                                 << u"[p]{@tg://resolve?domain=vexo:x}"_s;
        QTest::newRow("bold link") << u"<b><a href=\"https://e.org/\">x</a></b>"_s << u"[p]{b@https://e.org/:x}"_s;
        QTest::newRow("link without address") << u"<a name=\"x\">якорь</a>"_s << u"[p]якорь"_s;
        QTest::newRow("table flattened")
            << u"<table><tr><th>h1</th><th>h2</th></tr><tr><td>a</td><td>b</td></tr></table>"_s
            << u"[p]{b:h1} {b:h2}[p]a b"_s;
        QTest::newRow("nested tables flattened")
            << u"<table><tr><td><table><tr><td><table><tr><td>глубоко</td></tr></table></td></tr></table></td></tr></table>"_s
            << u"[p]глубоко"_s;
        QTest::newRow("white space collapses") << u"  a \n\t b  <b> c </b> d "_s << u"[p]a b {b:c }d"_s;
        QTest::newRow("no-break space stays") << u"a&nbsp;&nbsp;b"_s << u"[p]a\u00a0\u00a0b"_s;
        QTest::newRow("entities") << u"1 &lt; 2 &amp;&amp; &quot;x&quot; &#x41;&#66; &laquo;ё&raquo;"_s
                                  << u"[p]1 < 2 && \"x\" AB «ё»"_s;
        QTest::newRow("preformatted") << u"<pre>  a\n    b</pre>"_s << u"[p]  a⏎    b"_s;
        QTest::newRow("separators are line breaks") << u"a\u2028b\u2029c"_s << u"[p]a⏎b⏎c"_s;
        // The parser itself puts a replacement character for controls and non-characters.
        QTest::newRow("control characters") << u"a\u0001b\uFDD0c\uFFFCd"_s << u"[p]a\uFFFDb\uFFFDcd"_s;
        QTest::newRow("font and colours ignored")
            << u"<font color=\"blue\" face=\"Comic Sans MS\" size=\"7\">синий</font> <span style=\"color:#000;font-size:40px\">чёрный</span>"_s
            << u"[p]синий чёрный"_s;
        QTest::newRow("code and small are plain") << u"<code>x</code><small>y</small><big>z</big>"_s << u"[p]xyz"_s;
    }

    void keepsWhatADescriptionShows() {
        QFETCH(QString, html);
        QFETCH(QString, shown);
        QCOMPARE(notation(merged(HtmlSanitizer::sanitize(html))), shown);
    }

    void dropsEverythingElse_data() {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("shown");
        QTest::newRow("image") << u"a<img src=\"/etc/hostname\" alt=\"картинка\">b"_s << u"[p]ab"_s;
        QTest::newRow("picture and sources")
            << u"a<picture><source srcset=\"x.png\"><img src=\"x.png\"></picture>b"_s << u"[p]ab"_s;
        QTest::newRow("script") << u"a<script>alert(1)</script>b"_s << u"[p]ab"_s;
        QTest::newRow("style") << u"<style>p { color: red }</style>текст"_s << u"[p]текст"_s;
        QTest::newRow("head and title")
            << u"<html><head><title>T</title><meta charset=\"utf-8\"></head><body>b</body>"_s << u"[p]b"_s;
        QTest::newRow("link element") << u"<link rel=\"stylesheet\" href=\"/x.css\">b"_s << u"[p]b"_s;
        QTest::newRow("iframe") << u"a<iframe src=\"https://e.org\">fallback</iframe>b"_s << u"[p]ab"_s;
        QTest::newRow("object and embed") << u"a<object data=\"x\">o</object><embed src=\"y\">b"_s << u"[p]ab"_s;
        QTest::newRow("media") << u"a<video src=\"v\">v</video><audio src=\"a\">a</audio><canvas>c</canvas>b"_s
                               << u"[p]ab"_s;
        QTest::newRow("svg") << u"a<svg><text>s</text><foreignObject><p>f</p></foreignObject></svg>b"_s << u"[p]ab"_s;
        QTest::newRow("math") << u"a<math><mi>x</mi></math>b"_s << u"[p]ab"_s;
        QTest::newRow("form controls")
            << u"a<input value=\"i\"><button>к</button><select><option>o</option></select><textarea>t</textarea>b"_s
            << u"[p]ab"_s;
        QTest::newRow("template") << u"a<template><p>t</p></template>b"_s << u"[p]ab"_s;
        QTest::newRow("noscript") << u"a<noscript><p>n</p></noscript>b"_s << u"[p]ab"_s;
        QTest::newRow("comments and doctype") << u"<!DOCTYPE html>a<!-- c -->b<!---->c<?x?>d"_s << u"[p]abcd"_s;
        QTest::newRow("isindex prompt") << u"a<isindex>b"_s << u"[p]ab"_s;
        QTest::newRow("javascript link") << u"<a href=\"javascript:alert(1)\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("javascript link with a line break")
            << u"<a href=\"java&#10;script:alert(1)\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("upper-case javascript link") << u"<a href=\" JAVASCRIPT:alert(1)\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("data link") << u"<a href=\"data:text/html,<b>x</b>\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("file link") << u"<a href=\"file:///etc/passwd\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("ftp link") << u"<a href=\"ftp://e.org/\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("relative link") << u"<a href=\"/tasks/1\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("scheme-relative link") << u"<a href=\"//e.org/\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("http link without host") << u"<a href=\"http:///path\">x</a>"_s << u"[p]x"_s;
        QTest::newRow("only markup") << u"<p></p><div> </div><br>"_s << u"[p]⏎"_s;
    }

    void dropsEverythingElse() {
        QFETCH(QString, html);
        QFETCH(QString, shown);
        QCOMPARE(notation(merged(HtmlSanitizer::sanitize(html))), shown);
    }

    void linkSchemes_data() {
        QTest::addColumn<QString>("href");
        QTest::addColumn<QString>("allowed");
        QTest::newRow("http") << u"http://e.org/x"_s << u"http://e.org/x"_s;
        QTest::newRow("https upper case") << u"HTTPS://E.org/x"_s << u"https://e.org/x"_s;
        QTest::newRow("spaces around") << u"  https://e.org/  "_s << u"https://e.org/"_s;
        QTest::newRow("space inside is encoded") << u"https://e.org/a b"_s << u"https://e.org/a%20b"_s;
        QTest::newRow("mailto") << u"mailto:a@e.org?subject=x"_s << u"mailto:a@e.org?subject=x"_s;
        QTest::newRow("tg") << u"tg://msg?text=x"_s << u"tg://msg?text=x"_s;
        QTest::newRow("javascript") << u"javascript:alert(1)"_s << QString();
        QTest::newRow("javascript split by a tab") << u"java\tscript:alert(1)"_s << QString();
        QTest::newRow("vbscript") << u"vbscript:x"_s << QString();
        QTest::newRow("data") << u"data:text/plain,x"_s << QString();
        QTest::newRow("file") << u"file:///etc/passwd"_s << QString();
        QTest::newRow("relative") << u"page.html"_s << QString();
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("scheme only") << u"https:"_s << QString();
        QTest::newRow("bad scheme characters") << u"ht tp://e.org"_s << QString();
    }

    void linkSchemes() {
        QFETCH(QString, href);
        QFETCH(QString, allowed);
        QCOMPARE(HtmlSanitizer::allowedLink(href), allowed);
    }

    void readsTheSameInPieces_data() {
        QTest::addColumn<QString>("html");
        QTest::newRow("paragraphs") << u"<p>Первый <b>абзац</b> текста.</p><p>Второй <i>абзац</i>, длиннее первого, "
                                       u"с <a href=\"https://example.org/a\">ссылкой</a>.</p>"_s;
        QTest::newRow("lists") << u"<ul><li>молоко</li><li>хлеб<ol><li>белый</li><li>чёрный</li></ol></li>"
                                  u"<li><p>сыр</p><p>много сыра</p></li></ul><p>конец</p>"_s;
        QTest::newRow("long paragraph") << u"<p><b>"_s + u"слово "_s.repeated(300) + u"</b>и дальше</p>"_s;
        QTest::newRow("formatting left open")
            << u"<p><b>жирный <i>и курсив <u>и всё"_s + u" ещё"_s.repeated(50) + u"</u></i> назад</b> обычный</p>"_s;
        QTest::newRow("unclosed paragraphs") << u"<p>один<p>два<p>три<p>четыре<p>пять"_s.repeated(5);
        QTest::newRow("unclosed items") << u"<ul><li>один<li>два<li>три<li>четыре</ul>после"_s.repeated(4);
        QTest::newRow("formatting across paragraphs") << u"<p><i>начало</p><p>продолжение</i> конец</p>"_s.repeated(6);
        QTest::newRow("heading") << u"<h2>Заголовок из нескольких слов</h2><p>текст под ним</p>"_s.repeated(5);
        QTest::newRow("table") << u"<table><tr><td>ячейка один</td><td>ячейка два</td></tr><tr><td>три</td>"
                                  u"<td>четыре</td></tr></table>"_s.repeated(3);
        QTest::newRow("preformatted") << u"<pre>строка один\n  строка два\n\n  строка четыре</pre>после"_s;
        QTest::newRow("link across pieces")
            << u"<a href=\"https://example.org/x\">"_s + u"длинная ссылка "_s.repeated(20) + u"</a>"_s;
        QTest::newRow("dropped across pieces") << u"до<svg><g><text>"_s + u"svg "_s.repeated(40) +
                                                      u"</text></g></svg>после<select><option>"_s +
                                                      u"o "_s.repeated(40) + u"</option></select>конец"_s;
    }

    // Parsed in small pieces, a description reads as when parsed whole.
    void readsTheSameInPieces() {
        QFETCH(QString, html);
        const QString whole = notation(merged(HtmlSanitizer::sanitize(html, 1 << 30, 1 << 29)));
        for (const int bytes : {64, 97, 256}) {
            for (const int tags : {1, 2, 3, 7}) {
                const QString cut = notation(merged(HtmlSanitizer::sanitize(html, bytes, tags)));
                if (cut != whole)
                    qWarning("in pieces of %d bytes and %d tags", bytes, tags);
                QCOMPARE(cut, whole);
            }
        }
    }

    void deepNestingIsFlat() {
        const QList<DescriptionPiece> pieces = HtmlSanitizer::sanitize(u"<ul><li>п"_s.repeated(10000));
        int items = 0;
        for (const DescriptionPiece& piece : pieces) {
            if (piece.kind != DescriptionPiece::Kind::block)
                continue;
            QVERIFY(piece.listItem);
            QVERIFY(piece.listDepth >= 1 && piece.listDepth <= HtmlSanitizer::maxListDepth);
            ++items;
        }
        QCOMPARE(items, 10000);

        const QString tables = u"<table><tr><td>"_s.repeated(50) + u"x"_s + u"</td></tr></table>"_s.repeated(50);
        QCOMPARE(shown(tables), u"[p]x"_s);
    }

    void tagsComeOutBare_data() {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<QByteArray>("piece");
        QTest::newRow("attributes dropped")
            << QByteArray("<p style=\"color:red\" onclick='x' class=a>t</p>") << QByteArray("<p>t</p>");
        QTest::newRow("link keeps its address")
            << QByteArray("<A TITLE=\"x\" HREF='https://e.org/?a=1&amp;b=\"2\"' target=_blank>t</a>")
            << QByteArray("<a href='https://e.org/?a=1&amp;b=\"2\"'>t</a>");
        QTest::newRow("first address counts")
            << QByteArray("<a href=one href=two>t</a>") << QByteArray("<a href=one>t</a>");
        QTest::newRow("address without a value")
            << QByteArray("<a href title=\"x\">t</a>") << QByteArray("<a href=\"\">t</a>");
        QTest::newRow("quoted greater-than") << QByteArray("<p title=\"a>b\">t</p>") << QByteArray("<p>t</p>");
        QTest::newRow("self-closing") << QByteArray("<br/><svg/>") << QByteArray("<br /><svg />");
        QTest::newRow("scripts and styles gone")
            << QByteArray("a<script>if (a<b) x('</p>')</script>b<STYLE>p{}</style >c<title>t</title>d")
            << QByteArray("abcd");
        QTest::newRow("raw text to the end") << QByteArray("a<textarea>never closed <b>") << QByteArray("a");
        QTest::newRow("plaintext drops the rest") << QByteArray("a<plaintext><b>b") << QByteArray("a");
        QTest::newRow("comments gone") << QByteArray("a<!-- x > y -->b<!-->c<!--->d<!-- e --!>f")
                                       << QByteArray("abcdf");
        QTest::newRow("bogus comments gone")
            << QByteArray("a<!DOCTYPE html>b<?php x ?>c</ 1>d</>e") << QByteArray("abcde");
        QTest::newRow("stray less-than") << QByteArray("1 < 2 <3 <") << QByteArray("1 &lt; 2 &lt;3 &lt;");
        QTest::newRow("unterminated tag dropped") << QByteArray("a<p class=\"x") << QByteArray("a");
        QTest::newRow("long names read as span")
            << QByteArray("<" + QByteArray(40, 'x') + ">t</" + QByteArray(40, 'x') + ">")
            << QByteArray("<span>t</span>");
        QTest::newRow("long address dropped")
            << QByteArray("<a href=\"" + QByteArray(HtmlSegmenter::maxHrefBytes + 1, 'x') + "\">t</a>")
            << QByteArray("<a>t</a>");
    }

    void tagsComeOutBare() {
        QFETCH(QByteArray, html);
        QFETCH(QByteArray, piece);
        HtmlSegmenter segmenter(html);
        QCOMPARE(segmenter.next(1 << 20, 1 << 20), piece);
        QVERIFY(segmenter.atEnd());
    }

    // Whatever the input, no parse is given more than a bounded piece: that is what keeps the
    // parser's time in proportion to the input.
    void piecesAreBounded_data() {
        QTest::addColumn<QByteArray>("html");
        QTest::newRow("nested divisions") << QByteArray("<div>").repeated(100000);
        QTest::newRow("nested lists") << QByteArray("<ul><li>x").repeated(50000);
        QTest::newRow("one tag, many attributes") << "<p " + QByteArray("a=1 ").repeated(100000) + ">";
        QTest::newRow("plain text") << QByteArray("слово ").repeated(100000);
        QTest::newRow("one long word") << QByteArray("ж").repeated(300000);
        QTest::newRow("character references") << QByteArray("&amp;&CounterClockwiseContourIntegral;").repeated(20000);
        QTest::newRow("comments") << QByteArray("<!---->").repeated(100000);
    }

    void piecesAreBounded() {
        QFETCH(QByteArray, html);
        constexpr qsizetype bytes = 4096;
        constexpr int tags = 100;
        HtmlSegmenter segmenter(html);
        QByteArray text;
        int calls = 0;
        while (!segmenter.atEnd()) {
            const QByteArray piece = segmenter.next(bytes, tags);
            ++calls;
            QVERIFY2(piece.size() <= bytes + 64, QByteArray::number(piece.size()));
            QVERIFY(countOf(piece, "<") <= tags);
            // Never cut through a character or a reference.
            QVERIFY(piece.isEmpty() || (uchar(piece.back()) & 0xC0) != 0xC0);
            const qsizetype ampersand = piece.lastIndexOf('&');
            QVERIFY(ampersand < 0 || piece.indexOf(';', ampersand) > 0);
            text += piece;
        }
        QVERIFY(calls < html.size() / 100 + 10);
        QVERIFY(QString::fromUtf8(text).isValidUtf16());
    }

    void twentyThousandUnclosedTagsAreQuick() {
        // Not a timing test: the parser is only ever given pieces a few hundred tags deep, however
        // deep the input goes.
        const QString html = u"<div>a<span>b<b>c<i>d<u>e<s>f<em>g<strong>h<font color=\"red\">i<p>j"_s.repeated(2000);
        HtmlSanitizer sanitizer(html);
        QList<DescriptionPiece> pieces;
        int parses = 0;
        while (!sanitizer.atEnd()) {
            sanitizer.parseNext(pieces);
            ++parses;
        }
        QVERIFY(parses >= 20000 / HtmlSanitizer::defaultSegmentTags);
        QString text;
        for (const DescriptionPiece& piece : pieces)
            text += piece.text;
        QCOMPARE(text.count(QRegularExpression(u"[a-j]"_s)), 20000);
    }
};

QTEST_GUILESS_MAIN(tst_HtmlSanitizer)
#include "tst_HtmlSanitizer.moc"
