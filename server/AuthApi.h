#pragma once

#include "RateLimiter.h"
#include "ServerContext.h"

class Router;

// Signing in with a login key. At most ten attempts a minute from one client address, and ten with
// keys that begin alike (the same first 16 characters: the fixed start and five of the random
// ones), whichever process of the deployment they reach.
class AuthApi final {
public:
    static constexpr int keyPrefixLength = 16;

    explicit AuthApi(ServerContext& context)
        : m_context(context)
        , m_limiter(context.storage, context.clock, 10, 60) {}

    void registerRoutes(Router& router);

private:
    ServerContext& m_context;
    RateLimiter m_limiter;
};
