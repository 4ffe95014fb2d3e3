#include "WindowShortcuts.h"

#include "AppState.h"

#include <QCoreApplication>
#include <QKeySequence>
#include <QShortcut>
#include <QWidget>

WindowShortcuts::WindowShortcuts(AppState& state, QWidget* window, std::function<void()> quit)
    : QObject(window)
    , m_window(window) {
    if (!quit)
        quit = [] { QCoreApplication::quit(); };
    const auto with = [](QKeySequence ours, QKeySequence::StandardKey desktop) {
        return QList<QKeySequence>{ours} + QKeySequence::keyBindings(desktop);
    };
    add(with(Qt::CTRL | Qt::Key_Q, QKeySequence::Quit), std::move(quit));
    add(with(Qt::CTRL | Qt::Key_W, QKeySequence::Close), [this] { m_window->close(); });
    add(with(Qt::CTRL | Qt::Key_Comma, QKeySequence::Preferences), [&state] {
        if (state.isLoggedIn())
            state.setShowSettings(true);
    });
}

void WindowShortcuts::add(const QList<QKeySequence>& keys, std::function<void()> action) {
    // The same key named twice (the desktop's standard one is often ours) would be ambiguous.
    QList<QKeySequence> distinct;
    for (const QKeySequence& key : keys) {
        if (!key.isEmpty() && !distinct.contains(key))
            distinct << key;
    }
    auto* shortcut = new QShortcut(m_window);
    shortcut->setKeys(distinct);
    shortcut->setContext(Qt::WindowShortcut);
    connect(shortcut, &QShortcut::activated, this, action);
    m_shortcuts << shortcut;
}
