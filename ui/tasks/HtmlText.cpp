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
