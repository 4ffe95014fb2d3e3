#include "VexoButton.h"

#include "Fonts.h"
#include "Icons.h"
#include "Theme.h"

#include <QPainter>
#include <QPainterPath>

VexoButton::VexoButton(Theme& theme, Kind kind, const QString& text, QWidget* parent)
    : QPushButton(text, parent)
    , m_theme(theme)
    , m_kind(kind) {
    setCursor(Qt::PointingHandCursor);
    setFont(uiFont(13, QFont::DemiBold));
    setIconSize(QSize(14, 14));
    connect(&m_theme, &Theme::changed, this, qOverload<>(&QWidget::update));
}

void VexoButton::setIconName(const QString& name) {
    m_iconName = name;
    updateGeometry();
    update();
}

void VexoButton::setPlainRole(Palette::Role role) {
    m_plainRole = role;
    update();
}

void VexoButton::setIconTrailing(bool trailing) {
    m_iconTrailing = trailing;
    update();
}

QSize VexoButton::sizeHint() const {
    const int textWidth = fontMetrics().horizontalAdvance(text());
    const int iconWidth = m_iconName.isEmpty() ? 0 : iconSize().width() + (text().isEmpty() ? 0 : 6);
    return {textWidth + iconWidth + (m_kind == Kind::plain ? 12 : 28), m_kind == Kind::plain ? 28 : 34};
}

void VexoButton::paintEvent(QPaintEvent*) {
    const Palette& p = m_theme.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isDown())
        painter.setOpacity(0.6);
    else if (!isEnabled())
        painter.setOpacity(0.45);

    QColor fill = Qt::transparent;
    QColor foreground = p.textSecondary;
    QColor outline = Qt::transparent;
    switch (m_kind) {
    case Kind::primary:
        fill = p.accent;
        foreground = p.onAccent;
        break;
    case Kind::ghost:
        outline = underMouse() ? p.textTertiary : p.border;
        foreground = underMouse() ? p.textPrimary : p.textSecondary;
        break;
    case Kind::destructive:
        fill = p.red;
        fill.setAlphaF(0.15);
        foreground = p.red;
        break;
    case Kind::plain:
        foreground = p.color(m_plainRole);
        break;
    }
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    painter.fillPath(shape, fill);
    if (outline.alpha() > 0) {
        painter.setPen(QPen(outline, 1));
        painter.drawPath(shape);
    }
    // The focus ring only once the keyboard moves focus, not for the button a page happens to focus:
    // two points inside the edge, in the accent, or in the text colour on the accent's own fill.
    if (hasFocus() && focusPolicy() != Qt::NoFocus && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        QPainterPath ring;
        ring.addRoundedRect(QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5), 7, 7);
        painter.setOpacity(1.0);
        painter.setPen(QPen(m_kind == Kind::primary ? p.onAccent : p.accent, 2));
        painter.drawPath(ring);
        if (isDown())
            painter.setOpacity(0.6);
    }

    painter.setFont(font());
    const int textWidth = fontMetrics().horizontalAdvance(text());
    const int icon = iconSize().width();
    const int iconWidth = m_iconName.isEmpty() ? 0 : icon + (text().isEmpty() ? 0 : 6);
    qreal x = (width() - textWidth - iconWidth) / 2.0;
    const auto drawIcon = [&](qreal at) {
        painter.drawPixmap(QPointF(at, (height() - icon) / 2.0),
                           Icons::pixmap(m_iconName, icon, foreground, devicePixelRatioF()));
    };
    if (!m_iconName.isEmpty() && !m_iconTrailing) {
        drawIcon(x);
        x += iconWidth;
    }
    painter.setPen(foreground);
    painter.drawText(QRectF(x, 0, textWidth + 1, height()), Qt::AlignVCenter | Qt::AlignLeft, text());
    if (!m_iconName.isEmpty() && m_iconTrailing)
        drawIcon(x + textWidth + (text().isEmpty() ? 0 : 6));
}
