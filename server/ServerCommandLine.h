#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

// The vexo-server command line, read strictly: each command takes its own options, and anything
// unknown, misspelt, repeated, missing its value or left over is refused with a message naming
// it (exit code 2), so that a mistyped --data never runs on the wrong storage.
class ServerCommandLine final {
public:
    enum class Action { run, help, version, refuse };

    struct Parsed {
        Action action = Action::refuse;
        QString command;                 // "serve", "user add", …; empty for the whole program
        QHash<QString, QString> options; // "--data" → value; switches map to "1"
        QString problem;                 // what was refused

        bool has(const QString& option) const { return options.contains(option); }
        std::optional<QString> value(const QString& option) const;
    };

    // Arguments without the program name.
    static Parsed parse(const QStringList& arguments);
    // The help of one command, or of the whole program for an empty or unknown command.
    static QString help(const QString& command);
    static QStringList commands();
};
