#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringView>

#include <utility>

// How the task search compares text: case-insensitively, with "ё" and "е" the same letter, one
// UTF-16 code unit at a time (so a folded text is exactly as long as the text it came from).
//
// For speed over many tasks, folded texts are kept in a compact single-byte form: ASCII stays
// itself, the Russian letters and the commonest typographic marks take one byte each, and every
// other code unit is written as an escape byte and four nibble bytes that nothing else uses. The
// form is prefix-free, so one encoded text contains another exactly when the folded texts do.
namespace TaskSearch {

// One code unit as the search sees it.
char16_t foldUnit(char16_t unit);
QString fold(QStringView text);

// The folded text in the compact form, appended to `out`.
void encodeAppend(QStringView text, QByteArray& out);
QByteArray encode(QStringView text);

// What a task is searched in: its title, a zero byte (which no encoded query contains, so no match
// runs from the title into the description), then the plain text of its description.
QByteArray taskText(QStringView title, QStringView plainDescription);

// Whether `needle` occurs in `haystack`; an empty needle occurs everywhere.
bool contains(QByteArrayView haystack, QByteArrayView needle);

// The query as the search uses it: the typed text without white space at either end.
QString normalizedQuery(const QString& typed);

// Where `query` occurs in `text` by the search's comparison: (start, length) in code units of `text`,
// left to right, not overlapping.
QList<std::pair<qsizetype, qsizetype>> matches(QStringView text, QStringView query);

} // namespace TaskSearch
