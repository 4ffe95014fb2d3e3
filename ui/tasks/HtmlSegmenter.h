#pragma once

#include <QByteArray>

// Cuts a description's HTML (UTF-8) into pieces an HTML5 parser takes in bounded time.
//
// The tree builder of an HTML5 parser does work in proportion to the depth of open elements for
// many tags, and its duplicate-attribute check is quadratic in the number of attributes of one tag:
// a few hundred kilobytes of nested or attribute-laden tags take it minutes. So the parser is only
// ever given pieces of at most a few thousand tags, cut between whole tokens, with every tag
// reduced to what a description can show: its name, and the address of a link. Comments, doctypes,
// processing instructions and elements whose content is not markup (script, style, title,
// textarea, iframe, …) are dropped whole here. A '<' that starts no tag comes out as "&lt;".
class HtmlSegmenter {
public:
    explicit HtmlSegmenter(QByteArray utf8);

    bool atEnd() const { return m_pos >= m_input.size(); }
    // Input bytes consumed so far.
    qsizetype position() const { return m_pos; }
    qsizetype size() const { return m_input.size(); }

    // The next piece: at most about maxBytes bytes of output (a single tag may exceed it) and at
    // most maxTags tags. Never splits a tag, a character reference or a UTF-8 sequence.
    QByteArray next(qsizetype maxBytes, int maxTags);

    // Longest link address kept; longer ones leave the link as plain text.
    static constexpr qsizetype maxHrefBytes = 8192;

private:
    struct Tag {
        QByteArray name; // ASCII-lowercased
        QByteArray href; // raw value, links only
        char hrefQuote = 0;
        bool hasHref = false;
        bool end = false;
        bool selfClosing = false;
    };

    // Reads the tag starting at m_pos ('<' then a letter, or "</" then a letter). False when the
    // input ends inside it, which drops it as a parser would.
    bool readTag(Tag& tag);
    void skipRawText(const QByteArray& name);
    void skipPast(const char* terminator);
    qsizetype textCut(qsizetype from, qsizetype limit) const;

    QByteArray m_input;
    qsizetype m_pos = 0;
};
