#include "HttpRequest.h"

QByteArray HttpRequest::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

QByteArray HttpRequest::rawPath() const {
    const qsizetype query = target.indexOf('?');
    return query < 0 ? target : target.left(query);
}

bool HttpRequest::hasHeader(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}
