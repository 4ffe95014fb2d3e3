#include "VexoServer.h"

#include "Secrets.h"
#include "ServerError.h"
#include "ServerLog.h"

#include <QElapsedTimer>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QMetaEnum>
#include <QTcpSocket>

using namespace Qt::StringLiterals;

namespace {

QByteArray methodName(QHttpServerRequest::Method method) {
    switch (method) {
    case QHttpServerRequest::Method::Get:
        return "GET";
    case QHttpServerRequest::Method::Put:
        return "PUT";
    case QHttpServerRequest::Method::Delete:
        return "DELETE";
    case QHttpServerRequest::Method::Post:
        return "POST";
    case QHttpServerRequest::Method::Head:
        return "HEAD";
    case QHttpServerRequest::Method::Options:
        return "OPTIONS";
    case QHttpServerRequest::Method::Patch:
        return "PATCH";
    case QHttpServerRequest::Method::Connect:
        return "CONNECT";
    case QHttpServerRequest::Method::Trace:
        return "TRACE";
    default:
        return "UNKNOWN";
    }
}

} // namespace

VexoServer::VexoServer(Storage& storage, const Clock& clock, const QString& dataDir, QObject* parent)
    : QAbstractHttpServer(parent)
    , m_context{storage, clock, QDir(dataDir)}
    , m_tasks(m_context)
    , m_folders(m_context)
    , m_auth(m_context)
    , m_account(m_context, m_tasks) {
    m_context.dataDir.mkpath(u"attachments"_s);
    m_context.dataDir.mkpath(u"avatars"_s);
    m_auth.registerRoutes(m_router);
    m_tasks.registerRoutes(m_router);
    m_folders.registerRoutes(m_router);
    m_account.registerRoutes(m_router);
}

void VexoServer::authenticate(ApiRequest& request, Access access) {
    if (access == Access::everyone)
        return;
    const QByteArray authorization = request.header("authorization");
    if (!authorization.startsWith("Bearer ") || authorization.size() <= 7)
        throw ServerError(ErrorKind::unauthorized, u"Требуется авторизация"_s);
    const QString token = QString::fromLatin1(authorization.mid(7)).trimmed();
    request.user = m_context.storage.userBySessionHash(Secrets::hash(token));
    if (!request.user)
        throw ServerError(ErrorKind::unauthorized, u"Сессия недействительна, войдите снова"_s);
    if (access == Access::administrator && request.user->user.isAdmin != true)
        throw ServerError(ErrorKind::forbidden, u"Доступ только для администраторов"_s);
}

HttpReply VexoServer::dispatch(ApiRequest& request) {
    try {
        const Router::Match match = m_router.match(request.method, request.path);
        if (!match.route) {
            if (!match.pathKnown)
                throw ServerError::notFound(u"Не найдено: %1"_s.arg(request.path));
            HttpReply reply = HttpReply::error(
                405, u"Метод %1 не поддерживается для %2"_s.arg(QString::fromLatin1(request.method), request.path));
            reply.headers.append({"Allow", match.allowedMethods.join(", ")});
            return reply;
        }
        if (request.body.size() > match.route->bodyLimit)
            throw ServerError(ErrorKind::payloadTooLarge,
                              u"Слишком большой запрос: не больше %1 МБ"_s.arg(match.route->bodyLimit >> 20));
        request.params = match.params;
        authenticate(request, match.route->access);
        return match.route->handler(request);
    } catch (const ServerError& error) {
        if (error.kind() == ErrorKind::internal)
            qCWarning(lcServer) << "internal error:" << error.message();
        return HttpReply::error(httpStatus(error.kind()), error.message());
    } catch (const std::exception& error) {
        qCWarning(lcServer) << "unexpected failure:" << error.what();
        return HttpReply::error(500, u"Внутренняя ошибка сервера"_s);
    }
}

bool VexoServer::handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) {
    QElapsedTimer clock;
    clock.start();
    ApiRequest apiRequest;
    apiRequest.method = methodName(request.method());
    apiRequest.path = request.url().path();
    apiRequest.query = request.query();
    apiRequest.body = request.body();
    apiRequest.headers = request.headers();
    apiRequest.remoteAddress = request.remoteAddress();

    const HttpReply reply = dispatch(apiRequest);

    // The responder writes status, headers and body separately; without this, Nagle's algorithm
    // meets the client's delayed ACK and every answer waits 40 ms.
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    QHttpServerResponder responder = makeResponder(request, socket);
    responder.writeStatusLine(static_cast<QHttpServerResponder::StatusCode>(reply.status));
    responder.writeHeader("Content-Type", reply.contentType);
    responder.writeHeader("Content-Length", QByteArray::number(reply.body.size()));
    for (const auto& [name, value] : reply.headers)
        responder.writeHeader(name, value);
    responder.writeBody(reply.body);
    // The path alone: queries can carry file names, and headers carry tokens and keys.
    qCInfo(lcAccess).noquote() << apiRequest.method << apiRequest.path << reply.status << clock.elapsed() << "ms";
    return true;
}

void VexoServer::missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) {
    // handleRequest answers everything; this is only here because the base class requires it.
    handleRequest(request, socket);
}
