#include "AppIcon.h"

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

QIcon icon() {
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64, 128, 256})
        icon.addPixmap(QPixmap::fromImage(render(svgPath(), size)));
    return icon;
}

} // namespace AppIcon
