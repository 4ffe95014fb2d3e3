#include "APIService.h"
#include "AppIcon.h"
#include "AppLog.h"
#include "CommandLine.h"
#include "SingleInstance.h"
#include "Vexo_TasksApp.h"

#include <QApplication>
#include <QFile>
#include <QLibraryInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QTranslator>

#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

void print(FILE* stream, const QString& text) {
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

// The key make run hands over: the file's first line, at most a few kilobytes read.
std::optional<QString> readKeyFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        print(stderr, u"vexo-tasks: не удалось прочитать %1: %2\n"_s.arg(path, file.errorString()));
        return std::nullopt;
    }
    const QString key = QString::fromUtf8(file.read(4096)).section(u'\n', 0, 0).trimmed();
    return key.isEmpty() ? std::nullopt : std::optional<QString>(key);
}

} // namespace

int main(int argc, char** argv) {
    // The command line is read before anything of the GUI exists: --help and --version need no display.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const CommandLine command = CommandLine::parse(arguments);
    switch (command.action) {
    case CommandLine::Action::help:
        print(stdout, CommandLine::helpText(QStringLiteral(VEXO_DEFAULT_BASE_URL)));
        return 0;
    case CommandLine::Action::version:
        print(stdout, CommandLine::versionText());
        return 0;
    case CommandLine::Action::refuse:
        print(stderr, command.error);
        return CommandLine::usageError;
    case CommandLine::Action::run:
        break;
    }

#if defined(Q_OS_UNIX) && !defined(Q_OS_MACOS)
    // Without a display Qt would abort with its own words; say it plainly instead.
    const bool platformChosen = !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") ||
                                command.qtArguments.filter(QRegularExpression(u"^-platform(=|$)"_s)).size() > 0;
    if (!platformChosen && qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        print(stderr, u"vexo-tasks: нет дисплея, на котором открыть окно (не заданы DISPLAY и WAYLAND_DISPLAY).\n"
                      u"Без рабочего стола клиент можно запустить на виртуальном: xvfb-run -a vexo-tasks\n"_s);
        return 1;
    }
#endif

    // Qt gets its own options only; they must outlive the application object.
    std::vector<QByteArray> qtArgumentBytes;
    for (const QString& argument : command.qtArguments)
        qtArgumentBytes.push_back(argument.toLocal8Bit());
    std::vector<char*> qtArgv;
    for (QByteArray& bytes : qtArgumentBytes)
        qtArgv.push_back(bytes.data());
    qtArgv.push_back(nullptr);
    int qtArgc = int(qtArgumentBytes.size());

    QApplication app(qtArgc, qtArgv.data());
    QApplication::setOrganizationName(u"vexo"_s);
    QApplication::setApplicationName(u"vexo-tasks"_s);
    QApplication::setApplicationDisplayName(u"Vexo Tasks"_s);
    QApplication::setApplicationVersion(QStringLiteral(VEXO_VERSION));
    QGuiApplication::setDesktopFileName(QString::fromLatin1(AppIcon::name));
    QApplication::setWindowIcon(AppIcon::icon());

    SingleInstance instance(SingleInstance::defaultSocketPath());
    switch (instance.claim(command.newTask ? SingleInstance::newTask : SingleInstance::activate)) {
    case SingleInstance::Outcome::handedOver:
        return 0;
    case SingleInstance::Outcome::failed:
        print(stderr, u"vexo-tasks: "_s + instance.errorString() + u'\n');
        return 1;
    case SingleInstance::Outcome::primary:
        qCInfo(lcApp) << "listening for later starts at" << instance.socketPath();
        break;
    }

    // The interface is Russian; Qt's own texts (network errors, text field menus) follow.
    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
    QTranslator qtTranslations;
    if (qtTranslations.load(QLocale(QLocale::Russian, QLocale::Russia), u"qtbase"_s, u"_"_s,
                            QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&qtTranslations);

    Vexo_TasksApp::Options options;
    if (command.loginKeyFile)
        options.offeredKey = readKeyFile(*command.loginKeyFile);
    Vexo_TasksApp vexo(command.baseUrl.value_or(APIService::configuredBase()), options);
    QObject::connect(&instance, &SingleInstance::messageReceived, &vexo, &Vexo_TasksApp::handleMessage);
    vexo.show(command.newTask);
    return QApplication::exec();
}
