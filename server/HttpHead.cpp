#include "HttpHead.h"

using namespace Qt::StringLiterals;

namespace {

bool isTokenChar(char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return QByteArrayView("!#$%&'*+-.^_`|~").contains(c);
}

bool isToken(QByteArrayView text) {
    if (text.isEmpty())
        return false;
    for (char c : text) {
        if (!isTokenChar(c))
            return false;
    }
    return true;
}

// Field values may hold visible characters, spaces, tabs and bytes above 0x7F; nothing else.
bool isFieldValue(QByteArrayView text) {
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && byte != '\t') || byte == 0x7F)
            return false;
    }
    return true;
}

bool isTarget(QByteArrayView text) {
    if (text.isEmpty() || text.front() != '/')
        return false;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte >= 0x7F)
            return false;
    }
    return true;
}

QByteArrayView trimmed(QByteArrayView text) {
    while (!text.isEmpty() && (text.front() == ' ' || text.front() == '\t'))
        text = text.sliced(1);
    while (!text.isEmpty() && (text.back() == ' ' || text.back() == '\t'))
        text.chop(1);
    return text;
}

// Whether a comma-separated field value lists `token`, case-insensitively.
bool listsToken(QByteArrayView value, QByteArrayView token) {
    for (const QByteArray& item : value.toByteArray().split(',')) {
        if (trimmed(item).compare(token, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

HttpHead::Result refuse(int status, const QString& message) {
    return HttpHead::Result{status, message};
}

HttpHead::Result badRequest(const QString& why) {
    return refuse(400, u"Некорректный HTTP-запрос: %1"_s.arg(why));
}

} // namespace

HttpHead::Result HttpHead::parse(QByteArrayView head, int maxFields, HttpRequest& request, HttpFraming& framing) {
    qsizetype lineEnd = head.indexOf("\r\n");
    const QByteArrayView requestLine = lineEnd < 0 ? head : head.first(lineEnd);
    if (requestLine.contains('\r') || requestLine.contains('\n'))
        return badRequest(u"строки должны заканчиваться CRLF"_s);

    const qsizetype firstSpace = requestLine.indexOf(' ');
    const qsizetype lastSpace = requestLine.lastIndexOf(' ');
    if (firstSpace <= 0 || lastSpace == firstSpace)
        return badRequest(u"строка запроса"_s);
    const QByteArrayView method = requestLine.first(firstSpace);
    const QByteArrayView target = requestLine.sliced(firstSpace + 1, lastSpace - firstSpace - 1);
    const QByteArrayView version = requestLine.sliced(lastSpace + 1);
    if (!isToken(method))
        return badRequest(u"метод"_s);
    if (!isTarget(target))
        return badRequest(u"адрес"_s);
    const bool versionShape = version.size() == 8 && version.startsWith("HTTP/") && version[5] >= '0' &&
                              version[5] <= '9' && version[6] == '.' && version[7] >= '0' && version[7] <= '9';
    if (!versionShape)
        return badRequest(u"версия протокола"_s);
    // Another major version is another protocol: refused as malformed, not as a server fault (5xx).
    // A later HTTP/1 minor version is understood as HTTP/1.1, which it must stay compatible with.
    if (version[5] != '1')
        return refuse(400, u"Версия HTTP не поддерживается: %1"_s.arg(QString::fromLatin1(version)));
    request.method = method.toByteArray();
    request.target = target.toByteArray();
    request.minorVersion = qMin(version[7] - '0', 1);

    int hosts = 0;
    int contentLengths = 0;
    bool hasTransferEncoding = false;
    QByteArray transferEncoding;
    QByteArray connection;
    request.headers.clear();
    while (lineEnd >= 0) {
        const qsizetype start = lineEnd + 2;
        lineEnd = head.indexOf("\r\n", start);
        const QByteArrayView line = head.sliced(start, (lineEnd < 0 ? head.size() : lineEnd) - start);
        if (line.isEmpty())
            return badRequest(u"пустая строка внутри заголовка"_s);
        if (line.front() == ' ' || line.front() == '\t')
            return badRequest(u"перенесённое поле заголовка"_s);
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0 || !isToken(line.first(colon)))
            return badRequest(u"имя поля заголовка"_s);
        const QByteArrayView value = trimmed(line.sliced(colon + 1));
        if (!isFieldValue(value))
            return badRequest(u"недопустимый символ в поле заголовка"_s);
        if (request.headers.size() == maxFields)
            return refuse(431, u"Слишком много полей заголовка: не больше %1"_s.arg(maxFields));
        const QByteArrayView name = line.first(colon);
        request.headers.append({name.toByteArray(), value.toByteArray()});

        if (name.compare("Host", Qt::CaseInsensitive) == 0) {
            ++hosts;
        } else if (name.compare("Content-Length", Qt::CaseInsensitive) == 0) {
            if (++contentLengths > 1)
                return badRequest(u"Content-Length указан больше одного раза"_s);
            bool digitsOnly = !value.isEmpty() && value.size() <= 18;
            for (char c : value)
                digitsOnly = digitsOnly && c >= '0' && c <= '9';
            if (!digitsOnly)
                return badRequest(u"Content-Length"_s);
            framing.contentLength = value.toLongLong();
        } else if (name.compare("Transfer-Encoding", Qt::CaseInsensitive) == 0) {
            hasTransferEncoding = true;
            transferEncoding += (transferEncoding.isEmpty() ? "" : ",") + value.toByteArray();
        } else if (name.compare("Connection", Qt::CaseInsensitive) == 0) {
            connection += (connection.isEmpty() ? "" : ",") + value.toByteArray();
        } else if (name.compare("Expect", Qt::CaseInsensitive) == 0 && request.minorVersion == 1) {
            if (value.compare("100-continue", Qt::CaseInsensitive) != 0)
                return refuse(417, u"Ожидание «%1» не поддерживается"_s.arg(QString::fromLatin1(value)));
            framing.expectContinue = true;
        } else if (name.compare("Upgrade", Qt::CaseInsensitive) == 0) {
            framing.upgrade = true;
        }
    }

    if (request.minorVersion == 1 && hosts != 1)
        return badRequest(hosts == 0 ? u"нет поля Host"_s : u"поле Host указано больше одного раза"_s);
    if (hasTransferEncoding) {
        if (request.minorVersion == 0)
            return badRequest(u"Transfer-Encoding в HTTP/1.0"_s);
        if (contentLengths > 0)
            return badRequest(u"Content-Length вместе с Transfer-Encoding"_s);
        if (trimmed(transferEncoding).compare("chunked", Qt::CaseInsensitive) != 0)
            return refuse(400,
                          u"Кодирование передачи «%1» не поддерживается"_s.arg(QString::fromLatin1(transferEncoding)));
        framing.chunked = true;
    }
    framing.keepAlive =
        request.minorVersion == 1 ? !listsToken(connection, "close") : listsToken(connection, "keep-alive");
    framing.upgrade = framing.upgrade && listsToken(connection, "upgrade");
    return {};
}
