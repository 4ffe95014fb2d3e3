#pragma once

#include "AccountApi.h"
#include "AuthApi.h"
#include "FolderApi.h"
#include "Router.h"
#include "ServerContext.h"
#include "TaskApi.h"

#include <QAbstractHttpServer>

// The service over HTTP. Every request goes the same way: size limit, route, authentication,
// handler; every failure becomes {"error": "…"} with the status the ServerError table gives, and
// every request leaves one access-log line.
class VexoServer final : public QAbstractHttpServer {
    Q_OBJECT

public:
    VexoServer(Storage& storage, const Clock& clock, const QString& dataDir, QObject* parent = nullptr);

    // The reply for one request, without any socket: the whole pipeline, for the server and for tests.
    HttpReply dispatch(ApiRequest& request);

protected:
    bool handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) override;
    void missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) override;

private:
    void authenticate(ApiRequest& request, Access access);

    ServerContext m_context;
    Router m_router;
    TaskApi m_tasks;
    FolderApi m_folders;
    AuthApi m_auth;
    AccountApi m_account;
};
