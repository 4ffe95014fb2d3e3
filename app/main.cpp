#include "APIService.h"
#include "ContentView.h"
#include "Vexo_TasksApp.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("vexo"));
    QApplication::setApplicationName(QStringLiteral("vexo-tasks"));
    QApplication::setApplicationDisplayName(QStringLiteral("Vexo Tasks"));

    // The interface is Russian; Qt's own texts (network errors, text field menus) follow.
    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
    QTranslator qtTranslations;
    if (qtTranslations.load(QLocale(QLocale::Russian, QLocale::Russia), QStringLiteral("qtbase"), QStringLiteral("_"),
                            QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&qtTranslations);

    Vexo_TasksApp vexo(APIService::configuredBase());
    vexo.window().show();
    return QApplication::exec();
}
