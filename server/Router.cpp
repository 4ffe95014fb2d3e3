#include "Router.h"

namespace {

bool isId(const QString& segment) {
    if (segment.isEmpty() || segment.size() > 19 || segment.front() == u'0')
        return false;
    for (QChar c : segment) {
        if (c < u'0' || c > u'9')
            return false;
    }
    bool ok = false;
    segment.toLongLong(&ok);
    return ok;
}

bool matches(const QStringList& pattern, const QStringList& segments, QStringList* params) {
    if (pattern.size() != segments.size())
        return false;
    QStringList captured;
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        const QString& expected = pattern[i];
        if (expected == u"{id}") {
            if (!isId(segments[i]))
                return false;
            captured << segments[i];
        } else if (expected == u"{name}") {
            if (segments[i].isEmpty())
                return false;
            captured << segments[i];
        } else if (expected != segments[i]) {
            return false;
        }
    }
    if (params)
        *params = captured;
    return true;
}

} // namespace

void Router::add(const QByteArray& method, const QString& pattern, Access access, Handler handler, qint64 bodyLimit) {
    m_routes.append(Route{method, pattern.split(u'/', Qt::SkipEmptyParts), access, bodyLimit, std::move(handler)});
}

Router::Match Router::match(const QByteArray& method, const QString& path) const {
    const QStringList segments = path.split(u'/', Qt::SkipEmptyParts);
    Match result;
    for (const Route& route : m_routes) {
        QStringList params;
        if (!matches(route.segments, segments, &params))
            continue;
        result.pathKnown = true;
        result.allowedMethods << route.method;
        if (route.method == method && !result.route) {
            result.route = &route;
            result.params = params;
        }
    }
    return result;
}
