#pragma once

#include "KeyValueStore.h"

#include <QHash>
#include <QVariant>

// A KeyValueStore that lives only as long as the test.
class MemoryStore final : public KeyValueStore {
public:
    std::optional<QString> text(const QString& key) const override {
        return m_values.contains(key) ? std::optional<QString>(m_values[key].toString()) : std::nullopt;
    }
    std::optional<QByteArray> data(const QString& key) const override {
        return m_values.contains(key) ? std::optional<QByteArray>(m_values[key].toByteArray()) : std::nullopt;
    }
    void setText(const QString& key, const QString& value) override { m_values.insert(key, value); }
    void setData(const QString& key, const QByteArray& value) override { m_values.insert(key, value); }
    void remove(const QString& key) override { m_values.remove(key); }
    bool contains(const QString& key) const { return m_values.contains(key); }

private:
    QHash<QString, QVariant> m_values;
};
