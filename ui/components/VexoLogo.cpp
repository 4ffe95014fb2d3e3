#include "VexoLogo.h"

#include "Fonts.h"
#include "Theme.h"

#include <QPainter>

VexoLogo::VexoLogo(Theme& theme, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme) {
    setAccessibleName(QStringLiteral("VEXO TASKS"));
    connect(&m_theme, &Theme::changed, this, qOverload<>(&QWidget::update));
}

QSize VexoLogo::sizeHint() const {
    return {160, 24};
}

void VexoLogo::paintEvent(QPaintEvent*) {
    const Palette& p = m_theme.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(p.accent);
    const qreal middle = height() / 2.0;
    painter.drawRoundedRect(QRectF(0, middle - 4, 8, 8), 2, 2);

    QFont font = uiFont(14, QFont::Black);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 1.2);
    painter.setFont(font);
    const QString first = QStringLiteral("VEXO ");
    const QFontMetricsF metrics(font);
    painter.setPen(p.textPrimary);
    painter.drawText(QPointF(16, middle + metrics.ascent() / 2 - 1), first);
    painter.setPen(p.accent);
    painter.drawText(QPointF(16 + metrics.horizontalAdvance(first), middle + metrics.ascent() / 2 - 1),
                     QStringLiteral("TASKS"));
}
