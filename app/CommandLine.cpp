#include "CommandLine.h"

#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Qt's generic options, which QApplication reads itself; all single-dash.
const QStringList qtValueOptions{
    u"-platform"_s,    u"-platformpluginpath"_s, u"-platformtheme"_s, u"-plugin"_s,     u"-qwindowgeometry"_s,
    u"-qwindowicon"_s, u"-qwindowtitle"_s,       u"-style"_s,         u"-stylesheet"_s, u"-display"_s,
    u"-session"_s};
const QStringList qtFlagOptions{u"-reverse"_s, u"-widgetcount"_s, u"-nograb"_s, u"-dograb"_s, u"-sync"_s};

const QStringList ownOptions{u"--help"_s, u"--version"_s, u"--base-url"_s, u"--new-task"_s, u"--login-key-file"_s};

qsizetype editDistance(const QString& a, const QString& b) {
    QList<qsizetype> previous(b.size() + 1);
    QList<qsizetype> current(b.size() + 1);
    for (qsizetype j = 0; j <= b.size(); ++j)
        previous[j] = j;
    for (qsizetype i = 1; i <= a.size(); ++i) {
        current[0] = i;
        for (qsizetype j = 1; j <= b.size(); ++j) {
            const qsizetype substitution = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substitution});
        }
        std::swap(previous, current);
    }
    return previous[b.size()];
}

// The option the user most likely meant, when one is close enough to be a slip of the keyboard.
QString closestOption(const QString& given) {
    QString best;
    qsizetype bestDistance = 3;
    QString bare = given;
    while (bare.startsWith(u'-'))
        bare.remove(0, 1);
    for (const QString& option : ownOptions) {
        const qsizetype distance = editDistance(bare, option.mid(2));
        if (distance < bestDistance) {
            bestDistance = distance;
            best = option;
        }
    }
    return best;
}

CommandLine refuse(CommandLine line, const QString& problem) {
    line.action = CommandLine::Action::refuse;
    line.error = u"vexo-tasks: "_s + problem + u"\nСправка: vexo-tasks --help\n"_s;
    return line;
}

std::optional<QString> normalisedBase(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != u"http" && url.scheme() != u"https") || url.host().isEmpty() ||
        url.hasQuery() || url.hasFragment() || !url.userInfo().isEmpty())
        return std::nullopt;
    QString base = url.toString();
    while (base.endsWith(u'/'))
        base.chop(1);
    return base;
}

} // namespace

CommandLine CommandLine::parse(const QStringList& arguments) {
    CommandLine line;
    line.qtArguments << (arguments.isEmpty() ? u"vexo-tasks"_s : arguments.first());
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        QString name = argument;
        std::optional<QString> attached; // --name=value
        if (argument.startsWith(u"--"_s) && argument.contains(u'=')) {
            name = argument.section(u'=', 0, 0);
            attached = argument.section(u'=', 1);
        }
        const auto value = [&]() -> std::optional<QString> {
            if (attached)
                return attached;
            if (i + 1 < arguments.size())
                return arguments[++i];
            return std::nullopt;
        };

        if (name == u"-h" || name == u"--help") {
            line.action = Action::help;
            return line;
        }
        if (name == u"-v" || name == u"--version") {
            line.action = Action::version;
            return line;
        }
        if (name == u"--new-task") {
            if (attached)
                return refuse(line, u"параметр --new-task не принимает значения"_s);
            line.newTask = true;
        } else if (name == u"--base-url") {
            const std::optional<QString> text = value();
            if (!text)
                return refuse(line, u"у параметра --base-url нет значения"_s);
            line.baseUrl = normalisedBase(*text);
            if (!line.baseUrl)
                return refuse(
                    line, u"--base-url: нужен адрес вида http://хост:порт или https://хост, а не «%1»"_s.arg(*text));
        } else if (name == u"--login-key-file") {
            const std::optional<QString> text = value();
            if (!text || text->isEmpty())
                return refuse(line, u"у параметра --login-key-file нет значения"_s);
            line.loginKeyFile = *text;
        } else if (qtValueOptions.contains(argument.section(u'=', 0, 0))) {
            line.qtArguments << argument;
            if (!argument.contains(u'=') && i + 1 < arguments.size())
                line.qtArguments << arguments[++i];
        } else if (qtFlagOptions.contains(argument)) {
            line.qtArguments << argument;
        } else if (argument.startsWith(u'-')) {
            const QString suggestion = closestOption(name);
            return refuse(line, suggestion.isEmpty()
                                    ? u"неизвестный параметр «%1»"_s.arg(argument)
                                    : u"неизвестный параметр «%1». Может быть, %2?"_s.arg(argument, suggestion));
        } else {
            return refuse(
                line, u"лишний аргумент «%1»: vexo-tasks не принимает файлов и адресов без параметра"_s.arg(argument));
        }
    }
    return line;
}

QString CommandLine::helpText(const QString& defaultBase) {
    return uR"(Использование: vexo-tasks [ПАРАМЕТРЫ]

Vexo Tasks — задачи из Telegram-бота на рабочем столе.

Параметры:
  --base-url АДРЕС        сервис, с которым работает клиент; иначе переменная
                          окружения VEXO_BASE_URL, иначе %1
  --new-task              открыть форму новой задачи (в уже открытом окне, если
                          клиент запущен)
  --login-key-file ФАЙЛ   подставить ключ входа из файла в поле «Ключ входа»
  -h, --help              показать эту справку и выйти
  -v, --version           показать версию и выйти

Собственные параметры Qt (-platform, -style, -display и другие) передаются Qt.
Клиент запускается один раз на пользователя: повторный запуск показывает уже
открытое окно.
)"_s.arg(defaultBase);
}

QString CommandLine::versionText() {
    return u"vexo-tasks " VEXO_VERSION "\n"_s;
}
