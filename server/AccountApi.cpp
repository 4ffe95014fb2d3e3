#include "AccountApi.h"

#include "ApiRequest.h"
#include "DocsPage.h"
#include "Envelopes.h"
#include "JsonFields.h"
#include "JsonWriter.h"
#include "Router.h"
#include "Secrets.h"
#include "ServerError.h"
#include "TaskApi.h"
#include "UserSettings.h"
#include "UserStats.h"

#include <QMimeDatabase>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

HttpReply settingsReply(bool autoSendBot) {
    return HttpReply::json(encodeJson(UserSettings{autoSendBot}));
}

HttpReply apiKeyReply(const QString& key) {
    return HttpReply::json(encodeJson(ApiKeyResponse{key}));
}

} // namespace

QString AccountApi::apiKeyOf(const StoredUser& user) {
    if (user.apiKey)
        return *user.apiKey;
    const QString key = Secrets::newApiKey();
    m_context.storage.setApiKey(user.user.id, key);
    return key;
}

void AccountApi::registerRoutes(Router& router) {
    router.add("GET", u"/api/user/settings"_s, Access::signedIn,
               [](ApiRequest& request) { return settingsReply(request.signedIn().autoSendBot); });
    router.add("PUT", u"/api/user/settings"_s, Access::signedIn, [this](ApiRequest& request) {
        const bool enabled = JsonFields(request.jsonObject()).requiredBool(u"auto_send_bot"_s);
        m_context.storage.setAutoSendBot(request.userId(), enabled);
        return settingsReply(enabled);
    });

    router.add("GET", u"/api/user/stats"_s, Access::signedIn, [this](ApiRequest& request) {
        const QString range = request.query.queryItemValue(u"range"_s);
        int days = 0;
        if (range == u"week")
            days = 7;
        else if (range == u"month")
            days = 30;
        else
            throw ServerError::badRequest(u"Параметр «range»: допустимые значения: week, month"_s);
        const QDate today = m_context.clock.now().toUTC().date();
        const QString from = today.addDays(-(days - 1)).toString(Qt::ISODate);
        const QString to = today.toString(Qt::ISODate);
        const auto created = m_context.storage.createdPerDay(request.userId(), from, to);
        const auto completed = m_context.storage.completedPerDay(request.userId(), from, to);
        const auto perPriority = m_context.storage.createdPerPriority(request.userId(), from, to);

        UserStats stats;
        stats.range = range;
        for (int i = days - 1; i >= 0; --i) {
            const QString day = today.addDays(-i).toString(Qt::ISODate);
            stats.daily.created.append({day, created.value(day)});
            stats.daily.completed.append({day, completed.value(day)});
            stats.totals.created += created.value(day);
            stats.totals.completed += completed.value(day);
        }
        for (TaskPriority priority : allTaskPriorities)
            stats.priority.append({rawValue(priority), perPriority.value(rawValue(priority))});
        return HttpReply::json(encodeJson(stats));
    });

    router.add("GET", u"/api/user/apikey"_s, Access::signedIn,
               [this](ApiRequest& request) { return apiKeyReply(apiKeyOf(request.signedIn())); });
    router.add("POST", u"/api/user/apikey/regenerate"_s, Access::signedIn, [this](ApiRequest& request) {
        const QString key = Secrets::newApiKey();
        m_context.storage.setApiKey(request.userId(), key);
        return apiKeyReply(key);
    });
    router.add("POST", u"/api/external/tasks"_s, Access::everyone, [this](ApiRequest& request) {
        const QString key = QString::fromUtf8(request.header("x-api-key")).trimmed();
        const auto user = key.isEmpty() ? std::nullopt : m_context.storage.userByApiKey(key);
        if (!user)
            throw ServerError(ErrorKind::unauthorized, u"Неверный API-ключ"_s);
        const VexoTask task = m_tasks.createFrom(*user, request.jsonObject(), u"api"_s);
        return HttpReply::json(encodeJson(TaskResponse{task}), 201);
    });

    router.add("GET", u"/api/user/avatar/{name}"_s, Access::everyone, [this](ApiRequest& request) {
        static const QRegularExpression safeName(u"^[A-Za-z0-9_-]+\\.[A-Za-z0-9]+$"_s);
        const QString name = request.params.value(0);
        auto image = safeName.match(name).hasMatch() ? m_context.storage.avatar(name) : std::nullopt;
        if (!image)
            throw ServerError::notFound(u"Аватар не найден"_s);
        HttpReply reply;
        reply.contentType = QMimeDatabase().mimeTypeForFile(name, QMimeDatabase::MatchExtension).name().toLatin1();
        reply.body = std::move(*image);
        return reply;
    });

    router.add("GET", u"/api/admin/stats"_s, Access::administrator,
               [this](ApiRequest&) { return HttpReply::json(encodeJson(m_context.storage.adminStats())); });
    router.add("GET", u"/api/admin/users"_s, Access::administrator, [this](ApiRequest&) {
        return HttpReply::json(encodeJson(AdminUsersResponse{m_context.storage.adminUsers()}));
    });

    router.add("GET", u"/docs"_s, Access::everyone, [](ApiRequest& request) {
        const QByteArray host = request.header("host");
        HttpReply reply;
        reply.contentType = "text/html; charset=utf-8";
        reply.body = docsPage(u"http://"_s + QString::fromLatin1(host.isEmpty() ? QByteArray("127.0.0.1:8765") : host));
        return reply;
    });
}
