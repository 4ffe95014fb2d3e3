#pragma once

#include <QByteArrayView>
#include <QString>

// A description's HTML reduced to one plain string: every "<…>" removed, then &nbsp; &lt; &gt; and
// &amp; decoded once (in that order, literally), then trimmed. Block tags leave no line breaks.
QString stripHTML(const QString& text);

// Whether stripHTML() leaves any text of the same description given as UTF-8, without building it:
// it reads only as far as the first character that would remain. This is the row's "has a preview
// line" flag, worked out once per task when a list arrives.
bool hasPlainText(QByteArrayView utf8);
