#pragma once

#include <QKeySequence>
#include <QObject>

#include <functional>

class AppState;
class QShortcut;
class QWidget;

// Our keys and the desktop's own for the same command, each once: a shortcut given one key twice
// would find it ambiguous and do nothing.
QList<QKeySequence> keysWithDesktop(const QList<QKeySequence>& ours, QKeySequence::StandardKey desktop);

// The keys that work anywhere in the window: Ctrl+Q quits, Ctrl+W closes the window, and Ctrl+,
// (with whatever the desktop itself uses for settings) opens the settings once someone is signed in.
class WindowShortcuts final : public QObject {
    Q_OBJECT

public:
    // `quit` ends the application; tests put their own in.
    WindowShortcuts(AppState& state, QWidget* window, std::function<void()> quit = {});

    QList<QShortcut*> shortcuts() const { return m_shortcuts; }

private:
    void add(QList<QKeySequence> keys, std::function<void()> action);

    QWidget* m_window;
    QList<QShortcut*> m_shortcuts;
};
