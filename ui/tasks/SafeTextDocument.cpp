#include "SafeTextDocument.h"

#include <QImage>

QVariant SafeTextDocument::loadResource(int type, const QUrl&) {
    if (type != ImageResource)
        return QVariant();
    // Not an empty answer, nor an empty image: for either the document goes and reads the name as
    // a local file path itself. A blank pixel is drawn and nothing is read.
    QImage blank(1, 1, QImage::Format_ARGB32);
    blank.fill(Qt::transparent);
    return blank;
}
