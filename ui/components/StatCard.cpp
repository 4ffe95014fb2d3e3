#include "StatCard.h"

#include "Fonts.h"
#include "Icons.h"
#include "Theme.h"

#include <QPainter>
#include <QPainterPath>

StatCard::StatCard(Theme& theme, QString icon, QString label, ValueRole role, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme)
    , m_icon(std::move(icon))
    , m_label(std::move(label))
    , m_role(role) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(m_label);
    connect(&m_theme, &Theme::changed, this, qOverload<>(&QWidget::update));
}

void StatCard::setValue(const QString& value) {
    if (value == m_value)
        return;
    m_value = value;
    setAccessibleDescription(m_value);
    update();
}

QSize StatCard::sizeHint() const {
    return {150, 62};
}

QSize StatCard::minimumSizeHint() const {
    return {90, 62};
}

void StatCard::paintEvent(QPaintEvent*) {
    const Palette& p = m_theme.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath shape;
    shape.addRoundedRect(frame, 10, 10);
    painter.fillPath(shape, p.raised);
    painter.setPen(QPen(p.border, 1));
    painter.drawPath(shape);

    QColor valueColor = p.textPrimary;
    switch (m_role) {
    case ValueRole::green:
        valueColor = p.green;
        break;
    case ValueRole::red:
        valueColor = p.red;
        break;
    case ValueRole::accent:
        valueColor = p.accent;
        break;
    case ValueRole::teal:
        valueColor = p.teal;
        break;
    case ValueRole::primary:
        break;
    }

    painter.drawPixmap(QPointF(14, 12), Icons::pixmap(m_icon, 14, p.textTertiary, devicePixelRatioF()));
    painter.setFont(uiFont(11));
    painter.setPen(p.textSecondary);
    painter.drawText(QRectF(34, 10, width() - 44, 18), Qt::AlignVCenter | Qt::AlignLeft,
                     painter.fontMetrics().elidedText(m_label, Qt::ElideRight, width() - 44));
    painter.setFont(uiFont(20, QFont::Bold));
    painter.setPen(valueColor);
    painter.drawText(QRectF(14, 30, width() - 28, 26), Qt::AlignVCenter | Qt::AlignLeft, m_value);
}
