#pragma once

#include "TaskPriority.h"

#include <QWidget>

class QPushButton;
class Theme;

// The priority choice of the task forms: "Высокий", "Средний", "Низкий", the chosen one tinted.
class PriorityChips final : public QWidget {
    Q_OBJECT

public:
    PriorityChips(Theme& theme, TaskPriority initial, QWidget* parent = nullptr);

    TaskPriority priority() const { return m_priority; }
    void setPriority(TaskPriority priority);

Q_SIGNALS:
    void priorityChosen(TaskPriority priority);

private:
    void restyle();

    Theme& m_theme;
    TaskPriority m_priority;
    QList<QPushButton*> m_chips;
};
