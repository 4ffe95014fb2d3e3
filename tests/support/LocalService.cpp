#include "LocalService.h"

#include "Secrets.h"

LocalService::LocalService(QDateTime now, const HttpLimits& limits)
    : m_clock(std::move(now))
    , m_storage(std::make_unique<SqliteStorage>(m_dir.filePath(QStringLiteral("vexo.db"))))
    , m_server(std::make_unique<VexoServer>(*m_storage, m_clock, m_dir.path())) {
    m_server->setLimits(limits);
    m_port = m_server->listen(QHostAddress::LocalHost, 0);
    Q_ASSERT(m_port != 0);
}

QString LocalService::baseUrl() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

QString LocalService::eventsUrl() const {
    return QStringLiteral("ws://127.0.0.1:%1/api/events").arg(m_port);
}

QByteArray LocalService::signIn(const QString& telegramId) {
    const QString token = Secrets::newSessionToken();
    m_storage->addSession(userId(telegramId), Secrets::hash(token), m_clock.now().toString(Qt::ISODateWithMs));
    return token.toUtf8();
}

QString LocalService::addUser(const QString& telegramId, bool admin, const QString& firstName) {
    NewUser person;
    person.telegramId = telegramId;
    person.isAdmin = admin;
    if (!firstName.isEmpty())
        person.firstName = firstName;
    const QString now = m_clock.now().toString(Qt::ISODateWithMs);
    const StoredUser user = m_storage->createUser(person, now);
    const QString key = Secrets::newLoginKey();
    m_storage->addLoginKey(user.user.id, Secrets::hash(key), false, now);
    return key;
}

qint64 LocalService::userId(const QString& telegramId) {
    return m_storage->userByTelegramId(telegramId)->user.id;
}
