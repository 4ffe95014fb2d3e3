#include "HttpProbe.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QNetworkReply>
#include <QThread>

QByteArray ProbeReply::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

ProbeReply probe(QNetworkAccessManager& network, const QByteArray& method, const QString& url, const QByteArray& body,
                 const QList<QPair<QByteArray, QByteArray>>& headers) {
    QNetworkRequest request{QUrl(url)};
    for (const auto& [name, value] : headers)
        request.setRawHeader(name, value);
    QNetworkReply* reply = network.sendCustomRequest(request, method, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    ProbeReply result;
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.body = reply->readAll();
    result.headers = reply->rawHeaderPairs();
    reply->deleteLater();
    return result;
}

QByteArray RawAnswer::header(const QByteArray& name) const {
    for (const QByteArray& line : head.split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().compare(name, Qt::CaseInsensitive) == 0)
            return line.mid(colon + 1).trimmed();
    }
    return {};
}

RawConnection::RawConnection(quint16 port)
    : m_socket(std::make_unique<QTcpSocket>()) {
    QObject::connect(m_socket.get(), &QTcpSocket::readyRead, m_socket.get(),
                     [this] { m_received += m_socket->readAll(); });
    QObject::connect(m_socket.get(), &QTcpSocket::disconnected, m_socket.get(), [this] { m_closed = true; });
    QObject::connect(m_socket.get(), &QTcpSocket::errorOccurred, m_socket.get(), [this] {
        m_received += m_socket->readAll();
        m_closed = true;
    });
    m_socket->connectToHost(QHostAddress::LocalHost, port);
    waitFor([this] { return m_socket->state() == QAbstractSocket::ConnectedState || m_closed; }, 10'000);
}

bool RawConnection::isConnected() const {
    return m_socket->state() == QAbstractSocket::ConnectedState && !m_closed;
}

void RawConnection::send(const QByteArray& bytes) {
    m_socket->write(bytes);
}

bool RawConnection::waitFor(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < timeoutMs) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (!done())
            QThread::msleep(1);
    }
    return done();
}

bool RawConnection::waitForClose(int timeoutMs) {
    return waitFor([this] { return m_closed; }, timeoutMs);
}

std::optional<RawAnswer> RawConnection::takeAnswer() {
    const qsizetype end = m_received.indexOf("\r\n\r\n");
    if (end < 0)
        return std::nullopt;
    RawAnswer answer;
    answer.head = m_received.left(end);
    answer.status = answer.head.mid(9, 3).toInt();
    const qsizetype length = answer.header("content-length").toLongLong();
    if (m_received.size() < end + 4 + length)
        return std::nullopt;
    answer.body = m_received.mid(end + 4, length);
    m_received.remove(0, end + 4 + length);
    return answer;
}

std::optional<RawAnswer> RawConnection::nextAnswer(int timeoutMs) {
    std::optional<RawAnswer> answer;
    waitFor(
        [&] {
            if (!answer)
                answer = takeAnswer();
            return answer.has_value() || m_closed;
        },
        timeoutMs);
    if (!answer)
        answer = takeAnswer();
    return answer;
}
