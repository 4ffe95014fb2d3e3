#include "ServerCli.h"

#include "DemoData.h"
#include "PostgresStorage.h"
#include "Secrets.h"
#include "ServerCommandLine.h"
#include "ServerError.h"
#include "SqliteStorage.h"
#include "StorageChoice.h"
#include "StorageCopy.h"
#include "TaskApi.h"
#include "VexoServer.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMimeDatabase>
#include <QSocketNotifier>
#include <QStandardPaths>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

} // namespace

QString ServerCli::defaultDataDir() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/vexo-server"_s;
}

int ServerCli::usage(const QString& problem, const QString& command) {
    m_err << "vexo-server: " << problem << "\n"
          << "Подробнее: vexo-server " << (command.isEmpty() ? QString() : command + u' ') << "--help\n";
    m_err.flush();
    return 2;
}

int ServerCli::copy(const QString& fromDir, const PostgresAddress& to, const std::optional<QString>& contentFolder) {
    const QString file = QDir(fromDir).filePath(u"vexo.db"_s);
    if (!QFileInfo::exists(file)) {
        m_err << "В каталоге " << fromDir << " нет базы vexo.db\n";
        return 1;
    }
    try {
        SqliteStorage from(file);
        StorageChoice target;
        target.database = to;
        target.contentFolder = contentFolder;
        m_out << "Перенос: SQLite в " << fromDir << " → " << target.describe() << "\n";
        m_out.flush();
        PostgresStorage into(to, contentFolder);
        const StorageCopy::Report report = StorageCopy::copy(from, into);
        for (const StorageCopy::Table& table : report.tables) {
            m_out << "  " << table.name.leftJustified(12) << " " << QString::number(table.rows).rightJustified(8)
                  << " строк, контрольная сумма " << table.checksum.toHex().left(16) << " совпадает\n";
        }
        m_out << "  " << u"файлы"_s.leftJustified(12) << " " << QString::number(report.contents).rightJustified(8)
              << " (" << report.contentBytes << " байт), содержимое совпадает\n";
        for (const QString& name : report.missing)
            m_err << "Нет файла " << name << " в исходном каталоге: перенесена только запись о нём\n";
        m_out << "Готово: всё перенесено и сверено.\n";
        return 0;
    } catch (const ServerError& error) {
        m_err << error.message() << "\n";
        return 1;
    }
}

int ServerCli::run(const QStringList& arguments) {
    const ServerCommandLine::Parsed parsed = ServerCommandLine::parse(arguments);
    switch (parsed.action) {
    case ServerCommandLine::Action::refuse:
        return usage(parsed.problem, parsed.command);
    case ServerCommandLine::Action::help:
        m_out << ServerCommandLine::help(parsed.command);
        m_out.flush();
        return 0;
    case ServerCommandLine::Action::version:
        m_out << "vexo-server " << VEXO_VERSION << "\n";
        m_out.flush();
        return 0;
    case ServerCommandLine::Action::run:
        break;
    }
    const QString& command = parsed.command;
    const auto option = [&](const QString& name) { return parsed.value(name); };
    // Present and not empty: the parser has seen to both.
    const auto required = [&](const QString& name) { return *parsed.value(name); };

    std::optional<QHostAddress> listenAddress;
    quint16 listenPort = 0;
    QList<QHostAddress> trustedProxies;
    if (command == u"serve") {
        const QString listen = option(u"--listen"_s).value_or(u"127.0.0.1:8765"_s);
        const qsizetype colon = listen.lastIndexOf(u':');
        bool portOk = false;
        const uint port = listen.mid(colon + 1).toUInt(&portOk);
        const QHostAddress address(listen.left(colon));
        if (colon <= 0 || !portOk || port > 65535 || address.isNull())
            return usage(u"Неверный адрес --listen: %1"_s.arg(listen), command);
        listenAddress = address;
        listenPort = quint16(port);
        for (const QString& proxy : option(u"--trusted-proxy"_s).value_or(QString()).split(u',', Qt::SkipEmptyParts)) {
            const QHostAddress trusted(proxy.trimmed());
            if (trusted.isNull())
                return usage(u"Неверный адрес --trusted-proxy: %1"_s.arg(proxy), command);
            trustedProxies << trusted;
        }
    }
    qint64 attachTaskId = 0;
    if (command == u"attach") {
        bool ok = false;
        attachTaskId = required(u"--task"_s).toLongLong(&ok);
        if (!ok || attachTaskId <= 0)
            return usage(u"Параметр --task: ожидается номер задачи, а не «%1»"_s.arg(required(u"--task"_s)), command);
    }

    if (command == u"migrate" && option(u"--from"_s))
        return copy(required(u"--from"_s), *PostgresAddress::parse(required(u"--to"_s)), option(u"--files"_s));

    StorageChoice choice;
    choice.dataDir = option(u"--data"_s).value_or(defaultDataDir());
    if (const auto database = option(u"--database"_s))
        choice.database = PostgresAddress::parse(*database);
    choice.contentFolder = option(u"--files"_s);

    try {
        SystemClock clock;
        // Closing the storage makes its writes durable; that happens before the buffered output
        // (a new key, a task id) reaches the terminal.
        const std::unique_ptr<Storage> opened = choice.open();
        Storage& storage = *opened;
        ServerContext context{storage, clock};

        const auto requireUser = [&](const QString& telegramId) {
            const auto user = storage.userByTelegramId(telegramId);
            if (!user)
                throw ServerError::notFound(u"Пользователь с telegram_id %1 не найден"_s.arg(telegramId));
            return *user;
        };
        const auto issueKey = [&](qint64 userId, bool revokeOthers) {
            const QString key = Secrets::newLoginKey();
            storage.addLoginKey(userId, Secrets::hash(key), revokeOthers, context.nowText());
            return key;
        };

        if (command == u"migrate") {
            m_out << "Схема хранилища: версия " << SqlStorage::schemaVersion() << " (" << choice.describe() << ")\n";
            return 0;
        }
        if (command == u"serve") {
            VexoServer server(storage, clock);
            HttpLimits limits = server.limits();
            limits.trustedProxies = trustedProxies;
            server.setLimits(limits);
            if (option(u"--demo"_s)) {
                const qint64 userId = DemoData::ensure(context);
                m_out << "Демо-пользователь готов. Ключ входа: " << issueKey(userId, false) << "\n";
                storage.makeWritesDurable();
            }
            const quint16 bound = server.listen(*listenAddress, listenPort);
            if (bound == 0) {
                m_err << "Не удалось занять " << listenAddress->toString() << ":" << listenPort << "\n";
                return 1;
            }
            m_out << "vexo-server слушает http://" << listenAddress->toString() << ":" << bound
                  << " (данные: " << choice.describe() << ")\n";
            m_out.flush();

            if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
                return 1;
            QSocketNotifier notifier(signalPipe[0], QSocketNotifier::Read);
            QObject::connect(&notifier, &QSocketNotifier::activated, qApp, [] { QCoreApplication::quit(); });
            std::signal(SIGINT, onSignal);
            std::signal(SIGTERM, onSignal);
            const int code = QCoreApplication::exec();
            m_out << "vexo-server остановлен\n";
            return code;
        }
        if (command == u"user add") {
            NewUser person;
            person.telegramId = required(u"--telegram-id"_s);
            person.username = option(u"--username"_s);
            person.firstName = option(u"--first-name"_s);
            person.lastName = option(u"--last-name"_s);
            person.isAdmin = option(u"--admin"_s).has_value();
            if (const auto avatar = option(u"--avatar"_s)) {
                QFile file(*avatar);
                if (!file.open(QIODevice::ReadOnly))
                    throw ServerError::badRequest(u"Не удалось прочитать %1"_s.arg(*avatar));
                person.avatarName = storage.addAvatar(file.readAll(), QFileInfo(*avatar).suffix().toLower());
            }
            const StoredUser user = storage.createUser(person, context.nowText());
            m_out << issueKey(user.user.id, false) << "\n";
            return 0;
        }
        if (command == u"user key") {
            const StoredUser user = requireUser(required(u"--telegram-id"_s));
            m_out << issueKey(user.user.id, option(u"--new"_s).has_value()) << "\n";
            return 0;
        }
        if (command == u"task add") {
            const StoredUser user = requireUser(required(u"--telegram-id"_s));
            QJsonObject body{{u"title"_s, required(u"--title"_s)}};
            for (const QString& field : {u"priority"_s, u"description"_s, u"deadline"_s}) {
                if (const auto value = option(u"--"_s + field))
                    body.insert(field, *value);
            }
            TaskApi tasks(context);
            const VexoTask task = tasks.createFrom(user, body, option(u"--source"_s).value_or(u"bot"_s));
            m_out << task.id << "\n";
            return 0;
        }
        if (command == u"attach") {
            const qint64 taskId = attachTaskId;
            const QString path = required(u"--file"_s);
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly))
                throw ServerError::badRequest(u"Не удалось прочитать %1"_s.arg(path));
            if (!storage.attachments(taskId))
                throw ServerError::notFound(u"Задача %1 не найдена"_s.arg(taskId));
            const QByteArray bytes = file.readAll();
            const QString mime = QMimeDatabase().mimeTypeForFileNameAndData(path, bytes).name();
            const auto attachment =
                storage.addAttachment(taskId, QFileInfo(path).fileName(), mime, bytes, context.nowText());
            if (!attachment)
                throw ServerError::notFound(u"Задача %1 не найдена"_s.arg(taskId));
            m_out << attachment->id << "\n";
            return 0;
        }
        if (command == u"outbox") {
            for (const OutboxEntry& entry : storage.outbox()) {
                m_out << entry.createdAt << "  → " << entry.telegramId << "  (задача " << entry.taskId << ")\n"
                      << entry.text << "\n\n";
            }
            return 0;
        }
        return usage(u"Неизвестная команда: %1"_s.arg(command), QString());
    } catch (const ServerError& error) {
        m_err << error.message() << "\n";
        return 1;
    }
}
