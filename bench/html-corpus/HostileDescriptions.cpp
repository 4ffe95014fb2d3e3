#include "HostileDescriptions.h"

using namespace Qt::StringLiterals;

namespace {

// Just under the service's body limit, leaving room for the JSON around a description.
constexpr qsizetype budgetBytes = 1000 * 1024;

QString repeated(const QString& unit, qsizetype bytes = budgetBytes) {
    const qsizetype unitBytes = unit.toUtf8().size();
    return unit.repeated(qMax<qsizetype>(1, bytes / unitBytes));
}

QString numbered(const QString& pattern, qsizetype bytes = budgetBytes) {
    QString out;
    qsizetype size = 0;
    for (int i = 0; size < bytes; ++i) {
        const QString unit = pattern.arg(i);
        const qsizetype unitBytes = unit.toUtf8().size();
        if (size + unitBytes > bytes)
            break;
        out += unit;
        size += unitBytes;
    }
    return out;
}

QString nestedTables(int levels) {
    return u"<table border=\"1\" cellpadding=\"2\"><tr><td>"_s.repeated(levels) + u"таблица"_s +
           u"</td></tr></table>"_s.repeated(levels);
}

} // namespace

QList<HostileDescription> hostileDescriptions() {
    QList<HostileDescription> all;
    all.append({u"nested tables, 20 levels"_s, nestedTables(20)});
    all.append({u"nested tables, 50 levels"_s, nestedTables(50)});
    all.append({u"nested tables, 1 MB"_s, repeated(u"<table><tr><td>x"_s)});
    // Right-to-left text in every kind of embedding, override and isolate, mixed with numbers and
    // left-to-right words.
    all.append({u"bidi text, 1 MB"_s,
                repeated(u"\u202Bשלום עולם \u202Aabc 123\u202C مرحبا \u202Eevil\u202C\u2067עברית\u2069 \u2066ltr "
                         u"\u200F42\u200E \u202Dxyz\u202C\u202C "_s)});
    all.append({u"nested lists, 10000 levels"_s, u"<ul><li>пункт"_s.repeated(10000)});
    all.append({u"nested lists, 1 MB"_s, repeated(u"<ol><li>"_s)});
    all.append({u"unclosed tags, 20000"_s,
                u"<div>a<span>b<b>c<i>d<u>e<s>f<em>g<strong>h<font color=\"red\">i<p>j"_s.repeated(2000)});
    all.append({u"unclosed paragraphs, 1 MB"_s, repeated(u"<p>абзац"_s)});
    all.append({u"plain text, 1 MiB"_s,
                repeated(u"Купить молоко, хлеб и сыр; позвонить Анне до 18:00.\nLorem ipsum dolor sit amet. "_s,
                         1024 * 1024 - 64)});
    all.append({u"mixed inline tags, 1 MiB"_s,
                repeated(u"<b>жирный</b> <i>курсив</i> <u>подчёркнутый</u> <s>зачёркнутый</s> <span "
                         u"style=\"color:#00f\">обычный</span> <code>код</code><br>"_s,
                         1024 * 1024 - 64)});
    all.append({u"deep <b><i> nesting, 1 MB"_s, repeated(u"<b><i>"_s) + u"глубоко"_s});
    all.append({u"deep <div> nesting, 1 MB"_s, repeated(u"<div>"_s) + u"глубоко"_s});
    all.append({u"formatting with attributes, 1 MB"_s, numbered(u"<b class=\"c%1\"><p>x"_s)});
    all.append({u"one tag, 100000 attributes"_s, u"<p "_s + numbered(u"a%1=\"1\" "_s) + u">текст</p>"_s});
    all.append({u"many links, 1 MB"_s, numbered(u"<a href=\"https://example.org/page/%1\">ссылка %1</a> "_s)});
    all.append({u"many scheme links, 1 MB"_s,
                repeated(u"<a href=\"javascript:alert(1)\">js</a> <a href=\"file:///etc/passwd\">file</a> "
                         u"<a href=\"tg://resolve?domain=x\">tg</a> "_s)});
    all.append({u"long single word, 1 MB"_s, repeated(u"ж"_s)});
    all.append({u"line separators, 1 MB"_s, repeated(u"\u2028"_s)});
    all.append({u"line breaks, 1 MB"_s, repeated(u"<br>"_s)});
    all.append({u"table cells, 1 MB"_s, repeated(u"<tr><td>ячейка</td><th>заголовок</th>"_s)});
    all.append({u"headings, 1 MB"_s, numbered(u"<h1 style=\"font-size:90px\">Заголовок %1</h1>"_s)});
    all.append({u"images and styles only, 1 MB"_s,
                repeated(u"<img src=\"http://127.0.0.1:9/a.png\"><style>p{background:url(/etc/hostname)}</style>"_s)});
    all.append({u"script only, 1 MB"_s, u"<script>"_s + repeated(u"var x = 1; "_s) + u"</script>"_s});
    all.append({u"comments, 1 MB"_s, repeated(u"<!-- c --><!---->"_s) + u"текст"_s});
    all.append({u"svg, 1 MB"_s, u"<svg>"_s + repeated(u"<g><text>svg</text>"_s)});
    all.append({u"unterminated attribute, 1 MB"_s, u"текст<a href=\""_s + repeated(u"x"_s)});
    all.append({u"null and control characters"_s, repeated(u"a\u0000b\u0001\uFDD0\uFFFC\u2029c "_s, 64 * 1024)});
    return all;
}

QList<HostileDescription> fileReferencingDescriptions(const QString& path) {
    const QString url = u"file://"_s + path;
    QList<HostileDescription> all;
    all.append({u"image by path"_s, u"<p>текст</p><img src=\"%1\">"_s.arg(path)});
    all.append({u"image by file URL"_s, u"<p>текст</p><img src=\"%1\">"_s.arg(url)});
    all.append({u"style sheet link"_s, u"<link rel=\"stylesheet\" href=\"%1\"><p>текст</p>"_s.arg(path)});
    all.append({u"css url"_s, u"<p style=\"background-image:url('%1')\">текст</p>"_s.arg(path)});
    all.append(
        {u"style element"_s, u"<style>@import url(%1); p { background: url(%1) }</style><p>текст</p>"_s.arg(path)});
    all.append(
        {u"background attributes"_s,
         u"<body background=\"%1\"><table background=\"%1\"><tr><td background=\"%1\">текст</td></tr></table>"_s.arg(
             path)});
    all.append(
        {u"image input and object"_s,
         u"<input type=\"image\" src=\"%1\"><object data=\"%1\"></object><embed src=\"%1\"><p>текст</p>"_s.arg(path)});
    all.append({u"image in a link"_s, u"<a href=\"https://example.org\"><img src=\"%1\">текст</a>"_s.arg(url)});
    return all;
}
