#pragma once

#include "TaskPriority.h"

#include <QCoroTask>
#include <QDate>
#include <QTime>
#include <QWidget>

#include <functional>
#include <optional>

class AppState;
class PriorityChips;
class MiniCalendar;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QStackedWidget;
class Theme;
class VexoButton;

// The three-step sheet for a new task: the title, an optional description, then the deadline and
// the priority. Its state is its own until "Создать задачу".
class CreateTaskView final : public QWidget {
    Q_OBJECT

public:
    CreateTaskView(AppState& state, Theme& theme, std::function<void()> dismiss, QWidget* parent = nullptr);

    int step() const { return m_step; }
    QLineEdit* titleField() const { return m_title; }
    QPlainTextEdit* descriptionField() const { return m_description; }
    MiniCalendar* calendar() const { return m_calendar; }
    QSpinBox* hourField() const { return m_hour; }
    QSpinBox* minuteField() const { return m_minute; }
    TaskPriority priority() const { return m_priority; }
    std::optional<QDate> selectedDate() const { return m_selectedDate; }

    void advanceFromTitle();
    void goToStep(int step);
    void chooseQuickDate(std::optional<int> dayOffset);
    void choosePriority(TaskPriority priority);
    // The deadline text sent: the chosen day at the time row's hour and minute in local time, as
    // ISO 8601 with milliseconds in UTC; empty without a chosen day.
    std::optional<QString> deadlineText() const;
    // "Создать задачу". Nothing happens with a blank title.
    void create();
    QPushButton* buttonNamed(const QString& text) const;

private:
    QWidget* buildTitleStep();
    QWidget* buildDescriptionStep();
    QWidget* buildDeadlineStep();
    QCoro::Task<void> send(QString title, std::optional<QString> description, std::optional<QString> deadline);

    AppState& m_state;
    Theme& m_theme;
    std::function<void()> m_dismiss;
    int m_step = 1;
    std::optional<QDate> m_selectedDate;
    TaskPriority m_priority = TaskPriority::medium;
    bool m_sending = false;

    QWidget* m_dots = nullptr;
    QStackedWidget* m_steps;
    QList<QLabel*> m_questions;
    QLineEdit* m_title;
    QPlainTextEdit* m_description;
    MiniCalendar* m_calendar;
    QSpinBox* m_hour;
    QSpinBox* m_minute;
    PriorityChips* m_priorityChips;
};
