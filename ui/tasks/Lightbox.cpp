#include "Lightbox.h"

#include "Fonts.h"
#include "Icons.h"
#include "Style.h"
#include "Theme.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace {

constexpr int margin = 56; // around the picture: room for the close control and the caption
constexpr int captionHeight = 20;

} // namespace

Lightbox::Lightbox(const Theme& theme, QList<Picture> pictures, int index, QWidget* window)
    : Sheet(window)
    , m_theme(theme)
    , m_pictures(std::move(pictures))
    , m_index(qBound(0, index, int(qMax<qsizetype>(1, m_pictures.size())) - 1)) {
    setWindowFlag(Qt::FramelessWindowHint);
    setWindowModality(Qt::WindowModal);
    setAccessibleName(u"Вложение"_s);
    m_close = new QPushButton(this);
    m_close->setAccessibleName(u"Закрыть"_s);
    m_close->setToolTip(u"Закрыть"_s);
    m_close->setFixedSize(36, 36);
    m_close->setCursor(Qt::PointingHandCursor);
    m_close->setIcon(Icons::icon(u"xmark"_s, theme, Palette::Role::textPrimary));
    m_close->setIconSize(QSize(18, 18));
    m_close->setFocusPolicy(Qt::NoFocus);
    Style::setRole(m_close, u"iconButton"_s);
    connect(m_close, &QPushButton::clicked, this, &QDialog::reject);
    if (window)
        setGeometry(QRect(window->window()->mapToGlobal(QPoint()), window->window()->size()));
    else
        resize(900, 640);
    step(0);
}

void Lightbox::step(int delta) {
    if (m_pictures.isEmpty())
        return;
    m_index = qBound(0, m_index + delta, int(m_pictures.size()) - 1);
    setWindowTitle(caption());
    update();
}

void Lightbox::setImage(int index, const QPixmap& image) {
    if (index < 0 || index >= m_pictures.size())
        return;
    m_pictures[index].image = image;
    if (index == m_index)
        update();
}

QString Lightbox::caption() const {
    if (m_pictures.isEmpty())
        return {};
    return u"%1 — %2 / %3"_s.arg(m_pictures[m_index].filename).arg(m_index + 1).arg(m_pictures.size());
}

QRectF Lightbox::imageRect() const {
    const QRectF frame = QRectF(rect()).adjusted(margin, margin, -margin, -margin - captionHeight);
    if (m_pictures.isEmpty() || m_pictures[m_index].image.isNull())
        return QRectF(frame.center() - QPointF(48, 48), QSizeF(96, 96));
    const QPixmap& image = m_pictures[m_index].image;
    const QSizeF size = QSizeF(image.size() / image.devicePixelRatio()).scaled(frame.size(), Qt::KeepAspectRatio);
    // Small pictures are not blown up past their own size.
    const QSizeF shown = size.width() > image.width() ? QSizeF(image.size()) : size;
    return QRectF(frame.center() - QPointF(shown.width() / 2, shown.height() / 2), shown);
}

void Lightbox::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Right || event->key() == Qt::Key_Down)
        step(1);
    else if (event->key() == Qt::Key_Left || event->key() == Qt::Key_Up)
        step(-1);
    else
        Sheet::keyPressEvent(event);
}

void Lightbox::mousePressEvent(QMouseEvent* event) {
    if (!imageRect().contains(event->position()))
        reject();
    else
        Sheet::mousePressEvent(event);
}

void Lightbox::resizeEvent(QResizeEvent* event) {
    Sheet::resizeEvent(event);
    m_close->move(width() - m_close->width() - 14, 14);
}

void Lightbox::paintEvent(QPaintEvent*) {
    const Palette& p = m_theme.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.fillRect(rect(), p.background);
    if (m_pictures.isEmpty())
        return;
    const Picture& picture = m_pictures[m_index];
    const QRectF area = imageRect();
    if (picture.image.isNull()) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(p.raised);
        painter.drawRoundedRect(area, 12, 12);
        painter.drawPixmap(area.center() - QPointF(16, 16),
                           Icons::pixmap(u"photo"_s, 32, p.textTertiary, devicePixelRatioF()));
    } else {
        painter.drawPixmap(area, picture.image, QRectF(picture.image.rect()));
    }
    painter.setFont(uiFont(13));
    painter.setPen(p.textSecondary);
    const QRectF line(margin, height() - margin - captionHeight + 12, width() - 2 * margin, captionHeight);
    painter.drawText(line, Qt::AlignCenter,
                     painter.fontMetrics().elidedText(caption(), Qt::ElideMiddle, int(line.width())));
}
