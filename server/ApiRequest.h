#pragma once

#include "HttpReply.h"
#include "Storage.h"

#include <QByteArray>
#include <QHostAddress>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QUrlQuery>

#include <optional>

// One request as the handlers see it, after routing and authentication.
struct ApiRequest {
    QByteArray method;
    QString path;
    QUrlQuery query;
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    QHostAddress remoteAddress;
    QStringList params;             // the {placeholders} of the route, in order
    std::optional<StoredUser> user; // present on routes that need a signed-in user

    QByteArray header(const QByteArray& name) const; // case-insensitive; empty when absent
    qint64 idParam(int index) const;                 // a {id} placeholder, already checked by the router
    const StoredUser& signedIn() const { return *user; }
    qint64 userId() const { return user->user.id; }
    // The body as a JSON object; anything else is a 400.
    QJsonObject jsonObject() const;
};
