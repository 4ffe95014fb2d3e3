#include "VexoServer.h"

#include "ServerError.h"
#include "ServerLog.h"
#include "SessionAuth.h"

#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

// What the connection layer keeps for an admitted request until its body is in.
struct Admitted {
    ApiRequest request;
    const Router::Route* route = nullptr;
};

HttpReply failure(const std::exception& exception) {
    if (const auto* error = dynamic_cast<const ServerError*>(&exception)) {
        if (error->kind() == ErrorKind::internal)
            qCWarning(lcServer) << "internal error:" << error->message();
        HttpReply reply = HttpReply::error(httpStatus(error->kind()), error->message());
        // The storage is away for a moment (its server restarts): worth another try soon.
        if (error->kind() == ErrorKind::unavailable)
            reply.headers.append({QByteArray("Retry-After"), QByteArray("1")});
        return reply;
    }
    qCWarning(lcServer) << "unexpected failure:" << exception.what();
    return HttpReply::error(500, u"Внутренняя ошибка сервера"_s);
}

} // namespace

VexoServer::VexoServer(Storage& storage, const Clock& clock, QObject* parent)
    : QObject(parent)
    , m_context{storage, clock}
    , m_tasks(m_context)
    , m_folders(m_context)
    , m_auth(m_context)
    , m_account(m_context, m_tasks)
    , m_feed(storage,
             [this](QObject* context, std::function<void()> work) { m_http.afterSync(context, std::move(work)); })
    , m_http(*this) {
    m_auth.registerRoutes(m_router);
    m_tasks.registerRoutes(m_router);
    m_folders.registerRoutes(m_router);
    m_account.registerRoutes(m_router);
    m_feed.registerRoutes(m_router);
}

quint16 VexoServer::listen(const QHostAddress& address, quint16 port) {
    return m_http.listen(address, port);
}

void VexoServer::authenticate(ApiRequest& request, Access access) {
    if (access == Access::everyone)
        return;
    request.user = sessionUser(m_context.storage, request.header("authorization"));
    if (access == Access::administrator && request.user->user.isAdmin != true)
        throw ServerError(ErrorKind::forbidden, u"Доступ только для администраторов"_s);
}

std::optional<HttpReply> VexoServer::admitApi(ApiRequest& request, const Router::Route*& route) {
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
        route = match.route;
        request.params = match.params;
        authenticate(request, route->access);
        return std::nullopt;
    } catch (const std::exception& error) {
        return failure(error);
    }
}

HttpReply VexoServer::run(const Router::Route& route, ApiRequest& request) {
    try {
        return route.handler(request);
    } catch (const std::exception& error) {
        return failure(error);
    }
}

HttpReply VexoServer::dispatch(ApiRequest& request) {
    const Router::Route* route = nullptr;
    if (auto reply = admitApi(request, route))
        return *reply;
    if (request.body.size() > route->bodyLimit)
        return HttpReply::tooLarge(route->bodyLimit);
    return run(*route, request);
}

HttpHandler::Admission VexoServer::admit(HttpRequest& http) {
    Admitted admitted;
    ApiRequest& request = admitted.request;
    const QUrl url = QUrl::fromEncoded(http.target, QUrl::StrictMode);
    if (!url.isValid())
        return {HttpReply::error(400, u"Некорректный адрес запроса"_s), 0};
    request.method = http.method;
    request.path = url.path();
    request.query = QUrlQuery(url);
    request.headers = http.headers;
    request.remoteAddress = http.peer;
    if (auto reply = admitApi(request, admitted.route))
        return {std::move(reply), 0};
    const qint64 limit = admitted.route->bodyLimit;
    http.context = std::move(admitted);
    return {std::nullopt, limit};
}

HttpReply VexoServer::respond(HttpRequest& http) {
    auto* admitted = std::any_cast<Admitted>(&http.context);
    Q_ASSERT(admitted);
    admitted->request.body = std::move(http.body);
    return run(*admitted->route, admitted->request);
}
