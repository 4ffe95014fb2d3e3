#pragma once

#include "HtmlSanitizer.h"

#include <QColor>
#include <QFont>
#include <QHash>
#include <QTextCharFormat>
#include <QTextCursor>

#include <deque>
#include <memory>

class QTextDocument;

// Builds a description into a text document with a cursor, never through the document's HTML
// importer, a bounded amount at a time: every call adds at most a budget of characters, paragraphs
// and format runs and parses at most a budget of input, so no call holds the event loop for long
// whatever the description holds. Text is 14 pt whatever the description says, in the view's own
// text colour (the secondary one), so that it follows the theme with nothing to redo; links are
// underlined in the accent colour. List items carry their bullet or number as text: a document's
// own lists renumber, and so lay out again, every item of a list whenever one is added.
//
// A description whose markup shows no text at all is shown as its plain text (stripHTML) instead,
// in the same font and colour.
class DescriptionRenderer {
public:
    struct Budget {
        qsizetype characters; // put into the document
        int blocks;           // paragraphs and list items started
        int pieces;           // runs of text in one format
        int parses;           // pieces of the description parsed (see HtmlSanitizer), or of its plain text read
    };
    // What shows before "Показать полностью": a couple of screens of text.
    static constexpr Budget firstRender{5000, 150, 1500, 8};
    // One step of showing the rest: well under a frame of layout and parsing.
    static constexpr Budget step{12000, 300, 3000, 8};
    // Longer paragraphs are laid out as several, each a line of its own: the layout of one
    // paragraph grows faster than its length.
    static constexpr qsizetype maxBlockCharacters = 2000;

    struct Colors {
        QColor link;
    };

    explicit DescriptionRenderer(QTextDocument& document);
    ~DescriptionRenderer();

    // Empties the document and starts on html; nothing is parsed yet.
    void start(const QString& html, const QFont& font, const Colors& colors);
    void clear();

    // Adds up to budget to the document.
    void render(const Budget& budget);

    // Nothing shown yet, and the description not read to its end: keep rendering.
    bool isDeciding() const;
    // More text to show than the document holds.
    bool hasMore() const;
    bool showsImport() const { return m_mode == Mode::import; }
    qsizetype shownCharacters() const { return m_characters; }
    int shownBlocks() const { return m_blocks; }
    int shownPieces() const { return m_pieces; }
    // Description bytes given to the parser so far.
    qsizetype parsedBytes() const;

    // Recolours the links shown and those still to come.
    void setColors(const Colors& colors);

private:
    enum class Mode { empty, import, plain };

    bool refill(int& parsesLeft);
    void refillPlain();
    void push(DescriptionPiece piece);
    void pop();
    void insertBlock(const DescriptionPiece& piece);
    void insertRun(const QString& text, const QTextCharFormat& format);
    void continueBlock();
    QTextCharFormat charFormat(const DescriptionPiece& piece) const;
    static bool isVisible(const DescriptionPiece& piece);

    QTextDocument& m_document;
    QTextCursor m_cursor;
    Mode m_mode = Mode::empty;
    bool m_decided = false;
    std::unique_ptr<HtmlSanitizer> m_sanitizer;
    QString m_html;
    QString m_plain;
    qsizetype m_plainPosition = 0;
    bool m_plainLineOpen = false;
    std::deque<DescriptionPiece> m_queue;
    int m_queuedVisible = 0;

    QFont m_font;
    Colors m_colors;
    QHash<qint32, int> m_itemCounts; // items shown, by list
    QTextBlockFormat m_continuation; // for the rest of a paragraph too long to be one
    qsizetype m_blockLength = 0;
    qsizetype m_characters = 0;
    int m_blocks = 0;
    int m_pieces = 0;
    qsizetype m_parsedBytes = 0;
};
