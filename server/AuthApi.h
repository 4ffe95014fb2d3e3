#pragma once

#include "RateLimiter.h"
#include "ServerContext.h"

class Router;

// Signing in with a login key.
class AuthApi final {
public:
    explicit AuthApi(ServerContext& context)
        : m_context(context)
        , m_limiter(context.clock, 10, 60) {}

    void registerRoutes(Router& router);

private:
    ServerContext& m_context;
    RateLimiter m_limiter;
};
