#pragma once

#include "TaskPriority.h"

#include <QWidget>

class QPushButton;

// The priority choice of the task forms: "Высокий", "Средний", "Низкий", each in its colour, the
// chosen one tinted and outlined in it.
class PriorityChips final : public QWidget {
    Q_OBJECT

public:
    explicit PriorityChips(TaskPriority initial, QWidget* parent = nullptr);

    TaskPriority priority() const { return m_priority; }
    void setPriority(TaskPriority priority);

Q_SIGNALS:
    void priorityChosen(TaskPriority priority);

private:
    TaskPriority m_priority;
    QList<QPushButton*> m_chips;
};
