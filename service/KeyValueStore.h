#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The user's persistent preferences: the session token, the cached user and the theme live here.
// An interface so tests can hand every layer a temporary store.
class KeyValueStore {
public:
    virtual ~KeyValueStore() = default;

    virtual std::optional<QString> text(const QString& key) const = 0;
    virtual std::optional<QByteArray> data(const QString& key) const = 0;
    virtual void setText(const QString& key, const QString& value) = 0;
    virtual void setData(const QString& key, const QByteArray& value) = 0;
    virtual void remove(const QString& key) = 0;
};
