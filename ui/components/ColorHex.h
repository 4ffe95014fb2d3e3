#pragma once

#include <QColor>
#include <QStringView>

// "#E97553", "E97553", "abc" (three digits) and "80FF0000" (alpha first) to a colour. Anything
// that is not alphanumeric is trimmed from both ends first; a text that does not scan as
// hexadecimal reads as 0, and a length other than 3, 6 or 8 gives opaque white.
QColor colorFromHex(QStringView text);
