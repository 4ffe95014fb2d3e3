#pragma once

#include "ServerContext.h"

class Router;

// The user's folders, in creation order.
class FolderApi final {
public:
    explicit FolderApi(ServerContext& context)
        : m_context(context) {}

    void registerRoutes(Router& router);

private:
    ServerContext& m_context;
};
