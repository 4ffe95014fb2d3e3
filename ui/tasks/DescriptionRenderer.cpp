#include "DescriptionRenderer.h"

#include "EmojiText.h"
#include "HtmlText.h"

#include <QFontMetricsF>
#include <QTextBlock>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace {

// Pieces read ahead while nothing has shown yet: only line breaks and empty paragraphs can be among
// them, and a few dozen of those are as good as any number.
constexpr std::size_t maxLeadingPieces = 64;
// Plain text taken at once.
constexpr qsizetype plainChunk = 4096;
constexpr qreal paragraphSpacing = 8;
// Indentation of one list level; the bullet or number hangs into it.
constexpr qreal listIndent = 26;

bool isDroppedCharacter(char16_t c) {
    return (c < 0x20 && c != u'\t') || c == 0x7f || c == 0xFDD0 || c == 0xFDD1 || c == 0xFFFC;
}

qsizetype cutPoint(const QString& text, qsizetype room) {
    qsizetype cut = room;
    for (qsizetype k = room; k > room / 2; --k) {
        if (text[k - 1].isSpace()) {
            cut = k;
            break;
        }
    }
    if (cut > 0 && cut < text.size() && text[cut - 1].isHighSurrogate())
        --cut;
    return cut > 0 ? cut : qMin<qsizetype>(2, text.size());
}

} // namespace

DescriptionRenderer::DescriptionRenderer(QTextDocument& document)
    : m_document(document)
    , m_cursor(&document) {}

DescriptionRenderer::~DescriptionRenderer() = default;

void DescriptionRenderer::clear() {
    m_document.clear();
    m_cursor = QTextCursor(&m_document);
    m_mode = Mode::empty;
    m_decided = false;
    m_sanitizer.reset();
    m_html.clear();
    m_plain.clear();
    m_plainPosition = 0;
    m_plainLineOpen = false;
    m_queue.clear();
    m_queuedVisible = 0;
    m_itemCounts.clear();
    m_blockLength = 0;
    m_continuation = QTextBlockFormat();
    m_characters = 0;
    m_blocks = 0;
    m_pieces = 0;
    m_parsedBytes = 0;
}

void DescriptionRenderer::start(const QString& html, const QFont& font, const Colors& colors) {
    clear();
    m_font = font;
    m_colors = colors;
    if (html.isEmpty())
        return;
    m_mode = Mode::import;
    m_html = html;
    m_sanitizer = std::make_unique<HtmlSanitizer>(html);
}

bool DescriptionRenderer::isVisible(const DescriptionPiece& piece) {
    return piece.kind == DescriptionPiece::Kind::text &&
           std::any_of(piece.text.cbegin(), piece.text.cend(), [](QChar c) { return !c.isSpace(); });
}

void DescriptionRenderer::push(DescriptionPiece piece) {
    if (isVisible(piece))
        ++m_queuedVisible;
    m_queue.push_back(std::move(piece));
}

void DescriptionRenderer::pop() {
    if (isVisible(m_queue.front()))
        --m_queuedVisible;
    m_queue.pop_front();
}

bool DescriptionRenderer::isDeciding() const {
    return m_mode == Mode::import && !m_decided;
}

bool DescriptionRenderer::hasMore() const {
    if (!m_decided)
        return false;
    if (m_queuedVisible > 0)
        return true;
    if (m_mode == Mode::import)
        return !m_sanitizer->atEnd();
    if (m_mode == Mode::plain)
        return m_plainPosition < m_plain.size();
    return false;
}

qsizetype DescriptionRenderer::parsedBytes() const {
    return m_parsedBytes;
}

bool DescriptionRenderer::refill(int& parsesLeft) {
    if (m_mode == Mode::plain) {
        if (m_plainPosition >= m_plain.size() || parsesLeft <= 0)
            return false;
        --parsesLeft;
        refillPlain();
        return true;
    }
    if (m_mode != Mode::import || m_sanitizer->atEnd() || parsesLeft <= 0)
        return false;
    const qsizetype before = m_sanitizer->position();
    QList<DescriptionPiece> pieces;
    m_sanitizer->parseNext(pieces);
    --parsesLeft;
    m_parsedBytes += m_sanitizer->position() - before;
    for (DescriptionPiece& piece : pieces)
        push(std::move(piece));
    return true;
}

void DescriptionRenderer::refillPlain() {
    // As a plain-text document reads text: a paragraph for every line.
    qsizetype end = qMin(m_plain.size(), m_plainPosition + plainChunk);
    if (end < m_plain.size() && m_plain[end - 1].isHighSurrogate())
        ++end;
    QString run;
    const auto flush = [&] {
        if (run.isEmpty())
            return;
        DescriptionPiece text;
        text.text = run;
        push(std::move(text));
        run.clear();
    };
    for (qsizetype i = m_plainPosition; i < end; ++i) {
        const char16_t c = m_plain[i].unicode();
        if (!m_plainLineOpen) {
            DescriptionPiece block;
            block.kind = DescriptionPiece::Kind::block;
            push(std::move(block));
            m_plainLineOpen = true;
        }
        if (c == u'\n' || c == u'\r' || c == 0x2029) {
            flush();
            m_plainLineOpen = false;
            if (c == u'\r' && i + 1 < m_plain.size() && m_plain[i + 1] == u'\n')
                ++i;
        } else if (c == 0x2028) {
            flush();
            DescriptionPiece lineBreak;
            lineBreak.kind = DescriptionPiece::Kind::lineBreak;
            push(std::move(lineBreak));
        } else if (!isDroppedCharacter(c)) {
            run.append(QChar(c));
        }
    }
    flush();
    m_plainPosition = end;
}

QTextCharFormat DescriptionRenderer::charFormat(const DescriptionPiece& piece) const {
    QTextCharFormat format;
    format.setFont(m_font, QTextCharFormat::FontPropertiesAll);
    format.setFontWeight(piece.format & DescriptionPiece::bold ? QFont::Bold : m_font.weight());
    format.setFontItalic(piece.format & DescriptionPiece::italic);
    format.setFontStrikeOut(piece.format & DescriptionPiece::strikeOut);
    const bool link = !piece.href.isEmpty();
    format.setFontUnderline(link || (piece.format & DescriptionPiece::underline));
    if (link) {
        format.setForeground(m_colors.link);
        format.setAnchor(true);
        format.setAnchorHref(piece.href);
    }
    return format;
}

void DescriptionRenderer::insertBlock(const DescriptionPiece& piece) {
    QTextBlockFormat format;
    if (piece.spaced)
        format.setTopMargin(paragraphSpacing);
    // Paragraphs inside a list item line up with the item's text.
    m_continuation = QTextBlockFormat();
    if (piece.listId >= 0)
        m_continuation.setLeftMargin(piece.listDepth * listIndent);
    format.setLeftMargin(m_continuation.leftMargin());
    QString marker;
    if (piece.listItem) {
        const int number = ++m_itemCounts[piece.listId];
        marker = piece.ordered          ? QString::number(number) + u'.'
                 : piece.listDepth == 1 ? u"\u2022"_s
                 : piece.listDepth == 2 ? u"\u25E6"_s
                                        : u"\u25AA"_s;
        marker.append(QChar::Nbsp);
        format.setTextIndent(-qMin(QFontMetricsF(m_font).horizontalAdvance(marker), format.leftMargin()));
    }
    const QTextCharFormat characters = charFormat(DescriptionPiece());
    if (m_blocks == 0) {
        m_cursor.setBlockFormat(format);
        m_cursor.setBlockCharFormat(characters);
    } else {
        m_cursor.insertBlock(format, characters);
    }
    m_blockLength = 0;
    ++m_blocks;
    if (!marker.isEmpty()) {
        m_cursor.insertText(marker, characters);
        m_blockLength += marker.size();
        m_characters += marker.size();
    }
}

// Emoji go in the colour emoji font: the text font has black outlines of its own for some of them.
void DescriptionRenderer::insertRun(const QString& text, const QTextCharFormat& format) {
    const auto ranges = EmojiText::emojiRanges(text);
    if (ranges.isEmpty()) {
        m_cursor.insertText(text, format);
        return;
    }
    QTextCharFormat emoji = format;
    emoji.setFontFamilies(EmojiText::emojiFamilies());
    qsizetype at = 0;
    for (const auto& [start, end] : ranges) {
        if (start > at)
            m_cursor.insertText(text.mid(at, start - at), format);
        m_cursor.insertText(text.mid(start, end - start), emoji);
        at = end;
    }
    if (at < text.size())
        m_cursor.insertText(text.mid(at), format);
}

void DescriptionRenderer::continueBlock() {
    m_cursor.insertBlock(m_continuation, charFormat(DescriptionPiece()));
    m_blockLength = 0;
    ++m_blocks;
}

void DescriptionRenderer::render(const Budget& budget) {
    if (m_mode == Mode::empty)
        return;
    int parsesLeft = budget.parses;
    qsizetype charactersLeft = budget.characters;
    int blocksLeft = budget.blocks;
    int piecesLeft = budget.pieces;
    const auto decide = [&] {
        // Read on until something shows, or the description ends with nothing to show.
        while (!m_decided) {
            if (m_sanitizer->sawText()) {
                m_decided = true;
            } else if (m_sanitizer->atEnd()) {
                m_decided = true;
                m_mode = Mode::plain;
                m_sanitizer.reset();
                m_queue.clear();
                m_queuedVisible = 0;
                m_plain = stripHTML(m_html);
            } else if (!refill(parsesLeft)) {
                return false;
            } else {
                while (!m_sanitizer->sawText() && m_queue.size() > maxLeadingPieces)
                    pop();
            }
        }
        return true;
    };
    if (!decide())
        return;

    m_cursor.beginEditBlock();
    for (;;) {
        if (m_queue.empty()) {
            if (!refill(parsesLeft))
                break;
            continue;
        }
        DescriptionPiece& piece = m_queue.front();
        if (piece.kind == DescriptionPiece::Kind::block) {
            if (blocksLeft <= 0)
                break;
            insertBlock(piece);
            --blocksLeft;
            pop();
            continue;
        }
        if (charactersLeft <= 0 || piecesLeft <= 0)
            break;
        if (m_blocks == 0) {
            insertBlock(DescriptionPiece());
            --blocksLeft;
        }
        if (m_blockLength >= maxBlockCharacters) {
            if (blocksLeft <= 0)
                break;
            continueBlock();
            --blocksLeft;
        }
        const qsizetype room = qMin(charactersLeft, maxBlockCharacters - m_blockLength);
        if (piece.kind == DescriptionPiece::Kind::lineBreak) {
            m_cursor.insertText(QString(QChar::LineSeparator), charFormat(DescriptionPiece()));
            ++m_blockLength;
            ++m_characters;
            --charactersLeft;
            pop();
            continue;
        }
        --piecesLeft;
        ++m_pieces;
        if (piece.text.size() <= room) {
            insertRun(piece.text, charFormat(piece));
            m_blockLength += piece.text.size();
            m_characters += piece.text.size();
            charactersLeft -= piece.text.size();
            pop();
            continue;
        }
        const bool wasVisible = isVisible(piece);
        const qsizetype cut = cutPoint(piece.text, room);
        insertRun(piece.text.left(cut), charFormat(piece));
        m_blockLength += cut;
        m_characters += cut;
        charactersLeft -= cut;
        piece.text.remove(0, cut);
        if (wasVisible && !isVisible(piece))
            --m_queuedVisible;
    }
    m_cursor.endEditBlock();

    // Find out whether anything more shows, as far as this step may read.
    while (m_queuedVisible == 0 && refill(parsesLeft)) {
    }
}

void DescriptionRenderer::setColors(const Colors& colors) {
    m_colors = colors;
    // Only links carry a colour of their own; all other text takes the view's. A block's links
    // are recoloured in one edit, so that the block is laid out again once, and only blocks with
    // links are.
    QTextCursor cursor(&m_document);
    for (QTextBlock block = m_document.begin(); block.isValid(); block = block.next()) {
        bool editing = false;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (!fragment.charFormat().isAnchor() || fragment.charFormat().foreground().color() == colors.link)
                continue;
            if (!editing) {
                cursor.beginEditBlock();
                editing = true;
            }
            QTextCharFormat color;
            color.setForeground(colors.link);
            cursor.setPosition(fragment.position());
            cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
            cursor.mergeCharFormat(color);
        }
        if (editing)
            cursor.endEditBlock();
    }
}
