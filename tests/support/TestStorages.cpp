#include "TestStorages.h"

#include "PostgresCluster.h"
#include "PostgresStorage.h"
#include "SqliteStorage.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

TestStorages::TestStorages(TestBackend backend)
    : m_backend(backend) {}

TestStorages::~TestStorages() {
    for (const QString& database : std::as_const(m_databases))
        PostgresCluster::shared().releaseDatabase(database);
}

QString TestStorages::fileOf(const QString& name) const {
    return m_dir.filePath(name + u"/vexo.db"_s);
}

QString TestStorages::addressOf(const QString& name) {
    QString& database = m_databases[name];
    if (database.isEmpty())
        database = PostgresCluster::shared().createDatabase();
    return PostgresCluster::shared().address(database);
}

std::unique_ptr<SqlStorage> TestStorages::open(const QString& name, const std::optional<QString>& contentFolder) {
    if (m_backend == TestBackend::postgres)
        return std::make_unique<PostgresStorage>(*PostgresAddress::parse(addressOf(name)), contentFolder);
    QDir(m_dir.path()).mkpath(name);
    return std::make_unique<SqliteStorage>(fileOf(name), contentFolder);
}

void TestStorages::withConnection(const QString& name, const std::function<void(SqlConnection&)>& work) {
    const QString connectionName = u"vexo-test-bare"_s;
    {
        const SqlDialect& dialect = m_backend == TestBackend::postgres ? SqlDialect::postgres() : SqlDialect::sqlite();
        QSqlDatabase db = QSqlDatabase::addDatabase(dialect.driver, connectionName);
        if (m_backend == TestBackend::postgres) {
            PostgresAddress::parse(addressOf(name))->configure(db);
        } else {
            QDir(m_dir.path()).mkpath(name);
            db.setDatabaseName(fileOf(name));
        }
        SqlConnection connection(dialect, db);
        db = QSqlDatabase();
        work(connection);
        connection.release();
    }
    QSqlDatabase::removeDatabase(connectionName);
}

void TestStorages::discard(const QString& name) {
    if (m_backend == TestBackend::postgres) {
        if (const QString database = m_databases.take(name); !database.isEmpty())
            PostgresCluster::shared().releaseDatabase(database);
        return;
    }
    QDir(m_dir.filePath(name)).removeRecursively();
}

QStringList TestStorages::arguments(const QString& name) {
    if (m_backend == TestBackend::postgres)
        return {u"--database"_s, addressOf(name)};
    return {u"--data"_s, m_dir.filePath(name)};
}
