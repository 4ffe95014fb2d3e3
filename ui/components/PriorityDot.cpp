#include "PriorityDot.h"

#include "Theme.h"

#include <QPainter>

PriorityDot::PriorityDot(Theme& theme, TaskPriority priority, int size, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme)
    , m_priority(priority)
    , m_size(size) {
    setFixedSize(size, size);
    connect(&m_theme, &Theme::changed, this, qOverload<>(&QWidget::update));
}

void PriorityDot::setPriority(TaskPriority priority) {
    m_priority = priority;
    update();
}

void PriorityDot::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_theme.palette().priorityColor(m_priority));
    painter.drawEllipse(QRectF(0, 0, m_size, m_size));
}
