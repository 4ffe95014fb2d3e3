#pragma once

#include <QString>

// A description's HTML reduced to one plain string: every "<…>" removed, then &nbsp; &lt; &gt; and
// &amp; decoded once (in that order, literally), then trimmed. Block tags leave no line breaks.
QString stripHTML(const QString& text);
