#include "SqliteStorage.h"

#include "PrivateFiles.h"
#include "ServerError.h"
#include "ServerLog.h"
#include "SqliteChangeWatch.h"

#include <QAtomicInt>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QStringList databaseFiles(const QString& fileName) {
    return {fileName, fileName + u"-wal"_s, fileName + u"-shm"_s, fileName + u"-journal"_s};
}

// The file exists, private, before SQLite opens it: SQLite then gives its journal files the same
// mode. A file an older version left readable to others is made private too.
QSqlDatabase database(const QString& fileName) {
    if (QFile file(fileName); !file.exists() && !file.open(QIODevice::WriteOnly, PrivateFiles::fileMode))
        throw ServerError(ErrorKind::internal, u"Не удалось создать файл базы данных %1"_s.arg(fileName));
    for (const QString& file : databaseFiles(fileName)) {
        if (!PrivateFiles::protect(file))
            throw ServerError(ErrorKind::internal, u"Не удалось закрыть доступ к %1"_s.arg(file));
    }
    static QAtomicInt counter;
    QSqlDatabase db =
        QSqlDatabase::addDatabase(SqlDialect::sqlite().driver, u"vexo-storage-%1"_s.arg(counter.fetchAndAddRelaxed(1)));
    db.setDatabaseName(fileName);
    db.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=5000"_s);
    return db;
}

// Makes the directory entries of the folder's files durable (a journal SQLite has just created).
void syncFolder(const QString& folder) {
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    if (::fsync(fd) != 0)
        qCWarning(lcServer) << "the data folder could not be flushed to disk:" << std::strerror(errno);
    ::close(fd);
}

} // namespace

SqliteStorage::SqliteStorage(const QString& fileName, std::optional<QString> contentFolder)
    : SqlStorage(SqlDialect::sqlite(), database(fileName), QDir(contentFolder.value_or(QFileInfo(fileName).path())),
                 [this](SqlConnection& connection) {
                     // In WAL mode commits are not synced one by one (synchronous=NORMAL):
                     // makeWritesDurable() flushes the journal once for a group of them, before their
                     // answers go out, so that a write that was answered survives a power loss, not
                     // only the process being killed. Where WAL is not available every commit is
                     // synced (FULL).
                     connection.run(u"PRAGMA journal_mode=WAL"_s);
                     connection.run(u"PRAGMA foreign_keys=ON"_s);
                     m_groupedSync = setting(u"journal_mode"_s) == u"wal";
                     connection.run(m_groupedSync ? u"PRAGMA synchronous=NORMAL"_s : u"PRAGMA synchronous=FULL"_s);
                 })
    , m_connectionName(m_connection.database().connectionName())
    , m_fileName(fileName) {
    try {
        start();
    } catch (...) {
        m_connection.release();
        QSqlDatabase::removeDatabase(m_connectionName);
        throw;
    }
    syncFolder(QFileInfo(fileName).path());
    makeWritesDurable();
    for (const QString& file : databaseFiles(fileName))
        PrivateFiles::protect(file);
}

SqliteStorage::~SqliteStorage() {
    makeWritesDurable();
    m_taskList.release();
    m_lookups.release();
    m_connection.release();
    QSqlDatabase::removeDatabase(m_connectionName);
}

QString SqliteStorage::setting(const QString& pragma) {
    static const QRegularExpression name(u"^[a-z_]+$"_s);
    if (!name.match(pragma).hasMatch())
        return QString();
    QSqlQuery query(m_connection.database());
    if (!query.exec(u"PRAGMA "_s + pragma) || !query.next())
        return QString();
    return query.value(0).toString();
}

bool SqliteStorage::hasUndurableWrites() const {
    return m_groupedSync && m_durable->load() < writeCount();
}

std::function<void()> SqliteStorage::durabilityWork() {
    if (!hasUndurableWrites())
        return {};
    // One flush of the journal makes every commit before it durable: what synchronous=FULL does
    // at each commit, done once for all the commits whose answers are waiting. It needs nothing
    // of the connection, so it can run beside new commits on another thread.
    return [journal = QFile::encodeName(m_fileName + u"-wal"_s), written = writeCount(), durable = m_durable] {
        const int fd = ::open(journal.constData(), O_RDONLY | O_CLOEXEC);
        const bool synced = fd >= 0 && ::fdatasync(fd) == 0;
        if (!synced)
            qCCritical(lcServer) << "the journal could not be flushed to disk:" << std::strerror(errno);
        if (fd >= 0)
            ::close(fd);
        if (!synced)
            return;
        for (qint64 known = durable->load(); known < written && !durable->compare_exchange_weak(known, written);) {
        }
    };
}

qint64 SqliteStorage::dataVersion() {
    QSqlQuery query(m_connection.database());
    if (!query.exec(u"PRAGMA data_version"_s) || !query.next())
        m_connection.fail(query.lastError());
    return query.value(0).toLongLong();
}

std::unique_ptr<ChangeWatch> SqliteStorage::watchChanges(int pollIntervalMs) {
    auto watch = std::make_unique<SqliteChangeWatch>([this] { return dataVersion(); }, pollIntervalMs);
    m_watches.removeAll(nullptr);
    m_watches.append(watch.get());
    return watch;
}

void SqliteStorage::changesCommitted() {
    for (const QPointer<SqliteChangeWatch>& watch : std::as_const(m_watches)) {
        if (watch)
            watch->announce();
    }
}
