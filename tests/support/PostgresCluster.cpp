#include "PostgresCluster.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QVersionNumber>

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The programs of the newest PostgreSQL installed, as Debian lays them out, else on the PATH.
QString findBinaries() {
    if (const QByteArray given = qgetenv("VEXO_POSTGRES_BIN"); !given.isEmpty())
        return QString::fromLocal8Bit(given);
    QVersionNumber newest;
    QString found;
    const QDir versions(u"/usr/lib/postgresql"_s);
    for (const QString& version : versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString bin = versions.filePath(version + u"/bin"_s);
        const QVersionNumber number = QVersionNumber::fromString(version);
        if (QFile::exists(bin + u"/initdb"_s) && QFile::exists(bin + u"/pg_ctl"_s) && number > newest) {
            newest = number;
            found = bin;
        }
    }
    if (found.isEmpty()) {
        const QString initdb = QStandardPaths::findExecutable(u"initdb"_s);
        if (!initdb.isEmpty())
            found = QFileInfo(initdb).path();
    }
    return found;
}

// For the shell, in single quotes.
QString shellQuoted(const QString& text) {
    QString escaped = text;
    escaped.replace(u'\'', u"'\\''"_s);
    return u'\'' + escaped + u'\'';
}

} // namespace

PostgresCluster& PostgresCluster::shared() {
    static PostgresCluster cluster(false);
    return cluster;
}

PostgresCluster::PostgresCluster(bool durable) {
    m_binaries = findBinaries();
    {
        QProcess version;
        version.start(m_binaries + u"/pg_ctl"_s, {u"--version"_s});
        version.waitForFinished();
        // "pg_ctl (PostgreSQL) 15.18"
        m_version = QString::fromLatin1(version.readAll()).section(u' ', -1).section(u'.', 0, 0).toInt();
    }
    if (m_binaries.isEmpty())
        qFatal("PostgreSQL is needed for these tests and was not found (initdb, pg_ctl): install the postgresql "
               "package, as scripts/bootstrap does");
    if (!m_dir.isValid())
        qFatal("PostgreSQL for the tests: no temporary folder");
    if (::geteuid() == 0) {
        const passwd* user = ::getpwnam("postgres");
        if (!user)
            qFatal("PostgreSQL for the tests: running as root needs the postgres system user, which the "
                   "postgresql package creates");
        m_runAs = u"postgres"_s;
        // The folder and everything the server writes belong to that user.
        if (::chown(QFile::encodeName(m_dir.path()).constData(), user->pw_uid, user->pw_gid) != 0)
            qFatal("PostgreSQL for the tests: cannot give the folder to the postgres user");
    }
    QDir(m_dir.path()).mkdir(u"socket"_s);
    if (!m_runAs.isEmpty()) {
        const passwd* user = ::getpwnam("postgres");
        if (::chown(QFile::encodeName(socketFolder()).constData(), user->pw_uid, user->pw_gid) != 0)
            qFatal("PostgreSQL for the tests: cannot give the socket folder to the postgres user");
    }

    const QString data = m_dir.filePath(u"data"_s);
    QString output;
    if (runTool(u"initdb"_s,
                {u"-D"_s, data, u"-U"_s, u"postgres"_s, u"--auth=trust"_s, u"--no-sync"_s, u"-E"_s, u"UTF8"_s,
                 u"--locale=C.UTF-8"_s, u"--no-instructions"_s},
                &output) != 0)
        qFatal("PostgreSQL for the tests: initdb failed:\n%s", qPrintable(output));
    QFile config(data + u"/postgresql.conf"_s);
    if (!config.open(QIODevice::Append))
        qFatal("PostgreSQL for the tests: cannot write postgresql.conf");
    // Only the socket. Durability of the server itself is not what the tests are about.
    config.write(u"\nlisten_addresses = ''\nunix_socket_directories = '%1'\nport = 5432\n"
                 u"max_connections = 60\nlog_min_messages = warning\n"_s.arg(socketFolder())
                     .toUtf8());
    config.write(durable ? "shared_buffers = 128MB\n" : "fsync = off\nfull_page_writes = off\nshared_buffers = 16MB\n");
    config.close();
    startWatchdog();
    if (!start())
        qFatal("PostgreSQL for the tests: the server did not start; its log is %s",
               qPrintable(m_dir.filePath(u"log"_s)));
    execute(u"CREATE ROLE %1 LOGIN"_s.arg(serviceRole));
    qInfo("PostgreSQL from %s runs for this test program on %s", qPrintable(m_binaries), qPrintable(socketFolder()));
}

PostgresCluster::~PostgresCluster() {
    // Late in the program's exit: a plain child process, no event loop needed.
    const QString command = (m_runAs.isEmpty() ? QString() : u"runuser -u "_s + m_runAs + u" -- "_s) +
                            shellQuoted(m_binaries + u"/pg_ctl"_s) + u" -D "_s +
                            shellQuoted(m_dir.filePath(u"data"_s)) + u" -m immediate -w stop >/dev/null 2>&1"_s;
    [[maybe_unused]] const int stopped = std::system(command.toLocal8Bit().constData());
}

int PostgresCluster::runTool(const QString& tool, const QStringList& arguments, QString* output, int timeoutMs) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setWorkingDirectory(m_dir.path());
    const QString program = m_binaries + u'/' + tool;
    if (m_runAs.isEmpty())
        process.start(program, arguments);
    else
        process.start(u"runuser"_s, QStringList{u"-u"_s, m_runAs, u"--"_s, program} + arguments);
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return -1;
    }
    if (output)
        *output = QString::fromLocal8Bit(process.readAll());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

void PostgresCluster::startWatchdog() {
    const QString stop = (m_runAs.isEmpty() ? QString() : u"runuser -u "_s + m_runAs + u" -- "_s) +
                         shellQuoted(m_binaries + u"/pg_ctl"_s) + u" -D "_s + shellQuoted(m_dir.filePath(u"data"_s)) +
                         u" -m immediate -w stop"_s;
    const QString script = u"while kill -0 %1 2>/dev/null; do sleep 1; done; %2 >/dev/null 2>&1; rm -rf %3"_s.arg(
        QString::number(QCoreApplication::applicationPid()), stop, shellQuoted(m_dir.path()));
    // In a session of its own, so that whatever ends this program's process group leaves it running.
    if (!QProcess::startDetached(u"setsid"_s, {u"sh"_s, u"-c"_s, script}))
        qFatal("PostgreSQL for the tests: cannot start the watchdog");
}

QString PostgresCluster::socketFolder() const {
    return m_dir.filePath(u"socket"_s);
}

QString PostgresCluster::dataFolder() const {
    return m_dir.filePath(u"data"_s);
}

bool PostgresCluster::start() {
    QString output;
    const bool started = runTool(u"pg_ctl"_s,
                                 {u"-D"_s, m_dir.filePath(u"data"_s), u"-l"_s, m_dir.filePath(u"log"_s), u"-w"_s,
                                  u"-t"_s, u"60"_s, u"start"_s},
                                 &output) == 0;
    if (!started)
        qWarning("pg_ctl start: %s", qPrintable(output));
    return started;
}

bool PostgresCluster::stop() {
    QString output;
    const bool stopped =
        runTool(u"pg_ctl"_s, {u"-D"_s, m_dir.filePath(u"data"_s), u"-m"_s, u"fast"_s, u"-w"_s, u"stop"_s}, &output) ==
        0;
    if (!stopped)
        qWarning("pg_ctl stop: %s", qPrintable(output));
    return stopped;
}

QString PostgresCluster::address(const QString& database) const {
    return u"postgresql:///%1?host=%2&user=%3"_s.arg(database, socketFolder(), serviceRole);
}

QString PostgresCluster::createDatabase() {
    if (!m_spare.isEmpty())
        return m_spare.takeLast();
    const QString name = u"vexo_test_%1"_s.arg(++m_databases);
    // Copying the files is ten times faster here than logging every page of them (the default since
    // PostgreSQL 15), since the test server does not sync them.
    execute(u"CREATE DATABASE %1 OWNER %2 TEMPLATE template0%3"_s.arg(
        name, serviceRole, m_version >= 15 ? u" STRATEGY FILE_COPY"_s : QString()));
    return name;
}

void PostgresCluster::releaseDatabase(const QString& name) {
    // Whoever is still connected (a process a test left behind) goes first.
    execute(u"SELECT pg_terminate_backend(pid) FROM pg_stat_activity"
            u" WHERE datname = current_database() AND pid <> pg_backend_pid();"
            u" DROP SCHEMA public CASCADE; CREATE SCHEMA public AUTHORIZATION %1"_s.arg(serviceRole),
            name);
    m_spare.append(name);
}

void PostgresCluster::execute(const QString& sql, const QString& database) {
    const QString connection = u"vexo-test-admin"_s;
    QString problem;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QPSQL"_s, connection);
        db.setHostName(socketFolder());
        db.setDatabaseName(database);
        db.setUserName(u"postgres"_s);
        db.setConnectOptions(u"options='-c client_min_messages=warning'"_s);
        if (!db.open()) {
            problem = db.lastError().text();
        } else {
            QSqlQuery query(db);
            if (!query.exec(sql))
                problem = query.lastError().text();
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(connection);
    if (!problem.isEmpty())
        qFatal("PostgreSQL for the tests: %s: %s", qPrintable(sql), qPrintable(problem));
}
