#include "HtmlSegmenter.h"

#include <QByteArrayView>

namespace {

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\f' || c == '\r';
}

bool isAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

QByteArray lowered(QByteArrayView text) {
    QByteArray out(text.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < text.size(); ++i)
        out[i] = lower(text[i]);
    return out;
}

// Elements whose content the tokenizer does not read as markup. None of them has anything a
// description shows, so they go whole, content and all.
bool isRawText(const QByteArray& name) {
    return name == "script" || name == "style" || name == "title" || name == "textarea" || name == "xmp" ||
           name == "iframe" || name == "noembed" || name == "noframes" || name == "noscript";
}

// No element of HTML has a longer name; anything longer is some custom element, which shows its
// content like a span does.
constexpr qsizetype maxNameBytes = 32;

} // namespace

HtmlSegmenter::HtmlSegmenter(QByteArray utf8)
    : m_input(std::move(utf8)) {}

bool HtmlSegmenter::readTag(Tag& tag) {
    const char* d = m_input.constData();
    const qsizetype n = m_input.size();
    qsizetype i = m_pos + 1;
    if (d[i] == '/') {
        tag.end = true;
        ++i;
    }
    const qsizetype nameStart = i;
    while (i < n && !isSpace(d[i]) && d[i] != '/' && d[i] != '>')
        ++i;
    if (i >= n)
        return false;
    tag.name =
        i - nameStart > maxNameBytes ? QByteArray("span") : lowered(QByteArrayView(d + nameStart, i - nameStart));
    const bool wantsHref = !tag.end && tag.name == "a";

    enum class State { beforeName, name, afterName, beforeValue, afterQuotedValue, selfClosingStart };
    State state = State::beforeName;
    qsizetype attrStart = 0;
    QByteArrayView attrName;
    // The first of duplicate attributes counts, as in the parser: a name without a value has the
    // empty one, settled once it is clear that no '=' follows.
    bool nameWithoutValue = false;
    const auto takeValue = [&](qsizetype from, qsizetype to, char quote) {
        nameWithoutValue = false;
        if (wantsHref && !tag.hasHref && attrName.size() == 4 && lowered(attrName) == "href") {
            tag.hasHref = true;
            tag.href = QByteArray(d + from, to - from);
            tag.hrefQuote = quote;
        }
    };
    const auto settleName = [&] {
        if (nameWithoutValue)
            takeValue(i, i, '"');
    };
    while (i < n) {
        const char c = d[i];
        switch (state) {
        case State::beforeName:
            if (isSpace(c)) {
                ++i;
            } else if (c == '/') {
                state = State::selfClosingStart;
                ++i;
            } else if (c == '>') {
                m_pos = i + 1;
                return true;
            } else {
                attrStart = i++;
                state = State::name;
            }
            break;
        case State::name:
            if (isSpace(c) || c == '/' || c == '>' || c == '=') {
                attrName = QByteArrayView(d + attrStart, i - attrStart);
                if (c == '=') {
                    state = State::beforeValue;
                    ++i;
                } else {
                    nameWithoutValue = true;
                    state = State::afterName;
                }
            } else {
                ++i;
            }
            break;
        case State::afterName:
            if (isSpace(c)) {
                ++i;
            } else if (c == '=') {
                nameWithoutValue = false;
                state = State::beforeValue;
                ++i;
            } else {
                settleName();
                if (c == '/') {
                    state = State::selfClosingStart;
                    ++i;
                } else if (c == '>') {
                    m_pos = i + 1;
                    return true;
                } else {
                    attrStart = i++;
                    state = State::name;
                }
            }
            break;
        case State::beforeValue:
            if (isSpace(c)) {
                ++i;
            } else if (c == '"' || c == '\'') {
                const qsizetype close = m_input.indexOf(c, i + 1);
                if (close < 0)
                    return false;
                takeValue(i + 1, close, c);
                i = close + 1;
                state = State::afterQuotedValue;
            } else if (c == '>') {
                takeValue(i, i, '"');
                m_pos = i + 1;
                return true;
            } else {
                const qsizetype start = i;
                while (i < n && !isSpace(d[i]) && d[i] != '>')
                    ++i;
                takeValue(start, i, 0);
                state = State::beforeName;
            }
            break;
        case State::afterQuotedValue:
            if (isSpace(c)) {
                state = State::beforeName;
                ++i;
            } else if (c == '/') {
                state = State::selfClosingStart;
                ++i;
            } else if (c == '>') {
                m_pos = i + 1;
                return true;
            } else {
                state = State::beforeName;
            }
            break;
        case State::selfClosingStart:
            if (c == '>') {
                tag.selfClosing = true;
                m_pos = i + 1;
                return true;
            }
            state = State::beforeName;
            break;
        }
    }
    return false;
}

void HtmlSegmenter::skipRawText(const QByteArray& name) {
    const char* d = m_input.constData();
    const qsizetype n = m_input.size();
    qsizetype from = m_pos;
    for (;;) {
        const qsizetype at = m_input.indexOf("</", from);
        if (at < 0) {
            m_pos = n;
            return;
        }
        qsizetype i = at + 2;
        qsizetype k = 0;
        while (k < name.size() && i + k < n && lower(d[i + k]) == name[k])
            ++k;
        if (k == name.size() && (i + k >= n || isSpace(d[i + k]) || d[i + k] == '/' || d[i + k] == '>')) {
            // The end tag itself, attributes and all, goes too.
            m_pos = at;
            Tag end;
            if (!readTag(end))
                m_pos = n;
            return;
        }
        from = at + 2;
    }
}

void HtmlSegmenter::skipPast(const char* terminator) {
    const qsizetype at = m_input.indexOf(terminator, m_pos);
    m_pos = at < 0 ? m_input.size() : at + qsizetype(qstrlen(terminator));
}

qsizetype HtmlSegmenter::textCut(qsizetype from, qsizetype limit) const {
    const char* d = m_input.constData();
    qsizetype cut = limit;
    // After a space, so neither piece starts or ends with half a word …
    bool atSpace = false;
    for (qsizetype k = limit; k > from + (limit - from) / 2; --k) {
        if (isSpace(d[k - 1])) {
            cut = k;
            atSpace = true;
            break;
        }
    }
    // … or at least between two characters.
    if (!atSpace) {
        while (cut > from && (uchar(d[cut]) & 0xC0) == 0x80)
            --cut;
    }
    // And never through a character reference: it would decode as two pieces of text.
    for (qsizetype k = cut - 1; k >= from && k >= cut - 40; --k) {
        const char c = d[k];
        if (c == '&') {
            cut = k;
            break;
        }
        if (c == ';' || isSpace(c))
            break;
    }
    return cut;
}

QByteArray HtmlSegmenter::next(qsizetype maxBytes, int maxTags) {
    QByteArray out;
    out.reserve(qMin(maxBytes + 256, m_input.size() - m_pos + 16));
    const char* d = m_input.constData();
    const qsizetype n = m_input.size();
    int tags = 0;
    // Dropped tokens cost the scan too: bound them as well, so one call stays short.
    qint64 tokens = 0;
    const qint64 maxTokens = qint64(qMax(maxTags, 1)) * 8;
    maxBytes = qMax<qsizetype>(maxBytes, 1);
    while (m_pos < n && out.size() < maxBytes && tags < maxTags && tokens < maxTokens) {
        const char c = d[m_pos];
        if (c != '<') {
            qsizetype end = m_input.indexOf('<', m_pos);
            if (end < 0)
                end = n;
            const qsizetype room = maxBytes - out.size();
            if (end - m_pos <= room) {
                out.append(d + m_pos, end - m_pos);
                m_pos = end;
                continue;
            }
            if (room < 64 && !out.isEmpty())
                break;
            qsizetype cut = textCut(m_pos, m_pos + room);
            if (cut <= m_pos) {
                cut = m_pos + room;
                while (cut < end && (uchar(d[cut]) & 0xC0) == 0x80)
                    ++cut;
            }
            out.append(d + m_pos, cut - m_pos);
            m_pos = cut;
            break;
        }
        ++tokens;
        const char next = m_pos + 1 < n ? d[m_pos + 1] : '\0';
        const char afterSlash = m_pos + 2 < n ? d[m_pos + 2] : '\0';
        if (isAlpha(next) || (next == '/' && isAlpha(afterSlash))) {
            Tag tag;
            if (!readTag(tag)) {
                m_pos = n;
                break;
            }
            if (!tag.end && tag.name == "plaintext") {
                m_pos = n;
                break;
            }
            if (!tag.end && isRawText(tag.name)) {
                skipRawText(tag.name);
                continue;
            }
            ++tags;
            out.append(tag.end ? "</" : "<");
            out.append(tag.name);
            if (tag.hasHref && tag.href.size() <= maxHrefBytes) {
                out.append(" href=");
                if (tag.hrefQuote != 0)
                    out.append(tag.hrefQuote);
                out.append(tag.href);
                if (tag.hrefQuote != 0)
                    out.append(tag.hrefQuote);
            }
            out.append(tag.selfClosing ? " />" : ">");
        } else if (next == '/' && afterSlash == '>') {
            m_pos += 3;
        } else if (next == '/' && m_pos + 2 < n) {
            skipPast(">");
        } else if (next == '!' && QByteArrayView(d + m_pos, qMin<qsizetype>(4, n - m_pos)) == "<!--") {
            if (m_pos + 4 < n && d[m_pos + 4] == '>') {
                m_pos += 5;
            } else if (m_pos + 5 < n && d[m_pos + 4] == '-' && d[m_pos + 5] == '>') {
                m_pos += 6;
            } else {
                // Ends at "-->", or at an earlier "--!>"; looked for only up to the "-->", so that
                // a run of comments costs one pass.
                const qsizetype close = m_input.indexOf("-->", m_pos + 4);
                const qsizetype end = close < 0 ? n : close;
                const qsizetype bang = QByteArrayView(d + m_pos + 4, end - m_pos - 4).indexOf("--!>");
                if (bang >= 0)
                    m_pos = m_pos + 4 + bang + 4;
                else
                    m_pos = close < 0 ? n : close + 3;
            }
        } else if (next == '!' || next == '?') {
            skipPast(">");
        } else {
            // A '<' that opens nothing is text; written as a reference so that whatever follows it
            // in the next piece cannot make it a tag.
            out.append("&lt;");
            ++m_pos;
        }
    }
    return out;
}
