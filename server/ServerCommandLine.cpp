#include "ServerCommandLine.h"

#include "PostgresAddress.h"

#include <QList>

using namespace Qt::StringLiterals;

namespace {

struct Option {
    QString name;
    QString value; // what the value is called in the help; empty for a switch
    QString text;  // the help line
    bool required = false;
    bool mayBeEmpty = false;
    QStringList choices; // empty: any value
};

struct Command {
    QString name;
    QString text;
    QList<Option> options;
};

Option option(const QString& name, const QString& value, const QString& text) {
    Option made;
    made.name = name;
    made.value = value;
    made.text = text;
    return made;
}

Option requiredOption(const QString& name, const QString& value, const QString& text) {
    Option made = option(name, value, text);
    made.required = true;
    return made;
}

Option switchOption(const QString& name, const QString& text) {
    return option(name, QString(), text);
}

// Where the data is, for every command.
const QList<Option>& storageOptions() {
    static const QList<Option> options{
        option(u"--data"_s, u"КАТАЛОГ"_s, u"каталог данных SQLite (по умолчанию $XDG_DATA_HOME/vexo-server)"_s),
        option(u"--database"_s, u"АДРЕС"_s,
               u"база PostgreSQL вместо SQLite: postgresql://пользователь@сервер:порт/база (пароль — в"
               u" PGPASSFILE или PGPASSWORD)"_s),
        option(u"--files"_s, u"КАТАЛОГ"_s,
               u"каталог файлов вложений и аватаров, общий для всех экземпляров (по умолчанию: каталог"
               u" данных SQLite или сама база PostgreSQL)"_s),
    };
    return options;
}

std::optional<Option> storageOption(const QString& name) {
    for (const Option& option : storageOptions()) {
        if (option.name == name)
            return option;
    }
    return std::nullopt;
}

const QList<Command>& commandTable() {
    static const QList<Command> table = [] {
        Option priority = option(u"--priority"_s, u"ПРИОРИТЕТ"_s, u"high, medium (по умолчанию) или low"_s);
        priority.choices = QStringList{u"high"_s, u"medium"_s, u"low"_s};
        Option description = option(u"--description"_s, u"ТЕКСТ"_s, u"описание"_s);
        description.mayBeEmpty = true;
        const Option telegramId = requiredOption(u"--telegram-id"_s, u"ID"_s, u"Telegram ID пользователя"_s);
        return QList<Command>{
            {u"serve"_s,
             u"обслуживать API"_s,
             {option(u"--listen"_s, u"АДРЕС:ПОРТ"_s,
                     u"где слушать (по умолчанию 127.0.0.1:8765; порт 0 — любой свободный)"_s),
              switchOption(u"--demo"_s, u"создать демо-пользователя с задачами и напечатать его ключ входа"_s),
              option(u"--trusted-proxy"_s, u"АДРЕСА"_s,
                     u"адреса обратных прокси через запятую: адрес клиента берётся из их X-Forwarded-For"_s)}},
            {u"user add"_s,
             u"создать пользователя и напечатать ключ входа"_s,
             {telegramId, option(u"--username"_s, u"ИМЯ"_s, u"имя пользователя в Telegram"_s),
              option(u"--first-name"_s, u"ИМЯ"_s, u"имя"_s), option(u"--last-name"_s, u"ФАМИЛИЯ"_s, u"фамилия"_s),
              switchOption(u"--admin"_s, u"сделать администратором"_s),
              option(u"--avatar"_s, u"ФАЙЛ"_s, u"картинка аватара"_s)}},
            {u"user key"_s,
             u"напечатать новый ключ входа"_s,
             {telegramId, switchOption(u"--new"_s, u"все прежние ключи перестают действовать"_s)}},
            {u"task add"_s,
             u"создать задачу, как это делает бот"_s,
             {telegramId, requiredOption(u"--title"_s, u"НАЗВАНИЕ"_s, u"название задачи"_s),
              option(u"--source"_s, u"ИСТОЧНИК"_s, u"откуда задача (по умолчанию bot)"_s), priority, description,
              option(u"--deadline"_s, u"ДАТА"_s, u"срок в ISO 8601, например 2025-03-05T18:00:00Z"_s)}},
            {u"attach"_s,
             u"прикрепить файл к задаче"_s,
             {requiredOption(u"--task"_s, u"ID"_s, u"номер задачи"_s),
              requiredOption(u"--file"_s, u"ФАЙЛ"_s, u"файл"_s)}},
            {u"outbox"_s, u"показать, что было отправлено в Telegram"_s, {}},
            {u"migrate"_s,
             u"обновить схему хранилища или перенести данные из SQLite в PostgreSQL"_s,
             {option(u"--from"_s, u"КАТАЛОГ"_s, u"каталог данных SQLite, откуда перенести всё (вместе с --to)"_s),
              option(u"--to"_s, u"АДРЕС"_s, u"пустая база PostgreSQL, куда перенести (вместе с --from)"_s)}},
        };
    }();
    return table;
}

const Command* findCommand(const QString& name) {
    for (const Command& command : commandTable()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

// Every option of every command, and the program's own: a name means the same everywhere, so
// options can be told from words before the command is known.
std::optional<Option> findOption(const QString& name) {
    if (const auto storage = storageOption(name))
        return storage;
    if (name == u"--help" || name == u"--version")
        return switchOption(name, QString());
    for (const Command& command : commandTable()) {
        for (const Option& option : command.options) {
            if (option.name == name)
                return option;
        }
    }
    return std::nullopt;
}

std::optional<Option> commandOption(const Command& command, const QString& name) {
    if (storageOption(name) || name == u"--help")
        return findOption(name);
    for (const Option& option : command.options) {
        if (option.name == name)
            return option;
    }
    return std::nullopt;
}

ServerCommandLine::Parsed refuse(const QString& problem, const QString& command = QString()) {
    ServerCommandLine::Parsed parsed;
    parsed.action = ServerCommandLine::Action::refuse;
    parsed.problem = problem;
    parsed.command = command;
    return parsed;
}

QString synopsis(const Command& command) {
    QString line = u"vexo-server "_s + command.name;
    for (const Option& option : command.options) {
        const QString text = option.value.isEmpty() ? option.name : option.name + u' ' + option.value;
        line += option.required ? u' ' + text : u" ["_s + text + u']';
    }
    return line + u" [--data КАТАЛОГ | --database АДРЕС] [--files КАТАЛОГ]"_s;
}

} // namespace

std::optional<QString> ServerCommandLine::Parsed::value(const QString& option) const {
    const auto found = options.constFind(option);
    return found == options.constEnd() ? std::nullopt : std::optional<QString>(*found);
}

QStringList ServerCommandLine::commands() {
    QStringList names;
    for (const Command& command : commandTable())
        names << command.name;
    return names;
}

namespace {

// The command the words name, if they name one.
QString commandNamed(const QStringList& words) {
    for (const QString& name : ServerCommandLine::commands()) {
        if (words.mid(0, name.count(u' ') + 1).join(u' ') == name)
            return name;
    }
    return QString();
}

} // namespace

ServerCommandLine::Parsed ServerCommandLine::parse(const QStringList& arguments) {
    QStringList words;
    QHash<QString, QString> options;
    // The first problem is the one reported; reading goes on to learn the command it concerns.
    QString problem;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QString argument = arguments[i];
        if (argument == u"-h")
            argument = u"--help"_s;
        if (!argument.startsWith(u'-') || argument == u"-") {
            words << argument;
            continue;
        }
        const qsizetype equals = argument.indexOf(u'=');
        const QString name = equals < 0 ? argument : argument.left(equals);
        const auto option = findOption(name);
        QString trouble;
        if (!option) {
            trouble = u"Неизвестный параметр: %1"_s.arg(name);
        } else if (options.contains(name)) {
            trouble = u"Параметр %1 указан дважды"_s.arg(name);
        } else if (option->value.isEmpty()) {
            if (equals >= 0)
                trouble = u"Параметр %1 не принимает значения"_s.arg(name);
            else
                options.insert(name, u"1"_s);
        } else if (equals >= 0) {
            options.insert(name, argument.mid(equals + 1));
        } else if (i + 1 < arguments.size() && !arguments[i + 1].startsWith(u"--"_s)) {
            options.insert(name, arguments[++i]);
        } else {
            trouble = u"У параметра %1 нет значения"_s.arg(name);
        }
        if (problem.isEmpty())
            problem = trouble;
    }
    if (!problem.isEmpty())
        return refuse(problem, commandNamed(words));

    const bool wantsHelp = options.contains(u"--help"_s);
    if (words.isEmpty()) {
        Parsed parsed;
        if (options.contains(u"--version"_s) && options.size() == 1) {
            parsed.action = Action::version;
        } else if (wantsHelp && options.size() == 1) {
            parsed.action = Action::help;
        } else if (wantsHelp || options.contains(u"--version"_s)) {
            const QStringList names = options.keys();
            const auto other = std::find_if(names.begin(), names.end(), [](const QString& name) {
                return name != u"--help" && name != u"--version";
            });
            return refuse(other == names.end() ? u"Укажите что-то одно: --help или --version"_s
                                               : u"Параметр %1 требует команды"_s.arg(*other));
        } else {
            return refuse(u"Не указана команда"_s);
        }
        return parsed;
    }

    QString name = words.takeFirst();
    if (name == u"user" || name == u"task") {
        QStringList known;
        for (const QString& command : commands()) {
            if (command.startsWith(name + u' '))
                known << command;
        }
        if (words.isEmpty())
            return refuse(u"Укажите команду: %1"_s.arg(known.join(u" или "_s)));
        name += u' ' + words.takeFirst();
    }
    const Command* command = findCommand(name);
    if (!command)
        return refuse(u"Неизвестная команда: %1"_s.arg(name));
    if (!words.isEmpty())
        return refuse(u"Лишний аргумент: %1"_s.arg(words.first()), name);
    for (auto it = options.constBegin(); it != options.constEnd(); ++it) {
        if (!commandOption(*command, it.key()))
            return refuse(u"Параметр %1 не подходит для команды %2"_s.arg(it.key(), name), name);
    }

    Parsed parsed;
    parsed.command = name;
    if (wantsHelp) {
        parsed.action = Action::help;
        return parsed;
    }
    for (const Option& option : command->options) {
        if (option.required && !options.contains(option.name))
            return refuse(u"Нужен параметр %1"_s.arg(option.name), name);
    }
    for (auto it = options.constBegin(); it != options.constEnd(); ++it) {
        const Option option = *commandOption(*command, it.key());
        if (option.value.isEmpty())
            continue;
        if (it.value().isEmpty() && !option.mayBeEmpty)
            return refuse(u"Параметр %1 не может быть пустым"_s.arg(it.key()), name);
        if (!option.choices.isEmpty() && !option.choices.contains(it.value()))
            return refuse(u"Параметр %1: допустимые значения: %2"_s.arg(it.key(), option.choices.join(u", "_s)), name);
    }
    for (const QString& address : {u"--database"_s, u"--to"_s}) {
        QString problem;
        if (options.contains(address) && !PostgresAddress::parse(options.value(address), &problem))
            return refuse(u"Параметр %1: %2"_s.arg(address, problem), name);
    }
    if (options.contains(u"--data"_s) && options.contains(u"--database"_s))
        return refuse(u"Параметры --data и --database не указываются вместе: данные либо в SQLite, либо в"
                      u" PostgreSQL"_s,
                      name);
    if (options.contains(u"--from"_s) != options.contains(u"--to"_s))
        return refuse(options.contains(u"--from"_s) ? u"Параметр --from нужен вместе с --to"_s
                                                    : u"Параметр --to нужен вместе с --from"_s,
                      name);
    if (options.contains(u"--from"_s)) {
        for (const QString& storage : {u"--data"_s, u"--database"_s}) {
            if (options.contains(storage))
                return refuse(u"Параметр %1 не нужен при переносе: откуда — --from, куда — --to"_s.arg(storage), name);
        }
    }
    parsed.action = Action::run;
    parsed.options = options;
    return parsed;
}

QString ServerCommandLine::help(const QString& name) {
    if (const Command* command = findCommand(name)) {
        QString text = u"Использование: "_s + synopsis(*command) + u"\n\n"_s + command->text + u"\n\n"_s;
        for (const Option& option : command->options + storageOptions()) {
            const QString left = option.value.isEmpty() ? option.name : option.name + u' ' + option.value;
            text += u"  "_s + left.leftJustified(24) + u' ' + option.text + u'\n';
        }
        return text;
    }
    QString text = u"Использование: vexo-server КОМАНДА [ПАРАМЕТРЫ] [--data КАТАЛОГ | --database АДРЕС]\n\n"
                   u"Локальный сервис Vexo Tasks: API для клиента и команды для данных.\n\nКоманды:\n"_s;
    for (const Command& command : commandTable())
        text += u"  "_s + command.name.leftJustified(10) + u' ' + command.text + u'\n';
    text += u"\nПараметры команды: vexo-server КОМАНДА --help\n"
            u"  --help      показать эту справку\n"
            u"  --version   показать версию\n"_s;
    return text;
}
