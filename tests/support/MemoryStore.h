#pragma once

#include "KeyValueStore.h"

#include <QHash>
#include <QStringList>
#include <QVariant>

// A KeyValueStore that lives only as long as the test. When given a journal, every write and removal
// is noted there ("set vexo_token", "remove vexo_user"), so a test can see their order among other
// events.
class MemoryStore final : public KeyValueStore {
public:
    std::optional<QString> text(const QString& key) const override {
        return m_values.contains(key) ? std::optional<QString>(m_values[key].toString()) : std::nullopt;
    }
    std::optional<QByteArray> data(const QString& key) const override {
        return m_values.contains(key) ? std::optional<QByteArray>(m_values[key].toByteArray()) : std::nullopt;
    }
    void setText(const QString& key, const QString& value) override {
        note(QStringLiteral("set ") + key);
        m_values.insert(key, value);
    }
    void setData(const QString& key, const QByteArray& value) override {
        note(QStringLiteral("set ") + key);
        m_values.insert(key, value);
    }
    void remove(const QString& key) override {
        note(QStringLiteral("remove ") + key);
        m_values.remove(key);
    }
    bool contains(const QString& key) const { return m_values.contains(key); }
    // Whether the value under `key` was stored as data rather than text.
    bool holdsData(const QString& key) const { return m_values.value(key).typeId() == QMetaType::QByteArray; }

    void setJournal(QStringList* journal) { m_journal = journal; }

private:
    void note(const QString& event) {
        if (m_journal)
            m_journal->append(event);
    }

    QHash<QString, QVariant> m_values;
    QStringList* m_journal = nullptr;
};
