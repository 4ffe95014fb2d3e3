#include "PostgresChangeWatch.h"

#include "ServerLog.h"

#include <QAtomicInt>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>

using namespace Qt::StringLiterals;

namespace {

// How many checks go by between two round trips to the server; the checks in between only look at
// what the connection already knows.
constexpr int checksPerQuery = 10;

} // namespace

PostgresChangeWatch::PostgresChangeWatch(const PostgresAddress& address, int checkIntervalMs, QObject* parent)
    : ChangeWatch(parent) {
    static QAtomicInt counter;
    m_connectionName = u"vexo-watch-%1"_s.arg(counter.fetchAndAddRelaxed(1));
    m_db = QSqlDatabase::addDatabase(u"QPSQL"_s, m_connectionName);
    address.configure(m_db, u"vexo-server-feed"_s);
    connect(m_db.driver(), &QSqlDriver::notification, this, [this](const QString& name) {
        if (name == channel)
            Q_EMIT changed();
    });
    m_timer.setInterval(checkIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &PostgresChangeWatch::check);
}

PostgresChangeWatch::~PostgresChangeWatch() {
    stopListening();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_connectionName);
}

void PostgresChangeWatch::setActive(bool active) {
    if (active == m_timer.isActive())
        return;
    if (!active) {
        m_timer.stop();
        stopListening();
        return;
    }
    m_timer.start();
    listen();
}

void PostgresChangeWatch::stopListening() {
    if (m_db.isOpen())
        m_db.driver()->unsubscribeFromNotification(channel);
    m_db.close();
    m_listening = false;
}

void PostgresChangeWatch::listen() {
    stopListening();
    if (!m_db.open() || !m_db.driver()->subscribeToNotification(channel)) {
        if (!m_warned)
            qCWarning(lcServer).noquote()
                << "change feed: cannot listen to the database:" << m_db.lastError().text().trimmed();
        m_warned = true;
        m_db.close();
        return;
    }
    if (std::exchange(m_warned, false))
        qCInfo(lcServer) << "change feed: listening to the database again";
    m_listening = true;
    m_checksSinceQuery = 0;
    // Whatever was committed before the channel was listened to has sent its notification already.
    Q_EMIT changed();
}

void PostgresChangeWatch::check() {
    if (m_listening && ++m_checksSinceQuery >= checksPerQuery) {
        // A connection whose server went away quietly is only found out by talking to it.
        m_checksSinceQuery = 0;
        QSqlQuery(m_db).exec(u"SELECT 1"_s);
    }
    if (m_listening && m_db.isOpen())
        return;
    if (m_listening)
        qCWarning(lcServer) << "change feed: the connection to the database was lost";
    m_warned = m_warned || m_listening;
    listen();
}
