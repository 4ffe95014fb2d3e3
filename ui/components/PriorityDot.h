#pragma once

#include "TaskPriority.h"

#include <QWidget>

class Theme;

// A filled circle in the priority's colour.
class PriorityDot final : public QWidget {
    Q_OBJECT

public:
    PriorityDot(Theme& theme, TaskPriority priority, int size, QWidget* parent = nullptr);
    void setPriority(TaskPriority priority);
    QSize sizeHint() const override { return {m_size, m_size}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Theme& m_theme;
    TaskPriority m_priority;
    int m_size;
};
