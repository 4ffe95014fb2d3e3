#include "VexoCard.h"

#include "Theme.h"

#include <QPainter>
#include <QPainterPath>

VexoCard::VexoCard(Theme& theme, QWidget* parent)
    : QFrame(parent)
    , m_theme(theme) {
    connect(&m_theme, &Theme::changed, this, qOverload<>(&QWidget::update));
}

void VexoCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 12, 12);
    painter.fillPath(shape, m_theme.palette().raised);
    painter.setPen(QPen(m_theme.palette().border, 1));
    painter.drawPath(shape);
}
