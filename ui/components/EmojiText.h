#pragma once

#include <QFont>
#include <QList>
#include <QRectF>
#include <QString>
#include <QTextLayout>

class QPainter;
class QTextDocument;

// Emoji in colour wherever one line of a title is drawn. Qt picks a font per character, so a
// character that the text font also has (❤, ☀, ⚡, the digits of a keycap) would come out as that
// font's black glyph even when the text asks for the emoji. Here each grapheme cluster that is an
// emoji (by its Unicode emoji properties, a variation selector U+FE0F, a keycap, a skin tone, a
// joiner or a flag) is set in the colour emoji font instead; everything else keeps the text font.
namespace EmojiText {

// The families emoji are set in, first choice first.
QStringList emojiFamilies();

// The [start, end) ranges of `text` that are emoji, adjacent ones merged.
QList<std::pair<qsizetype, qsizetype>> emojiRanges(const QString& text);

// Formats for a QTextLayout of `text`: the emoji font over every emoji range.
QList<QTextLayout::FormatRange> formats(const QString& text);

// The width of `text` in `font` as draw() sets it.
qreal width(const QString& text, const QFont& font);
// `text` cut at a grapheme boundary with "…" so that it fits `width`; unchanged when it fits.
QString elided(const QString& text, const QFont& font, qreal width);
// One line of `text` in the painter's font and pen, within `rect` (left, right or centred; centred
// vertically on the text font's own line), cut with "…" when it does not fit.
void draw(QPainter& painter, const QRectF& rect, Qt::Alignment alignment, const QString& text);

// `text` as rich text for a label: escaped, spaces and line breaks kept, emoji in the emoji font.
QString toHtml(const QString& text);

// Sets every emoji of a document already built (an HTML description) in the emoji font.
void applyTo(QTextDocument& document);

} // namespace EmojiText
