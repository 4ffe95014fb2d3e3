#include "HtmlText.h"

using namespace Qt::StringLiterals;

QString stripHTML(const QString& text) {
    if (text.isEmpty())
        return QString();
    // The same as removing every match of "<[^>]+>" left to right, in one pass: a '<' starts a tag
    // when a '>' follows with at least one character between them.
    QString stripped;
    stripped.reserve(text.size());
    const qsizetype size = text.size();
    qsizetype i = 0;
    while (i < size) {
        if (text[i] == u'<') {
            const qsizetype close = text.indexOf(u'>', i + 1);
            if (close > i + 1) {
                i = close + 1;
                continue;
            }
            if (close < 0) {
                // No '>' anywhere further: nothing after this point can be a tag.
                stripped.append(QStringView(text).mid(i));
                break;
            }
        }
        stripped.append(text[i]);
        ++i;
    }
    stripped.replace(u"&nbsp;"_s, u" "_s);
    stripped.replace(u"&lt;"_s, u"<"_s);
    stripped.replace(u"&gt;"_s, u">"_s);
    stripped.replace(u"&amp;"_s, u"&"_s);
    return stripped.trimmed();
}

namespace {

// The characters stripHTML() keeps from the tag pass, in order, as code points read from UTF-8.
// Tags are found on bytes: '<' and '>' never occur inside a multi-byte sequence.
class KeptCharacters {
public:
    explicit KeptCharacters(QByteArrayView text)
        : m_text(text) {}

    // The next kept code point, or -1 after the last.
    int next() {
        const qsizetype size = m_text.size();
        while (m_at < size) {
            if (!m_noTagsLeft && m_text[m_at] == '<') {
                const qsizetype close = m_text.indexOf('>', m_at + 1);
                if (close > m_at + 1) {
                    m_at = close + 1;
                    continue;
                }
                if (close < 0)
                    m_noTagsLeft = true;
            }
            return decode();
        }
        return -1;
    }

private:
    int decode() {
        const auto lead = uchar(m_text[m_at++]);
        if (lead < 0x80)
            return lead;
        const int length = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        int point = lead & (0x3F >> length);
        for (int i = 0; i < length && m_at < m_text.size(); ++i)
            point = (point << 6) | (uchar(m_text[m_at++]) & 0x3F);
        return point;
    }

    QByteArrayView m_text;
    qsizetype m_at = 0;
    bool m_noTagsLeft = false;
};

} // namespace

bool hasPlainText(QByteArrayView utf8) {
    // Only "&nbsp;" turns visible characters into a space; the other entities stay visible, so the
    // first kept character that is neither a space nor the start of an "&nbsp;" decides.
    KeptCharacters kept(utf8);
    for (;;) {
        const int point = kept.next();
        if (point < 0)
            return false;
        if (QChar::isSpace(char32_t(point)))
            continue;
        if (point != '&')
            return true;
        KeptCharacters ahead = kept;
        for (const char expected : {'n', 'b', 's', 'p', ';'}) {
            if (ahead.next() != expected)
                return true;
        }
        kept = ahead;
    }
}
