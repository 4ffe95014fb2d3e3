#pragma once

#include <QByteArray>
#include <QLocalServer>
#include <QObject>

class QLocalSocket;

// One client per user. The first start listens on a local socket of the user's own; a later start
// connects to it, hands over what it was asked to do (show the window, open a new task) and leaves.
// A socket left behind by a client that crashed does not stand in the way of the next start.
class SingleInstance final : public QObject {
    Q_OBJECT

public:
    enum class Outcome { primary, handedOver, failed };

    // What a later start asks of the running one.
    static const QByteArray activate;
    static const QByteArray newTask;

    // `socketPath`: where the socket lives; defaultSocketPath() for the application.
    explicit SingleInstance(QString socketPath, QObject* parent = nullptr);

    // $XDG_RUNTIME_DIR/vexo-tasks.socket, or a name with the user's id in the temporary folder.
    static QString defaultSocketPath();

    // Either becomes the running instance (and listens from then on), or hands `message` to the one
    // already running and waits until it has taken it.
    Outcome claim(const QByteArray& message, int timeoutMs = 5000);
    QString errorString() const { return m_error; }
    QString socketPath() const { return m_path; }

Q_SIGNALS:
    void messageReceived(const QByteArray& message);

private:
    Outcome handOver(QLocalSocket& socket, const QByteArray& message, int timeoutMs);
    void accept();

    QString m_path;
    QLocalServer m_server;
    QString m_error;
};
