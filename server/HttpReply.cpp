#include "HttpReply.h"

#include "JsonWriter.h"

using namespace Qt::StringLiterals;

HttpReply HttpReply::json(QByteArray body, int status) {
    HttpReply reply;
    reply.status = status;
    reply.body = std::move(body);
    return reply;
}

HttpReply HttpReply::error(int status, const QString& message) {
    JsonWriter writer;
    writer.beginObject();
    writer.field("error", message);
    writer.endObject();
    return json(writer.take(), status);
}

HttpReply HttpReply::tooLarge(qint64 limit) {
    const QString size = limit >= (1 << 20) ? u"%1 МБ"_s.arg(limit >> 20) : u"%1 КБ"_s.arg(limit >> 10);
    return error(413, u"Слишком большой запрос: не больше %1"_s.arg(size));
}

QByteArray reasonPhrase(int status) {
    switch (status) {
    case 100:
        return "Continue";
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 304:
        return "Not Modified";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 408:
        return "Request Timeout";
    case 413:
        return "Content Too Large";
    case 414:
        return "URI Too Long";
    case 417:
        return "Expectation Failed";
    case 429:
        return "Too Many Requests";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 503:
        return "Service Unavailable";
    case 505:
        return "HTTP Version Not Supported";
    default:
        return "Status";
    }
}
