#pragma once

#include <QStringList>
#include <QTextStream>

// The vexo-server command line: serve, user add, user key, task add, attach, outbox.
class ServerCli final {
public:
    ServerCli(QTextStream& out, QTextStream& err)
        : m_out(out)
        , m_err(err) {}

    // Arguments without the program name. Returns the process exit code; `serve` runs the event
    // loop until SIGINT or SIGTERM.
    int run(const QStringList& arguments);

    static QString defaultDataDir();

private:
    int usage(const QString& problem);

    QTextStream& m_out;
    QTextStream& m_err;
};
