#pragma once

#include "VexoTask.h"

#include <QWidget>

#include <functional>

class AppState;
class PriorityChips;
class QDateTimeEdit;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class Switch;
class Theme;

// The sheet that edits a task: every field on one form, saved with one update.
class EditTaskView final : public QWidget {
    Q_OBJECT

public:
    EditTaskView(AppState& state, Theme& theme, VexoTask task, std::function<void()> dismiss,
                 QWidget* parent = nullptr);

    QLineEdit* titleField() const { return m_title; }
    QPlainTextEdit* descriptionField() const { return m_description; }
    Switch* deadlineSwitch() const { return m_hasDeadline; }
    QDateTimeEdit* deadlinePicker() const { return m_deadline; }
    QLabel* autoSendNote() const { return m_note; }
    TaskPriority priority() const { return m_priority; }
    void choosePriority(TaskPriority priority);
    // "Сохранить" and Ctrl+Return (⌘ Return on macOS).
    void save();

private:
    void refresh();

    AppState& m_state;
    Theme& m_theme;
    VexoTask m_task;
    std::function<void()> m_dismiss;
    TaskPriority m_priority;
    QLineEdit* m_title;
    QPlainTextEdit* m_description;
    PriorityChips* m_priorityChips;
    Switch* m_hasDeadline;
    QDateTimeEdit* m_deadline;
    QLabel* m_note;
};
