#include "SessionAuth.h"

#include "Secrets.h"
#include "ServerError.h"

using namespace Qt::StringLiterals;

StoredUser sessionUser(Storage& storage, const QByteArray& authorization) {
    if (!authorization.startsWith("Bearer ") || authorization.size() <= 7)
        throw ServerError(ErrorKind::unauthorized, u"Требуется авторизация"_s);
    const QString token = QString::fromLatin1(authorization.mid(7)).trimmed();
    auto user = storage.userBySessionHash(Secrets::hash(token));
    if (!user)
        throw ServerError(ErrorKind::unauthorized, u"Сессия недействительна, войдите снова"_s);
    return *user;
}
