#pragma once

#include "AnswerCache.h"
#include "ServerContext.h"

class Router;
struct ApiRequest;
struct HttpReply;

// Tasks and their attachments.
class TaskApi final {
public:
    explicit TaskApi(ServerContext& context)
        : m_context(context) {}

    void registerRoutes(Router& router);

    // Creates a task for `user` as `source` from a request body; sends it on when the user asked for
    // automatic sending. Shared with the external API.
    VexoTask createFrom(const StoredUser& user, const QJsonObject& body, const QString& source);
    // The text delivered to the user's chat.
    static QString messageFor(const VexoTask& task);
    // Task lists already built, answered again while the user's tasks have not changed.
    AnswerCache& lists() { return m_lists; }

private:
    HttpReply list(ApiRequest& request);
    HttpReply create(ApiRequest& request);
    HttpReply update(ApiRequest& request);
    HttpReply remove(ApiRequest& request);
    HttpReply archive(ApiRequest& request);
    HttpReply sendToBot(ApiRequest& request);
    HttpReply listAttachments(ApiRequest& request);
    HttpReply uploadAttachment(ApiRequest& request);
    HttpReply deleteAttachment(ApiRequest& request);
    HttpReply attachmentFile(ApiRequest& request);

    ServerContext& m_context;
    AnswerCache m_lists;
};
