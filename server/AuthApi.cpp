#include "AuthApi.h"

#include "ApiRequest.h"
#include "Envelopes.h"
#include "JsonFields.h"
#include "JsonWriter.h"
#include "Router.h"
#include "Secrets.h"
#include "ServerError.h"

using namespace Qt::StringLiterals;

void AuthApi::registerRoutes(Router& router) {
    router.add("POST", u"/api/auth/verify"_s, Access::everyone, [this](ApiRequest& request) {
        if (!m_limiter.allow(request.remoteAddress.toString()))
            throw ServerError(ErrorKind::tooManyRequests, u"Слишком много попыток входа. Попробуйте через минуту"_s);
        const QString key = JsonFields(request.jsonObject()).requiredString(u"key"_s).trimmed();
        const auto user = m_context.storage.userByLoginKeyHash(Secrets::hash(key));
        if (!user)
            throw ServerError(ErrorKind::unauthorized, u"Неверный ключ"_s);
        const QString token = Secrets::newSessionToken();
        m_context.storage.addSession(user->user.id, Secrets::hash(token), m_context.nowText());
        return HttpReply::json(encodeJson(AuthResponse{true, token, user->user}));
    });
}
