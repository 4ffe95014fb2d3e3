#pragma once

#include "HtmlSegmenter.h"

#include <QHash>
#include <QList>
#include <QString>

#include <vector>

struct GumboInternalNode;

// One step of a description as it is shown: a new paragraph or list item, a run of text in one
// format, or a line break inside the paragraph.
struct DescriptionPiece {
    enum class Kind : quint8 { block, text, lineBreak };
    enum Format : quint8 { bold = 1, italic = 2, underline = 4, strikeOut = 8 };

    Kind kind = Kind::text;
    // block
    bool spaced = false;   // a paragraph's distance from what is above
    bool listItem = false; // starts an item (bullet or number) of list listId
    qint32 listId = -1;    // the list the block sits in, -1 outside lists
    quint8 listDepth = 0;  // 1 for a top-level list
    bool ordered = false;
    // text
    quint8 format = 0;
    QString text;
    QString href; // links only

    bool operator==(const DescriptionPiece&) const = default;
};

// Reads a description's HTML with an HTML5 parser (gumbo) and keeps what a description may show:
// text; bold, italic, underline and strike-through; paragraphs and line breaks; lists up to
// maxListDepth levels (deeper ones continue the deepest); headings as bold paragraphs; links to
// http, https, mailto and tg. Tables and every other container are flattened to their text
// (rows become paragraphs); images, media, forms, scripts, styles, foreign content and all
// attributes except a link's address are dropped. Nothing is ever fetched.
//
// The input is read in pieces (see HtmlSegmenter), each parsed on its own; what is open at the
// end of one piece (lists, paragraph, formatting, link) is opened again before the next, so the
// pieces read as one document.
class HtmlSanitizer {
public:
    static constexpr int maxListDepth = 3;
    // What one parse takes at most: a few milliseconds of parser time, whatever the markup.
    static constexpr qsizetype defaultSegmentBytes = 16 * 1024;
    static constexpr int defaultSegmentTags = 512;

    explicit HtmlSanitizer(const QString& html, qsizetype segmentBytes = defaultSegmentBytes,
                           int segmentTags = defaultSegmentTags);

    bool atEnd() const { return m_segmenter.atEnd(); }
    // Input bytes read so far, of size().
    qsizetype position() const { return m_segmenter.position(); }
    qsizetype size() const { return m_segmenter.size(); }
    // Whether any text other than white space has come out so far.
    bool sawText() const { return m_sawText; }

    // Parses the next piece of the input and appends what it shows.
    void parseNext(QList<DescriptionPiece>& out);

    // Everything, at once: for tests and small inputs.
    static QList<DescriptionPiece> sanitize(const QString& html, qsizetype segmentBytes = defaultSegmentBytes,
                                            int segmentTags = defaultSegmentTags);

    // The address a link may carry, normalised, or an empty string when it may not be a link.
    static QString allowedLink(const QString& href);

private:
    struct ListRef {
        qint32 id = -1;
        quint8 depth = 0;
        bool ordered = false;
    };
    struct Context {
        quint8 format = 0;
        qint32 link = -1; // index into m_links
        bool pre = false;
        bool hidden = false; // inside something dropped
        ListRef list;
    };

    // Appends what the tree shows; with open, also collects the elements still open at its end.
    void walk(GumboInternalNode* body, qsizetype parsedLength, QList<DescriptionPiece>& out,
              std::vector<GumboInternalNode*>* open);
    void carryOver(const std::vector<GumboInternalNode*>& open);
    void text(const QByteArray& utf8, const Context& context, QList<DescriptionPiece>& out);
    void appendText(const QString& text, const Context& context, QList<DescriptionPiece>& out);
    void ensureBlock(const Context& context, QList<DescriptionPiece>& out);
    void flushSpace(QList<DescriptionPiece>& out);
    void lineBreak(const Context& context, QList<DescriptionPiece>& out);
    void boundary(bool spaced, bool endsItem = false);

    HtmlSegmenter m_segmenter;
    qsizetype m_segmentBytes;
    int m_segmentTags;
    bool m_first = true;
    bool m_sawText = false;

    // Paragraph state, kept across pieces.
    bool m_anyBlock = false;
    bool m_blockPending = true;
    bool m_pendingSpaced = false;
    bool m_pendingItem = false;
    ListRef m_pendingItemList;
    bool m_lineHasContent = false;
    qint32 m_lastItemList = -1;
    int m_cellsInRow = 0;
    bool m_pendingSpace = false;
    quint8 m_spaceFormat = 0;
    QString m_spaceLink;
    qint32 m_nextListId = 0;

    // Per piece.
    QList<QString> m_links;
    QHash<const void*, ListRef> m_listOf;     // list elements of this piece
    QHash<const void*, ListRef> m_looseLists; // items outside lists, by parent

    // Reopened before the next piece.
    QByteArray m_prefix;
    QList<ListRef> m_carriedLists;
    int m_nextCarriedList = 0;
};
