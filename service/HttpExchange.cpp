#include "HttpExchange.h"

#include <QSslSocket>
#include <QTcpSocket>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

constexpr qint64 maxStatusLineBytes = 8 * 1024;
constexpr qint64 maxChunkLineBytes = 4 * 1024;
// Bytes taken from the socket at a time while the head of an answer is parsed; the body goes straight
// into its own buffer.
constexpr qint64 readPiece = 64 * 1024;

bool hasToken(const QByteArray& value, const QByteArray& token) {
    const QList<QByteArray> parts = value.split(',');
    for (const QByteArray& part : parts) {
        if (part.trimmed().compare(token, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

// Decimal digits only, without overflow; -1 when the text is not such a number.
qint64 parseLength(const QByteArray& text) {
    if (text.isEmpty() || text.size() > 18)
        return -1;
    qint64 value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

// A chunk-size line: hex digits, then optional extensions after ';'. -1 when malformed or absurd.
qint64 parseChunkSize(const QByteArray& line) {
    const qsizetype end = line.indexOf(';');
    const QByteArray digits = (end < 0 ? line : line.left(end)).trimmed();
    if (digits.isEmpty() || digits.size() > 15)
        return -1;
    qint64 value = 0;
    for (char c : digits) {
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return -1;
        value = value * 16 + digit;
    }
    return value;
}

} // namespace

QByteArray HttpResponse::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

HttpExchange::HttpExchange(QAbstractSocket& socket, QString host, quint16 port, bool encrypted, QByteArray request,
                           qint64 maxBodyBytes, QObject* parent)
    : QObject(parent)
    , m_socket(socket)
    , m_host(std::move(host))
    , m_port(port)
    , m_encrypted(encrypted)
    , m_request(std::move(request))
    , m_maxBodyBytes(maxBodyBytes) {}

void HttpExchange::start() {
    connect(&m_socket, &QAbstractSocket::readyRead, this, &HttpExchange::readAvailable);
    connect(&m_socket, &QAbstractSocket::errorOccurred, this,
            [this](QAbstractSocket::SocketError error) { connectionEnded(TransportError::codeOf(error)); });
    connect(&m_socket, &QAbstractSocket::disconnected, this,
            [this] { connectionEnded(QNetworkReply::RemoteHostClosedError); });
    if (m_socket.state() == QAbstractSocket::ConnectedState) {
        send();
        return;
    }
    if (auto* tls = qobject_cast<QSslSocket*>(&m_socket); tls && m_encrypted) {
        connect(tls, &QSslSocket::encrypted, this, &HttpExchange::send);
        tls->connectToHostEncrypted(m_host, m_port);
    } else {
        connect(&m_socket, &QAbstractSocket::connected, this, &HttpExchange::send);
        m_socket.connectToHost(m_host, m_port);
    }
}

void HttpExchange::abort(QNetworkReply::NetworkError code) {
    if (!isFinished())
        fail(TransportError(code));
}

void HttpExchange::send() {
    if (m_stage != Stage::connecting)
        return;
    m_stage = Stage::statusLine;
    m_socket.write(m_request);
    m_request = QByteArray();
    readAvailable();
}

void HttpExchange::readAvailable() {
    while (!isFinished() && m_stage != Stage::connecting) {
        const bool progressed = !m_in.isEmpty() && parseBuffered();
        if (isFinished())
            return;
        if (progressed)
            continue;
        const qint64 available = m_socket.bytesAvailable();
        if (available <= 0)
            return;
        m_answeredNothing = false;
        if (m_in.isEmpty() && (m_stage == Stage::body || m_stage == Stage::chunkData)) {
            // The bulk of an answer: straight from the socket into the body.
            qint64 most = available;
            if (m_framing != Framing::untilClose)
                most = qMin(most, m_remaining);
            if (!takeBody(most))
                return;
            continue;
        }
        m_in += m_socket.read(qMin(available, readPiece));
    }
}

bool HttpExchange::takeBody(qint64 most) {
    QByteArray& body = m_response.body;
    if (m_framing == Framing::untilClose && body.size() + most > m_maxBodyBytes) {
        fail(TransportError::answerTooLarge());
        return false;
    }
    // Grows by doubling, but never past what the limit lets in.
    const qsizetype needed = body.size() + qsizetype(most) + bodyPadding;
    if (body.capacity() < needed)
        body.reserve(qMax(needed, qMin(body.capacity() * 2, qsizetype(m_maxBodyBytes) + bodyPadding)));
    const qsizetype before = body.size();
    body.resize(before + qsizetype(most));
    qint64 got = 0;
    if (m_in.isEmpty()) {
        got = qMax<qint64>(0, m_socket.read(body.data() + before, most));
    } else {
        got = most;
        std::memcpy(body.data() + before, m_in.constData(), size_t(most));
        m_in.remove(0, qsizetype(most));
    }
    body.resize(before + qsizetype(got));
    if (m_framing == Framing::untilClose)
        return true;
    m_remaining -= got;
    if (m_remaining == 0) {
        if (m_framing == Framing::length)
            complete();
        else
            m_stage = Stage::chunkEnd;
    }
    return true;
}

std::optional<QByteArray> HttpExchange::takeLine(qint64 limit, bool countsAsHeader) {
    const qsizetype end = m_in.indexOf('\n');
    const qint64 length = end < 0 ? m_in.size() : end + 1;
    if (countsAsHeader ? m_headerBytes + length > maxHeaderBytes : length > limit) {
        if (countsAsHeader)
            fail(TransportError::answerTooLarge());
        else
            fail(TransportError(QNetworkReply::ProtocolFailure));
        return std::nullopt;
    }
    if (end < 0)
        return std::nullopt;
    if (countsAsHeader)
        m_headerBytes += length;
    QByteArray line = m_in.left(end);
    m_in.remove(0, end + 1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

bool HttpExchange::parseBuffered() {
    bool progressed = false;
    while (!isFinished()) {
        switch (m_stage) {
        case Stage::connecting:
        case Stage::finished:
            return progressed;
        case Stage::statusLine: {
            const auto line = takeLine(maxStatusLineBytes, false);
            if (!line)
                return progressed;
            progressed = true;
            // Blank lines before a status line are tolerated.
            if (!line->isEmpty() && parseStatusLine(*line)) {
                m_stage = Stage::headers;
                m_headerBytes = 0;
            }
            break;
        }
        case Stage::headers: {
            const auto line = takeLine(maxHeaderBytes, true);
            if (!line)
                return progressed;
            progressed = true;
            if (line->isEmpty()) {
                headersComplete();
                break;
            }
            if (m_response.headers.size() >= maxHeaderFields) {
                fail(TransportError::answerTooLarge());
                break;
            }
            const qsizetype colon = line->indexOf(':');
            if (colon > 0)
                m_response.headers.append({line->left(colon).trimmed(), line->mid(colon + 1).trimmed()});
            break;
        }
        case Stage::body:
        case Stage::chunkData: {
            if (m_in.isEmpty())
                return progressed;
            progressed = true;
            qint64 most = m_in.size();
            if (m_framing != Framing::untilClose)
                most = qMin(most, m_remaining);
            takeBody(most);
            break;
        }
        case Stage::chunkSize: {
            const auto line = takeLine(maxChunkLineBytes, false);
            if (!line)
                return progressed;
            progressed = true;
            const qint64 size = parseChunkSize(*line);
            if (size < 0) {
                fail(TransportError(QNetworkReply::ProtocolFailure));
            } else if (size == 0) {
                m_stage = Stage::trailers;
                m_headerBytes = 0;
            } else if (m_response.body.size() + size > m_maxBodyBytes) {
                fail(TransportError::answerTooLarge());
            } else {
                m_remaining = size;
                m_stage = Stage::chunkData;
            }
            break;
        }
        case Stage::chunkEnd: {
            const auto line = takeLine(maxChunkLineBytes, false);
            if (!line)
                return progressed;
            progressed = true;
            if (line->isEmpty())
                m_stage = Stage::chunkSize;
            else
                fail(TransportError(QNetworkReply::ProtocolFailure));
            break;
        }
        case Stage::trailers: {
            const auto line = takeLine(maxHeaderBytes, true);
            if (!line)
                return progressed;
            progressed = true;
            if (line->isEmpty())
                complete();
            break;
        }
        }
    }
    return true;
}

bool HttpExchange::parseStatusLine(const QByteArray& line) {
    // HTTP/1.x SSS[ reason]
    const bool wellFormed = line.size() >= 12 && line.startsWith("HTTP/1.") && line[7] >= '0' && line[7] <= '9' &&
                            line[8] == ' ' && std::isdigit(uchar(line[9])) && std::isdigit(uchar(line[10])) &&
                            std::isdigit(uchar(line[11])) && (line.size() == 12 || line[12] == ' ');
    if (!wellFormed) {
        fail(TransportError(QNetworkReply::ProtocolFailure));
        return false;
    }
    // HTTP/1.0 closes after every answer unless asked otherwise; this client never asks.
    m_keepAlive = line[7] != '0';
    m_response.statusCode = (line[9] - '0') * 100 + (line[10] - '0') * 10 + (line[11] - '0');
    return true;
}

bool HttpExchange::headersComplete() {
    const int status = m_response.statusCode;
    if (status >= 100 && status < 200) {
        // An interim answer: the real one follows. A switch of protocols is nothing this client asked for.
        if (status == 101) {
            fail(TransportError(QNetworkReply::ProtocolFailure));
            return false;
        }
        m_response.headers.clear();
        m_stage = Stage::statusLine;
        return true;
    }
    QList<QByteArray> lengths;
    QByteArray transferEncoding;
    for (const auto& [name, value] : std::as_const(m_response.headers)) {
        if (name.compare("connection", Qt::CaseInsensitive) == 0 && hasToken(value, "close"))
            m_keepAlive = false;
        else if (name.compare("content-length", Qt::CaseInsensitive) == 0)
            lengths.append(value);
        else if (name.compare("transfer-encoding", Qt::CaseInsensitive) == 0)
            transferEncoding += (transferEncoding.isEmpty() ? "" : ",") + value;
    }
    if (status == 204 || status == 304) {
        m_framing = Framing::none;
        complete();
        return true;
    }
    if (!transferEncoding.isEmpty()) {
        // Only chunked framing is understood; any other coding could not be read correctly.
        const QList<QByteArray> codings = transferEncoding.split(',');
        if (codings.size() != 1 || codings.first().trimmed().compare("chunked", Qt::CaseInsensitive) != 0) {
            fail(TransportError(QNetworkReply::ProtocolFailure));
            return false;
        }
        m_framing = Framing::chunked;
        m_stage = Stage::chunkSize;
        return true;
    }
    if (!lengths.isEmpty()) {
        const qint64 length = parseLength(lengths.first());
        if (length < 0 || std::any_of(lengths.cbegin(), lengths.cend(),
                                      [length](const QByteArray& other) { return parseLength(other) != length; })) {
            fail(TransportError(QNetworkReply::ProtocolFailure));
            return false;
        }
        if (length > m_maxBodyBytes) {
            fail(TransportError::answerTooLarge());
            return false;
        }
        m_framing = Framing::length;
        m_remaining = length;
        m_response.body.reserve(qsizetype(length) + bodyPadding);
        if (length == 0)
            complete();
        else
            m_stage = Stage::body;
        return true;
    }
    m_framing = Framing::untilClose;
    m_keepAlive = false;
    m_stage = Stage::body;
    return true;
}

void HttpExchange::connectionEnded(QNetworkReply::NetworkError code) {
    if (isFinished())
        return;
    // Whatever arrived before the end still counts.
    readAvailable();
    if (isFinished())
        return;
    if (code == QNetworkReply::RemoteHostClosedError && m_stage == Stage::body && m_framing == Framing::untilClose)
        complete();
    else
        fail(TransportError(code));
}

void HttpExchange::complete() {
    QByteArray& body = m_response.body;
    if (body.capacity() < body.size() + bodyPadding)
        body.reserve(body.size() + bodyPadding);
    m_reusable = m_keepAlive && m_framing != Framing::untilClose && m_in.isEmpty() &&
                 m_socket.state() == QAbstractSocket::ConnectedState && m_socket.bytesAvailable() == 0;
    finish();
}

void HttpExchange::fail(const TransportError& error) {
    m_failure = error;
    m_reusable = false;
    finish();
}

void HttpExchange::finish() {
    m_stage = Stage::finished;
    m_in = QByteArray();
    m_socket.disconnect(this);
    Q_EMIT finished();
}
