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
        const QString key = JsonFields(request.jsonObject()).requiredString(u"key"_s).trimmed();
        // The prefix is counted by its hash: the table of attempts holds nothing of a key.
        if (!m_limiter.allow({u"address:"_s + request.remoteAddress.toString(),
                              u"key:"_s + Secrets::hash(key.left(keyPrefixLength))}))
            throw ServerError(ErrorKind::tooManyRequests, u"Слишком много попыток входа. Попробуйте через минуту"_s);
        const auto user = m_context.storage.userByLoginKeyHash(Secrets::hash(key));
        if (!user)
            throw ServerError(ErrorKind::unauthorized, u"Неверный ключ"_s);
        const QString token = Secrets::newSessionToken();
        m_context.storage.addSession(user->user.id, Secrets::hash(token), m_context.nowText());
        return HttpReply::json(encodeJson(AuthResponse{true, token, user->user}));
    });
}
