#pragma once

#include <QTest>
#include <QWidget>

// QTest::keyClicks types Latin-1 only: this types any text, one key event per character, with the
// key code a keyboard would send for it.
inline void typeText(QWidget* widget, const QString& text) {
    for (const QChar ch : text) {
        const Qt::Key key = ch == u' ' ? Qt::Key_Space : Qt::Key(ch.toUpper().unicode());
        QTest::sendKeyEvent(QTest::Press, widget, key, QString(ch), Qt::NoModifier);
        QTest::sendKeyEvent(QTest::Release, widget, key, QString(ch), Qt::NoModifier);
    }
}
