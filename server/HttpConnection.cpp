#include "HttpConnection.h"

#include "HttpBatch.h"
#include "ServerLog.h"

#include <QTcpSocket>

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace {

// Answers larger than this wait to be taken by the client before its next request is read.
constexpr qint64 writeHighWater = 256 * 1024;
// A chunk-size line: up to 16 hexadecimal digits and any extensions.
constexpr qsizetype maxChunkLine = 1024;

} // namespace

HttpConnection::HttpConnection(QTcpSocket* socket, HttpHandler& handler, HttpBatch& batch, const HttpLimits& limits,
                               QObject* parent)
    : QObject(parent)
    , m_socket(socket)
    , m_handler(handler)
    , m_batch(batch)
    , m_limits(limits)
    , m_peer(socket->peerAddress()) {
    m_socket->setParent(this);
    // Qt's own buffer stays small: what a client sends beyond it waits in the kernel, and a whole
    // request head still fits for peeking.
    m_socket->setReadBufferSize(qMax<qint64>(64 * 1024, m_limits.maxHeaderBytes + 4));
    // Each answer is written at once; without this a second write would wait for the delayed ACK.
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_clock.start();
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &HttpConnection::onTimeout);
    connectSocket();
    m_timer.start(m_limits.idleTimeoutMs);
    if (m_socket->bytesAvailable() > 0)
        QTimer::singleShot(0, this, &HttpConnection::process);
}

HttpConnection::~HttpConnection() = default;

void HttpConnection::connectSocket() {
    connect(m_socket, &QTcpSocket::readyRead, this, &HttpConnection::process);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &HttpConnection::onBytesWritten);
    connect(m_socket, &QTcpSocket::disconnected, this, &HttpConnection::finish);
}

void HttpConnection::process() {
    for (;;) {
        switch (m_state) {
        case State::idle:
        case State::head:
            if (!readHead())
                return;
            break;
        case State::body:
            if (!(m_framing.chunked ? readChunks() : readBody()))
                return;
            break;
        case State::lingering:
            m_socket->skip(m_socket->bytesAvailable());
            return;
        case State::syncing:
        case State::writing:
        case State::closing:
        case State::closed:
            return;
        }
    }
}

bool HttpConnection::readHead() {
    if (m_state == State::idle) {
        // Empty lines before a request line are allowed and ignored.
        while (m_socket->peek(2) == "\r\n")
            m_socket->skip(2);
        const QByteArray first = m_socket->peek(2);
        if (first.isEmpty() || first == "\r")
            return false;
        m_state = State::head;
        m_clock.start();
        m_timer.start(m_limits.headerTimeoutMs);
    }
    const qsizetype limit = m_limits.maxHeaderBytes;
    const QByteArray buffered = m_socket->peek(limit + 4);
    const qsizetype end = buffered.indexOf("\r\n\r\n");
    if (end < 0 || end + 4 > limit) {
        if (buffered.contains("\n\n") || buffered.contains("\r\r") || buffered.contains("\n\r\n"))
            refuse(400, u"Некорректный HTTP-запрос: строки должны заканчиваться CRLF"_s);
        else if (buffered.size() > limit && !buffered.contains("\r\n"))
            refuse(414, u"Слишком длинная строка запроса: не больше %1 КБ"_s.arg(limit >> 10));
        else if (buffered.size() > limit || end >= 0)
            refuse(431, u"Слишком большой заголовок запроса: не больше %1 КБ"_s.arg(limit >> 10));
        return false;
    }

    m_request = HttpRequest();
    m_request.peer = m_peer;
    m_framing = HttpFraming();
    const HttpHead::Result head =
        HttpHead::parse(QByteArrayView(buffered).first(end), m_limits.maxHeaderFields, m_request, m_framing);
    if (!head.ok()) {
        m_socket->skip(end + 4);
        refuse(head.status, head.message);
        return false;
    }
    if (m_limits.trustedProxies.contains(m_peer)) {
        // The proxy's own line is the last one, should the client have sent one too.
        QByteArray forwarded;
        for (const auto& [name, value] : std::as_const(m_request.headers)) {
            if (name.compare("x-forwarded-for", Qt::CaseInsensitive) == 0)
                forwarded = value;
        }
        const QHostAddress client(QString::fromLatin1(forwarded.mid(forwarded.lastIndexOf(',') + 1).trimmed()));
        if (!client.isNull())
            m_request.peer = client;
    }
    if (m_framing.upgrade) {
        // Unhooked first: the new owner may make the socket signal at once, and this connection
        // must not read what is no longer its own.
        m_socket->disconnect(this);
        m_socket->setParent(nullptr);
        if (m_handler.upgrade(m_request, m_socket)) {
            // The new owner reads the request itself, from its first byte.
            m_socket = nullptr;
            m_state = State::closed;
            m_timer.stop();
            Q_EMIT finished();
            return false;
        }
        m_socket->setParent(this);
        connectSocket();
    }
    m_socket->skip(end + 4);

    const bool bodyFollows = m_framing.chunked || m_framing.contentLength > 0;
    HttpHandler::Admission admission;
    try {
        admission = m_handler.admit(m_request);
    } catch (const std::exception& error) {
        qCWarning(lcServer) << "admitting a request failed:" << error.what();
        admission.reply = HttpReply::error(500, u"Внутренняя ошибка сервера"_s);
    }
    if (admission.reply) {
        answer(*admission.reply, bodyFollows || !m_framing.keepAlive, bodyFollows);
        return true;
    }
    if (!m_framing.chunked && m_framing.contentLength > admission.bodyLimit) {
        answer(HttpReply::tooLarge(admission.bodyLimit), true, true);
        return true;
    }
    if (!bodyFollows) {
        respond();
        return true;
    }
    m_bodyLimit = admission.bodyLimit;
    if (m_framing.expectContinue)
        m_socket->write("HTTP/1.1 100 Continue\r\n\r\n");
    m_state = State::body;
    m_remaining = m_framing.chunked ? 0 : m_framing.contentLength;
    m_chunkPart = ChunkPart::size;
    m_trailerBytes = 0;
    // Room grows with what arrives: a declared length alone takes no memory beyond the first MB.
    if (!m_framing.chunked)
        m_request.body.reserve(qMin<qint64>(m_framing.contentLength, 1 << 20));
    m_timer.start(m_limits.bodyTimeoutMs);
    return true;
}

bool HttpConnection::readBody() {
    const qint64 count = qMin(m_remaining, m_socket->bytesAvailable());
    if (count <= 0)
        return false;
    m_request.body += m_socket->read(count);
    m_remaining -= count;
    if (m_remaining > 0)
        return false;
    respond();
    return true;
}

std::optional<QByteArray> HttpConnection::takeLine(qsizetype maxLength, int tooLongStatus) {
    const QByteArray buffered = m_socket->peek(maxLength + 2);
    const qsizetype end = buffered.indexOf("\r\n");
    if (end < 0) {
        if (buffered.size() > maxLength) {
            if (tooLongStatus == 431)
                refuse(431, u"Слишком большой заголовок запроса: не больше %1 КБ"_s.arg(maxLength >> 10));
            else
                refuse(400, u"Некорректный HTTP-запрос: строка размера части"_s);
        }
        return std::nullopt;
    }
    m_socket->skip(end + 2);
    return buffered.left(end);
}

bool HttpConnection::readChunks() {
    for (;;) {
        switch (m_chunkPart) {
        case ChunkPart::size: {
            const auto line = takeLine(maxChunkLine, 400);
            if (!line)
                return m_state != State::body;
            const qsizetype extension = line->indexOf(';');
            const QByteArray digits = line->left(extension < 0 ? line->size() : extension).trimmed();
            bool ok = !digits.isEmpty() && digits.size() <= 15;
            for (char c : digits)
                ok = ok && std::isxdigit(static_cast<unsigned char>(c));
            if (!ok || line->contains('\r') || line->contains('\n')) {
                refuse(400, u"Некорректный HTTP-запрос: строка размера части"_s);
                return false;
            }
            const qint64 size = digits.toLongLong(nullptr, 16);
            if (size == 0) {
                m_chunkPart = ChunkPart::trailer;
            } else if (m_request.body.size() + size > m_bodyLimit) {
                answer(HttpReply::tooLarge(m_bodyLimit), true, true);
                return true;
            } else {
                m_remaining = size;
                m_chunkPart = ChunkPart::data;
            }
            break;
        }
        case ChunkPart::data: {
            const qint64 count = qMin(m_remaining, m_socket->bytesAvailable());
            if (count <= 0)
                return false;
            m_request.body += m_socket->read(count);
            m_remaining -= count;
            if (m_remaining > 0)
                return false;
            m_chunkPart = ChunkPart::dataEnd;
            break;
        }
        case ChunkPart::dataEnd: {
            const QByteArray end = m_socket->peek(2);
            if (end.size() < 2)
                return false;
            if (end != "\r\n") {
                refuse(400, u"Некорректный HTTP-запрос: часть тела не заканчивается CRLF"_s);
                return false;
            }
            m_socket->skip(2);
            m_chunkPart = ChunkPart::size;
            break;
        }
        case ChunkPart::trailer: {
            const qsizetype room = m_limits.maxHeaderBytes - m_trailerBytes;
            const auto line = takeLine(qMax<qsizetype>(room, 0), 431);
            if (!line)
                return m_state != State::body;
            if (line->isEmpty()) {
                respond();
                return true;
            }
            // Trailer fields are read and dropped: nothing here depends on them.
            m_trailerBytes += line->size() + 2;
            break;
        }
        }
    }
}

void HttpConnection::respond() {
    m_timer.stop();
    HttpReply reply;
    bool wait = false;
    try {
        reply = m_handler.respond(m_request);
        wait = m_handler.needsSync();
    } catch (const std::exception& error) {
        qCWarning(lcServer) << "answering a request failed:" << error.what();
        reply = HttpReply::error(500, u"Внутренняя ошибка сервера"_s);
    }
    if (!wait) {
        answer(reply, !m_framing.keepAlive, false);
        return;
    }
    m_state = State::syncing;
    m_batch.defer(this, [this, reply = std::move(reply)] {
        if (m_state != State::syncing)
            return; // the client left meanwhile
        answer(reply, !m_framing.keepAlive, false);
        process();
    });
}

void HttpConnection::answer(const HttpReply& reply, bool close, bool linger) {
    const bool withBody =
        m_request.method != "HEAD" && reply.status >= 200 && reply.status != 204 && reply.status != 304;
    QByteArray out;
    out.reserve(reply.body.size() + 256);
    out += "HTTP/1.1 " + QByteArray::number(reply.status) + ' ' + reasonPhrase(reply.status) + "\r\n";
    if (withBody || m_request.method == "HEAD") {
        out += "Content-Type: " + reply.contentType + "\r\n";
        out += "Content-Length: " + QByteArray::number(reply.body.size()) + "\r\n";
    }
    for (const auto& [name, value] : reply.headers)
        out += name + ": " + value + "\r\n";
    if (close)
        out += "Connection: close\r\n";
    else if (m_request.minorVersion == 0)
        out += "Connection: keep-alive\r\n";
    out += "\r\n";
    if (withBody)
        out += reply.body;
    m_socket->write(out);

    // The path alone: queries can carry file names, and headers carry tokens and keys.
    qCInfo(lcAccess).noquote() << (m_request.method.isEmpty() ? QByteArray("-") : m_request.method)
                               << (m_request.target.isEmpty() ? QByteArray("-") : m_request.rawPath()).left(200)
                               << reply.status << m_clock.elapsed() << "ms";
    m_request = HttpRequest();

    if (close) {
        m_state = linger ? State::lingering : State::closing;
        m_timer.start(m_limits.lingerMs);
        if (!linger)
            m_socket->disconnectFromHost();
        else
            onBytesWritten();
        return;
    }
    m_state = m_socket->bytesToWrite() > writeHighWater ? State::writing : State::idle;
    m_timer.start(m_limits.idleTimeoutMs);
}

void HttpConnection::refuse(int status, const QString& message) {
    answer(HttpReply::error(status, message), true, true);
}

void HttpConnection::onBytesWritten() {
    if (m_state == State::writing) {
        // The client is taking the answer: it is not idle.
        m_timer.start(m_limits.idleTimeoutMs);
        if (m_socket->bytesToWrite() <= writeHighWater) {
            m_state = State::idle;
            process();
        }
    } else if (m_state == State::lingering && !m_shutDown && m_socket->bytesToWrite() == 0) {
        // The answer is out: say so with a FIN, then keep reading so the client's remaining bytes
        // do not turn into a reset that could destroy the answer before it is read.
        m_shutDown = true;
        ::shutdown(int(m_socket->socketDescriptor()), SHUT_WR);
        process();
    }
}

void HttpConnection::onTimeout() {
    switch (m_state) {
    case State::syncing:
        break;
    case State::idle:
    case State::writing:
    case State::lingering:
    case State::closing:
        m_socket->abort();
        finish();
        break;
    case State::head:
        refuse(408, u"Заголовок запроса не получен вовремя"_s);
        break;
    case State::body:
        refuse(408, u"Тело запроса не получено вовремя"_s);
        break;
    case State::closed:
        break;
    }
}

void HttpConnection::finish() {
    if (m_state == State::closed)
        return;
    m_state = State::closed;
    m_timer.stop();
    Q_EMIT finished();
}
