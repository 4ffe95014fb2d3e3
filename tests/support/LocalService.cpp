#include "LocalService.h"

#include "PostgresCluster.h"
#include "Secrets.h"

TestBackend testBackend() {
    return qgetenv("VEXO_TEST_BACKEND") == "postgres" ? TestBackend::postgres : TestBackend::sqlite;
}

QString backendName(TestBackend backend) {
    return backend == TestBackend::postgres ? QStringLiteral("PostgreSQL") : QStringLiteral("SQLite");
}

LocalService::LocalService(QDateTime now, const HttpLimits& limits, TestBackend backend)
    : m_backend(backend)
    , m_clock(std::move(now)) {
    m_choice.dataDir = m_dir.path();
    if (m_backend == TestBackend::postgres) {
        PostgresCluster& cluster = PostgresCluster::shared();
        m_database = cluster.createDatabase();
        m_choice.database = PostgresAddress::parse(cluster.address(m_database));
    }
    serve(limits);
}

LocalService::LocalService(const LocalService& sameStorageAs)
    : m_backend(sameStorageAs.m_backend)
    , m_choice(sameStorageAs.m_choice)
    , m_clock(sameStorageAs.m_clock.now()) {
    serve(HttpLimits());
}

void LocalService::serve(const HttpLimits& limits) {
    m_storage = m_choice.open();
    m_server = std::make_unique<VexoServer>(*m_storage, m_clock);
    m_server->setLimits(limits);
    m_port = m_server->listen(QHostAddress::LocalHost, 0);
    Q_ASSERT(m_port != 0);
}

LocalService::~LocalService() {
    m_server.reset();
    m_storage.reset();
    if (!m_database.isEmpty())
        PostgresCluster::shared().releaseDatabase(m_database);
}

QStringList LocalService::storageArguments() const {
    if (m_choice.database)
        return {QStringLiteral("--database"), PostgresCluster::shared().address(m_choice.database->databaseName())};
    return {QStringLiteral("--data"), m_choice.dataDir};
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
