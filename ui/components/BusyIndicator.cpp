#include "BusyIndicator.h"

#include "Theme.h"

#include <QPainter>

BusyIndicator::BusyIndicator(Theme& theme, int size, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme)
    , m_size(size) {
    setFixedSize(size, size);
    setAccessibleName(QStringLiteral("Загрузка"));
    m_timer.setInterval(16);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_angle = (m_angle + 8) % 360;
        update();
    });
}

void BusyIndicator::showEvent(QShowEvent*) {
    m_timer.start();
}

void BusyIndicator::hideEvent(QHideEvent*) {
    m_timer.stop();
}

void BusyIndicator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal pen = m_size / 10.0;
    const QRectF ring = QRectF(rect()).adjusted(pen, pen, -pen, -pen);
    painter.setPen(QPen(m_theme.palette().border, pen));
    painter.drawEllipse(ring);
    painter.setPen(QPen(m_theme.palette().accent, pen, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, -m_angle * 16, 100 * 16);
}
