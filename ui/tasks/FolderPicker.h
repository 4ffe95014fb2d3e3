#pragma once

#include "VexoTask.h"

#include <QFrame>

class AppState;
class QLabel;
class QLineEdit;
class QListWidget;

// The keyboard's way to put a task into a folder (Ctrl+M): a small pop-up with the folders under a
// filter field. Typing narrows the folders (any case, ё as е), Up and Down move between them,
// Return or a click moves the task there, Esc closes. The task's own folder and the one on screen
// are listed but cannot be chosen: moving there would change nothing.
class FolderPicker final : public QFrame {
    Q_OBJECT

public:
    FolderPicker(AppState& state, const VexoTask& task, QWidget* parent);

    QLineEdit* filterField() const { return m_filter; }
    QListWidget* list() const { return m_list; }
    // The folders listed now, by name; those that cannot be chosen end in " (здесь)".
    QStringList shownFolders() const;
    QString currentFolder() const;

    // Opens below and to the right of `globalPoint`, kept on the screen.
    void popup(const QPoint& globalPoint);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refilter();
    void step(int direction);
    void choose(int row);

    AppState& m_state;
    VexoTask m_task;
    QLineEdit* m_filter;
    QListWidget* m_list;
    QLabel* m_none;
};
