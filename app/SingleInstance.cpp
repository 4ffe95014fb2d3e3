#include "SingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QLockFile>
#include <QPointer>

#include <unistd.h>

using namespace Qt::StringLiterals;

const QByteArray SingleInstance::activate = QByteArrayLiteral("activate");
const QByteArray SingleInstance::newTask = QByteArrayLiteral("new-task");

namespace {

const QByteArray taken = QByteArrayLiteral("ok\n");
constexpr qint64 longestMessage = 256;

} // namespace

SingleInstance::SingleInstance(QString socketPath, QObject* parent)
    : QObject(parent)
    , m_path(std::move(socketPath)) {
    // Only this user may talk to the socket, wherever it lives.
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::accept);
}

QString SingleInstance::defaultSocketPath() {
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QFileInfo(runtime).isDir())
        return QDir(runtime).filePath(u"vexo-tasks.socket"_s);
    return QDir(QDir::tempPath()).filePath(u"vexo-tasks-%1.socket"_s.arg(::getuid()));
}

SingleInstance::Outcome SingleInstance::claim(const QByteArray& message, int timeoutMs) {
    // Two starts at the same moment take turns here, so exactly one of them ends up listening.
    // QLockFile sees through a lock whose holder has died.
    QLockFile lock(m_path + u".lock"_s);
    if (!lock.tryLock(timeoutMs)) {
        m_error = u"не удалось занять %1.lock"_s.arg(m_path);
        return Outcome::failed;
    }
    {
        QLocalSocket socket;
        socket.connectToServer(m_path);
        if (socket.waitForConnected(timeoutMs))
            return handOver(socket, message, timeoutMs);
    }
    // Nobody answers: whatever is left at the path is a socket of a client that is gone.
    QLocalServer::removeServer(m_path);
    if (!m_server.listen(m_path)) {
        m_error = u"не удалось открыть %1: %2"_s.arg(m_path, m_server.errorString());
        return Outcome::failed;
    }
    return Outcome::primary;
}

SingleInstance::Outcome SingleInstance::handOver(QLocalSocket& socket, const QByteArray& message, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    socket.write(message + '\n');
    QByteArray answer;
    while (!answer.contains('\n') && socket.waitForReadyRead(int(deadline.remainingTime())))
        answer += socket.readAll();
    if (answer != taken) {
        m_error = u"запущенный клиент не отвечает"_s;
        return Outcome::failed;
    }
    socket.disconnectFromServer();
    return Outcome::handedOver;
}

void SingleInstance::accept() {
    while (QLocalSocket* socket = m_server.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                // A line longer than any message is not one of ours.
                if (socket->bytesAvailable() > longestMessage)
                    socket->abort();
                return;
            }
            const QByteArray message = socket->readLine(longestMessage).trimmed();
            socket->write(taken);
            socket->disconnectFromServer();
            Q_EMIT messageReceived(message);
        });
    }
}
