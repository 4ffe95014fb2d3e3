#include "IconView.h"

#include "Icons.h"
#include "Theme.h"

#include <QPainter>

IconView::IconView(const Theme& theme, QString name, int size, Palette::Role role, QWidget* parent)
    : QWidget(parent)
    , m_theme(theme)
    , m_name(std::move(name))
    , m_size(size)
    , m_role(role) {
    setFixedSize(size, size);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void IconView::setIconName(const QString& name) {
    if (name == m_name)
        return;
    m_name = name;
    update();
}

void IconView::setRole(Palette::Role role) {
    m_role = role;
    m_color.reset();
    update();
}

void IconView::setColor(const QColor& color) {
    m_color = color;
    update();
}

QColor IconView::color() const {
    return m_color.value_or(m_theme.palette().color(m_role));
}

void IconView::paintEvent(QPaintEvent*) {
    if (m_name.isEmpty())
        return;
    QPainter painter(this);
    painter.drawPixmap(QPointF((width() - m_size) / 2.0, (height() - m_size) / 2.0),
                       Icons::pixmap(m_name, m_size, color(), devicePixelRatioF()));
}
