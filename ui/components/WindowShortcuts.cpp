#include "WindowShortcuts.h"

#include "AppState.h"

#include <QCoreApplication>
#include <QKeySequence>
#include <QShortcut>
#include <QWidget>

QList<QKeySequence> keysWithDesktop(const QList<QKeySequence>& ours, QKeySequence::StandardKey desktop) {
    QList<QKeySequence> keys;
    for (const QKeySequence& key : ours + QKeySequence::keyBindings(desktop)) {
        if (!key.isEmpty() && !keys.contains(key))
            keys << key;
    }
    return keys;
}

WindowShortcuts::WindowShortcuts(AppState& state, QWidget* window, std::function<void()> quit)
    : QObject(window)
    , m_window(window) {
    if (!quit)
        quit = [] { QCoreApplication::quit(); };
    add(keysWithDesktop({Qt::CTRL | Qt::Key_Q}, QKeySequence::Quit), std::move(quit));
    add(keysWithDesktop({Qt::CTRL | Qt::Key_W}, QKeySequence::Close), [this] { m_window->close(); });
    add(keysWithDesktop({Qt::CTRL | Qt::Key_Comma}, QKeySequence::Preferences), [&state] {
        if (state.isLoggedIn())
            state.setShowSettings(true);
    });
}

void WindowShortcuts::add(QList<QKeySequence> keys, std::function<void()> action) {
    auto* shortcut = new QShortcut(m_window);
    shortcut->setKeys(keys);
    shortcut->setContext(Qt::WindowShortcut);
    connect(shortcut, &QShortcut::activated, this, action);
    m_shortcuts << shortcut;
}
