#include "Badge.h"

#include "Fonts.h"
#include "Icons.h"
#include "Theme.h"

#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int padX = 8;
constexpr int padY = 3;
constexpr int iconGap = 4;

} // namespace

Badge::Badge(const Theme& theme, const QString& text, const QString& icon, Palette::Role role, int fontSize,
             QWidget* parent)
    : QWidget(parent)
    , m_theme(theme)
    , m_text(text)
    , m_icon(icon)
    , m_role(role) {
    setFont(uiFont(fontSize, QFont::Medium));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAccessibleName(text);
}

QSize Badge::sizeHint() const {
    const QFontMetrics metrics(font());
    const int icon = m_icon.isEmpty() ? 0 : font().pixelSize() + iconGap;
    return {padX * 2 + icon + metrics.horizontalAdvance(m_text), padY * 2 + metrics.height()};
}

void Badge::paintEvent(QPaintEvent*) {
    const QColor colour = m_theme.palette().color(m_role);
    QColor ground = colour;
    ground.setAlphaF(0.12);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()), 8, 8);
    painter.fillPath(shape, ground);
    qreal x = padX;
    if (!m_icon.isEmpty()) {
        const int size = font().pixelSize();
        painter.drawPixmap(QPointF(x, (height() - size) / 2.0),
                           Icons::pixmap(m_icon, size, colour, devicePixelRatioF()));
        x += size + iconGap;
    }
    painter.setFont(font());
    painter.setPen(colour);
    painter.drawText(QRectF(x, 0, width() - x - padX + 1, height()), Qt::AlignLeft | Qt::AlignVCenter, m_text);
}
