#pragma once

#include "Utf8.h"

#include <QByteArray>
#include <QString>

// A text kept as the UTF-8 it arrives and leaves in, made into a QString only where it is read as
// one. Long texts that are mostly stored and seldom shown (descriptions of a long task list) take
// up to half the memory this way: Latin script and markup cost one byte a character, not two.
class Utf8Text final {
public:
    Utf8Text() = default;
    // Implicit, like the QString it stands for.
    Utf8Text(const QString& text)
        : m_utf8(text.toUtf8()) {}

    // `utf8` must be valid UTF-8.
    static Utf8Text fromUtf8(QByteArray utf8) {
        Utf8Text text;
        text.m_utf8 = std::move(utf8);
        return text;
    }

    QString toString() const { return utf8ToString(std::string_view(m_utf8.constData(), std::size_t(m_utf8.size()))); }
    operator QString() const { return toString(); }

    const QByteArray& utf8() const { return m_utf8; }
    bool isEmpty() const { return m_utf8.isEmpty(); }
    bool isSharedWith(const Utf8Text& other) const { return m_utf8.isSharedWith(other.m_utf8); }

    friend bool operator==(const Utf8Text& a, const Utf8Text& b) { return a.m_utf8 == b.m_utf8; }
    friend bool operator==(const Utf8Text& a, const QString& b) { return a.toString() == b; }

private:
    QByteArray m_utf8;
};
Q_DECLARE_TYPEINFO(Utf8Text, Q_RELOCATABLE_TYPE);
