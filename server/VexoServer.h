#pragma once

#include "AccountApi.h"
#include "AuthApi.h"
#include "EventFeed.h"
#include "FolderApi.h"
#include "HttpHandler.h"
#include "HttpServer.h"
#include "Router.h"
#include "ServerContext.h"
#include "TaskApi.h"

#include <QObject>

// The service over HTTP. Every request goes the same way: route, authentication, size limit,
// handler; every failure becomes {"error": "…"} with the status the ServerError table gives. The
// connection layer (HttpServer) knows nothing of routes; this class is the one adapter between them.
class VexoServer final : public QObject, private HttpHandler {
    Q_OBJECT

public:
    VexoServer(Storage& storage, const Clock& clock, QObject* parent = nullptr);

    // The bound port (useful with port 0), or 0 when the address cannot be taken.
    quint16 listen(const QHostAddress& address, quint16 port);
    // Limits and time-outs for connections accepted from then on.
    void setLimits(const HttpLimits& limits) { m_http.setLimits(limits); }
    const HttpLimits& limits() const { return m_http.limits(); }
    // The change feed's limits, for sockets accepted from then on.
    void setFeedLimits(const FeedLimits& limits) { m_feed.setLimits(limits); }
    const EventFeed& feed() const { return m_feed; }
    // Bytes of task lists kept to answer again while unchanged; 0 builds every answer.
    void setListCacheBudget(qsizetype bytes) { m_tasks.lists().setBudget(bytes); }

    // The reply for one request, without any socket: the whole pipeline, for the server and for tests.
    HttpReply dispatch(ApiRequest& request);

private:
    // Finds the route and signs the caller in; an answer when the request ends there.
    std::optional<HttpReply> admitApi(ApiRequest& request, const Router::Route*& route);
    HttpReply run(const Router::Route& route, ApiRequest& request);
    void authenticate(ApiRequest& request, Access access);

    Admission admit(HttpRequest& request) override;
    HttpReply respond(HttpRequest& request) override;
    bool needsSync() override { return m_context.storage.hasUndurableWrites(); }
    std::function<void()> syncWork() override { return m_context.storage.durabilityWork(); }
    bool upgrade(const HttpRequest& request, QTcpSocket* socket) override { return m_feed.take(request, socket); }

    ServerContext m_context;
    Router m_router;
    TaskApi m_tasks;
    FolderApi m_folders;
    AuthApi m_auth;
    AccountApi m_account;
    EventFeed m_feed;
    // Last, so that connections go before what their requests use.
    HttpServer m_http;
};
