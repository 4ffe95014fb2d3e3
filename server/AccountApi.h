#pragma once

#include "ServerContext.h"

class Router;
class TaskApi;

// Settings, statistics, the API key and its external call, avatars, the administration calls and the
// documentation page.
class AccountApi final {
public:
    AccountApi(ServerContext& context, TaskApi& tasks)
        : m_context(context)
        , m_tasks(tasks) {}

    void registerRoutes(Router& router);

private:
    QString apiKeyOf(const StoredUser& user);

    ServerContext& m_context;
    TaskApi& m_tasks;
};
