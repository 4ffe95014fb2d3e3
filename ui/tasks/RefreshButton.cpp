#include "RefreshButton.h"

#include "Icons.h"
#include "LiveRefresh.h"
#include "Style.h"
#include "Theme.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr int side = 34; // as tall as the buttons beside it
constexpr int iconSide = 16;
constexpr int stepDegrees = 15; // a turn in 24 frames

} // namespace

RefreshButton::RefreshButton(LiveRefresh& live, const Theme& theme, QWidget* parent)
    : QPushButton(parent)
    , m_live(live)
    , m_theme(theme) {
    setFixedSize(side, side);
    setCursor(Qt::PointingHandCursor);
    setToolTip(u"Обновить (F5)"_s);
    setAccessibleName(u"Обновить"_s);
    Style::setRole(this, u"iconButton"_s);
    m_spin.setInterval(40);
    connect(&m_spin, &QTimer::timeout, this, &RefreshButton::step);
    connect(this, &QPushButton::clicked, &m_live, &LiveRefresh::refreshNow);
    connect(&m_live, &LiveRefresh::refreshingChanged, this, &RefreshButton::follow);
    connect(&theme, &Theme::changed, this, qOverload<>(&QWidget::update));
    follow();
}

QString RefreshButton::iconName() {
    return u"arrow.clockwise"_s;
}

void RefreshButton::follow() {
    // A turn once begun is finished (step() stops at the top), so a quick refresh still shows.
    if (m_live.isRefreshing() && !m_spin.isActive())
        m_spin.start();
}

void RefreshButton::step() {
    m_angle = (m_angle + stepDegrees) % 360;
    if (m_angle == 0 && !m_live.isRefreshing())
        m_spin.stop();
    update();
}

void RefreshButton::paintEvent(QPaintEvent* event) {
    // The style sheet's ground (hover and all), then the icon at its angle.
    QPushButton::paintEvent(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.translate(QRectF(rect()).center());
    painter.rotate(m_angle);
    const QColor tint =
        m_theme.palette().color(underMouse() ? Palette::Role::textPrimary : Palette::Role::textSecondary);
    Icons::paint(painter, QRectF(-iconSide / 2.0, -iconSide / 2.0, iconSide, iconSide), iconName(), tint);
}
