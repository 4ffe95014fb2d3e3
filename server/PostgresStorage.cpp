#include "PostgresStorage.h"

#include "PostgresChangeWatch.h"

#include <QAtomicInt>

using namespace Qt::StringLiterals;

namespace {

QSqlDatabase database(const PostgresAddress& address) {
    static QAtomicInt counter;
    QSqlDatabase db = QSqlDatabase::addDatabase(SqlDialect::postgres().driver,
                                                u"vexo-postgres-%1"_s.arg(counter.fetchAndAddRelaxed(1)));
    address.configure(db);
    return db;
}

std::optional<QDir> folder(const std::optional<QString>& path) {
    return path ? std::optional<QDir>(QDir(*path)) : std::nullopt;
}

} // namespace

PostgresStorage::PostgresStorage(const PostgresAddress& address, std::optional<QString> contentFolder)
    : SqlStorage(SqlDialect::postgres(), database(address), folder(contentFolder))
    , m_address(address)
    , m_connectionName(m_connection.database().connectionName()) {
    try {
        start();
    } catch (...) {
        m_connection.release();
        QSqlDatabase::removeDatabase(m_connectionName);
        throw;
    }
}

PostgresStorage::~PostgresStorage() {
    m_connection.release();
    QSqlDatabase::removeDatabase(m_connectionName);
}

std::unique_ptr<ChangeWatch> PostgresStorage::watchChanges(int pollIntervalMs) {
    // Notifications come by themselves; the interval only paces the checks of the connection.
    auto watch = std::make_unique<PostgresChangeWatch>(m_address, qMax(pollIntervalMs, 200));
    m_watches.removeAll(nullptr);
    m_watches.append(watch.get());
    return watch;
}

void PostgresStorage::changesCommitted() {
    for (const QPointer<PostgresChangeWatch>& watch : std::as_const(m_watches)) {
        if (watch)
            watch->announce();
    }
}
