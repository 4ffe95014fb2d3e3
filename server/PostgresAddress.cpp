#include "PostgresAddress.h"

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QUrl>
#include <QUrlQuery>

using namespace Qt::StringLiterals;

namespace {

// A value in a libpq connection string: quoted, with quotes and backslashes escaped.
QString quoted(QString value) {
    value.replace(u'\\', u"\\\\"_s).replace(u'\'', u"\\'"_s);
    return u'\'' + value + u'\'';
}

bool fail(QString* problem, const QString& text) {
    if (problem)
        *problem = text;
    return false;
}

} // namespace

bool PostgresAddress::looksLikeOne(const QString& text) {
    return text.startsWith(u"postgresql://"_s) || text.startsWith(u"postgres://"_s);
}

std::optional<PostgresAddress> PostgresAddress::parse(const QString& uri, QString* problem) {
    const QString expected = u"ожидается адрес вида postgresql://пользователь@сервер:порт/база"_s;
    if (!looksLikeOne(uri)) {
        fail(problem, expected);
        return std::nullopt;
    }
    // A socket folder may stand for the host, percent-encoded ("%2Frun%2Fpostgresql"), which a URL
    // host cannot be: it is read apart.
    QString text = uri;
    QString socketFolder;
    {
        const qsizetype start = text.indexOf(u"://"_s) + 3;
        qsizetype end = start;
        while (end < text.size() && text[end] != u'/' && text[end] != u'?')
            ++end;
        const qsizetype at = text.lastIndexOf(u'@', end - 1);
        const qsizetype hostStart = at >= start ? at + 1 : start;
        if (text.mid(hostStart, 3).compare(u"%2F"_s, Qt::CaseInsensitive) == 0) {
            qsizetype hostEnd = hostStart;
            while (hostEnd < end && text[hostEnd] != u':')
                ++hostEnd;
            socketFolder = QUrl::fromPercentEncoding(text.mid(hostStart, hostEnd - hostStart).toUtf8());
            text.replace(hostStart, hostEnd - hostStart, u"socket"_s);
        }
    }
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.hasFragment()) {
        fail(problem, expected);
        return std::nullopt;
    }
    const QString passwordProblem =
        u"пароль в адресе виден всем в списке процессов; укажите его в файле PGPASSFILE (~/.pgpass)"
        u" или в переменной окружения PGPASSWORD"_s;
    if (!url.password().isEmpty()) {
        fail(problem, passwordProblem);
        return std::nullopt;
    }
    PostgresAddress address;
    address.m_userName = url.userName(QUrl::FullyDecoded);
    address.m_host = socketFolder.isEmpty() ? url.host(QUrl::FullyDecoded) : socketFolder;
    address.m_port = url.port(-1);
    QString path = url.path(QUrl::FullyDecoded);
    if (path.startsWith(u'/'))
        path.remove(0, 1);
    if (path.contains(u'/')) {
        fail(problem, expected);
        return std::nullopt;
    }
    address.m_databaseName = path;

    static const QRegularExpression keyword(u"^[a-z_]+$"_s);
    const QUrlQuery query(url);
    for (const auto& [key, value] : query.queryItems(QUrl::FullyDecoded)) {
        if (!keyword.match(key).hasMatch()) {
            fail(problem, u"неизвестный параметр «%1»"_s.arg(key));
            return std::nullopt;
        }
        if (key == u"password") {
            fail(problem, passwordProblem);
            return std::nullopt;
        }
        // The connection options are written with ";" between them.
        if (value.contains(u';')) {
            fail(problem, u"значение параметра «%1» не может содержать «;»"_s.arg(key));
            return std::nullopt;
        }
        if (key == u"host") {
            address.m_host = value;
        } else if (key == u"port") {
            bool ok = false;
            address.m_port = value.toInt(&ok);
            if (!ok || address.m_port <= 0 || address.m_port > 65535) {
                fail(problem, u"неверный порт «%1»"_s.arg(value));
                return std::nullopt;
            }
        } else if (key == u"user") {
            address.m_userName = value;
        } else if (key == u"dbname") {
            address.m_databaseName = value;
        } else {
            address.m_parameters.append({key, value});
        }
    }
    return address;
}

QString PostgresAddress::describe() const {
    QString text = m_databaseName.isEmpty() ? u"PostgreSQL"_s : u"PostgreSQL «%1»"_s.arg(m_databaseName);
    QString server = m_host;
    if (m_port > 0)
        server += u':' + QString::number(m_port);
    if (!server.isEmpty())
        text += u" на "_s + server;
    if (!m_userName.isEmpty())
        text += u", пользователь "_s + m_userName;
    return text;
}

void PostgresAddress::configure(QSqlDatabase& db, const QString& applicationName) const {
    db.setHostName(m_host);
    db.setPort(m_port);
    db.setDatabaseName(m_databaseName);
    db.setUserName(m_userName);
    // No password, ever: libpq takes it from PGPASSFILE or PGPASSWORD itself.
    QStringList options{
        u"connect_timeout=5"_s,
        u"keepalives=1"_s,
        u"keepalives_idle=15"_s,
        u"keepalives_interval=5"_s,
        u"keepalives_count=3"_s,
        u"tcp_user_timeout=15000"_s,
        u"application_name="_s + quoted(applicationName),
    };
    // Nothing waits without end on the server either: a statement, a lock, an idle transaction.
    // Notices (such as "already exists, skipping") stay out of the log.
    QString serverOptions = u"-c statement_timeout=15000 -c lock_timeout=5000"
                            u" -c idle_in_transaction_session_timeout=60000 -c client_min_messages=warning"_s;
    // Given in the address, they come last and win; server options are added to ours.
    for (const auto& [key, value] : m_parameters) {
        if (key == u"options")
            serverOptions += u' ' + value;
        else
            options << key + u'=' + quoted(value);
    }
    options << u"options="_s + quoted(serverOptions);
    db.setConnectOptions(options.join(u';'));
}
