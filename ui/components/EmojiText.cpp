#include "EmojiText.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextBlock>
#include <QTextBoundaryFinder>
#include <QTextCursor>
#include <QTextDocument>

#include <unicode/uchar.h>

using namespace Qt::StringLiterals;

namespace {

constexpr char32_t variationText = 0xFE0E;
constexpr char32_t variationEmoji = 0xFE0F;
constexpr char32_t joiner = 0x200D;
constexpr char32_t keycap = 0x20E3;

bool has(char32_t c, UProperty property) {
    return u_hasBinaryProperty(UChar32(c), property);
}

// Whether one grapheme cluster is to be shown as an emoji.
bool isEmoji(QStringView cluster) {
    const QList<uint> codes = cluster.toUcs4();
    if (codes.isEmpty() || codes.contains(variationText))
        return false;
    const char32_t first = codes.first();
    if (codes.contains(variationEmoji) || codes.contains(keycap))
        return true;
    if (has(first, UCHAR_REGIONAL_INDICATOR))
        return codes.size() > 1;
    if (!has(first, UCHAR_EXTENDED_PICTOGRAPHIC) && !has(first, UCHAR_EMOJI))
        return false;
    if (has(first, UCHAR_EMOJI_PRESENTATION))
        return true;
    // A pictograph that is text by default becomes an emoji with a skin tone or joined to another.
    for (qsizetype i = 1; i < codes.size(); ++i) {
        if (codes[i] == joiner || has(codes[i], UCHAR_EMOJI_MODIFIER))
            return true;
    }
    return false;
}

QTextLayout* layOut(QTextLayout& layout, const QString& text, const QFont& font) {
    layout.setText(text);
    layout.setFont(font);
    layout.setFormats(EmojiText::formats(text));
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    layout.setTextOption(option);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    if (line.isValid())
        line.setLineWidth(1e6);
    layout.endLayout();
    return &layout;
}

} // namespace

namespace EmojiText {

QStringList emojiFamilies() {
    return {u"Noto Color Emoji"_s, u"emoji"_s};
}

QList<std::pair<qsizetype, qsizetype>> emojiRanges(const QString& text) {
    QList<std::pair<qsizetype, qsizetype>> ranges;
    // Plain text without anything beyond Latin-1 and general punctuation has nothing to find.
    bool candidate = false;
    for (const QChar c : text) {
        if (c.unicode() >= 0x2000) {
            candidate = true;
            break;
        }
    }
    if (!candidate)
        return ranges;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    for (qsizetype end = finder.toNextBoundary(); end != -1; start = end, end = finder.toNextBoundary()) {
        if (!isEmoji(QStringView(text).mid(start, end - start)))
            continue;
        if (!ranges.isEmpty() && ranges.last().second == start)
            ranges.last().second = end;
        else
            ranges.append({start, end});
    }
    return ranges;
}

QList<QTextLayout::FormatRange> formats(const QString& text) {
    QList<QTextLayout::FormatRange> formats;
    for (const auto& [start, end] : emojiRanges(text)) {
        QTextLayout::FormatRange range;
        range.start = int(start);
        range.length = int(end - start);
        range.format.setFontFamilies(emojiFamilies());
        formats.append(range);
    }
    return formats;
}

qreal width(const QString& text, const QFont& font) {
    if (emojiRanges(text).isEmpty())
        return QFontMetricsF(font).horizontalAdvance(text);
    QTextLayout layout;
    layOut(layout, text, font);
    return layout.lineCount() ? layout.lineAt(0).naturalTextWidth() : 0;
}

QString elided(const QString& text, const QFont& font, qreal width) {
    QTextLayout layout;
    layOut(layout, text, font);
    if (!layout.lineCount() || layout.lineAt(0).naturalTextWidth() <= width)
        return text;
    const QString ellipsis = u"…"_s;
    const qreal room = width - QFontMetricsF(font).horizontalAdvance(ellipsis);
    const QTextLine line = layout.lineAt(0);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype cut = 0;
    for (qsizetype at = finder.toNextBoundary(); at != -1; at = finder.toNextBoundary()) {
        if (line.cursorToX(int(at)) > room)
            break;
        cut = at;
    }
    return text.left(cut) + ellipsis;
}

void draw(QPainter& painter, const QRectF& rect, Qt::Alignment alignment, const QString& text) {
    if (emojiRanges(text).isEmpty()) {
        // Text without emoji, the common case, takes the painter's own (and quicker) way.
        painter.drawText(rect, int(alignment),
                         painter.fontMetrics().elidedText(text, Qt::ElideRight, int(rect.width())));
        return;
    }
    QTextLayout full;
    layOut(full, text, painter.font());
    if (!full.lineCount())
        return;
    QTextLayout cut;
    QTextLayout* layout = &full;
    if (full.lineAt(0).naturalTextWidth() > rect.width()) {
        layOut(cut, elided(text, painter.font(), rect.width()), painter.font());
        layout = &cut;
    }
    const QTextLine line = layout->lineAt(0);
    const QFontMetricsF metrics(painter.font());
    // The baseline stays where the text font alone would put it, however tall the emoji font is.
    const qreal baseline = rect.top() + (rect.height() - metrics.height()) / 2 + metrics.ascent();
    qreal x = rect.left();
    if (alignment & Qt::AlignHCenter)
        x += (rect.width() - line.naturalTextWidth()) / 2;
    else if (alignment & Qt::AlignRight)
        x += rect.width() - line.naturalTextWidth();
    layout->draw(&painter, QPointF(x, baseline - line.ascent()));
}

QString toHtml(const QString& text) {
    const QString family = u"font-family:'%1';"_s.arg(emojiFamilies().first());
    QString html = u"<span style=\"white-space:pre-wrap;\">"_s;
    qsizetype at = 0;
    for (const auto& [start, end] : emojiRanges(text)) {
        html += text.mid(at, start - at).toHtmlEscaped();
        html += u"<span style=\""_s + family + u"\">"_s + text.mid(start, end - start) + u"</span>"_s;
        at = end;
    }
    html += text.mid(at).toHtmlEscaped();
    html += u"</span>"_s;
    html.replace(u'\n', u"<br/>"_s);
    return html;
}

void applyTo(QTextDocument& document) {
    QTextCharFormat emoji;
    emoji.setFontFamilies(emojiFamilies());
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (const auto& [start, end] : emojiRanges(block.text())) {
            QTextCursor cursor(block);
            cursor.setPosition(block.position() + int(start));
            cursor.setPosition(block.position() + int(end), QTextCursor::KeepAnchor);
            cursor.mergeCharFormat(emoji);
        }
    }
}

} // namespace EmojiText
