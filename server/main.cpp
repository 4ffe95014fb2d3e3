#include "ServerCli.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vexo-server"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    ServerCli cli(out, err);
    return cli.run(QCoreApplication::arguments().mid(1));
}
