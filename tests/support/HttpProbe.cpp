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
    QObject::connect(m_socket.get(), &QTcpSocket::readyRead, m_socket.get(), [this] { read(); });
    QObject::connect(m_socket.get(), &QTcpSocket::disconnected, m_socket.get(), [this] { m_closed = true; });
    QObject::connect(m_socket.get(), &QTcpSocket::errorOccurred, m_socket.get(), [this] {
        m_received += m_socket->readAll();
        m_closed = true;
    });
    m_socket->connectToHost(QHostAddress::LocalHost, port);
    waitFor([this] { return m_socket->state() == QAbstractSocket::ConnectedState || m_closed; }, 10'000);
}

void RawConnection::read() {
    if (!m_paused)
        m_received += m_socket->readAll();
}

void RawConnection::pauseReading() {
    m_paused = true;
    m_socket->setReadBufferSize(1);
    m_socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 1);
}

void RawConnection::resumeReading() {
    m_paused = false;
    m_socket->setReadBufferSize(0);
    read();
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

int WebSocketFrame::closeCode() const {
    if (opcode != 8 || payload.size() < 2)
        return -1;
    return (static_cast<unsigned char>(payload[0]) << 8) | static_cast<unsigned char>(payload[1]);
}

QString WebSocketFrame::closeReason() const {
    return QString::fromUtf8(payload.mid(2));
}

std::optional<WebSocketFrame> takeWebSocketFrame(QByteArray& bytes) {
    if (bytes.size() < 2)
        return std::nullopt;
    const auto byte = [&](qsizetype i) { return quint64(static_cast<unsigned char>(bytes[i])); };
    quint64 length = byte(1) & 0x7F;
    qsizetype header = 2;
    if (length == 126) {
        if (bytes.size() < 4)
            return std::nullopt;
        length = (byte(2) << 8) | byte(3);
        header = 4;
    } else if (length == 127) {
        if (bytes.size() < 10)
            return std::nullopt;
        length = 0;
        for (int i = 0; i < 8; ++i)
            length = (length << 8) | byte(2 + i);
        header = 10;
    }
    if (quint64(bytes.size() - header) < length)
        return std::nullopt;
    WebSocketFrame frame{int(byte(0) & 0x0F), bytes.mid(header, qsizetype(length))};
    bytes.remove(0, header + qsizetype(length));
    return frame;
}

QByteArray clientWebSocketFrame(int opcode, const QByteArray& payload) {
    Q_ASSERT(payload.size() < 126);
    const char mask[4] = {0x12, 0x34, 0x56, 0x78};
    QByteArray frame;
    frame += char(0x80 | opcode);
    frame += char(0x80 | payload.size());
    frame.append(mask, 4);
    for (qsizetype i = 0; i < payload.size(); ++i)
        frame += char(payload[i] ^ mask[i % 4]);
    return frame;
}

QByteArray eventsHandshake(const QByteArray& authorization, const QByteArray& extraFields) {
    QByteArray head = "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n";
    if (!authorization.isEmpty())
        head += "Authorization: " + authorization + "\r\n";
    return head + extraFields + "\r\n";
}
