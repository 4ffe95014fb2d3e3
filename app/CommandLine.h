#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// What vexo-tasks was asked to do on its command line. Parsed before anything of the GUI starts, so
// --help, --version and a wrong option work without a display.
struct CommandLine {
    enum class Action { run, help, version, refuse };
    // The exit status of a refused command line.
    static constexpr int usageError = 2;

    Action action = Action::run;
    std::optional<QString> baseUrl; // --base-url, normalised (no trailing slash)
    std::optional<QString> loginKeyFile;
    bool newTask = false;
    // The program's name followed by Qt's own options (-platform, -style, …), for QApplication.
    QStringList qtArguments;
    // The refusal's message, for Action::refuse.
    QString error;

    // `arguments` as main() gets them, the program's name first.
    static CommandLine parse(const QStringList& arguments);
    static QString helpText(const QString& defaultBase);
    static QString versionText();
};
