#include "ApiRequest.h"

#include "JsonBodyGuard.h"
#include "ServerError.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

QByteArray ApiRequest::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

qint64 ApiRequest::idParam(int index) const {
    return params.value(index).toLongLong();
}

QJsonObject ApiRequest::jsonObject() const {
    if (body.trimmed().isEmpty())
        throw ServerError::badRequest(u"Тело запроса должно быть JSON-объектом"_s);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        throw ServerError::badRequest(u"Некорректный JSON: %1"_s.arg(error.errorString()));
    if (!document.isObject())
        throw ServerError::badRequest(u"Тело запроса должно быть JSON-объектом"_s);
    if (const QString problem = JsonBodyGuard::problemIn(body); !problem.isEmpty())
        throw ServerError::badRequest(u"Некорректный JSON: %1"_s.arg(problem));
    return document.object();
}
