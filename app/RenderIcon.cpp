// Build-time tool: draws the application's SVG icon as a PNG of one size, with the same drawing the
// program uses for its window icon.
#include "AppIcon.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QTextStream err(stderr);
    bool ok = false;
    const int size = arguments.size() == 4 ? arguments[3].toInt(&ok) : 0;
    if (!ok || size <= 0) {
        err << "usage: vexo-render-icon ICON.svg OUT.png SIZE\n";
        return 2;
    }
    const QImage image = AppIcon::render(arguments[1], size);
    if (image.isNull() || !image.save(arguments[2], "PNG")) {
        err << "vexo-render-icon: cannot draw " << arguments[1] << " into " << arguments[2] << "\n";
        return 1;
    }
    return 0;
}
