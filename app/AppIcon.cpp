#include "AppIcon.h"

#include <QHash>
#include <QIconEngine>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

using namespace Qt::StringLiterals;

namespace AppIcon {

QString svgPath() {
    return u":/linux/org.vexo.Tasks.svg"_s;
}

QImage render(const QString& svgFile, int size) {
    QSvgRenderer renderer(svgFile);
    if (!renderer.isValid() || size <= 0)
        return QImage();
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0, 0, size, size));
    painter.end();
    return image;
}

namespace {

constexpr int sizes[] = {16, 22, 24, 32, 48, 64, 128, 256};

// Draws a size when it is first asked for: a start that shows its window before any window manager
// wants the icon does not draw eight of them first.
class LazyIconEngine final : public QIconEngine {
public:
    QPixmap pixmap(const QSize& size, QIcon::Mode, QIcon::State) override {
        const int side = qMax(1, qMin(size.width(), size.height()));
        QPixmap& drawn = m_drawn[side];
        if (drawn.isNull())
            drawn = QPixmap::fromImage(render(svgPath(), side));
        return drawn;
    }
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        painter->drawPixmap(rect, pixmap(rect.size(), mode, state));
    }
    QSize actualSize(const QSize& size, QIcon::Mode, QIcon::State) override { return size; }
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
        QList<QSize> list;
        for (const int side : sizes)
            list << QSize(side, side);
        return list;
    }
    QIconEngine* clone() const override { return new LazyIconEngine(*this); }

private:
    QHash<int, QPixmap> m_drawn;
};

} // namespace

QIcon icon() {
    return QIcon(new LazyIconEngine);
}

} // namespace AppIcon
