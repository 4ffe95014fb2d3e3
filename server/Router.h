#pragma once

#include "ApiRequest.h"

#include <QList>
#include <QString>

#include <functional>

// Who may call a route.
enum class Access { everyone, signedIn, administrator };

// Path patterns are literal segments and placeholders: "{id}" (a positive 64-bit decimal; anything
// else does not match, so the answer is 404) and "{name}" (any one segment).
class Router final {
public:
    using Handler = std::function<HttpReply(ApiRequest&)>;

    struct Route {
        QByteArray method;
        QStringList segments;
        Access access = Access::signedIn;
        qint64 bodyLimit = 1 << 20;
        Handler handler;
    };

    struct Match {
        const Route* route = nullptr; // null: nothing matched
        bool pathKnown = false;       // the path matched some route under another method
        QStringList params;
        QByteArrayList allowedMethods;
    };

    void add(const QByteArray& method, const QString& pattern, Access access, Handler handler,
             qint64 bodyLimit = 1 << 20);
    Match match(const QByteArray& method, const QString& path) const;

private:
    QList<Route> m_routes;
};
