#include "HttpClient.h"

#include <QDateTime>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QSslSocket>
#include <QTcpSocket>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

const char* const idleSinceProperty = "httpClientIdleSince";

bool isSecure(const QUrl& url) {
    return url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0;
}

quint16 portOf(const QUrl& url) {
    return quint16(url.port(isSecure(url) ? 443 : 80));
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Resumes the waiting request from inside the exchange's finished(), so that it also resumes when
// the exchange is ended by the client's destruction (a queued resumption would never come).
struct Finished {
    HttpExchange* exchange;
    bool await_ready() const noexcept { return exchange->isFinished(); }
    void await_suspend(std::coroutine_handle<> waiting) const {
        QObject::connect(
            exchange, &HttpExchange::finished, exchange, [waiting] { waiting.resume(); }, Qt::SingleShotConnection);
    }
    void await_resume() const noexcept {}
};

// A request may end inside its own time-out signal: its timer is let go of later, silenced first.
struct TimerLaterDeleter {
    void operator()(QTimer* timer) const {
        timer->stop();
        timer->disconnect();
        timer->deleteLater();
    }
};

} // namespace

HttpClient::HttpClient(const QNetworkAccessManager& network, QObject* parent)
    : QObject(parent)
    , m_network(network) {}

HttpClient::~HttpClient() {
    m_closing = true;
    abortAll();
    // Kept connections go now, while the lists their signals would update still exist.
    for (const QList<QAbstractSocket*>& idle : std::as_const(m_idle)) {
        for (QAbstractSocket* socket : idle) {
            socket->disconnect(this);
            delete socket;
        }
    }
    m_idle.clear();
}

void HttpClient::abortAll() {
    const QSet<HttpExchange*> running = m_running;
    for (HttpExchange* exchange : running)
        exchange->abort(QNetworkReply::OperationCanceledError);
}

QString HttpClient::originOf(const QUrl& url) {
    return url.scheme().toLower() + u"://"_s + url.host(QUrl::FullyEncoded).toLower() + u':' +
           QString::number(portOf(url));
}

QByteArray HttpClient::requestBytes(const OutgoingRequest& request) {
    const QUrl& url = request.url;
    QByteArray target = url.path(QUrl::FullyEncoded).toLatin1();
    if (target.isEmpty())
        target = "/";
    if (url.hasQuery())
        target += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    QByteArray host = url.host(QUrl::FullyEncoded).toLatin1();
    if (host.contains(':'))
        host = '[' + host + ']';
    if (url.port() != -1 && url.port() != (isSecure(url) ? 443 : 80))
        host += ':' + QByteArray::number(url.port());

    QByteArray bytes = request.method + ' ' + target + " HTTP/1.1\r\nHost: " + host + "\r\n";
    bool namesItself = false;
    for (const auto& [name, value] : request.headers) {
        bytes += name + ": " + value + "\r\n";
        namesItself = namesItself || name.compare("user-agent", Qt::CaseInsensitive) == 0;
    }
    // Some front ends turn away requests that do not say what sent them.
    if (!namesItself)
        bytes += "User-Agent: VexoTasks\r\n";
    // A request that may carry content says how long it is, also when it is empty.
    if (request.body || request.method == "POST" || request.method == "PUT")
        bytes += "Content-Length: " + QByteArray::number(request.body ? request.body->size() : 0) + "\r\n";
    bytes += "\r\n";
    if (request.body)
        bytes += *request.body;
    return bytes;
}

HttpClient::Connection HttpClient::acquire(const QUrl& url) {
    QList<QAbstractSocket*>& idle = m_idle[originOf(url)];
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    while (!idle.isEmpty()) {
        QAbstractSocket* socket = idle.takeLast();
        socket->disconnect(this);
        const qint64 idleSince = socket->property(idleSinceProperty).toLongLong();
        if (socket->state() == QAbstractSocket::ConnectedState && socket->bytesAvailable() == 0 &&
            now - idleSince < std::chrono::milliseconds(idleLimit).count())
            return {socket, true};
        socket->abort();
        socket->deleteLater();
    }
    QAbstractSocket* socket = isSecure(url) ? new QSslSocket(this) : new QTcpSocket(this);
    socket->setProxy(m_network.proxy());
    return {socket, false};
}

void HttpClient::release(const QString& origin, QAbstractSocket* socket, bool reusable) {
    QList<QAbstractSocket*>& idle = m_idle[origin];
    if (!reusable || m_closing || idle.size() >= maxIdlePerOrigin) {
        socket->abort();
        socket->deleteLater();
        return;
    }
    socket->setProperty(idleSinceProperty, QDateTime::currentMSecsSinceEpoch());
    // A kept connection that the server closes, or that talks out of turn, is of no more use.
    connect(socket, &QAbstractSocket::disconnected, this, [this, socket] { dropIdle(socket); });
    connect(socket, &QAbstractSocket::readyRead, this, [this, socket] { dropIdle(socket); });
    idle.append(socket);
}

void HttpClient::dropIdle(QAbstractSocket* socket) {
    for (auto& idle : m_idle) {
        if (idle.removeOne(socket)) {
            socket->disconnect(this);
            socket->abort();
            socket->deleteLater();
            return;
        }
    }
}

QCoro::Task<HttpResponse> HttpClient::send(OutgoingRequest request, std::chrono::milliseconds timeout,
                                           qint64 maxBodyBytes) {
    // One deadline for the whole transfer, not an idle time-out between bytes: a server that trickles
    // an answer for ever is given up on like one that says nothing.
    const std::unique_ptr<QTimer, TimerLaterDeleter> deadline(new QTimer(this));
    deadline->setSingleShot(true);
    deadline->setTimerType(Qt::PreciseTimer);
    HttpExchange* current = nullptr;
    bool timedOut = false;
    connect(deadline.get(), &QTimer::timeout, deadline.get(), [&] {
        timedOut = true;
        if (current)
            current->abort(QNetworkReply::TimeoutError);
    });
    deadline->start(timeout);

    for (int redirects = 0;; ++redirects) {
        const QString origin = originOf(request.url);
        const QByteArray bytes = requestBytes(request);
        HttpResponse response;
        for (bool retried = false;; retried = true) {
            if (timedOut)
                throw TransportError(QNetworkReply::TimeoutError);
            const Connection connection = acquire(request.url);
            auto* exchange = new HttpExchange(*connection.socket, request.url.host(), portOf(request.url),
                                              isSecure(request.url), bytes, maxBodyBytes, this);
            m_running.insert(exchange);
            current = exchange;
            exchange->start();
            co_await Finished{exchange};
            current = nullptr;
            m_running.remove(exchange);
            const std::optional<TransportError> failure = exchange->failure();
            const bool reusable = exchange->connectionReusable();
            const bool answeredNothing = exchange->answeredNothing();
            response = exchange->takeResponse();
            exchange->deleteLater();
            release(origin, connection.socket, reusable);
            if (!failure)
                break;
            // A kept connection may have been closed by the server just as it was taken up again.
            const bool staleConnection =
                connection.reused && answeredNothing && failure->code() == QNetworkReply::RemoteHostClosedError;
            if (!staleConnection || retried || m_closing)
                throw *failure;
        }

        const QByteArray location = response.header("location");
        if (!isRedirect(response.statusCode) || location.isEmpty())
            co_return response;
        if (redirects >= maxRedirects)
            throw TransportError(QNetworkReply::TooManyRedirectsError);
        const QUrl next = request.url.resolved(QUrl::fromEncoded(location));
        const QString scheme = next.scheme().toLower();
        if (!next.isValid() || next.host().isEmpty() || (scheme != u"http"_s && scheme != u"https"_s))
            throw TransportError(QNetworkReply::ProtocolUnknownError);
        if (isSecure(request.url) && !isSecure(next))
            throw TransportError(QNetworkReply::InsecureRedirectError);
        const bool toGet = (response.statusCode == 303 && request.method != "HEAD") ||
                           ((response.statusCode == 301 || response.statusCode == 302) && request.method == "POST");
        if (toGet) {
            request.method = "GET";
            request.body.reset();
        }
        if (originOf(next) != origin)
            request.headers.removeIf(
                [](const auto& header) { return header.first.compare("authorization", Qt::CaseInsensitive) == 0; });
        request.url = next;
    }
}
